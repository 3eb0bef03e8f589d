#include "application_directory.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace scripted {

namespace {

const std::string kDoubles = ORVAL_DOUBLES_DIRECTORY;  // NOLINT(cert-err58-cpp)

void LinkBackend(const std::string& target) {
    RemoveBackend();
    if (symlink(target.c_str(), maker::kBackendPath) != 0) {
        throw std::system_error(errno, std::generic_category(), maker::kBackendPath);
    }
}

}  // namespace

void UseBackend() {
    LinkBackend(kDoubles + "/libOrvalKPX.so");
}

void UseBackendWithout(const std::string& entry) {
    LinkBackend(kDoubles + "/without/" + entry + "/libOrvalKPX.so");
}

void RemoveBackend() {
    if (unlink(maker::kBackendPath) != 0 && errno != ENOENT) {
        throw std::system_error(errno, std::generic_category(), maker::kBackendPath);
    }
}

bool BackendIsLoaded() {
    void* handle = dlopen(maker::kBackendPath, RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) {
        return false;
    }
    dlclose(handle);
    return true;
}

}  // namespace scripted
