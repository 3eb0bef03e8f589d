#include "lint/request.h"

#include <array>
#include <limits>

#include "formats/request_entries.h"
#include "lint/request_walk.h"

namespace lint {
namespace {

using orval::RequestDescription;
using orval::RequestEntries;
using orval::RequestFields;

constexpr const char* kRefuses = "refuses the call with -401";

constexpr Rule kTooManyRecords = {"too-many-records", Verdict::kRefused,       kCombinedCall,
                                  Effect::kRefuses,   "three records at most", kRefuses};
constexpr Rule kTypesDoNotGo = {
    "encryption-needs-sm2",        Verdict::kRefused, kCombinedCall, Effect::kRefuses,
    "KeyType 2 beside CertType 3", kRefuses};
constexpr Rule kOtherHash = {"hash-not-used",
                             Verdict::kSuspicious,
                             kCombinedCall,
                             Effect::kPassesOver,
                             "the HashType of the record that it is folded into",
                             "makes one request with that record's HashType"};
constexpr Rule kFoldedAgain = {
    "pair-of-three",     Verdict::kSuspicious,     kCombinedCall,
    Effect::kPassesOver, "two records for a pair", "makes one request of all three"};
constexpr Rule kNoRequest = {
    "no-request",        Verdict::kSuspicious,           kCombinedCall,
    Effect::kPassesOver, "CertType and KeyType above 0", "silently makes no request of it"};
constexpr Rule kNoPin = {
    "pin-not-verified",
    Verdict::kSuspicious,
    kCombinedCall,
    Effect::kPassesOver,
    "a first record that makes a request",
    "makes no request of it, does not verify the PIN, and its text begins with ||"};
constexpr Rule kTooLong = {"text-too-long", Verdict::kRefused, kRequestCalls,
                           Effect::kRaises, "less than 2 GiB", "raises CQrvException 0x80070057"};

// What reading comes to. read: false where the library refuses.
template <typename Read>
void Settle(RequestOutcome& outcome, Read read) {
    try {
        outcome.refuses = !read();
    } catch (const QRV::CQrvException& exception) {
        if (exception.Code() != QRV::kInvalidArgument) {
            throw;
        }
        outcome.raises = true;
    }
}

// Reads records as GenerateCertRequest does, which asks the key in between.
RequestOutcome AsSingleCall(const char* text) {
    RequestOutcome outcome;
    Settle(outcome, [&outcome, text] {
        RequestDescription description(text);
        RequestFields fields;
        while (description.TakeRecord()) {
            if (!description.ReadFields(fields)) {
                return false;
            }
            outcome.requests.push_back(
                {fields.cert_type, fields.key_type, fields.hash_type, false, true});
        }
        return true;
    });
    return outcome;
}

// The combined call: every record is read before the key is asked for anything.
class CombinedCall final {
 public:
    CombinedCall(const char* text, RequestWalk& walk) : walk_(walk) {
        Settle(outcome_, [this, text] { return ReadRecords(text); });
        if (!outcome_.Stops()) {
            AskForRequests();
        }
    }

    const RequestOutcome& Outcome() const { return outcome_; }

 private:
    bool ReadRecords(const char* text) {
        RequestDescription description(text);
        RequestFields fields;
        for (size_t record = 0; description.TakeRecord(); ++record) {
            if (entries_.IsFull()) {
                walk_.NoteRecord(kTooManyRecords, record, "this is the fourth record");
                return false;
            }
            if (!description.ReadFields(fields)) {
                return false;
            }
            if (!entries_.Add(fields)) {
                walk_.NoteRecord(kTypesDoNotGo, record,
                                 Sentence("CertType 3 with KeyType {1}", fields.key_type));
                return false;
            }
            Follow(record, fields);
        }
        return true;
    }

    // Whether the record made an entry or was folded into one, and what is lost by that.
    void Follow(size_t record, const RequestFields& fields) {
        auto& entries = entries_.All();
        const bool is_pairing = fields.key_type == 2;
        if (!is_pairing || entries[created_].keyType == fields.key_type) {
            if (is_pairing) {
                pair_ = created_;
                folded_ = 0;
            }
            record_of_[created_++] = record;
            return;
        }
        const size_t into = record_of_[pair_] + 1;
        if (++folded_ > 1) {
            walk_.NoteRecord(kFoldedAgain, record,
                             Sentence("this record too is folded into record {1}", into));
        } else if (fields.hash_type != entries[pair_].hashType) {
            walk_.NoteRecord(
                kOtherHash, record,
                Sentence("this record is folded into record {1}, and its HashType is another",
                         into));
        }
    }

    void AskForRequests() {
        auto& entries = entries_.All();
        for (size_t i = 0; i < created_; ++i) {
            const RequestEntry& entry = entries[i];
            if (entry.certType > 0 && entry.keyType > 0) {
                outcome_.requests.push_back(
                    {entry.certType, entry.keyType, entry.hashType, entry.merged != 0, i == 0});
                continue;
            }
            walk_.NoteRecord(
                i == 0 && created_ > 1 ? kNoPin : kNoRequest, record_of_[i],
                Sentence("CertType {1} with KeyType {2}", entry.certType, entry.keyType));
        }
    }

    RequestWalk& walk_;
    RequestEntries entries_;
    RequestOutcome outcome_;
    std::array<size_t, RequestEntries::kMostRecords> record_of_ = {};
    size_t created_ = 0;
    size_t pair_ = 0;
    size_t folded_ = 0;
};

RequestReport TooLong() {
    RequestReport report;
    report.single.raises = report.combined.raises = true;
    report.findings.push_back(TextTooLong(kTooLong));
    return report;
}

}  // namespace

RequestReport LintRequest(std::string_view text) {
    const std::string_view part = text.substr(0, text.find('\0'));
    if (part.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        return TooLong();
    }
    const std::string seen(part);
    RequestReport report;
    RequestWalk walk(text, report.findings);
    report.single = AsSingleCall(seen.c_str());
    report.combined = CombinedCall(seen.c_str(), walk).Outcome();
    Sort(report.findings);
    return report;
}

Verdict RequestReport::For(uint32_t calls) const {
    const bool single_stops = single.Stops() || (calls & kSingleCall) == 0;
    const bool combined_stops = combined.Stops() || (calls & kCombinedCall) == 0;
    if (single_stops && combined_stops) {
        return Verdict::kRefused;
    }
    return AnyAbout(findings, calls) ? Verdict::kSuspicious : Verdict::kSound;
}

}  // namespace lint
