#ifndef ORVAL_LINT_REQUEST_H
#define ORVAL_LINT_REQUEST_H

#include <vector>

#include "lint/finding.h"

// Request descriptions, "CertType(1)KeyType(2)HashType(3)|HashType(4)";
// docs/request-description.md.
namespace lint {

// One request that the key is asked for.
struct Request {
    int64_t cert_type;
    int64_t key_type;
    int64_t hash_type;
    bool merged;        // made of two records
    bool verifies_pin;  // the PIN is verified before it; the combined call: unless it initialises
};

// What a call does with a description on a key that accepts everything. A call that refuses may
// have asked for requests before: GenerateCertRequest reads a record when its turn comes.
struct RequestOutcome {
    std::vector<Request> requests;
    bool refuses = false;  // with -401
    bool raises = false;   // CQrvException 0x80070057
    bool Stops() const { return refuses || raises; }
};

struct RequestReport {
    RequestOutcome single;    // GenerateCertRequest
    RequestOutcome combined;  // Batch_InitAndGenerateCertRequest, with an initMode that there is
    Findings findings;

    // For a client that uses these calls. Refused: by each of them; what one takes and another does
    // not is suspicious.
    Verdict For(uint32_t calls) const;
};

// A zero byte ends the text for the library. Not for two threads at once.
RequestReport LintRequest(std::string_view text);

}  // namespace lint

#endif
