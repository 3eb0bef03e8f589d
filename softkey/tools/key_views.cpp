#include "tools/key_views.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "base/encoding.h"
#include "cli/printable.h"
#include "cli/table.h"
#include "codes/texts.h"
#include "crypto/certificate_texts.h"
#include "store/home.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

using Json = nlohmann::ordered_json;

// What an older store, or a path, holds that is no UTF-8 must not keep the rest from being shown.
std::string Dump(const Json& json) {
    return cli::PrintableJson(json.dump(2, ' ', false, Json::error_handler_t::replace));
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
    Json json{{"serial", serial}, {"label", nullptr},     {"plugged", plugged.has_value()},
              {"slot", nullptr},  {"triesLeft", nullptr}, {"triesMaximum", nullptr}};
    if (plugged) {
        json["slot"] = plugged->slot;
    }
    return json;
}

Json SummaryJson(const KeySummary& summary) {
    Json json = PlaceJson(summary.serial, summary.plugged);
    json["label"] = summary.key.label;
    json["triesLeft"] = summary.key.pin.tries_left;
    json["triesMaximum"] = summary.key.pin.tries_maximum;
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
    json["pinSource"] = PinSourceText(summary.plugged ? summary.plugged->source : PinSource());
    json["keyPairs"] = Json::array();
    for (const StoredPair& pair : summary.key.pairs) {
        Json entry{{"usage", pair.usage == Usage::kSigning ? "signing" : "encryption"},
                   {"type", TypeName(pair.type)},
                   {"dual", pair.dual},
                   {"publicKey", ToPem(pair.public_key, "PUBLIC KEY")},
                   {"certificate", nullptr}};
        if (!pair.IsTemporary()) {
            entry["certificate"] = ToPem(pair.certificate, "CERTIFICATE");
        }
        json["keyPairs"].push_back(entry);
    }
    std::cout << Dump(json) << '\n';
}

void ShowBriefAsJson(const KeySummary& summary) {
    std::cout << Dump(SummaryJson(summary)) << '\n';
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
    Json json = Json::array();
    for (const ListedKey& key : keys) {
        Json entry = key.summary ? SummaryJson(*key.summary) : PlaceJson(key.serial, key.plugged);
        entry["problem"] = nullptr;
        if (key.problem) {
            entry["problem"] = {{"code", static_cast<int32_t>(key.problem->code())},
                                {"text", codes::TextOf(codes::Number(key.problem->code()),
                                                       codes::Language::kEnglish)},
                                {"why", key.problem->what()},
                                {"next", key.problem->advice()}};
        }
        json.push_back(entry);
    }
    std::cout << Dump(json) << '\n';
}

}  // namespace softkey::tools
