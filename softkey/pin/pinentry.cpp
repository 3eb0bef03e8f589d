#include "pin/pinentry.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

#include "base/encoding.h"
#include "base/error.h"

namespace softkey {
namespace {

constexpr const char* kPrograms[] = {"pinentry",        "pinentry-gnome3", "pinentry-gtk-2",
                                     "pinentry-qt",     "pinentry-qt5",    "pinentry-x11",
                                     "pinentry-curses", "pinentry-tty"};

// The lower half of gpg-error numbers, as pinentry answers them.
constexpr unsigned kErrorCodeMask = 0xFFFF;
constexpr unsigned kErrorCanceled = 99;
constexpr unsigned kErrorNotConfirmed = 114;
constexpr unsigned kErrorTimeout = 62;
constexpr unsigned kErrorFullyCanceled = 198;
// With this bit, the rest is an errno: that of the terminal or screen which cannot be had.
constexpr unsigned kErrorOfSystem = 0x8000;
constexpr size_t kLongestAnswer = 4096;

std::string FindProgram() {
    const char* const chosen = std::getenv("ORVAL_SOFTKEY_PINENTRY");
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    const char* const path = std::getenv("PATH");
    const auto folders = Split(path == nullptr ? "/usr/bin:/bin" : path, ":");
    for (const char* const program : kPrograms) {
        for (const std::string& folder : folders) {
            std::string candidate = folder + "/" + program;
            if (!folder.empty() && access(candidate.c_str(), X_OK) == 0) {
                return candidate;
            }
        }
    }
    throw Error(Code::kNoDialog, "no pinentry program is installed");
}

std::string Escaped(std::string_view text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '%' || byte < 0x20) {
            result += '%';
            result += kDigits[byte >> 4];
            result += kDigits[byte & 15];
        } else {
            result += c;
        }
    }
    return result;
}

SecretBytes Unescaped(const SecretBytes& text, size_t begin) {
    SecretBytes result;
    for (size_t i = begin; i < text.size(); ++i) {
        if (text[i] != '%' || i + 2 >= text.size()) {
            result.push_back(text[i]);
            continue;
        }
        const char digits[] = {static_cast<char>(text[i + 1]), static_cast<char>(text[i + 2])};
        const auto byte = FromHex({digits, 2});
        Require(byte.has_value(), Code::kDialogFailed, "pinentry answered with a broken escape");
        result.push_back(byte->front());
        i += 2;
    }
    return result;
}

// UTF-8 goes on with such a byte.
bool Continues(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

bool StartsWith(const SecretBytes& line, std::string_view prefix) {
    return line.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), line.begin());
}

// What it means that a dialog ended with the line `text`.
[[noreturn]] void NotAnswered(const std::string& text) {
    const unsigned long number = std::strtoul(text.c_str() + sizeof "ERR" - 1, nullptr, 10);
    switch (number & kErrorCodeMask) {
        case kErrorCanceled:
        case kErrorFullyCanceled:
        case kErrorTimeout:
            throw Error(Code::kCancelled, "the dialog was cancelled");
        case kErrorNotConfirmed:
            throw Error(Code::kNotConfirmed, "the dialog was not confirmed");
        default:
            throw Error((number & kErrorOfSystem) != 0 ? Code::kNoDialog : Code::kDialogFailed,
                        "pinentry: " + text);
    }
}

}  // namespace

Pinentry::Pinentry() {
    Start(FindProgram());
    try {
        // The greeting has the form of an answer.
        Require(!Receive().refusal, Code::kDialogFailed, "pinentry refused to begin");
        TellTerminal();
    } catch (const Error&) {
        close(channel_);
        int status = 0;
        waitpid(process_, &status, 0);
        // So ends a child that found no program, where the system does not report it at the start.
        constexpr int kNotStarted = 127;
        Require(!WIFEXITED(status) || WEXITSTATUS(status) != kNotStarted, Code::kNoDialog,
                "pinentry cannot be started");
        throw;
    }
}

Pinentry::~Pinentry() {
    // Its input ends, and so does the program.
    close(channel_);
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void Pinentry::Start(const std::string& program) {
    int ends[2];
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, Code::kNoDialog,
            "no connection for pinentry");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::string name = program;
    char* const arguments[] = {name.data(), nullptr};
    const int failure =
        posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    channel_ = ends[0];
    if (failure == 0) {
        return;
    }
    close(channel_);
    throw Error(Code::kNoDialog, "cannot start " + program);
}

