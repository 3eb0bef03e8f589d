#include "base/process_lock.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <mutex>
#include <vector>

namespace softkey {
namespace {

std::mutex process_mutex;
thread_local int times_held = 0;

void Take() {
    if (times_held++ == 0) {
        process_mutex.lock();
    }
}

void Release() {
    if (--times_held == 0) {
        process_mutex.unlock();
    }
}

using Drops = std::vector<std::function<void()>>;

Drops& DropsOfThisProcess() {
    // Never destroyed: clients fork as late as in exit handlers.
    static auto* const drops = new Drops;
    return *drops;
}

void PrepareFork() {
    // A signal handler that forks amid a call may not take from it what it works with.
    const bool between_calls = times_held == 0;
    Take();
    if (between_calls) {
        for (const auto& drop : DropsOfThisProcess()) {
            drop();
        }
    }
}

// Clients call as late as from exit handlers that run after OpenSSL's own has cleared it away, so
// that one must not be registered. Only the first initialisation in a process decides about it.
__attribute__((constructor)) void PrepareProcess() {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    pthread_atfork(PrepareFork, Release, Release);
}

}  // namespace

ProcessLock::ProcessLock() {
    Take();
}

ProcessLock::~ProcessLock() {
    if (held_) {
        Release();
    }
}

void DropBeforeFork(std::function<void()> drop) {
    const ProcessLock lock;
    DropsOfThisProcess().push_back(std::move(drop));
}

}  // namespace softkey
