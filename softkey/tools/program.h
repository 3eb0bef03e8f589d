#ifndef SOFTKEY_TOOLS_PROGRAM_H
#define SOFTKEY_TOOLS_PROGRAM_H

#include <functional>

#include "cli/command.h"

namespace softkey::tools {

// Adds a program's description and commands.
using AddCommands = void (*)(cli::Command& program);

// The work of a command that ends well unless it throws.
cli::Work Doing(std::function<void()> work);

// A program's whole main. Nothing leaves it but an exit status: what fails outside a command ends
// like a failed command.
int RunProgram(cli::Commands program, const char* name, AddCommands add_commands, int argc,
               char** argv);

}  // namespace softkey::tools

#endif
