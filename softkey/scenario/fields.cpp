#include "scenario/fields.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "lint/suggestion.h"

namespace softkey::scenario {

std::string Suggest(const std::string& name, const Names& known) {
    const std::vector<std::string_view> views(known.begin(), known.end());
    const std::string nearest = lint::Nearest(name, views);
    if (!nearest.empty()) {
        return cli::Say("did you mean {1}?", nearest);
    }
    std::string all;
    for (const std::string& one : known) {
        all += (all.empty() ? "" : ", ") + one;
    }
    return known.empty() || known.size() > 12 ? std::string() : cli::Say("there are: {1}", all);
}

void Fields::Complain(const toml::source_region& where, const std::string& what,
                      const std::string& next) {
    mistakes_.push_back({where.begin.line, where.begin.column, what, next});
}

void Fields::Complain(const std::string& what, const std::string& next) {
    Complain(table_.source(), what, next);
}

const toml::node* Fields::Find(const std::string& name) {
    known_.push_back(name);
    return table_.get(name);
}

std::optional<std::string> Fields::Text(const std::string& name) {
    const toml::node* const node = Find(name);
    if (node == nullptr) {
        return std::nullopt;
    }
    auto text = node->value_exact<std::string>();
    if (!text) {
        Complain(node->source(), cli::Say("\"{1}\" is a text in quotation marks", name));
    }
    return text;
}

std::optional<int64_t> Fields::Number(const std::string& name, int64_t least) {
    const toml::node* const node = Find(name);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto number = node->value_exact<int64_t>();
    if (!number || *number < least || *number > std::numeric_limits<int32_t>::max()) {
        Complain(node->source(), cli::Say("\"{1}\" is a whole number from {2} on", name, least));
        return std::nullopt;
    }
    return number;
}

std::optional<bool> Fields::Flag(const std::string& name) {
    const toml::node* const node = Find(name);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto flag = node->value_exact<bool>();
    if (!flag) {
        Complain(node->source(), cli::Say("\"{1}\" is true or false", name));
    }
    return flag;
}

std::optional<Milliseconds> Fields::Duration(const std::string& name) {
    const std::optional<std::string> text = Text(name);
    if (!text) {
        return std::nullopt;
    }
    char* end = nullptr;
    const double number = std::strtod(text->c_str(), &end);
    const std::string unit = end;
    const double factor = unit == " ms" ? 1 : unit == " s" ? 1000 : 0;
    constexpr double kLongest = 3600000;
    if (end == text->c_str() || factor == 0 || !(number >= 0) || number * factor > kLongest) {
        Complain(Find(name)->source(), cli::Say("\"{1}\" is no duration", *text),
                 R"(write it like "300 ms" or "2.5 s")");  // no message
        return std::nullopt;
    }
    return Milliseconds(static_cast<int64_t>(number * factor));
}

std::vector<std::pair<std::string, toml::source_region>> Fields::Words(const std::string& name) {
    std::vector<std::pair<std::string, toml::source_region>> words;
    const toml::node* const node = Find(name);
    const auto take = [&](const toml::node& one) {
        if (const auto word = one.value_exact<std::string>()) {
            words.emplace_back(*word, one.source());
        } else {
            Complain(one.source(), cli::Say("\"{1}\" holds texts in quotation marks", name));
        }
    };
    if (node != nullptr && node->is_array()) {
        std::for_each(node->as_array()->begin(), node->as_array()->end(), take);
    } else if (node != nullptr) {
        take(*node);
    }
    return words;
}

void Fields::ComplainOfOthers() {
    for (const auto& [key, value] : table_) {
        const std::string name(key.str());
        if (std::find(known_.begin(), known_.end(), name) == known_.end()) {
            Complain(key.source(), cli::Say("there is nothing called \"{1}\" here", name),
                     Suggest(name, known_));
        }
    }
}

}  // namespace softkey::scenario
