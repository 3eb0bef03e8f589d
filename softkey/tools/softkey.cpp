// softkey: makes, plugs, unplugs and disturbs software keys.
#include "core/home.h"
#include "tools/console.h"
#include "tools/key_commands.h"

int main(int argc, char** argv) {
    using namespace softkey::tools;  // NOLINT(google-build-using-namespace): the commands
    CLI::App program(
        "Software keys: USB keys without the hardware.\n\n"
        "  softkey new --label Alice      make a key (asks for a PIN); prints its serial number\n"
        "  softkey plug SERIAL            plug it in; clients now see it\n"
        "  softkey show SERIAL            what it holds\n"
        "  softkey unplug SERIAL          and out again\n\n"
        "Where nobody is there to type a PIN, e.g. in tests:\n\n"
        "  printf '12345678\\n' > pin; chmod 600 pin\n"
        "  softkey new --pin-file pin\n"
        "  softkey plug SERIAL --pin-file pin\n\n"
        "Each command has a --help of its own.\n"
        "Keys live in $ORVAL_SOFTKEY_HOME, else $XDG_DATA_HOME/orval-softkey, else\n"
        "~/.local/share/orval-softkey.");
    program.require_subcommand(1);
    program.footer(kExitStatusHelp);
    int status = kExitSuccess;
    AddNew(program, status);
    AddList(program, status);
    AddPlug(program, status);
    AddUnplug(program, status);
    AddShow(program, status);
    AddPin(program, status);
    AddFault(program, status);
    AddReset(program, status);
    AddDelete(program, status);
    AddBackup(program, status);
    AddRestore(program, status);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? kExitSuccess : kExitUsage;
    }
    return status;
}
