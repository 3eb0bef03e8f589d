#include "doctor/apart.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "cli/words.h"

namespace doctor {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kDone = "done";

void WriteAll(int pipe, const std::string& text) {
    size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(pipe, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            return;
        }
        written += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

// What the library under trial prints, reads or catches is none of ours.
void LeaveTheParent(int errors) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    for (int number = 1; number < NSIG; ++number) {
        std::signal(number, SIG_DFL);
    }
    const int null = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(stream == STDERR_FILENO && errors >= 0 ? errors : null, stream);
    }
}

[[noreturn]] void WorkAndEnd(const Work& work, int pipe) {
    LeaveTheParent(-1);
    const Teller tell(pipe);
    try {
        work(tell);
    } catch (const std::exception& error) {
        tell("threw", error.what());
    } catch (...) {
        tell("threw", "an exception of an unknown kind");
    }
    tell(kDone);
    _exit(0);
}

// A child and the near end of what it writes.
class Child {
 public:
    template <typename InChild>
    explicit Child(const InChild& in_child) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        process_ = fork();
        if (process_ == 0) {
            close(ends[0]);
            in_child(ends[1]);
        }
        close(ends[1]);
        pipe_ = ends[0];
        fcntl(pipe_, F_SETFL, O_NONBLOCK);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (pipe_ >= 0) {
            close(pipe_);
        }
    }

    bool IsStarted() const { return process_ > 0; }

    // Until it has ended, which its pipe need not tell: it may have children of its own. Past the
    // time it is killed.
    bool Await(Clock::time_point end) {
        while (Clock::now() < end) {
            pollfd waiting{pipe_, POLLIN, 0};
            const int ready = closed_ ? (usleep(10000), 0) : poll(&waiting, 1, 20);
            closed_ = closed_ || (ready > 0 && !Read());
            if (waitpid(process_, &status, WNOHANG) == process_) {
                Read();
                return true;
            }
        }
        Read();
        kill(process_, SIGKILL);
        waitpid(process_, &status, 0);
        return false;
    }

    std::string text;
    int status = 0;

 private:
    // False at the end.
    bool Read() {
        char chunk[65536];
        ssize_t count = 0;
        while ((count = read(pipe_, chunk, sizeof chunk)) > 0) {
            text.append(chunk, static_cast<size_t>(count));
        }
        return count < 0 && (errno == EAGAIN || errno == EINTR);
    }

    pid_t process_ = -1;
    int pipe_ = -1;
    bool closed_ = false;
};

template <typename InChild>
std::pair<Apart, std::string> Run(const InChild& in_child, std::chrono::milliseconds limit) {
    Apart apart;
    Child child(in_child);
    if (!child.IsStarted()) {
        apart.number = errno;
        return {apart, {}};
    }
    if (!child.Await(Clock::now() + limit)) {
        apart.end = Apart::End::kTimeLimit;
        apart.number = static_cast<int>((limit.count() + 999) / 1000);
    } else if (WIFSIGNALED(child.status)) {
        apart.end = Apart::End::kSignal;
        apart.number = WTERMSIG(child.status);
    } else {
        apart.end = Apart::End::kExit;
        apart.number = WEXITSTATUS(child.status);
    }
    return {apart, child.text};
}

// Name, zero byte, text, zero byte, and so on; the last may be cut.
void ReadTold(const std::string& text, Apart& apart) {
    size_t at = 0;
    while (at < text.size()) {
        const size_t name_end = text.find('\0', at);
        const size_t text_end =
            name_end == std::string::npos ? name_end : text.find('\0', name_end + 1);
        if (text_end == std::string::npos) {
            return;
        }
        apart.told.emplace_back(text.substr(at, name_end - at),
                                text.substr(name_end + 1, text_end - name_end - 1));
        at = text_end + 1;
    }
}

std::string OnOneLine(const std::string& text) {
    std::istringstream lines(text);
    std::string joined;
    for (std::string line; std::getline(lines, line);) {
        line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
        joined += (joined.empty() || line.empty() ? "" : "; ") + line;
    }
    return joined;
}

}  // namespace

void Teller::operator()(const std::string& name, const std::string& text) const {
    WriteAll(pipe_, name + '\0' + text + '\0');
}

bool Apart::Has(const std::string& name) const {
    return !All(name).empty();
}

std::string Apart::Last(const std::string& name) const {
    const std::vector<std::string> all = All(name);
    return all.empty() ? std::string() : all.back();
}

std::vector<std::string> Apart::All(const std::string& name) const {
    std::vector<std::string> all;
    for (const auto& [told_name, text] : told) {
        if (told_name == name) {
            all.push_back(text);
        }
    }
    return all;
}

std::string Apart::Ending() const {
    const std::string shown = std::to_string(number);
    switch (end) {
        case End::kDone:
            return cli::Say("came to its end");
        case End::kExit:
            return cli::Say("ended the process itself, with status {1}", shown);
        case End::kSignal:
            return cli::Say("was ended by signal {1} ({2})", shown, strsignal(number));
        case End::kTimeLimit:
            return cli::SayCount("did not come back within {1} second",
                                 "did not come back within {1} seconds",
                                 static_cast<uint64_t>(number));
        case End::kNotStarted:
            return cli::Say("could not be tried: {1}", cli::SayError(number));
    }
    return {};
}

Apart RunApart(const Work& work, std::chrono::milliseconds limit) {
    auto [apart, text] = Run([&work](int pipe) { WorkAndEnd(work, pipe); }, limit);
    ReadTold(text, apart);
    if (apart.end == Apart::End::kExit && apart.Has(kDone)) {
        apart.end = Apart::End::kDone;
    }
    return apart;
}

Apart RunProgram(const std::vector<std::string>& words, std::chrono::milliseconds limit) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const auto execute = [&arguments](int pipe) {
        LeaveTheParent(pipe);
        if (!cli::IsChinese()) {
            setenv("LC_ALL", "C", 1);  // what it says is told on
        }
        execvp(arguments[0], arguments.data());
        _exit(127);
    };
    auto [apart, text] = Run(execute, limit);
    apart.told.emplace_back("said", OnOneLine(cli::Decoded(text)));
    return apart;
}

std::string FindProgram(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "/usr/bin:/bin" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string candidate = (folder.empty() ? "." : folder) + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return {};
}

}  // namespace doctor