void Pinentry::TellTerminal() {
    char terminal[256];
    if (ttyname_r(STDIN_FILENO, terminal, sizeof terminal) == 0 ||
        ttyname_r(STDERR_FILENO, terminal, sizeof terminal) == 0) {
        Tell("OPTION ttyname=" + std::string(terminal));
    } else if (access("/dev/tty", R_OK | W_OK) == 0) {
        Tell("OPTION ttyname=/dev/tty");
    }
    const char* const type = std::getenv("TERM");
    if (type != nullptr && *type != '\0') {
        Tell("OPTION ttytype=" + std::string(type));
    }
    Tell("OPTION lc-ctype=C.UTF-8");
}

void Pinentry::Send(std::string_view line) {
    const std::string text = std::string(line) + "\n";
    Require(text.size() <= kLongestLine && line.find('\n') == std::string_view::npos,
            Code::kDialogFailed, "a text does not fit into a line for pinentry");
    size_t sent = 0;
    while (sent < text.size()) {
        // A pinentry that died must not kill the client with a signal.
        const ssize_t count = send(channel_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        Require(count > 0, Code::kDialogFailed, "pinentry has ended");
        sent += static_cast<size_t>(count);
    }
}

SecretBytes Pinentry::ReceiveLine() {
    for (;;) {
        const auto end = std::find(received_.begin(), received_.end(), '\n');
        if (end != received_.end()) {
            SecretBytes line(received_.begin(), end);
            received_.erase(received_.begin(), end + 1);
            return line;
        }
        SecretBytes chunk(kLongestAnswer);
        const ssize_t count = recv(channel_, chunk.data(), chunk.size(), 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        Require(count > 0, Code::kDialogFailed, "pinentry has ended");
        received_.insert(received_.end(), chunk.begin(), chunk.begin() + count);
    }
}

Pinentry::Reply Pinentry::Receive() {
    SecretBytes data;
    for (;;) {
        const SecretBytes answer = ReceiveLine();
        if (StartsWith(answer, "OK")) {
            return {std::move(data), std::nullopt};
        }
        if (StartsWith(answer, "ERR")) {
            return {SecretBytes(), std::string(answer.begin(), answer.end())};
        }
        if (StartsWith(answer, "D ")) {
            data = Unescaped(answer, 2);
        }
    }
}

void Pinentry::Tell(std::string_view line) {
    Send(line);
    const Reply reply = Receive();
    if (reply.refusal) {
        const std::string_view command = line.substr(0, line.find(' '));
        throw Error(Code::kDialogFailed,
                    "pinentry refused " + std::string(command) + ": " + *reply.refusal);
    }
}

SecretBytes Pinentry::Ask(std::string_view line) {
    Send(line);
    Reply reply = Receive();
    if (reply.refusal) {
        NotAnswered(*reply.refusal);
    }
    return std::move(reply.data);
}

void Pinentry::Set(std::string_view command, std::string_view text) {
    Tell(std::string(command) + " " + Escaped(text));
}

std::string_view Pinentry::FittingPart(std::string_view command, std::string_view others,
                                       std::string_view text) {
    constexpr size_t kBlankAndLineEnd = 2;
    const size_t taken = command.size() + kBlankAndLineEnd + Escaped(others).size();
    size_t room = kLongestLine - std::min(kLongestLine, taken);
    size_t end = 0;
    while (end < text.size()) {
        size_t next = end + 1;
        while (next < text.size() && Continues(text[next])) {
            ++next;
        }
        const size_t needed = Escaped(text.substr(end, next - end)).size();
        if (needed > room) {
            break;
        }
        room -= needed;
        end = next;
    }
    return text.substr(0, end);
}

SecretBytes Pinentry::GetPin() {
    return Ask("GETPIN");
}

void Pinentry::Confirm() {
    try {
        Ask("CONFIRM");
    } catch (const Error& error) {
        // "Cancel" is the refusing button of this dialog.
        if (error.code() != Code::kCancelled) {
            throw;
        }
        throw Error(Code::kNotConfirmed, error.what());
    }
}

}  // namespace softkey
