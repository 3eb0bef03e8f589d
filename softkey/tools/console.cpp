#include "tools/console.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <system_error>

#include "cli/last_resort.h"
#include "cli/printable.h"
#include "cli/words.h"
#include "codes/advice.h"
#include "codes/failures.h"
#include "codes/texts.h"
#include "pin/pin_source.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey::tools {
namespace {

class Terminal {
 public:
    enum class Echo { kOff, kOn };
    explicit Terminal(Echo echo) : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
        if (descriptor_ < 0 || tcgetattr(descriptor_, &before_) != 0) {
            throw Refusal("there is no terminal to ask on",
                          echo == Echo::kOff
                              ? "Run it on a terminal, or name the PIN's file with --pin-file FILE"
                              : "Run it on a terminal, or give --yes",
                          cli::ExitStatus::kDeclined);
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
        const std::string shown = cli::Encoded(text);
        static_cast<void>(!write(descriptor_, shown.data(), shown.size()));
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

cli::Failure FailureOf(const Error& error) {
    cli::Failure failure = cli::MakeFailure(
        codes::StatusFor(codes::Number(error.code())),
        codes::TextOf(codes::Number(error.code()),
                      cli::IsChinese() ? codes::Language::kChinese : codes::Language::kEnglish),
        error.what(), AdviceFor(error));
    failure.code = codes::Number(error.code());
    return failure;
}

void Tell(const std::string& name, const cli::Failure& failure) {
    std::cerr << cli::Describe(name, failure, cli::Layout::kPlain);
}

}  // namespace

std::string AdviceFor(const Error& error) {
    return error.advice().empty() ? codes::NextForSoftkey(error.code()) : error.advice();
}

void Report(const std::string& what, const Error& error) {
    Tell(what, FailureOf(error));
}

void Warn(const std::string& name, const std::string& what, const std::string& next) {
    Tell(name, Refusal(what, next).Details());
}

cli::CommandFailure Refusal(const std::string& what, const std::string& next,
                            cli::ExitStatus status) {
    return cli::CommandFailure(cli::MakeFailure(status, what, {}, next));
}

cli::ExitStatus RunCommand(const Invocation& invocation, const cli::Work& command) {
    const auto fail = [&invocation](const cli::Failure& failure) {
        const std::string& verb = invocation.verb;
        Tell(invocation.program + (verb.empty() ? "" : " ") + verb, failure);
        if (invocation.json) {
            cli::Json object = cli::JsonObject(verb, false);
            object["error"] = codes::ErrorJson(failure);
            std::cout << cli::JsonLine(object) << std::flush;
        }
        return failure.status;
    };
    try {
        return command();
    } catch (const Error& error) {
        return fail(FailureOf(error));
    } catch (const cli::CommandFailure& failure) {
        return fail(failure.Details());
    } catch (const std::bad_alloc&) {
        return fail(cli::LackOfMemory());
    } catch (const std::system_error& error) {
        return fail(cli::MakeFailure(cli::ExitStatus::kFile, error.what(), {},
                                     "Check the path, the permissions and the free space"));
    } catch (const std::exception& error) {
        return fail(cli::MakeFailure(cli::ExitStatus::kInternal, cli::kOwnFault, error.what(),
                                     cli::kNextForOwnFault));
    }
}

void Say(const std::string& line) {
    std::cout << cli::Encoded(cli::Printable(cli::Say(line))) << '\n';
}

void Answer(bool as_json, const char* verb, const cli::Json& fields, const std::string& sentence) {
    if (!as_json) {
        return Say(sentence);
    }
    cli::Json object = cli::JsonObject(verb, true);
    object.update(fields);
    std::cout << cli::JsonLine(object);
}

SecretBytes AskSecretOnTerminal(const std::string& prompt) {
    const Terminal terminal(Terminal::Echo::kOff);
    terminal.Show(cli::Say(prompt) + " ");
    SecretBytes line = terminal.ReadLine();
    terminal.Show("\n");
    return line;
}

SecretBytes ObtainNewPin(const std::string& file) {
    if (!file.empty()) {
        return ReadPinFile(file);
    }
    SecretBytes pin = AskSecretOnTerminal("New PIN (6 to 16 characters):");
    CheckPinForm(pin);
    Require(AskSecretOnTerminal("Once more:") == pin, Code::kPinInvalid, "the two PINs differ");
    return pin;
}

void ConfirmOnTerminal(bool yes, const std::string& question) {
    if (yes) {
        return;
    }
    const Terminal terminal(Terminal::Echo::kOn);
    terminal.Show(cli::Say(question) + " [y/N] ");
    const SecretBytes answer = terminal.ReadLine();
    if (answer.empty() || (answer[0] != 'y' && answer[0] != 'Y')) {
        throw Refusal("nothing was changed", "Answer y, or give --yes, to go on",
                      cli::ExitStatus::kDeclined);
    }
}

}  // namespace softkey::tools
