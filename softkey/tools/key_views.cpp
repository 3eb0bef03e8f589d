#include "tools/key_views.h"

#include <algorithm>
#include <iostream>

#include "base/encoding.h"
#include "cli/json.h"
#include "cli/printable.h"
#include "cli/table.h"
#include "cli/words.h"
#include "codes/texts.h"
#include "crypto/certificate_texts.h"
#include "store/home.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

using cli::Json;

// The object of a command, with the fields.
void Print(const char* verb, const Json& fields) {
    Answer(true, verb, fields, {});
}

std::string PinSourceText(const PinSource& source) {
    if (source.file) {
        return cli::Say("file {1}", *source.file);
    }
    if (source.descriptor) {
        return cli::Say("descriptor {1}", *source.descriptor);
    }
    return cli::Say("dialog");
}

std::string PinText(const PinState& pin) {
    if (pin.tries_left == 0) {
        return cli::Say("locked");
    }
    return cli::Say("{1} of {2} tries left", pin.tries_left, pin.tries_maximum);
}

bool IsFixture(const KeySummary& summary) {
    return summary.key.kind != Kind::kReal;
}

std::string PinCell(const KeySummary& summary) {
    const std::string pin = PinText(summary.key.pin);
    if (summary.key.kind == Kind::kSeeded) {
        return cli::Say("{1} (from a seed)", pin);
    }
    return IsFixture(summary) ? cli::Say("{1} (fixture)", pin) : pin;
}

Json PlaceJson(const std::string& serial, const std::optional<PluggedKey>& plugged) {
    Json json{{"serial_number", serial}, {"label", nullptr},      {"plugged", plugged.has_value()},
              {"slot", nullptr},         {"tries_left", nullptr}, {"tries_at_most", nullptr},
              {"fixture", nullptr},      {"seeded", nullptr}};
    if (plugged) {
        json["slot"] = plugged->slot;
    }
    return json;
}

Json SummaryJson(const KeySummary& summary) {
    Json json = PlaceJson(summary.serial, summary.plugged);
    json["label"] = summary.key.label;
    json["tries_left"] = summary.key.pin.tries_left;
    json["tries_at_most"] = summary.key.pin.tries_maximum;
    json["fixture"] = IsFixture(summary);
    json["seeded"] = summary.key.kind == Kind::kSeeded;
    return json;
}

std::string UsageName(const StoredPair& pair) {
    if (pair.dual && pair.IsTemporary()) {
        return cli::Say("signing, dual request");
    }
    return pair.usage == Usage::kSigning ? cli::Say("signing") : cli::Say("encryption");
}

const char* TypeName(KeyType type) {
    return type == KeyType::kSm2 ? "SM2" : "RSA-2048";
}

std::string CertificateLine(const StoredPair& pair) {
    return pair.IsTemporary() ? cli::Say("none yet (temporary key pair)")
                              : SubjectText(ParseCertificate(pair.certificate).get());
}

using Fields = std::vector<std::pair<const char*, std::string>>;

// A line for each, and what they tell in one column.
void Show(const Fields& fields) {
    constexpr size_t kGap = 2;
    size_t width = 0;
    for (const auto& [name, text] : fields) {
        width = std::max(width, cli::Columns(cli::Say(name)));
    }
    for (const auto& [name, text] : fields) {
        std::string line = cli::Say(name);
        line.append(width - cli::Columns(line) + kGap, ' ');
        Say(line + text);
    }
}

}  // namespace

Json PairsJson(const std::vector<StoredPair>& stored) {
    Json pairs = Json::array();
    for (const StoredPair& pair : stored) {
        Json entry{{"usage", pair.usage == Usage::kSigning ? "signing" : "encryption"},
                   {"type", TypeName(pair.type)},
                   {"dual", pair.dual},
                   {"public_key", ToPem(pair.public_key, "PUBLIC KEY")},
                   {"certificate", nullptr}};
        if (!pair.IsTemporary()) {
            entry["certificate"] = ToPem(pair.certificate, "CERTIFICATE");
        }
        pairs.push_back(entry);
    }
    return pairs;
}

