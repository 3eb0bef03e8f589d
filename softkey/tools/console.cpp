#include "tools/console.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "base/error_texts.h"
#include "cli/printable.h"
#include "pin/pin_source.h"
#include "store/home.h"
#include "store/key_store.h"
#include "tools/refusal.h"

namespace softkey::tools {
namespace {

const char* AdviceFor(Code code) {
    switch (code) {
        case Code::kNoSuchKey:
            return "See the keys with: softkey list";
        case Code::kDeviceRemoved:
            return "Plug the key in with: softkey plug SERIAL";
        case Code::kAlreadyPlugged:
            return "Unplug it first with: softkey unplug SERIAL";
        case Code::kPinSourceRefused:
            return "Make the file yours alone with: chmod 600 FILE";
        case Code::kPinLocked:
            return "Erase the key and set a new PIN with: softkey reset SERIAL";
        case Code::kPinLength:
        case Code::kPinInvalid:
            return "Choose 6 to 16 letters, digits or signs of ASCII";
        case Code::kPinIncorrect:
            return "Try again; softkey show SERIAL tells how many tries are left";
        case Code::kPinSourceUnreadable:
            return "The first line of the file is the PIN; make it with: "
                   "(umask 077; echo PIN > FILE)";
        case Code::kNameLength:
            return "Choose a label of at most 255 bytes";
        case Code::kStoreDamaged:
            return "Bring the key back from a copy with: softkey restore FILE; without one, delete "
                   "it with: softkey delete SERIAL";
        case Code::kStoreReadOnly:
        case Code::kStoreUnreachable:
            return "Check the owner and the permissions of the software key's folder; "
                   "ORVAL_SOFTKEY_HOME names another one";
        case Code::kStoreFull:
            return "Free some space on the disk; nothing was changed";
        case Code::kSerialTaken:
            return "Choose another serial number or leave it out; a key that a copy is to replace "
                   "goes with: softkey delete SERIAL";
        default:
            return "The command's --help tells what it takes";
    }
}

class Terminal {
 public:
    enum class Echo { kOff, kOn };
    explicit Terminal(Echo echo) : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
        if (descriptor_ < 0 || tcgetattr(descriptor_, &before_) != 0) {
            throw Refusal("there is no terminal to ask on",
                          echo == Echo::kOff
                              ? "Run it on a terminal, or name the PIN's file with --pin-file FILE"
                              : "Run it on a terminal, or give --yes");
        }
        if (echo == Echo::kOn) {
            return;
        }
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(descriptor_, TCSAFLUSH, &quiet);
    }
    ~Terminal() {
        tcsetattr(descriptor_, TCSAFLUSH, &before_);
        close(descriptor_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Show(const std::string& text) const {
        static_cast<void>(!write(descriptor_, text.data(), text.size()));
    }

    SecretBytes ReadLine() const {
        SecretBytes line;
        unsigned char byte = 0;
        while (read(descriptor_, &byte, 1) == 1 && byte != '\n') {
            line.push_back(byte);
        }
        return line;
    }

 private:
    int descriptor_;
    termios before_{};
};

// What cannot be read is no empty text.
std::string ReadStandardInput() {
    std::string text;
    char chunk[4096];
    for (size_t count = 0; (count = std::fread(chunk, 1, sizeof chunk, stdin)) > 0;) {
        text.append(chunk, count);
    }
    if (std::ferror(stdin) != 0) {
        const bool is_closed = errno == EBADF;
        throw Error(Code::kFail, std::string("cannot read standard input: ") +
                                     (is_closed ? "it is closed" : std::strerror(errno)));
    }
    return text;
}

}  // namespace

std::string AdviceFor(const Error& error) {
    return error.advice().empty() ? AdviceFor(error.code()) : error.advice();
}

void Report(const std::string& what, const Error& error) {
    Complain(what + ": " + TextOf(static_cast<int32_t>(error.code()), Language::kEnglish));
    if (*error.what() != '\0') {
        Complain(std::string("  why: ") + error.what());
    }
    Complain("  next: " + AdviceFor(error));
}

void Complain(const std::string& line) {
    std::cerr << cli::Printable(line) << '\n';
}

int RunCommand(const std::string& name, const std::function<void()>& command) {
    try {
        command();
        return kExitSuccess;
    } catch (const Error& error) {
        Report(name, error);
    } catch (const Refusal& refusal) {
        Complain(name + ": " + refusal.what());
        Complain("  next: " + refusal.next());
        return refusal.status();
    } catch (const std::exception& error) {
        Complain(name + ": " + error.what());
    }
    return kExitFailure;
}

void Say(const std::string& line) {
    std::cout << cli::Printable(line) << '\n';
}

void PrintTable(const std::vector<std::string>& heading,
                const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::vector<std::string>> lines{heading};
    lines.insert(lines.end(), rows.begin(), rows.end());
    std::vector<size_t> widths(heading.size());
    for (auto& line : lines) {
        for (size_t i = 0; i < line.size(); ++i) {
            line[i] = cli::Printable(line[i]);
            widths[i] = std::max(widths[i], cli::Columns(line[i]));
        }
    }
    for (const auto& line : lines) {
        std::string text;
        for (size_t i = 0; i < line.size(); ++i) {
            text += line[i] + std::string(widths[i] - cli::Columns(line[i]) + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        std::cout << text << '\n';
    }
}

SecretBytes AskSecretOnTerminal(const std::string& prompt) {
    const Terminal terminal(Terminal::Echo::kOff);
    terminal.Show(prompt);
    SecretBytes line = terminal.ReadLine();
    terminal.Show("\n");
    return line;
}

SecretBytes ObtainNewPin(const std::string& file) {
    if (!file.empty()) {
        return ReadPinFile(file);
    }
    SecretBytes pin = AskSecretOnTerminal("New PIN (6 to 16 characters): ");
    CheckPinForm(pin);
    Require(AskSecretOnTerminal("Once more: ") == pin, Code::kPinInvalid, "the two PINs differ");
    return pin;
}

void ConfirmOnTerminal(bool yes, const std::string& question) {
    if (yes) {
        return;
    }
    const Terminal terminal(Terminal::Echo::kOn);
    terminal.Show(question + " [y/N] ");
    const SecretBytes answer = terminal.ReadLine();
    if (answer.empty() || (answer[0] != 'y' && answer[0] != 'Y')) {
        throw Refusal("nothing was changed", "Answer y, or give --yes, to go on");
    }
}

std::string ReadInput(const std::string& path) {
    if (path == "-") {
        return ReadStandardInput();
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Error(Code::kFail, "cannot read " + path + ": " + std::strerror(errno));
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteOutput(const std::string& path, const std::string& text) {
    if (path == "-") {
        std::cout << text;
        return;
    }
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        throw Error(Code::kFail, "cannot write " + path + ": " + std::strerror(errno));
    }
}

}  // namespace softkey::tools
