#include "tools/program.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include "base/error.h"
#include "cli/arguments.h"
#include "cli/help.h"
#include "cli/printable.h"
#include "cli/standard_descriptors.h"
#include "cli/usage.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

void ReportUsage(const CLI::App& program, const std::string& name, const CLI::ParseError& error) {
    const cli::Mistake mistake = cli::Explain(program, error, "command");
    const std::string command = mistake.command.empty() ? name : name + " " + mistake.command;
    std::cerr << command << ": " << cli::Printable(mistake.why) << "\n  next: " << command
              << " --help tells how\n";
}

int ParseAndRun(const char* name, AddCommands add_commands, int argc, char** argv) {
    CLI::App program;
    int status = kExitSuccess;
    // Before the commands are added, which take them over.
    program.name(name);
    program.require_subcommand(1);
    program.footer(kExitStatusHelp);
    cli::UseFittingHelp(program);
    add_commands(program, status);
    cli::FinishOptions(program);
    try {
        const std::vector<char*> words = cli::SeparateEmptyValues(argc, argv);
        program.parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return program.exit(error);  // --help
        }
        ReportUsage(program, name, error);
        return kExitUsage;
    }
    return status;
}

// What was printed may be all that tells of a change, such as a new key's number.
void RequireThatOutputWasWritten() {
    std::cout.flush();
    if (!std::cout) {
        throw Error(Code::kFail,
                    std::string("standard output cannot be written: ") + std::strerror(errno));
    }
}

}  // namespace

int RunProgram(const char* name, AddCommands add_commands, int argc, char** argv) {
    cli::OpenStandardDescriptors();
    int status = kExitSuccess;
    const int failure = RunCommand(name, [&] {
        status = ParseAndRun(name, add_commands, argc, argv);
        if (status == kExitSuccess) {
            RequireThatOutputWasWritten();
        }
    });
    return failure == kExitSuccess ? status : failure;
}

}  // namespace softkey::tools
