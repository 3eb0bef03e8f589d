#include "libc_hooks.h"

#include <dlfcn.h>

#include <cctype>
#include <utility>

namespace scripted {

namespace {

template <typename Signature>
void FindReal(Hook<Signature>& hook, const char* name) {
    hook.real = reinterpret_cast<Signature*>(dlsym(RTLD_NEXT, name));
}

LibcHooks* NewHooks() {
    auto* hooks = new LibcHooks{};
    FindReal(hooks->fopen, "fopen");
    FindReal(hooks->remove, "remove");
    FindReal(hooks->opendir, "opendir");
    FindReal(hooks->closedir, "closedir");
    FindReal(hooks->nanosleep, "nanosleep");
    FindReal(hooks->iconv_open, "iconv_open");
    FindReal(hooks->iconv_close, "iconv_close");
    FindReal(hooks->dlopen, "dlopen");
    FindReal(hooks->dlclose, "dlclose");
    FindReal(hooks->toupper, "toupper");
    FindReal(hooks->tzset, "tzset");
    return hooks;
}

template <typename Result, typename... Parameters, typename... Arguments>
Result Run(const Hook<Result(Parameters...)>& hook, Arguments... arguments) {
    return hook.replacement ? hook.replacement(arguments...) : hook.real(arguments...);
}

}  // namespace

LibcHooks& Libc() {
    static LibcHooks* hooks = NewHooks();
    return *hooks;
}

}  // namespace scripted

using scripted::Libc;
using scripted::Run;

#define ORVAL_INTERPOSED __attribute__((visibility("default")))

extern "C" {

ORVAL_INTERPOSED FILE* fopen(const char* path, const char* mode) {
    return Run(Libc().fopen, path, mode);
}

ORVAL_INTERPOSED int remove(const char* path) noexcept {
    return Run(Libc().remove, path);
}

ORVAL_INTERPOSED DIR* opendir(const char* path) {
    return Run(Libc().opendir, path);
}

ORVAL_INTERPOSED int closedir(DIR* directory) {
    return Run(Libc().closedir, directory);
}

ORVAL_INTERPOSED int nanosleep(const timespec* request, timespec* remainder) {
    return Run(Libc().nanosleep, request, remainder);
}

ORVAL_INTERPOSED iconv_t iconv_open(const char* to, const char* from) {
    return Run(Libc().iconv_open, to, from);
}

ORVAL_INTERPOSED int iconv_close(iconv_t descriptor) {
    return Run(Libc().iconv_close, descriptor);
}

ORVAL_INTERPOSED void* dlopen(const char* path, int mode) noexcept {
    return Run(Libc().dlopen, path, mode);
}

ORVAL_INTERPOSED int dlclose(void* handle) noexcept {
    return Run(Libc().dlclose, handle);
}

ORVAL_INTERPOSED int toupper(int c) noexcept {
    return Run(Libc().toupper, c);
}

ORVAL_INTERPOSED void tzset() noexcept {
    Run(Libc().tzset);
}

ORVAL_INTERPOSED int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    *time = Libc().now;
    return 0;
}

}  // extern "C"
