#ifndef SOFTKEY_TOOLS_PROGRAM_H
#define SOFTKEY_TOOLS_PROGRAM_H

#include <CLI/CLI.hpp>

namespace softkey::tools {

// Adds a program's description and commands. A command that runs puts its exit status in `status`.
using AddCommands = void (*)(CLI::App& program, int& status);

// A program's whole main. Nothing leaves it but an exit status: what fails outside a command ends
// like a failed command.
int RunProgram(const char* name, AddCommands add_commands, int argc, char** argv);

}  // namespace softkey::tools

#endif
