#ifndef SOFTKEY_TOOLS_KEY_COMMANDS_H
#define SOFTKEY_TOOLS_KEY_COMMANDS_H

#include "cli/command.h"

namespace softkey::tools {

// Each adds its command to the program.
// For completion: the keys that there are, all or those that are plugged or not.
enum class Which { kAll, kPlugged, kUnplugged };
cli::Source SerialNumbers(Which which);

void AddNew(cli::Command& program);
void AddList(cli::Command& program);
void AddPlug(cli::Command& program);
void AddUnplug(cli::Command& program);
void AddShow(cli::Command& program);
void AddPin(cli::Command& program);
void AddFault(cli::Command& program);
void AddRun(cli::Command& program);
void AddReset(cli::Command& program);
void AddDelete(cli::Command& program);
void AddBackup(cli::Command& program);
void AddRestore(cli::Command& program);

}  // namespace softkey::tools

#endif
