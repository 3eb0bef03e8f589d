#include "base/process_lock.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <mutex>

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

// Clients call as late as from exit handlers that run after OpenSSL's own has cleared it away, so
// that one must not be registered. Only the first initialisation in a process decides about it.
__attribute__((constructor)) void PrepareProcess() {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    pthread_atfork(Take, Release, Release);
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

}  // namespace softkey
