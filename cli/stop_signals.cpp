#include "stop_signals.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <system_error>

namespace cli {
namespace {

volatile std::sig_atomic_t stop_signal = 0;

// Wakes whoever polls, also when the signal comes just before.
int wakening_pipe[2] = {-1, -1};

// One wish to stop may come twice: timeout(1) signals its command and then the group that it is in.
constexpr long kSameWish = 500;  // milliseconds
volatile long first_came = 0;

long MillisecondsNow() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000L + now.tv_nsec / 1000000L;
}

void Note(int number) {
    const int error = errno;
    if (stop_signal == 0) {
        first_came = MillisecondsNow();
        stop_signal = number;
        static_cast<void>(!write(wakening_pipe[1], "", 1));
    } else if (MillisecondsNow() - first_came >= kSameWish) {
        std::signal(number, SIG_DFL);
        std::raise(number);  // comes when the handler returns
    }
    errno = error;
}

int Milliseconds(const Deadline& deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX));
}

}  // namespace

void CatchStopSignals() {
    if (wakening_pipe[0] >= 0) {
        return;
    }
    if (pipe2(wakening_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    for (const int number : {SIGINT, SIGTERM}) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {
            struct sigaction action = {};
            action.sa_handler = Note;
            sigaction(number, &action, nullptr);
        }
    }
}

int StopSignal() {
    return stop_signal;
}

Wakening AwaitReadable(int descriptor, const Deadline& deadline) {
    for (;;) {
        if (StopSignal() != 0) {
            return Wakening::kSignal;
        }
        pollfd waiting[] = {{descriptor, POLLIN, 0}, {wakening_pipe[0], POLLIN, 0}};
        const int ready = poll(waiting, 2, Milliseconds(deadline));
        if (ready < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (ready > 0 && waiting[0].revents != 0) {
            return Wakening::kReadable;
        }
        if (deadline && std::chrono::steady_clock::now() >= *deadline) {
            return Wakening::kTime;
        }
    }
}

}  // namespace cli
