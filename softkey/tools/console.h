#ifndef SOFTKEY_TOOLS_CONSOLE_H
#define SOFTKEY_TOOLS_CONSOLE_H

#include <functional>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/secret.h"

namespace softkey::tools {

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

constexpr char kExitStatusHelp[] =
    "Exit status: 0 done, 1 the operation failed (the reason is on standard error), "
    "2 wrong usage.";

// Runs a command and turns its failure into two or three lines on standard error: what failed, why,
// and what to do next.
int RunCommand(const std::string& name, const std::function<void()>& command);

// What a user can do about a failure.
std::string AdviceFor(const Error& error);

// Those lines about one thing of several, where the command goes on.
void Report(const std::string& what, const Error& error);

// Prints a line, on standard output or on standard error. What a key or a path brings into it
// cannot disturb the terminal.
void Say(const std::string& line);
void Complain(const std::string& line);

// Prints rows under a heading, in columns as wide as their widest cell.
void PrintTable(const std::vector<std::string>& heading,
                const std::vector<std::vector<std::string>>& rows);

// Asks on the terminal without showing what is typed. Throws Refusal without a terminal.
SecretBytes AskSecretOnTerminal(const std::string& prompt);

// The PIN from `file` unless it is empty, else from the terminal, there asked for twice.
SecretBytes ObtainNewPin(const std::string& file);

// Returns when `yes` or the user says so. Throws Refusal when not, or without a terminal.
void ConfirmOnTerminal(bool yes, const std::string& question);

std::string ReadInput(const std::string& path);  // "-" is standard input
void WriteOutput(const std::string& path, const std::string& text);

}  // namespace softkey::tools

#endif
