#include "recording_file.h"

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/words.h"

recorder::Recording ReadRecording(const std::string& path) {
    try {
        return recorder::Read(cli::ReadInput(path));
    } catch (const recorder::Malformed& error) {
        cli::Throw(cli::ExitStatus::kFile, cli::Say("{1} is no recording", path), error.what(),
                   "give a file that 'ukeyctl record' has made");
    }
}
