#ifndef SOFTKEY_SCENARIO_FIELDS_H
#define SOFTKEY_SCENARIO_FIELDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/words.h"
#include "scenario/scenario.h"
#include "scenario/toml.h"

namespace softkey::scenario {

using Names = std::vector<std::string>;

// What was meant, as an advice.
std::string Suggest(const std::string& name, const Names& known);

// One table, of which each field is taken by its name and of its type; what is wrong with it
// becomes a mistake, and so does what nobody has taken.
class Fields {
 public:
    Fields(const toml::table& table, std::vector<Mistake>& mistakes)
        : table_(table), mistakes_(mistakes) {}

    void Complain(const toml::source_region& where, const std::string& what,
                  const std::string& next = {});
    // At the table's own place.
    void Complain(const std::string& what, const std::string& next = {});
    void ComplainOfOthers();

    const toml::node* Find(const std::string& name);
    bool Has(const std::string& name) { return Find(name) != nullptr; }
    std::optional<std::string> Text(const std::string& name);
    std::optional<int64_t> Number(const std::string& name, int64_t least);
    std::optional<bool> Flag(const std::string& name);
    // "300 ms", "3 s", "1.5 s".
    std::optional<Milliseconds> Duration(const std::string& name);
    // Each word of a list, or one alone.
    std::vector<std::pair<std::string, toml::source_region>> Words(const std::string& name);

 private:
    const toml::table& table_;
    std::vector<Mistake>& mistakes_;
    Names known_;
};

template <typename Value>
struct Choice {
    const char* name;
    Value value;
};

// The value of a word; a word that is none of these is a mistake.
template <typename Value, size_t kCount>
std::optional<Value> Choose(Fields& fields, const std::string& word,
                            const toml::source_region& where,
                            const Choice<Value> (&choices)[kCount]) {
    Names names;
    for (const Choice<Value>& choice : choices) {
        if (word == choice.name) {
            return choice.value;
        }
        names.emplace_back(choice.name);
    }
    fields.Complain(where, cli::Say("\"{1}\" is none of the words that may stand here", word),
                    Suggest(word, names));
    return std::nullopt;
}

}  // namespace softkey::scenario

#endif
