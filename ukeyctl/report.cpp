#include "report.h"

#include <algorithm>

#include "cli/encoding.h"
#include "cli/json.h"
#include "cli/printable.h"
#include "cli/words.h"
#include "codes/failures.h"

namespace {

using cli::Json;

struct ShowValue {
    std::string operator()(std::monostate /*none*/) const { return "-"; }
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(int64_t number) const { return std::to_string(number); }
    std::string operator()(bool is_so) const { return is_so ? "yes" : "no"; }
    std::string operator()(const std::vector<std::string>& texts) const {
        std::string joined;
        for (const std::string& text : texts) {
            joined += joined.empty() || joined.back() == '\n' ? text : "\n" + text;
        }
        return joined;
    }
    std::string operator()(const cli::Table& table) const { return cli::ShowTable(table); }
};

struct EncodeValue {
    Json operator()(std::monostate /*none*/) const { return nullptr; }
    Json operator()(const cli::Table& table) const;
    Json operator()(const cli::Table::Named& values) const {
        Json object = Json::object();
        for (const auto& [name, value] : values) {
            object[name] = std::visit(EncodeValue{}, value);
        }
        return object;
    }
    template <typename T>
    Json operator()(const T& value) const {
        return value;
    }
};

template <typename Value>
void Encode(Json& object, const std::string& key, const Value& value) {
    object[key] = std::visit(EncodeValue{}, value);
    const auto* text = std::get_if<std::string>(&value);
    if (text != nullptr && !cli::IsUtf8(*text)) {
        object[key + "_hex"] = cli::Hex(*text);
    }
}

Json EncodeValue::operator()(const cli::Table& table) const {
    Json rows = Json::array();
    for (const std::vector<cli::Table::Cell>& row : table.rows) {
        Json object;
        for (size_t i = 0; i < row.size(); ++i) {
            if (!table.columns[i].key.empty()) {
                Encode(object, table.columns[i].key, row[i]);
            }
        }
        rows.push_back(object);
    }
    return rows;
}

std::string WithLineEnd(std::string text) {
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    return text;
}

}  // namespace

void Report::Add(const std::string& key, const std::string& label, Value value) {
    fields_.push_back({Kind::kLine, key, label, std::move(value)});
}

void Report::AddOutput(const std::string& key, Value value) {
    fields_.push_back({Kind::kOutput, key, {}, std::move(value)});
}

void Report::AddDetail(const std::string& key, Value value) {
    fields_.push_back({Kind::kDetail, key, {}, std::move(value)});
}

void Report::Say(const std::string& sentence) {
    fields_.push_back({Kind::kSentence, {}, {}, sentence});
}

void Report::SayLines(const std::string& lines) {
    fields_.push_back({Kind::kLines, {}, {}, lines});
}

std::string Report::ForPeople(Destination destination) const {
    const auto label_of = [](const Field& field) {
        return cli::Say("{1}:", cli::Say(field.label));
    };
    size_t width = 0;
    for (const Field& field : fields_) {
        if (field.kind == Kind::kLine) {
            width = std::max(width, cli::Columns(label_of(field)));
        }
    }
    std::string text;
    for (const Field& field : fields_) {
        const std::string value = std::visit(ShowValue{}, field.value);
        if (field.kind == Kind::kLine) {
            const std::string label = label_of(field);
            text += cli::Encoded(label + std::string(width - cli::Columns(label) + 1, ' ') +
                                 cli::Printable(value) + "\n");
        } else if (field.kind == Kind::kSentence) {
            text += cli::Encoded(WithLineEnd(cli::Printable(cli::Say(value))));
        } else if (field.kind == Kind::kLines) {
            text += cli::Encoded(WithLineEnd(cli::PrintableLines(value)));
        } else if (field.kind == Kind::kOutput) {
            const bool shown = destination == Destination::kTerminal ||
                               std::holds_alternative<cli::Table>(field.value);
            text += WithLineEnd(shown ? cli::Encoded(cli::PrintableLines(value)) : value);
        }
    }
    return text;
}

std::string Report::ForScripts(const std::string& verb, const cli::Failure* failure) const {
    Json object = cli::JsonObject(verb, failure == nullptr);
    for (const Field& field : fields_) {
        if (!field.key.empty()) {
            Encode(object, field.key, field.value);
        }
    }
    if (failure != nullptr) {
        object["error"] = codes::ErrorJson(*failure);
    }
    return cli::JsonLine(object);
}
