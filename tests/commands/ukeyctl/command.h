#ifndef ORVAL_TESTS_COMMANDS_UKEYCTL_COMMAND_H
#define ORVAL_TESTS_COMMANDS_UKEYCTL_COMMAND_H

#include <sys/types.h>

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

// What a run of ukeyctl came to.
struct Outcome {
    int status = -1;
    std::string out;
    std::string err;

    // Standard output as the one JSON object that --json promises.
    nlohmann::json Json() const;
};

// One run of ukeyctl: its words, its surroundings, what it is given to read.
class Command {
 public:
    explicit Command(std::vector<std::string> words) : words_(std::move(words)) {}

    Command& With(const std::string& variable, const std::string& value);
    Command& Reads(const std::string& input);
    // Standard output goes there, and is not in the outcome.
    Command& WritesTo(const std::string& path);
    // Another command runs it, and is given it behind its own words.
    Command& Under(std::vector<std::string> words);
    // The command begins with this descriptor closed.
    Command& Closes(int descriptor);
    // Standard output is a terminal of so many columns; what it is shown is in the outcome.
    Command& OnTerminal(unsigned short columns);
    // Standard error is one instead.
    Command& ComplainsToTerminal();
    // So is standard input, where this has been typed.
    Command& IsTyped(const std::string& text);
    // Done while the command runs, which it ends itself where the command does not.
    Command& Meanwhile(std::function<void(pid_t)> action);
    Outcome Run() const;

 private:
    void RedirectStreams(const std::string& in, const std::string& out,
                         const std::string& err) const;

    std::vector<std::string> words_;
    std::map<std::string, std::string> environment_;
    std::string input_;
    std::string output_;
    std::vector<std::string> runner_;
    std::vector<int> closed_;
    unsigned short columns_ = 0;
    bool err_is_terminal_ = false;
    std::optional<std::string> typed_;
    std::function<void(pid_t)> meanwhile_;
};

std::string FileContents(const std::string& path);
void MakeFile(const std::string& path, const std::string& contents);

#endif
