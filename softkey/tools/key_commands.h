#ifndef SOFTKEY_TOOLS_KEY_COMMANDS_H
#define SOFTKEY_TOOLS_KEY_COMMANDS_H

#include <string>

#include "cli/command.h"
#include "store/key_store.h"

namespace softkey::tools {

inline constexpr char kDamagedRecord[] =
    "the record of what is plugged is damaged; no key counts as plugged";

// Each adds its command to the program.
// For completion: the keys that there are, all or those that are plugged or not.
enum class Which { kAll, kPlugged, kUnplugged };
cli::Source SerialNumbers(Which which);

// The number of a key that nobody has.
std::string FreshSerial();

// Keys from a seed and real keys do not share a home: one might be taken for the other. Throws
// Refusal.
void RequireFitsHome(Kind kind);

void AddNew(cli::Command& program);
void AddList(cli::Command& program);
void AddPlug(cli::Command& program);
void AddUnplug(cli::Command& program);
void AddShow(cli::Command& program);
void AddPin(cli::Command& program);
void AddFault(cli::Command& program);
void AddRun(cli::Command& program);
void AddTrace(cli::Command& program);
void AddReset(cli::Command& program);
void AddDelete(cli::Command& program);
void AddUnlock(cli::Command& program);
void AddClone(cli::Command& program);
void AddImport(cli::Command& program);
void AddBackup(cli::Command& program);
void AddRestore(cli::Command& program);

}  // namespace softkey::tools

#endif
