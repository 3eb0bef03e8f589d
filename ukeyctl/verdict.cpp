#include "verdict.h"

#include "cli/words.h"

using lint::Verdict;

namespace {

struct VerdictRow {
    Verdict verdict;
    const char* name;
    cli::ExitStatus status;
};
constexpr VerdictRow kVerdicts[] = {
    {Verdict::kSound, cli::Mark("sound"), cli::ExitStatus::kDone},
    {Verdict::kSuspicious, cli::Mark("suspicious"), cli::ExitStatus::kDoubtful},
    {Verdict::kRefused, cli::Mark("refused"), cli::ExitStatus::kBroken},
};

const VerdictRow& RowOf(Verdict verdict) {
    return kVerdicts[static_cast<size_t>(verdict)];
}

}  // namespace

const char* NameOf(Verdict verdict) {
    return RowOf(verdict).name;
}

cli::ExitStatus Conclude(Report& report, Verdict verdict) {
    report.Say(cli::Say("Verdict: {1}", NameOf(verdict)));
    report.AddDetail("verdict", NameOf(verdict));
    return RowOf(verdict).status;
}

std::string InWords(const char* function, const lint::RequestOutcome& outcome) {
    const std::string requests =
        cli::SayCount("{1} request", "{1} requests", outcome.requests.size());
    if (!outcome.Stops()) {
        return cli::Say("{1} asks the key for {2}", function, requests);
    }
    const std::string how = outcome.raises ? cli::Say("raises CQrvException 0x80070057")
                                           : cli::Say("refuses it with -401");
    return outcome.requests.empty()
               ? cli::Say("{1} {2}, before the key is asked for anything", function, how)
               : cli::Say("{1} {2}, after it has asked the key for {3}", function, how, requests);
}

std::string InWords(const lint::Request& request) {
    const std::string fields = cli::Say("CertType {1}, KeyType {2}, HashType {3}",
                                        request.cert_type, request.key_type, request.hash_type);
    return request.merged ? cli::Say("{1}, for a pair of certificates", fields) : fields;
}
