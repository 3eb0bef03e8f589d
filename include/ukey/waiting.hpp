// Part of ukey.hpp: which thread waits for keys, beside which nobody may call the product.
#ifndef ORVAL_UKEY_WAITING_HPP
#define ORVAL_UKEY_WAITING_HPP

#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace ukey::detail {

// One for the process, since what is behind the product is one: the key's libraries.
struct Waiting {
    // The process whose thread waits; 0: nobody waits. A child of a fork has its parent's number
    // here and no such thread.
    std::atomic<pid_t> process{0};
    // That thread, once it has begun.
    std::atomic<std::thread::id> thread{std::thread::id()};

    static Waiting& Instance() noexcept {
        static Waiting instance;
        return instance;
    }
};

// Whether another thread than this one waits.
inline bool IsWaitedBeside() noexcept {
    const Waiting& waiting = Waiting::Instance();
    const pid_t process = waiting.process;
    return process != 0 && process == getpid() && waiting.thread != std::this_thread::get_id();
}

}  // namespace ukey::detail

#endif
