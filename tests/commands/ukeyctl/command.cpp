#include "command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "hold_json.h"

namespace {

// A file of this process for one stream of the command.
std::string StreamFile(const std::string& name) {
    return testing::TempDir() + "ukeyctl_test." + std::to_string(getpid()) + "." + name;
}

void Redirect(const std::string& path, int descriptor, int flags) {
    const int file = open(path.c_str(), flags, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) {
        _exit(127);
    }
    close(file);
}

// A program for another machine needs the emulator that the tests themselves run under.
std::vector<std::string> Prefix() {
    const std::string emulator = UKEYCTL_EMULATOR;
    return emulator.empty() ? std::vector<std::string>{} : std::vector<std::string>{emulator};
}

// The near end of a terminal that shows what it is given, byte for byte.
int OpenTerminal(unsigned short columns) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    winsize size{};
    size.ws_row = 24;
    size.ws_col = columns;
    const bool opened = terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0 &&
                        tcgetattr(terminal, &settings) == 0;
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    if (!opened || tcsetattr(terminal, TCSANOW, &settings) != 0 ||
        ioctl(terminal, TIOCSWINSZ, &size) != 0) {
        throw std::runtime_error("no terminal can be had");
    }
    return terminal;
}

// Until nobody has the far end open any more, which a terminal tells by an error.
std::string ReadTerminal(int terminal) {
    std::string shown;
    char chunk[4096];
    for (ssize_t count = 0; (count = read(terminal, chunk, sizeof chunk)) > 0;) {
        shown.append(chunk, static_cast<size_t>(count));
    }
    close(terminal);
    return shown;
}

[[noreturn]] void Execute(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

// What stands behind "--" is another command's.
bool AskForJson(const std::vector<std::string>& words) {
    const auto end = std::find(words.begin(), words.end(), "--");
    return std::find(words.begin(), end, "--json") != end;
}

}  // namespace

nlohmann::json Outcome::Json() const {
    return nlohmann::json::parse(out);
}

Command& Command::With(const std::string& variable, const std::string& value) {
    environment_[variable] = value;
    return *this;
}

Command& Command::Reads(const std::string& input) {
    input_ = input;
    return *this;
}

Command& Command::WritesTo(const std::string& path) {
    output_ = path;
    return *this;
}

Command& Command::Under(std::vector<std::string> words) {
    runner_ = std::move(words);
    return *this;
}

Command& Command::Closes(int descriptor) {
    closed_.push_back(descriptor);
    return *this;
}

Command& Command::OnTerminal(unsigned short columns) {
    columns_ = columns;
    return *this;
}

Command& Command::ComplainsToTerminal() {
    err_is_terminal_ = true;
    return OnTerminal(80);
}

Command& Command::IsTyped(const std::string& text) {
    typed_ = text;
    return ComplainsToTerminal();
}

Command& Command::Meanwhile(std::function<void(pid_t)> action) {
    meanwhile_ = std::move(action);
    return *this;
}

void Command::RedirectStreams(const std::string& in, const std::string& out,
                              const std::string& err) const {
    if (!typed_) {
        Redirect(in, STDIN_FILENO, O_RDONLY);
    }
    if (!err_is_terminal_) {
        Redirect(err, STDERR_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    }
    if (columns_ == 0 || err_is_terminal_) {
        Redirect(output_.empty() ? out : output_, STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    }
}

Outcome Command::Run() const {
    const std::string in = StreamFile("in");
    const std::string out = StreamFile("out");
    const std::string err = StreamFile("err");
    MakeFile(in, input_);
    std::vector<std::string> words = runner_;
    for (const std::string& word : Prefix()) {
        words.push_back(word);
    }
    words.emplace_back(UKEYCTL_PATH);
    words.insert(words.end(), words_.begin(), words_.end());
    const int terminal = columns_ == 0 ? -1 : OpenTerminal(columns_);
    if (typed_ &&
        write(terminal, typed_->data(), typed_->size()) != static_cast<ssize_t>(typed_->size())) {
        throw std::runtime_error("nothing can be typed");
    }
    const pid_t child = fork();
    if (child == 0) {
        for (const auto& [variable, value] : environment_) {
            setenv(variable.c_str(), value.c_str(), 1);
        }
        if (terminal >= 0) {
            Redirect(ptsname(terminal), err_is_terminal_ ? STDERR_FILENO : STDOUT_FILENO,
                     O_WRONLY | O_NOCTTY);
            if (typed_) {
                Redirect(ptsname(terminal), STDIN_FILENO, O_RDONLY | O_NOCTTY);
            }
        }
        RedirectStreams(in, out, err);
        for (const int descriptor : closed_) {
            close(descriptor);
        }
        Execute(words);
    }
    if (meanwhile_) {
        meanwhile_(child);
    }
    const std::string shown = terminal < 0 ? std::string() : ReadTerminal(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    const bool out_is_terminal = terminal >= 0 && !err_is_terminal_;
    Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                    out_is_terminal ? shown : FileContents(out),
                    err_is_terminal_ ? shown : FileContents(err)};
    for (const std::string& path : {in, out, err}) {
        unlink(path.c_str());
    }
    if (AskForJson(words_)) {
        HoldJson("ukeyctl", outcome.out);
    }
    return outcome;
}

std::string FileContents(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

void MakeFile(const std::string& path, const std::string& contents) {
    std::ofstream(path) << contents;
}