void ShowAsText(const KeySummary& summary) {
    const std::optional<PluggedKey>& plugged = summary.plugged;
    Fields fields = {
        {cli::Mark("Serial number"), summary.serial},
        {cli::Mark("Label"), summary.key.label},
        {cli::Mark("Plugged"), plugged ? cli::Say("yes, slot {1}", plugged->slot) : cli::Say("no")},
        {cli::Mark("PIN"), PinText(summary.key.pin)}};
    if (summary.key.kind == Kind::kSeeded) {
        fields.emplace_back(cli::Mark("Kind"), cli::Say("fixture from a seed, secret to nobody"));
    } else if (IsFixture(summary)) {
        fields.emplace_back(cli::Mark("Kind"), cli::Say("fixture, protects nothing"));
    }
    if (plugged) {
        fields.emplace_back(cli::Mark("PIN source"), PinSourceText(plugged->source));
    }
    fields.emplace_back(cli::Mark("Store"), KeyPath(summary.serial));
    Show(fields);
    std::vector<std::vector<std::string>> rows;
    for (const StoredPair& pair : summary.key.pairs) {
        rows.push_back({UsageName(pair), TypeName(pair.type), CertificateLine(pair)});
    }
    std::cout << '\n';
    if (rows.empty()) {
        Say("No key pairs.");
    } else {
        std::cout << cli::Encoded(cli::InColumns({"USE", "TYPE", "CERTIFICATE"}, rows));
    }
}

void ShowAsJson(const KeySummary& summary) {
    Json json = SummaryJson(summary);
    json["store"] = KeyPath(summary.serial);
    json["pin_source"] = PinSourceText(summary.plugged ? summary.plugged->source : PinSource());
    json["key_pairs"] = PairsJson(summary.key.pairs);
    Print("show", json);
}

KeySummary SummaryOf(const KeyPlan& plan) {
    return {plan.serial, {plan.kind, plan.label, {plan.tries, plan.tries, 0}, {}}, std::nullopt};
}

void ShowNewAsJson(const KeySummary& key) {
    Print("new", BriefJson(key));
}

cli::Json BriefJson(const KeySummary& key) {
    return SummaryJson(key);
}

void ShowNewAsJson(const std::vector<KeySummary>& keys) {
    Json list = Json::array();
    for (const KeySummary& key : keys) {
        list.push_back(SummaryJson(key));
    }
    Print("new", {{"keys", list}});
}

void ShowAsText(const std::vector<ListedKey>& keys) {
    std::vector<std::vector<std::string>> rows;
    rows.reserve(keys.size());
    for (const ListedKey& key : keys) {
        rows.push_back({key.serial, key.plugged ? std::to_string(key.plugged->slot) : "-",
                        key.summary ? PinCell(*key.summary) : cli::Say("unusable"),
                        key.summary ? key.summary->key.label : ""});
    }
    if (rows.empty()) {
        Say("No software keys. Make one with: softkey new --label NAME");
    } else {
        std::cout << cli::Encoded(cli::InColumns({"SERIAL NUMBER", "SLOT", "PIN", "LABEL"}, rows));
    }
}

void ShowAsJson(const std::vector<ListedKey>& keys) {
    Json list = Json::array();
    for (const ListedKey& key : keys) {
        Json entry = key.summary ? SummaryJson(*key.summary) : PlaceJson(key.serial, key.plugged);
        entry["problem"] = nullptr;
        entry["code"] = nullptr;
        entry["next"] = nullptr;
        if (key.problem) {
            const int32_t code = codes::Number(key.problem->code());
            const std::string why = key.problem->what();
            entry["problem"] = codes::TextOf(code, codes::Language::kEnglish) +
                               std::string(why.empty() ? "" : " ") + why;
            entry["code"] = code;
            entry["next"] = key.problem->advice();
        }
        list.push_back(entry);
    }
    Print("list", {{"keys", list}});
}

}  // namespace softkey::tools
