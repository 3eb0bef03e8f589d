#include "tools/program.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include "core/error.h"
#include "terminal/arguments.h"
#include "terminal/standard_descriptors.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

// The command that was being read when the words made no sense.
std::string CommandRead(const CLI::App& program, const std::string& name) {
    const std::vector<const CLI::App*> commands =
        program.get_subcommands([](const CLI::App* command) { return command->parsed(); });
    return commands.empty() ? name : name + " " + commands.front()->get_name();
}

void ReportUsage(const CLI::App& program, const std::string& name, const CLI::ParseError& error) {
    const std::string command = CommandRead(program, name);
    // Without a command, a word that stands in its place is what the user should hear of.
    const std::vector<std::string> unknown = program.remaining();
    const std::string what = command == name && !unknown.empty()
                                 ? "there is no command " + unknown.front()
                                 : error.what();
    std::cerr << command << ": " << what << "\n  next: " << command << " --help tells how\n";
}

int ParseAndRun(const char* name, AddCommands add_commands, int argc, char** argv) {
    CLI::App program;
    int status = kExitSuccess;
    // Before the commands are added, which take them over.
    program.require_subcommand(1);
    program.footer(kExitStatusHelp);
    add_commands(program, status);
    try {
        const std::vector<char*> words = terminal::SeparateEmptyValues(argc, argv);
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
    terminal::OpenStandardDescriptors();
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
