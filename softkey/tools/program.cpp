#include "tools/program.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include "cli/files.h"
#include "cli/last_resort.h"
#include "cli/standard_descriptors.h"
#include "cli/words.h"
#include "crypto/ssl.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

// A mistake may come before the option has been read. What stands behind "--" is another's.
bool AsksForJson(int argc, char** argv) {
    const auto is = [](const char* word) {
        return [word](const char* argument) { return std::strcmp(argument, word) == 0; };
    };
    char** const end = std::find_if(argv, argv + argc, is("--"));
    return std::any_of(argv, end, is("--json"));
}

cli::CommandFailure UsageFailure(const std::string& command, const cli::Mistake& mistake) {
    return Refusal(mistake.what(), cli::Say("{1} --help tells how", command),
                   cli::ExitStatus::kUsage);
}

cli::ExitStatus ParseAndRun(cli::Commands which, const std::string& name, AddCommands add_commands,
                            int argc, char** argv) {
    cli::Program program(name, cli::Mark("command"));
    // Before the commands are added, which take it over.
    program.Top().Close(cli::TellStatusesOf(which));
    add_commands(program.Top());
    const bool json = AsksForJson(argc, argv);
    try {
        const std::optional<cli::Chosen> chosen = program.Parse(argc, argv);
        return chosen ? RunCommand({name, chosen->path, json}, chosen->work)
                      : cli::ExitStatus::kDone;
    } catch (const cli::Mistake& mistake) {
        const std::string command = mistake.Where().empty() ? name : name + " " + mistake.Where();
        return RunCommand({name, mistake.Where(), json},
                          [&]() -> cli::ExitStatus { throw UsageFailure(command, mistake); });
    }
}

// What was printed may be all that tells of a change, such as a new key's number.
void RequireThatOutputWasWritten() {
    std::cout.flush();
    if (!std::cout || !cli::IsKept(STDOUT_FILENO)) {
        cli::Throw(cli::ExitStatus::kFile, "cannot write to standard output", cli::SayError(errno),
                   "check where the output goes");
    }
}

}  // namespace

cli::Work Doing(std::function<void()> work) {
    return [work = std::move(work)] {
        work();
        return cli::ExitStatus::kDone;
    };
}

int RunProgram(cli::Commands program, const char* name, AddCommands add_commands, int argc,
               char** argv) {
    cli::OpenStandardDescriptors();
    return cli::RunMain(name, cli::Layout::kPlain, [&] {
        cli::Speak("orval-softkey", argc, argv);
        cli::PrepareForLackOfMemory(name, cli::Layout::kPlain);
        return static_cast<int>(RunCommand({name, {}, false}, [&] {
            ssl::RequireOpenSsl();
            const cli::ExitStatus status = ParseAndRun(program, name, add_commands, argc, argv);
            if (status == cli::ExitStatus::kDone) {
                RequireThatOutputWasWritten();
            }
            return status;
        }));
    });
}

}  // namespace softkey::tools
