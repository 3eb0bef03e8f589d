#include "cli/wording.h"

#include <algorithm>
#include <regex>

#include "cli/words.h"

namespace cli {
namespace {

// What the parser says, and the same in plain words: {1} is what stands in the first parentheses,
// and behind the last of them comes what the program calls its commands.
struct Wording {
    const char* parser;
    const char* plain;
};

constexpr Wording kWordings[] = {
    {R"(A subcommand is required)", "a {1} is missing"},
    {R"(Exactly 1 option from \[(.*),(.*)\] is required)", "{1} or {2} is missing"},
    {R"((?:Exactly|Requires at most) 1 option.* \[(.*),(.*)\].*)",
     "{1} and {2} exclude each other: give one of them"},
    {R"((-.*) is required)", "the option {1} is missing"},
    {R"((.*) is required)", "{1} is missing"},
    {R"((\S+): \d+ required (.*) missing)", "{1} needs a value: {2}"},
    {R"((\S+): At Most 1 required but received \d+)", "{1} is given more than once"},
    {R"(Could not convert: (\S+) = (-?(?:0x[0-9A-Fa-f]+|[0-9]+)))",
     "{1} does not go as far as \"{2}\""},
    {R"(Could not convert: (\S+) = ([^]*))", "{1} takes a whole number, not \"{2}\""},
    {R"((\S+): ([^]*) not in \{(.*)\})", "{1} takes one of {3}, not \"{2}\""},
    {R"((\S+): (takes [^]*))", "{1} {2}"},
    {R"((\S+) excludes (\S+))", "{1} and {2} exclude each other"},
    {R"((\S+) requires (\S+))", "{1} needs {2} beside it"},
    {R"((\S+) was given a disallowed flag override)", "--{1} takes no value"},
};

bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-';
}

}  // namespace

std::string InPlainWords(const std::string& text, const std::string& kind) {
    for (const Wording& wording : kWordings) {
        std::smatch match;
        if (std::regex_match(text, match, std::regex(wording.parser))) {
            std::vector<Word> words(std::next(match.begin()), match.end());
            words.emplace_back(kind.c_str());
            return SayWith(wording.plain, words);
        }
    }
    return text;
}

std::string ExplainRest(const std::vector<std::string>& rest, bool needs_command,
                        const std::string& path, const std::string& kind) {
    const auto word = std::find_if_not(rest.begin(), rest.end(), IsOption);
    if (needs_command && word != rest.end()) {
        return Say("there is no {1} \"{2}\"", kind.c_str(),
                   path.empty() ? *word : path + " " + *word);
    }
    return IsOption(rest.front()) ? Say("there is no option \"{1}\"", rest.front())
                                  : Say("\"{1}\" is one word too many", rest.front());
}

}  // namespace cli
