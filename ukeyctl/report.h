#ifndef UKEYCTL_REPORT_H
#define UKEYCTL_REPORT_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "cli/failure.h"
#include "cli/table.h"

// What a verb has to tell, put together once and shown in one of two forms: aligned lines for
// people, or one JSON object on one line for scripts.
class Report {
 public:
    // Nothing, for a value that could not be had.
    using Value = std::variant<std::monostate, std::string, int64_t, bool, std::vector<std::string>,
                               cli::Table>;

    // Where people get it: a terminal must not be disturbed, a file gets every byte.
    enum class Destination { kTerminal, kFile };

    // One line "Label: value"; without a key, for people only.
    void Add(const std::string& key, const std::string& label, Value value);

    // What the verb was asked for. People get it alone, and exactly as it is so that it can be
    // piped, but for what a terminal would obey instead of showing it.
    void AddOutput(const std::string& key, Value value);

    // For scripts only.
    void AddDetail(const std::string& key, Value value);

    // For people only.
    void Say(const std::string& sentence);

    // The same for lines that are aligned already.
    void SayLines(const std::string& lines);

    std::string ForPeople(Destination destination) const;

    // The object has what each begins with, the fields, and "error" when there is a failure. Text
    // that is not UTF-8 is shown with replacement characters, and in a field KEY_hex byte by byte.
    std::string ForScripts(const std::string& verb, const cli::Failure* failure) const;

 private:
    enum class Kind { kLine, kOutput, kDetail, kSentence, kLines };
    struct Field {
        Kind kind;
        std::string key;
        std::string label;
        Value value;
    };
    std::vector<Field> fields_;
};

#endif
