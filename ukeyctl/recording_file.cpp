#include "recording_file.h"

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/progress.h"
#include "cli/words.h"

calls::Recording ReadRecording(const std::string& path) {
    try {
        return cli::Meanwhile(cli::Mark("reading the recording"),
                              [&path] { return calls::Read(cli::ReadInput(path)); });
    } catch (const calls::Malformed& error) {
        cli::Throw(cli::ExitStatus::kFile, cli::Say("{1} is no recording", path), error.what(),
                   "give a file that 'ukeyctl record' has made");
    }
}
