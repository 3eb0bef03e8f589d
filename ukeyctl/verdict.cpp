#include "verdict.h"

using lint::Verdict;

namespace {

struct VerdictRow {
    Verdict verdict;
    const char* name;
    cli::ExitStatus status;
};
constexpr VerdictRow kVerdicts[] = {
    {Verdict::kSound, "sound", cli::ExitStatus::kDone},
    {Verdict::kSuspicious, "suspicious", cli::ExitStatus::kDoubtful},
    {Verdict::kRefused, "refused", cli::ExitStatus::kBroken},
};

const VerdictRow& RowOf(Verdict verdict) {
    return kVerdicts[static_cast<size_t>(verdict)];
}

}  // namespace

const char* NameOf(Verdict verdict) {
    return RowOf(verdict).name;
}

cli::ExitStatus Conclude(Report& report, Verdict verdict) {
    report.Say(std::string("Verdict: ") + NameOf(verdict));
    report.AddDetail("verdict", NameOf(verdict));
    return RowOf(verdict).status;
}

std::string Plural(size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string InWords(const lint::RequestOutcome& outcome) {
    const std::string requests = Plural(outcome.requests.size(), "request");
    if (!outcome.Stops()) {
        return "asks the key for " + requests;
    }
    return std::string(outcome.raises ? "raises CQrvException 0x80070057"
                                      : "refuses it with -401") +
           (outcome.requests.empty() ? ", before the key is asked for anything"
                                     : ", after it has asked the key for " + requests);
}

std::string InWords(const lint::Request& request) {
    return "CertType " + std::to_string(request.cert_type) + ", KeyType " +
           std::to_string(request.key_type) + ", HashType " + std::to_string(request.hash_type) +
           (request.merged ? ", for a pair of certificates" : "");
}
