#include "tools/key_views.h"

#include <iostream>

#include "base/encoding.h"
#include "cli/json.h"
#include "cli/table.h"
#include "codes/texts.h"
#include "crypto/certificate_texts.h"
#include "store/home.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

using cli::Json;

// The object of a command, with the fields.
void Print(const char* verb, const Json& fields) {
    Json object = cli::JsonObject(verb, true);
    object.update(fields);
    std::cout << cli::JsonLine(object);
}

std::string PinSourceText(const PinSource& source) {
    if (source.file) {
        return "file " + *source.file;
    }
    if (source.descriptor) {
        return "descriptor " + std::to_string(*source.descriptor);
    }
    return "dialog";
}

std::string PinText(const PinState& pin) {
    if (pin.tries_left == 0) {
        return "locked";
    }
    return std::to_string(pin.tries_left) + " of " + std::to_string(pin.tries_maximum) +
           " tries left";
}

Json PlaceJson(const std::string& serial, const std::optional<PluggedKey>& plugged) {
    Json json{{"serial_number", serial}, {"label", nullptr},      {"plugged", plugged.has_value()},
              {"slot", nullptr},         {"tries_left", nullptr}, {"tries_at_most", nullptr}};
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
    return json;
}

const char* UsageName(const StoredPair& pair) {
    if (pair.dual && pair.IsTemporary()) {
        return "signing, dual request";
    }
    return pair.usage == Usage::kSigning ? "signing" : "encryption";
}

const char* TypeName(KeyType type) {
    return type == KeyType::kSm2 ? "SM2" : "RSA-2048";
}

std::string CertificateLine(const StoredPair& pair) {
    return pair.IsTemporary() ? "none yet (temporary key pair)"
                              : SubjectText(ParseCertificate(pair.certificate).get());
}

}  // namespace

void ShowAsText(const KeySummary& summary) {
    const std::optional<PluggedKey>& plugged = summary.plugged;
    Say("Serial number  " + summary.serial);
    Say("Label          " + summary.key.label);
    Say("Plugged        " + (plugged ? "yes, slot " + std::to_string(plugged->slot) : "no"));
    Say("PIN            " + PinText(summary.key.pin));
    if (plugged) {
        Say("PIN source     " + PinSourceText(plugged->source));
    }
    Say("Store          " + KeyPath(summary.serial));
    std::vector<std::vector<std::string>> rows;
    for (const StoredPair& pair : summary.key.pairs) {
        rows.push_back({UsageName(pair), TypeName(pair.type), CertificateLine(pair)});
    }
    std::cout << '\n';
    if (rows.empty()) {
        std::cout << "No key pairs.\n";
    } else {
        std::cout << cli::InColumns({"USE", "TYPE", "CERTIFICATE"}, rows);
    }
}

void ShowAsJson(const KeySummary& summary) {
    Json json = SummaryJson(summary);
    json["store"] = KeyPath(summary.serial);
    json["pin_source"] = PinSourceText(summary.plugged ? summary.plugged->source : PinSource());
    Json pairs = Json::array();
    for (const StoredPair& pair : summary.key.pairs) {
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
    json["key_pairs"] = pairs;
    Print("show", json);
}

void ShowBriefAsJson(const KeySummary& summary) {
    Print("new", SummaryJson(summary));
}

void ShowAsText(const std::vector<ListedKey>& keys) {
    std::vector<std::vector<std::string>> rows;
    rows.reserve(keys.size());
    for (const ListedKey& key : keys) {
        rows.push_back({key.serial, key.plugged ? std::to_string(key.plugged->slot) : "-",
                        key.summary ? PinText(key.summary->key.pin) : "unusable",
                        key.summary ? key.summary->key.label : ""});
    }
    if (rows.empty()) {
        std::cout << "No software keys. Make one with: softkey new --label NAME\n";
    } else {
        std::cout << cli::InColumns({"SERIAL NUMBER", "SLOT", "PIN", "LABEL"}, rows);
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
