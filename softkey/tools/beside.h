#ifndef SOFTKEY_TOOLS_BESIDE_H
#define SOFTKEY_TOOLS_BESIDE_H

#include <string>

namespace softkey::tools {

// Programs that are built or installed together with the commands.
enum class Beside { kWithSoftkey, kScriptedPinentry };

// Where it is: among what is installed with this command, or among the scripts of the checkout that
// it was built in. Throws a failure where it is in neither.
std::string FindBeside(Beside which);

// The build in which this command is, to be named to with-softkey; empty where it is installed.
std::string ThisBuild();

}  // namespace softkey::tools

#endif
