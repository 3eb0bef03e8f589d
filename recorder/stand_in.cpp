#include "stand_in.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace recorder {

namespace {

const Engine* LoadEngine() {
    const char* const folder = std::getenv(kFolderVariable);
    const std::string path = std::string(folder == nullptr ? "" : folder) + "/" + kEngineFile;
    void* const handle = folder == nullptr ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const engine = handle == nullptr ? nullptr : dlsym(handle, kEngineSymbol);
    if (engine == nullptr) {
        const char* const why = folder == nullptr ? nullptr : dlerror();
        std::fprintf(stderr,
                     "ukeyctl: nothing is recorded or replayed in process %d\n  why:  %s\n"
                     "  next: keep the environment variable %s for the client\n",
                     static_cast<int>(getpid()), why != nullptr ? why : "the variable is not set",
                     kFolderVariable);
    }
    return static_cast<const Engine*>(engine);
}

}  // namespace

const Engine* TheEngine() {
    static const Engine* const engine = [] {
        const int kept = errno;
        const Engine* const loaded = LoadEngine();
        errno = kept;
        return loaded;
    }();
    return engine;
}

}  // namespace recorder
