#include "cli/usage.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <regex>
#include <vector>

namespace cli {
namespace {

constexpr const char* kTakes = "takes ";

std::optional<int64_t> ReadWholeNumber(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 0);
    const bool whole = !text.empty() && *end == '\0' && errno == 0;
    return whole ? std::optional<int64_t>(number) : std::nullopt;
}

std::optional<double> ReadNumber(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const bool finite = !text.empty() && *end == '\0' && std::isfinite(number);
    return finite ? std::optional<double>(number) : std::nullopt;
}

std::string Instead(const std::string& given) {
    return ", not \"" + given + "\"";
}

CLI::Validator Named(std::function<std::string(const std::string&)> check) {
    return CLI::Validator([check = std::move(check)](std::string& given) { return check(given); },
                          std::string());
}

// What the parser says, and the same in plain words. VERB stands for what the program calls its
// commands.
struct Wording {
    const char* parser;
    const char* plain;
};

constexpr Wording kWordings[] = {
    {"A subcommand is required", "a VERB is missing"},
    {R"(Exactly 1 option from \[(.*),(.*)\] is required)", "$1 or $2 is missing"},
    {R"((?:Exactly|Requires at most) 1 option.* \[(.*),(.*)\].*)",
     "$1 and $2 exclude each other: give one of them"},
    {"(-.*) is required", "the option $1 is missing"},
    {"(.*) is required", "$1 is missing"},
    {R"((\S+): \d+ required (.*) missing)", "$1 needs a value: $2"},
    {R"((\S+): At Most 1 required but received \d+)", "$1 is given more than once"},
    {"Could not convert: (\\S+) = (-?(?:0x[0-9A-Fa-f]+|[0-9]+))",
     "$1 does not go as far as \"$2\""},
    {"Could not convert: (\\S+) = ([^]*)", "$1 takes a whole number, not \"$2\""},
    {R"((\S+): ([^]*) not in \{(.*)\})", "$1 takes one of $3, not \"$2\""},
    {R"((\S+): (takes [^]*))", "$1 $2"},
    {R"((\S+) excludes (\S+))", "$1 and $2 exclude each other"},
    {R"((\S+) requires (\S+))", "$1 needs $2 beside it"},
    {R"((\S+) was given a disallowed flag override)", "--$1 takes no value"},
};

std::string InPlainWords(const std::string& text, const std::string& kind) {
    for (const Wording& wording : kWordings) {
        const std::regex pattern(wording.parser);
        if (std::regex_match(text, pattern)) {
            const std::string plain = std::regex_replace(text, pattern, wording.plain);
            return std::regex_replace(plain, std::regex("\\bVERB\\b"), kind);
        }
    }
    return text;
}

const CLI::App& Reached(const CLI::App& program) {
    const CLI::App* reached = &program;
    while (!reached->get_subcommands().empty()) {
        reached = reached->get_subcommands().front();
    }
    return *reached;
}

// "cert get": the words that lead to the command, without the program's own name.
std::string PathOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    if (parent == nullptr) {
        return {};
    }
    const std::string before = PathOf(*parent);
    return before.empty() ? command.get_name() : before + " " + command.get_name();
}

bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-';
}

// What is left over: a word where a command should stand comes before an option, which may be that
// command's.
std::string ExplainRest(const CLI::App& reached, const std::vector<std::string>& rest,
                        const std::string& path, const std::string& kind) {
    const auto word = std::find_if_not(rest.begin(), rest.end(), IsOption);
    if (reached.get_require_subcommand_min() > 0 && word != rest.end()) {
        return "there is no " + kind + " \"" + (path.empty() ? *word : path + " " + *word) + "\"";
    }
    return IsOption(rest.front()) ? "there is no option \"" + rest.front() + "\""
                                  : "\"" + rest.front() + "\" is one word too many";
}

}  // namespace

CLI::Validator WholeNumber(int64_t least, int64_t most) {
    return Named([least, most](const std::string& given) {
        const std::optional<int64_t> number = ReadWholeNumber(given);
        if (number && *number >= least && *number <= most) {
            return std::string();
        }
        const bool bounded = most < std::numeric_limits<int64_t>::max();
        return kTakes + ("a whole number from " + std::to_string(least)) +
               (bounded ? " to " + std::to_string(most) : " on") + Instead(given);
    });
}

CLI::Validator Seconds(int64_t most) {
    return Named([most](const std::string& given) {
        const std::optional<double> number = ReadNumber(given);
        return number && *number >= 0 && *number <= static_cast<double>(most)
                   ? std::string()
                   : kTakes + ("0 to " + std::to_string(most)) + " seconds" + Instead(given);
    });
}

Mistake Explain(const CLI::App& program, const CLI::ParseError& error, const std::string& kind) {
    const CLI::App& reached = Reached(program);
    const std::string path = PathOf(reached);
    const std::vector<std::string> rest = program.remaining(true);
    const bool left_over = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
                           reached.get_require_subcommand_min() > 0;
    return {path, left_over && !rest.empty() ? ExplainRest(reached, rest, path, kind)
                                             : InPlainWords(error.what(), kind)};
}

}  // namespace cli
