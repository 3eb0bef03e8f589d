#ifndef SOFTKEY_TOOLS_CONSOLE_H
#define SOFTKEY_TOOLS_CONSOLE_H

#include <string>

#include "base/error.h"
#include "base/secret.h"
#include "cli/command.h"
#include "cli/failure.h"
#include "cli/json.h"

namespace softkey::tools {

// Runs a command and turns its failure into two or three lines on standard error: what failed, why,
// and what to do next.
// With --json an object on standard output tells it as well.
struct Invocation {
    std::string program;
    std::string verb;  // empty: none was reached
    bool json = false;
};
cli::ExitStatus RunCommand(const Invocation& invocation, const cli::Work& command);

// What a user can do about a failure.
std::string AdviceFor(const Error& error);

// Those lines about one thing of several, where the command goes on.
void Report(const std::string& what, const Error& error);
void Warn(const std::string& name, const std::string& what, const std::string& next);

// A command that does not begin, for a reason that the key knows nothing of. Failures of the key
// itself are Error. next: what the user can do. status: kUsage when the command line is what is
// wrong.
cli::CommandFailure Refusal(const std::string& what, const std::string& next,
                            cli::ExitStatus status = cli::ExitStatus::kFailed);

// Prints a line on standard output, in the user's language where it is not yet. What a key or a
// path brings into it cannot disturb the terminal.
void Say(const std::string& line);

// What a command has done: the sentence for people, or the verb's object with these fields.
void Answer(bool as_json, const char* verb, const cli::Json& fields, const std::string& sentence);

// Asks on the terminal without showing what is typed. Throws Refusal without a terminal.
SecretBytes AskSecretOnTerminal(const std::string& prompt);

// The PIN from `file` unless it is empty, else from the terminal, there asked for twice.
SecretBytes ObtainNewPin(const std::string& file);

// Returns when `yes` or the user says so. Throws Refusal when not, or without a terminal.
void ConfirmOnTerminal(bool yes, const std::string& question);

}  // namespace softkey::tools

#endif
