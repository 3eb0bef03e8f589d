#include "key_watch.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <system_error>

#include "cli/failure.h"
#include "cli/stop_signals.h"
#include "cli/words.h"

namespace {

using Kind = ukey::KeyEvent::Kind;
using Milliseconds = std::chrono::milliseconds;

constexpr const char* kWaitFunction = "WaitForKeyEvent";

// What passes through the pipe, each in one piece.
struct Message {
    Kind kind;  // kOther: the wait has failed, with the code
    int32_t code;
    int64_t time;  // milliseconds
    char serial_number[256];
};
static_assert(sizeof(Message) <= PIPE_BUF);

Message MessageOf(Kind kind, int32_t code, const std::string& serial_number) {
    Message message{};
    message.kind = kind;
    message.code = code;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    message.time = std::chrono::duration_cast<Milliseconds>(now).count();
    serial_number.copy(message.serial_number, sizeof message.serial_number - 1);
    return message;
}

bool Send(int pipe, const Message& message) {
    const ssize_t written = TEMP_FAILURE_RETRY(write(pipe, &message, sizeof message));
    return written == static_cast<ssize_t>(sizeof message);
}

// Whether somebody still listens.
bool TellNext(int pipe, const ukey::Library& library) {
    const ukey::KeyEvent event = library.WaitForKeyEvent();
    const bool concerns_a_key = event.kind == Kind::kInserted || event.kind == Kind::kRemoved;
    return !concerns_a_key || Send(pipe, MessageOf(event.kind, event.code, event.serial_number));
}

[[noreturn]] void WaitForEver(int pipe, const std::string& library_path) {
    try {
        const ukey::Library library(library_path);
        while (TellNext(pipe, library)) {
        }
    } catch (const ukey::Error& error) {
        Send(pipe, MessageOf(Kind::kOther, error.Code(), {}));
    } catch (const std::exception&) {
        // The process that asked will see what is wrong when it loads the library itself.
    }
    _exit(0);
}

// Ends when the process does that asked, and only then: Ctrl-C reaches both.
void LeaveSignalsTo(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(0);
    }
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGPIPE, SIG_IGN);
}

[[noreturn]] void ThrowEnded(int status) {
    cli::Throw(cli::ExitStatus::kFailed, "the wait for keys has ended",
               WIFSIGNALED(status)
                   ? cli::Say("the process that waited was ended by signal {1} ({2})",
                              WTERMSIG(status), strsignal(WTERMSIG(status)))
                   : "the library ended the process that waited",
               "'ukeyctl doctor' looks at what is installed");
}

}  // namespace

KeyWatch::KeyWatch(const std::string& library_path) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ == 0) {
        LeaveSignalsTo(parent);
        close(ends[0]);
        WaitForEver(ends[1], library_path);
    }
    const int error = errno;
    close(ends[1]);
    pipe_ = ends[0];
    if (process_ < 0) {
        close(pipe_);
        throw std::system_error(error, std::generic_category(), "fork");
    }
}

KeyWatch::~KeyWatch() {
    close(pipe_);
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

std::optional<KeyWatch::Event> KeyWatch::Next() {
    if (cli::AwaitReadable(pipe_, std::nullopt) == cli::Wakening::kSignal) {
        return std::nullopt;
    }
    Message message{};
    const ssize_t received = TEMP_FAILURE_RETRY(read(pipe_, &message, sizeof message));
    if (received < 0) {
        throw std::system_error(errno, std::generic_category(), "read");
    }
    if (received != static_cast<ssize_t>(sizeof message)) {
        int status = 0;
        TEMP_FAILURE_RETRY(waitpid(process_, &status, 0));
        process_ = -1;
        ThrowEnded(status);
    }
    if (message.kind == Kind::kOther) {
        throw ukey::Error(kWaitFunction, message.code);
    }
    return Event{{message.kind, message.serial_number, message.code},
                 std::chrono::system_clock::time_point(Milliseconds(message.time))};
}
