#include "tools/program.h"

#include "tools/console.h"

namespace softkey::tools {
namespace {

int ParseAndRun(AddCommands add_commands, int argc, char** argv) {
    CLI::App program;
    int status = kExitSuccess;
    // Before the commands are added, which take them over.
    program.require_subcommand(1);
    program.footer(kExitStatusHelp);
    add_commands(program, status);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? kExitSuccess : kExitUsage;
    }
    return status;
}

}  // namespace

int RunProgram(const char* name, AddCommands add_commands, int argc, char** argv) {
    int status = kExitSuccess;
    const int failure = RunCommand(name, [&] { status = ParseAndRun(add_commands, argc, argv); });
    return failure == kExitSuccess ? status : failure;
}

}  // namespace softkey::tools
