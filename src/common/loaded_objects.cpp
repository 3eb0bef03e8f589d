#include "common/loaded_objects.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <atomic>
#include <cstring>

namespace orval {
namespace {

bool IsSameFile(const char* one, const char* other) {
    struct stat first = {};
    struct stat second = {};
    return stat(one, &first) == 0 && stat(other, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

}  // namespace

bool LiesInObjectFrom(const char* path, const void* address) {
    // The loader keeps the name under which an object was opened first, links unresolved. The file
    // itself is looked at last: it may have been replaced since, under a loaded object.
    Dl_info object = {};
    return dladdr(address, &object) != 0 &&
           (std::strcmp(object.dli_fname, path) == 0 || IsSameFile(object.dli_fname, path));
}

void StayLoaded() {
    // Once is enough, and asking the loader again could stop a wait that nothing else stops: while
    // it closes a client's plug-in it lets nobody else in, and the plug-in may be about to join the
    // waiting thread.
    static std::atomic<bool> stays{false};
    if (stays) {
        return;
    }
    // The loader's own name for this object finds it whatever the file system has under that name
    // by now: names are compared before files are opened.
    Dl_info self = {};
    if (dladdr(reinterpret_cast<const void*>(&StayLoaded), &self) != 0) {
        stays = dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
    }
}

}  // namespace orval
