#include <algorithm>
#include <string>
#include <vector>

#include "call/frame.h"
#include "maker/places.h"

namespace {

constexpr const char* kInstallationPath = ORVAL_APPLICATION_DIRECTORY "/";
constexpr int32_t kCheckDirectory = 1;

// Looks each name up in the listing itself, not among the files that an installation should have:
// a directory that can be read passes, whatever it holds. Clients rely on it, because they run
// with partial installations.
void CheckListing(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            G_LastError = ORVAL_UNSUPPORTED;
        }
    }
}

}  // namespace

int32_t CheckDriverIntegrity(int32_t mode) {
    OpenCall();
    if (mode != kCheckDirectory) {
        return Finish(ORVAL_UNSUPPORTED);
    }
    std::vector<std::string> names;
    if (ORVAL_ComFunc.find_dir_file(kInstallationPath, names) != ORVAL_OK) {
        return Finish(ORVAL_UNSUPPORTED);
    }
    CheckListing(names);
    return G_LastError;
}
