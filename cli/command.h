#ifndef CLI_USAGE_H
#define CLI_USAGE_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <string>

namespace cli {

// Checks of an option's value that say in plain words what the option takes.
CLI::Validator WholeNumber(int64_t least, int64_t most = std::numeric_limits<int64_t>::max());
CLI::Validator Seconds(int64_t most);

// A command line that makes no sense: the command that was reached, as it is called ("cert get"),
// and what is wrong, in plain words.
struct Mistake {
    std::string command;
    std::string why;
};

// kind: what the program calls its commands.
Mistake Explain(const CLI::App& program, const CLI::ParseError& error, const std::string& kind);

}  // namespace cli

#endif
