#ifndef SOFTKEY_TOOLS_KEY_VIEWS_H
#define SOFTKEY_TOOLS_KEY_VIEWS_H

#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "cli/json.h"
#include "slots/slots.h"
#include "store/key_store.h"

// What the commands show of keys on standard output, as text for people and as JSON for scripts.
namespace softkey::tools {

struct KeySummary {
    std::string serial;
    KeyStore::Snapshot key;
    std::optional<PluggedKey> plugged;
};

// A key in the list: what it is, or why it cannot be used.
struct ListedKey {
    std::string serial;
    std::optional<PluggedKey> plugged;
    std::optional<KeySummary> summary;
    std::optional<Error> problem;
};

void ShowAsText(const KeySummary& summary);
void ShowAsJson(const KeySummary& summary);

// A key as it is just made.
KeySummary SummaryOf(const KeyPlan& plan);
void ShowNewAsJson(const KeySummary& key);

// What of a key stands in the objects of several commands.
cli::Json BriefJson(const KeySummary& key);
cli::Json PairsJson(const std::vector<StoredPair>& stored);
void ShowNewAsJson(const std::vector<KeySummary>& keys);

void ShowAsText(const std::vector<ListedKey>& keys);
void ShowAsJson(const std::vector<ListedKey>& keys);

}  // namespace softkey::tools

#endif
