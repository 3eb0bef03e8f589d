#ifndef ORVAL_LINT_FINDING_H
#define ORVAL_LINT_FINDING_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// What is odd about a text that a client is about to hand over, as data. What the library does with
// the whole text comes from the library's own parsing; a finding points to the place and explains
// it.
namespace lint {

// Of a whole text, and as far as it goes of one finding, which is never sound.
enum class Verdict : int32_t { kSound = 0, kSuspicious = 1, kRefused = 2 };

// The exported functions that take such texts, as bits.
enum Calls : uint32_t {
    kSingleCall = 1,    // GenerateCertRequest
    kCombinedCall = 2,  // Batch_InitAndGenerateCertRequest
    kRequestCalls = 3,
    kImportCall = 4,  // Batch_ImportX509Cert
};

// What the library does about it.
enum class Effect : int32_t {
    kRefuses = 1,     // gives -401
    kRaises = 2,      // raises CQrvException 0x80070057
    kTakes = 3,       // takes the finding's value for a field
    kPassesOver = 4,  // as if it were not there
    kHandsOver = 5,   // leaves it to the key
};

// One kind of oddity: what holds for each finding of it.
struct Rule {
    const char* name;  // for programs: stays as it is
    Verdict severity;
    uint32_t calls;  // that it concerns
    Effect effect;
    const char* expected;
    const char* does;  // what the library does, in words; "{1}" stands for the value
};

// A sentence, and what stands for {1}, {2} and so on in it. Who shows it to people may put it in
// another language first.
struct Sentence {
    template <typename... Words>
    Sentence(const char* with_places, const Words&... in_them)  // NOLINT: a text is a sentence
        : form(with_places), words{TextOf(in_them)...} {}

    std::string Plain() const;

    const char* form;
    std::vector<std::string> words;

 private:
    static std::string TextOf(std::string_view text) { return std::string(text); }
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
    static std::string TextOf(Number number) {
        return std::to_string(number);
    }
};

// Where something stands. Lines and columns count from 1.
struct Place {
    size_t offset = 0;  // bytes from the start
    size_t line = 1;
    size_t column = 1;       // characters of UTF-8 in the line; bytes where the text is none
    size_t byte_column = 1;  // bytes in the line
};

struct Finding {
    const Rule* rule = nullptr;
    size_t record = 0;  // the record of a description, the item of a package; 0: no certain one
    Place place;
    size_t length = 0;       // bytes
    std::string found;       // what stands there; empty where that may be a secret
    std::string message;     // one sentence, without the place
    Sentence sentence = "";  // the same
    std::string suggestion;  // what was meant, probably; empty: nobody knows
    int64_t value = 0;       // with kTakes

    void Tell(const Sentence& what);
    Sentence Does() const;
};

using Findings = std::vector<Finding>;

// The one finding about a text that is not looked at.
Finding TextTooLong(const Rule& rule);

// The places of a text's bytes, asked for in any order.
class Places final {
 public:
    explicit Places(std::string_view text);
    Place Of(size_t offset) const;

 private:
    static constexpr size_t kCountedEvery = 1024;

    size_t Count(size_t from, size_t to) const;
    size_t CharactersBefore(size_t offset) const;

    std::string_view text_;
    bool is_utf8_;
    std::vector<size_t> lines_;    // where each begins
    std::vector<size_t> counted_;  // characters before each so many bytes: lines may be long
};

// In the order of the text.
void Sort(Findings& findings);

// Whether there is one about these calls.
bool AnyAbout(const Findings& findings, uint32_t calls);

// The text in quotes; a long one is cut where a character ends.
std::string Quoted(std::string_view text);

}  // namespace lint

#endif
