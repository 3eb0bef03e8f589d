#include "scenario/client.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

namespace softkey::scenario {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenLooks{10};
// What a client has to end by itself once it was told to.
constexpr std::chrono::seconds kGrace{3};
constexpr int kSignals[] = {SIGCHLD, SIGINT, SIGTERM, SIGHUP};
constexpr int kNotFound = 127;
constexpr int kNotRunnable = 126;

sigset_t Watched() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : kSignals) {
        sigaddset(&set, number);
    }
    return set;
}

[[noreturn]] void Execute(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(errno == ENOENT ? kNotFound : kNotRunnable);
}

// The next signal within the pause, or nothing.
int NextSignal() {
    const sigset_t watched = Watched();
    const timespec pause = {0, std::chrono::nanoseconds(kBetweenLooks).count()};
    return sigtimedwait(&watched, nullptr, &pause);
}

}  // namespace

HeldSignals::HeldSignals() {
    const sigset_t watched = Watched();
    sigprocmask(SIG_BLOCK, &watched, &before_);
}

HeldSignals::~HeldSignals() {
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

Client::Client(const HeldSignals& signals) : signals_(signals) {
    // What the client leaves behind comes to this process, which can end it.
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
}

Client::~Client() {
    EndAll();
}

void Client::Start(const std::vector<std::string>& command) {
    process_ = fork();
    if (process_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        sigprocmask(SIG_SETMASK, &signals_.Before(), nullptr);
        Execute(command);
    }
}

bool Client::HasEnded(Ending& ending) {
    int status = 0;
    for (pid_t ended = 0; (ended = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (ended != process_) {
            continue;  // something that the client had started
        }
        ending.signalled = WIFSIGNALED(status);
        ending.number = ending.signalled ? WTERMSIG(status) : WEXITSTATUS(status);
        process_ = -1;
    }
    return process_ < 0;
}

void Client::Interrupt(int signal, Ending& ending) {
    ending.interrupted_by = signal;
    kill(process_, signal);
}

Ending Client::Wait(std::optional<std::chrono::milliseconds> time,
                    const std::function<void()>& look) {
    Ending ending;
    auto end = time ? Clock::now() + *time : Clock::time_point::max();
    while (!HasEnded(ending)) {
        const int signal = NextSignal();
        if (signal > 0 && signal != SIGCHLD) {
            Interrupt(signal, ending);
            end = Clock::now() + kGrace;
        }
        if (Clock::now() >= end) {
            ending.out_of_time = ending.interrupted_by == 0;
            EndAll();
            ending.signalled = true;
            ending.number = SIGKILL;
            return ending;
        }
        look();
    }
    return ending;
}

// Children of those that are ended become this process's own, so it looks until there are none.
void Client::EndAll() {
    const std::string list = "/proc/self/task/" + std::to_string(getpid()) + "/children";
    for (;;) {
        if (process_ > 0) {
            kill(process_, SIGKILL);
        }
        std::ifstream children(list);
        for (pid_t child = 0; children >> child;) {
            kill(child, SIGKILL);
        }
        if (waitpid(-1, nullptr, 0) < 0 && errno == ECHILD) {
            break;
        }
    }
    process_ = -1;
}

}  // namespace softkey::scenario
