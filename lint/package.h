#ifndef ORVAL_LINT_PACKAGE_H
#define ORVAL_LINT_PACKAGE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lint/finding.h"

// What a certificate authority answers, "SignCert(..)|EncPriKey(..)|EncCert(..)" or one PKCS#7
// text; docs/certificate-package.md.
namespace lint {

enum class ItemKind { kWholeText, kSignCert, kEncPriKey, kEncCert };

const char* NameOf(ItemKind kind);

// What the key is handed, in the order of import.
struct Import {
    ItemKind kind;
    std::string data;  // as the key gets it, a private key without its prefix: never to be shown
};

struct PackageReport {
    std::vector<Import> imports;
    bool refuses = false;  // with -401, behind those imports
    bool raises = false;   // CQrvException 0x80070057
    Findings findings;     // quote nothing of an item's data

    bool Stops() const { return refuses || raises; }
    Verdict Worst() const;
};

// A zero byte ends the text for the library. Not for two threads at once.
PackageReport LintPackage(std::string_view text);

// An enveloped key's text as ImportEncX509Cert hands it to the key, without commas and prefix;
// nothing where it is too long. Not for two threads at once.
std::optional<std::string> KeyAsImported(std::string_view text);

}  // namespace lint

#endif
