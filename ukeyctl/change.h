#ifndef UKEYCTL_CHANGE_H
#define UKEYCTL_CHANGE_H

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lint/package.h"
#include "lint/request.h"
#include "session.h"

// What a verb is about to do to a key, as data, so that it can be told instead of being done, and
// before something is lost.

// What the key is handed or asked for.
struct PlanItem {
    std::string kind;
    std::optional<int64_t> length;  // as the key gets it
    std::string detail;
};

struct Change {
    // The exported function, and its arguments but the serial number, by their names in the header.
    const char* function = nullptr;
    cli::Table::Named arguments;
    std::vector<PlanItem> items;           // in the key's order
    std::optional<lint::Verdict> verdict;  // the library's, where it judges a text
    std::string remark;                    // on that
    bool needs_key = true;
    // Where something is lost for good: "erases everything on the key", and the question, with
    // {1} in the key's place.
    std::string consequence;
    std::string question;
};

struct ChangeOptions {
    bool dry_run = false;
    bool consent = false;
};

// --dry-run, and --yes for a verb that destroys something.
void AddDryRun(cli::Command& verb, ChangeOptions& options);
void AddConsent(cli::Command& verb, ChangeOptions& options, const std::string& help);

// Whether the change is to be carried out; if not, its plan has been reported. Where something
// would be lost and --yes is not given, who sits at the terminal is asked, by the key's serial
// number and label; a no throws, and so does the lack of a terminal, before the library is loaded.
// `key` is filled for a change that needs one.
bool MayCarryOut(Session& session, const ChangeOptions& options, const Change& change,
                 std::optional<ukey::Key>& key);

// Throws ukey::ZeroByteError, as the call would.
void CheckPassable(const Change& change, std::initializer_list<std::string_view> texts);

// "(masked, 12 bytes)"
std::string Masked(const std::string& secret);

// What the library makes of the texts.
void PlanRequests(Change& change, const lint::RequestReport& found, uint32_t call,
                  bool initialises);
void PlanImports(Change& change, const lint::PackageReport& found);

#endif
