#include "cli/completion.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "cli/printable.h"

namespace cli {
namespace {

constexpr const char* kFiles = ":files";
constexpr const char* kOurs[] = {"ukeyctl", "softkey", "softca", "with-softkey"};

// What the helps call a file: the value of an option, or a word.
constexpr const char* kFileKinds[] = {"FILE", "PATH",    "PROGRAM", "OUT",    "PKCS7",
                                      "KEY",  "PACKAGE", "FIRST",   "SECOND", "--pin-file",
                                      "--in", "--out",   "file"};

bool IsIn(const std::string& word, const char* const* first, const char* const* last) {
    return std::find(first, last, word) != last;
}

bool IsOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

// How far a line leads: the command that was reached, and what the next word of it is.
class Line {
 public:
    Line(const Told& program, const std::vector<std::string>& words) : words_(words) {
        reached_.push_back(&program);
        while (next_ + 1 < words_.size() && !IsAtClient()) {
            Take(words_[next_]);
            ++next_;
        }
    }

    // The word where another program's line begins. A word of it is the unfinished one.
    bool IsAtClient() const {
        const Told::Value* const word = open_ == nullptr ? Word() : nullptr;
        return word != nullptr && word->takes_all &&
               (behind_dashes_ || (next_ < words_.size() && !IsOption(words_[next_])));
    }
    size_t Position() const { return next_; }

    // The option whose value the unfinished word is.
    const Told::Value* Open() const { return open_; }

    const Told& Reached() const { return *reached_.back(); }

    const Told::Value* Word() const {
        const std::vector<Told::Value>& words = Reached().words;
        return taken_ < words.size() ? &words[taken_] : nullptr;
    }
    bool MayNameCommand() const { return taken_ == 0 && !behind_dashes_; }
    bool MayBeOption() const { return !behind_dashes_; }
    const OnLine& Given() const { return given_; }

    const Told::Value* FindOption(const std::string& name) const {
        for (const Told::Value* option : Options()) {
            if (option->name == name) {
                return option;
            }
        }
        return nullptr;
    }

    // Those of the command, and those of the program that stand behind its commands too.
    std::vector<const Told::Value*> Options() const {
        std::vector<const Told::Value*> options;
        for (const Told::Value& option : Reached().options) {
            options.push_back(&option);
        }
        const Told& program = *reached_.front();
        if (&program != &Reached() && program.shares_options) {
            for (const Told::Value& option : program.options) {
                if (option.name != "--help" && option.name != "--version") {
                    options.push_back(&option);
                }
            }
        }
        return options;
    }

 private:
    void Take(const std::string& word) {
        if (open_ != nullptr) {
            // Some shells make a word of "=".
            if (word != "=") {
                given_[open_->name] = word;
                open_ = nullptr;
            }
        } else if (!behind_dashes_ && word == "--") {
            behind_dashes_ = true;
        } else if (!behind_dashes_ && IsOption(word)) {
            TakeOption(word);
        } else if (!EnterCommand(word)) {
            ++taken_;
        }
    }

    void TakeOption(const std::string& word) {
        const size_t equals = word.find('=');
        const Told::Value* const option = FindOption(word.substr(0, equals));
        if (option != nullptr && equals != std::string::npos) {
            given_[option->name] = word.substr(equals + 1);
        } else if (option != nullptr && !option->kind.empty()) {
            open_ = option;
        } else if (option != nullptr) {
            given_[option->name] = {};
        }
    }

    bool EnterCommand(const std::string& word) {
        for (const Told& command : Reached().commands) {
            if (MayNameCommand() && command.name == word) {
                reached_.push_back(&command);
                return true;
            }
        }
        return false;
    }

    const std::vector<std::string>& words_;
    std::vector<const Told*> reached_;
    const Told::Value* open_ = nullptr;
    bool behind_dashes_ = false;
    size_t taken_ = 0;
    size_t next_ = 0;
    OnLine given_;
};

void Print(const Candidates& candidates, const std::string& begun, const std::string& before = {}) {
    for (const Candidate& candidate : candidates) {
        if (candidate.word.rfind(begun, 0) == 0 && IsPrintable(candidate.word)) {
            std::printf("%s%s\t%s\n", before.c_str(), candidate.word.c_str(),
                        Printable(candidate.what).c_str());
        }
    }
}

void PrintValues(const Told::Value& value, const OnLine& given, const std::string& begun,
                 const std::string& before = {}) {
    Candidates candidates;
    candidates.reserve(value.values.size());
    for (const std::string& one : value.values) {
        candidates.push_back({one, {}});
    }
    if (value.source) {
        candidates = value.source(given);
    }
    const bool is_file = IsIn(value.kind, std::begin(kFileKinds), std::end(kFileKinds)) ||
                         IsIn(value.name, std::begin(kFileKinds), std::end(kFileKinds));
    if (candidates.empty() && is_file) {
        std::puts(kFiles);
    } else if (value.name == "--dir") {
        std::puts(":folders");
    } else {
        Print(candidates, begun, before);
    }
}

void PrintOptions(const Line& line, const std::string& begun) {
    const size_t equals = begun.find('=');
    if (equals != std::string::npos) {
        const Told::Value* const option = line.FindOption(begun.substr(0, equals));
        if (option != nullptr && !option->kind.empty()) {
            PrintValues(*option, line.Given(), begun.substr(equals + 1),
                        begun.substr(0, equals + 1));
        }
        return;
    }
    Candidates candidates;
    for (const Told::Value* option : line.Options()) {
        if (line.Given().count(option->name) == 0) {
            candidates.push_back({option->name, option->what});
        }
    }
    Print(candidates, begun);
}

// The client behind "--": our own commands complete themselves, others are the shell's affair.
void CompleteClient(const std::vector<std::string>& words, size_t position) {
    if (position + 1 == words.size()) {
        std::puts(":commands");
        return;
    }
    const std::string& program = words[position];
    const std::string name = program.substr(program.rfind('/') + 1);
    if (IsIn(name, std::begin(kOurs), std::end(kOurs))) {
        std::vector<std::string> line{program, kComplete};
        line.insert(line.end(), words.begin() + static_cast<std::ptrdiff_t>(position) + 1,
                    words.end());
        std::vector<char*> arguments;
        arguments.reserve(line.size() + 1);
        for (std::string& word : line) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
    }
    std::printf(":command %zu\n", position + 1);
}

}  // namespace

void Complete(const Told& program, const std::vector<std::string>& words) {
    const Line line(program, words);
    const std::string begun = words.empty() ? std::string() : words.back();
    if (line.IsAtClient()) {
        return CompleteClient(words, line.Position());
    }
    if (line.Open() != nullptr) {
        return PrintValues(*line.Open(), line.Given(), begun == "=" ? std::string() : begun);
    }
    if (line.MayBeOption() && IsOption(begun)) {
        return PrintOptions(line, begun);
    }
    Candidates commands;
    commands.reserve(line.Reached().commands.size());
    for (const Told& command : line.Reached().commands) {
        commands.push_back({command.name, command.what});
    }
    if (line.MayNameCommand()) {
        Print(commands, begun);
    }
    if (line.Word() != nullptr) {
        PrintValues(*line.Word(), line.Given(), begun);
    }
}

}  // namespace cli
