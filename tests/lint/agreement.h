#ifndef ORVAL_TESTS_LINT_AGREEMENT_H
#define ORVAL_TESTS_LINT_AGREEMENT_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "lint/package.h"
#include "lint/request.h"

// What lint says of a text, and what the product does with it on a key that accepts everything, in
// the same words.
namespace agreement {

constexpr int32_t kRaised = 1;  // no code of the library

// What a call came to: its code, or that it raised 0x80070057, and what the key was asked for.
struct Seen {
    int32_t code = 0;
    std::vector<std::string> asked;
};

bool operator==(const Seen& a, const Seen& b);
void PrintTo(const Seen& seen, std::ostream* out);

// From now on the scripted key accepts everything.
void AcceptEverything();

// What the product does with a text.
Seen Single(const char* text);    // GenerateCertRequest
Seen Combined(const char* text);  // Batch_InitAndGenerateCertRequest
Seen Import(const char* text);    // Batch_ImportX509Cert

// What lint says the product does.
Seen Foretold(const lint::RequestOutcome& outcome);
Seen Foretold(const lint::PackageReport& report);

template <typename Outcome>
int32_t CodeOf(const Outcome& outcome) {
    return Foretold(outcome).code;
}

// What the findings alone say of a call: the first in the text that stops it decides.
int32_t PointedOut(const lint::Findings& findings, uint32_t call, size_t most_records);

// The names of the rules of which a finding does not stand in the text.
std::vector<std::string> PlacedOutside(const lint::Findings& findings, const std::string& text);

}  // namespace agreement

#endif
