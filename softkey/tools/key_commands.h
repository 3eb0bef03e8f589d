#ifndef SOFTKEY_TOOLS_KEY_COMMANDS_H
#define SOFTKEY_TOOLS_KEY_COMMANDS_H

#include <CLI/CLI.hpp>

namespace softkey::tools {

// Each adds its command to the program. The exit status goes to `status`.
void AddNew(CLI::App& program, int& status);
void AddList(CLI::App& program, int& status);
void AddPlug(CLI::App& program, int& status);
void AddUnplug(CLI::App& program, int& status);
void AddShow(CLI::App& program, int& status);
void AddPin(CLI::App& program, int& status);
void AddFault(CLI::App& program, int& status);
void AddReset(CLI::App& program, int& status);
void AddDelete(CLI::App& program, int& status);
void AddBackup(CLI::App& program, int& status);
void AddRestore(CLI::App& program, int& status);

}  // namespace softkey::tools

#endif
