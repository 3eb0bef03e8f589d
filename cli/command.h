#ifndef CLI_COMMAND_H
#define CLI_COMMAND_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cli/checks.h"
#include "cli/completion.h"
#include "cli/exit_status.h"

// The parser of command lines. Only command.cpp sees it: it takes its time to compile.
namespace CLI {
class App;
class Option;
}  // namespace CLI

// A program's commands and their options, as data for a parser, and what was given of them.
namespace cli {

// What a command does, and how it ends.
using Work = std::function<ExitStatus()>;

// The command that was given: what leads to it, "cert get", and its work.
struct Chosen {
    std::string path;
    Work work;
};

// What all commands of a program have in common.
struct Shared;

// An option, a flag or a word of a command. A copy is the same option.
class Option {
 public:
    Option(CLI::Option* option, Shared* shared) : option_(option), shared_(shared) {}

    // What the help calls the value: "FILE".
    Option& Takes(const std::string& what);
    Option& Required();
    // The help shows the value that is there already.
    Option& ShowDefault();
    Option& Checked(const Check& check);
    Option& OneOf(const std::vector<std::string>& values);
    Option& Excludes(const Option& other);
    // What shells offer for the value.
    Option& Offers(Source source);

    bool IsGiven() const;

 private:
    CLI::Option* option_;
    Shared* shared_;
};

// How many options of a group must be given.
enum class Need { kOne, kOneAtMost };

// A command, a word that is followed by one of several, the program itself, or options that exclude
// each other. A copy is the same command.
class Command {
 public:
    Command(CLI::App* command, Shared* shared) : command_(command), shared_(shared) {}

    // A command may have commands of its own, one of which may stand behind it.
    Command AddCommand(const std::string& name, const std::string& summary, Work work);
    // A word that is followed by one of several commands.
    Command AddGroup(const std::string& name, const std::string& summary);
    Command Find(const std::string& name) const;

    // "--name" is an option, "NAME" a word. The value must outlive the parsing.
    Option Add(const std::string& name, std::string& value, const std::string& help);
    Option Add(const std::string& name, std::optional<std::string>& value, const std::string& help);
    Option Add(const std::string& name, int32_t& value, const std::string& help);
    Option Add(const std::string& name, uint32_t& value, const std::string& help);
    Option Add(const std::string& name, int64_t& value, const std::string& help);
    Option Add(const std::string& name, double& value, const std::string& help);
    // All the words that are left, those that look like options only behind "--".
    Option Add(const std::string& name, std::vector<std::string>& values, const std::string& help);
    Option AddFlag(const std::string& name, bool& value, const std::string& help = {});
    void AddVersion(const std::string& text);

    // Options that exclude each other; whether one is given tells IsGiven.
    Command AddAlternatives(const std::string& name, Need need);
    bool IsGiven() const;

    // What the help says in front of the options and behind them. Commands that are added later
    // inherit the latter.
    void Describe(const std::string& text);
    void Close(const std::string& text);

    // Options that stand behind a command's name may be this one's.
    void ShareOptions();
    // Done when the command's options have been read.
    void OnceParsed(std::function<void()> action);
    // Not in the help; whatever follows, its own --help included, is taken and not looked at.
    void Retire();

 private:
    CLI::App* command_;
    Shared* shared_;
};

// A command line that makes no sense: the command that was reached, as it is called ("cert get"),
// and what is wrong, in plain words.
class Mistake final : public std::runtime_error {
 public:
    Mistake(std::string command, const std::string& why)
        : std::runtime_error(why), command_(std::move(command)) {}
    const std::string& Where() const { return command_; }

 private:
    std::string command_;
};

class Program {
 public:
    // kind: what it calls its commands.
    Program(const std::string& name, const std::string& kind);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    Command& Top() { return top_; }

    // The command that was given. Nothing when it was the help, the version or what a shell may
    // offer that was asked for, which is on standard output then. Throws Mistake.
    std::optional<Chosen> Parse(int count, char** words);

 private:
    std::string kind_;
    std::unique_ptr<CLI::App> parser_;
    std::unique_ptr<Shared> shared_;
    Command top_;
};

}  // namespace cli

#endif
