#ifndef ORVAL_TESTS_SUPPORT_LIBC_HOOKS_H
#define ORVAL_TESTS_SUPPORT_LIBC_HOOKS_H

#include <dirent.h>
#include <iconv.h>
#include <sys/time.h>

#include <cstdio>
#include <ctime>
#include <functional>

namespace scripted {

// Functions of the C library that the whole process calls through here, so that a test can watch
// them or make them fail:
//
//     Libc().opendir.replacement = [](const char*) -> DIR* { errno = EMFILE; return nullptr; };
template <typename Signature>
struct Hook {
    std::function<Signature> replacement = nullptr;
    Signature* real = nullptr;
};

struct LibcHooks {
    Hook<FILE*(const char*, const char*)> fopen;
    Hook<int(const char*)> remove;
    Hook<DIR*(const char*)> opendir;
    Hook<int(DIR*)> closedir;
    Hook<int(const timespec*, timespec*)> nanosleep;
    Hook<iconv_t(const char*, const char*)> iconv_open;
    Hook<int(iconv_t)> iconv_close;
    Hook<void*(const char*, int)> dlopen;
    Hook<int(void*)> dlclose;
    Hook<int(int)> toupper;
    Hook<void()> tzset;

    // What gettimeofday answers. Every moment of a test is this one, so that log records can be
    // compared byte for byte. It is 8 March, 23:05:03 and 4321 microseconds, UTC.
    timeval now = {1709939103, 4321};
};

LibcHooks& Libc();

}  // namespace scripted

#endif
