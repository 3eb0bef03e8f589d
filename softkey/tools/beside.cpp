#include "tools/beside.h"

#include <filesystem>

#include "cli/failure.h"
#include "cli/words.h"

namespace softkey::tools {
namespace {

namespace fs = std::filesystem;

fs::path Commands() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

// Installed, seen from the commands' folder; and the name in a checkout.
struct Places {
    const char* installed;
    const char* script;
};

constexpr Places kPlaces[] = {
    {"with-softkey", "with-softkey"},
    {SOFTKEY_LIBEXEC_FOLDER "/orval-softkey/scripted-pinentry", "scripted-pinentry"},
};

// A build lies somewhere in its checkout.
fs::path Scripts() {
    for (fs::path folder = Commands(); folder != folder.root_path();
         folder = folder.parent_path()) {
        if (fs::exists(folder / "CMakePresets.json") && fs::exists(folder / "scripts")) {
            return folder / "scripts";
        }
    }
    return {};
}

bool IsInstalled() {
    return fs::exists(Commands() / kPlaces[0].installed);
}

}  // namespace

std::string FindBeside(Beside which) {
    const Places& places = kPlaces[static_cast<size_t>(which)];
    const fs::path path = IsInstalled() ? Commands() / places.installed : Scripts() / places.script;
    if (!fs::exists(path)) {
        cli::Throw(cli::ExitStatus::kFile, cli::Say("{1} is missing", places.script),
                   "it is neither installed beside this command nor in its checkout",
                   "install the package orval-softkey again");
    }
    return fs::canonical(path).string();
}

std::string ThisBuild() {
    return IsInstalled() ? std::string() : Commands().parent_path().string();
}

}  // namespace softkey::tools
