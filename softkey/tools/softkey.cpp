// softkey: makes, plugs, unplugs and disturbs software keys.
#include "tools/key_commands.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

void AddAll(cli::Command& program) {
    program.Describe(
        "Software keys: USB keys without the hardware.\n\n"
        "  softkey new --label Alice      make a key (asks for a PIN); prints its serial number\n"
        "  softkey plug SERIAL            plug it in\n"
        "  with-softkey ukeyctl info      what a client sees of it; with-softkey runs any client "
        "as if the key and its libraries were installed\n"
        "  softkey show SERIAL            what it holds\n"
        "  softkey unplug SERIAL          and out again\n\n"
        "Where nobody is there to type a PIN, e.g. in tests:\n\n"
        "  (umask 077; echo 12345678 > pin)\n"
        "  softkey new --pin-file pin\n"
        "  softkey plug SERIAL --pin-file pin\n\n"
        "softca issues certificates for the requests that clients make.\n"
        "Each command has a --help of its own.\n"
        "Keys live in $ORVAL_SOFTKEY_HOME, else $XDG_DATA_HOME/orval-softkey, else "
        "~/.local/share/orval-softkey.");
    AddNew(program);
    AddList(program);
    AddPlug(program);
    AddUnplug(program);
    AddShow(program);
    AddPin(program);
    AddFault(program);
    AddRun(program);
    AddTrace(program);
    AddReset(program);
    AddDelete(program);
    AddUnlock(program);
    AddImport(program);
    AddClone(program);
    AddBackup(program);
    AddRestore(program);
}

}  // namespace
}  // namespace softkey::tools

int main(int argc, char** argv) {
    return softkey::tools::RunProgram(cli::kSoftkey, "softkey", softkey::tools::AddAll, argc, argv);
}
