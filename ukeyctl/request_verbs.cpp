#include "change.h"
#include "cli/encoding.h"
#include "cli/words.h"
#include "verbs.h"

namespace {

constexpr const char* kPemLabel = "CERTIFICATE REQUEST";

// Every other mode leaves the key's content alone; the library knows 0 only.
constexpr uint32_t kInitialise = 1;

struct RequestOptions {
    std::string description;
    std::string format;
    std::string out;
    uint32_t mode = 0;
    ChangeOptions change;
};

std::vector<std::string> PemRequests(const std::string& joined) {
    std::vector<std::string> requests = cli::SplitJoined(joined);
    for (std::string& request : requests) {
        request = cli::ToPem(kPemLabel, request);
    }
    return requests;
}

// The library makes no request of such a description and gives 0; with --mode 1 the key is erased
// nevertheless.
void CheckDescription(const std::string& description) {
    if (description.find_first_not_of('|') == std::string::npos) {
        cli::ThrowUsage("the description asks for nothing; a shell variable may be unset",
                        "name at least one record, such as 'CertType(1)KeyType(2)HashType(3)'");
    }
}

[[noreturn]] void ThrowNothingMade() {
    cli::Throw(cli::ExitStatus::kFailed, "no request was made", "the key's answer is empty",
               "see with --help what a description has to name");
}

void DeliverRequests(Session& session, const RequestOptions& options, const std::string& joined) {
    const auto count = static_cast<int64_t>(cli::SplitJoined(joined).size());
    if (count == 0) {
        ThrowNothingMade();
    }
    session.Result().AddDetail("count", count);
    if (options.format == "pem") {
        Deliver(session, "requests", PemRequests(joined), options.out);
    } else {
        DeliverJoined(session, "requests", joined, options.out);
    }
}

void AddRequestOptions(cli::Command& verb, Session& session, RequestOptions& options) {
    AddKeyOption(verb, session, KeyUse::kChanging);
    verb.Add("--description", options.description,
             "What to request: records separated by |, each CertType(D)KeyType(D)HashType(D) "
             "with one digit D; what a record leaves out is as in the one before")
        .Takes("TEXT")
        .Required();
    AddFormat(verb, options.format, {"pem", "text"});
    AddOutOption(verb, options.out);
    AddDryRun(verb, options.change);
}

Change ChangeOf(const RequestOptions& options, const char* function) {
    Change change;
    change.function = function;
    change.arguments = {{"szRequestInfo", options.description}};
    return change;
}

void RunRequest(Session& session, const RequestOptions& options) {
    CheckDescription(options.description);
    Change change = ChangeOf(options, "GenerateCertRequest");
    if (options.change.dry_run) {
        PlanRequests(change, lint::LintRequest(options.description), lint::kSingleCall, false);
    }
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        DeliverRequests(session, options, WhileItWorks(*key, [&options](const ukey::Key& its) {
                            return its.GenerateCertRequest(options.description);
                        }));
    }
}

void AddRequest(cli::Command& app, Session& session) {
    const auto options = std::make_shared<RequestOptions>();
    cli::Command verb =
        AddVerb(app, "request", "Have the key make certificate requests (PKCS#10)", session,
                [options](Session& running) { RunRequest(running, *options); });
    AddRequestOptions(verb, session, *options);
    AddExamples(verb,
                {"ukeyctl request --description 'CertType(1)KeyType(2)HashType(3)'",
                 "ukeyctl request --description 'CertType(1)KeyType(2)HashType(3)|CertType(2)' "
                 "--out both.pem",
                 "ukeyctl request --description 'CertType(1)KeyType(2)' --format text"});
}

Change InitRequestOf(const RequestOptions& options) {
    Change change = ChangeOf(options, "Batch_InitAndGenerateCertRequest");
    change.arguments.insert(change.arguments.begin(), {"nInitMode", int64_t{options.mode}});
    const bool initialises = options.mode == kInitialise;
    if (options.mode > kInitialise) {
        change.verdict = lint::Verdict::kRefused;
        change.remark = cli::Say("{1} refuses the mode with -401", std::string(change.function));
    } else if (options.change.dry_run) {
        PlanRequests(change, lint::LintRequest(options.description), lint::kCombinedCall,
                     initialises);
    }
    if (initialises) {
        change.consequence = "erases everything on the key first";
        change.question = "Erase everything on, and make requests with, key {1}?";
    }
    return change;
}

void RunInitRequest(Session& session, const RequestOptions& options) {
    CheckDescription(options.description);
    const Change change = InitRequestOf(options);
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        DeliverRequests(session, options, WhileItWorks(*key, [&options](const ukey::Key& its) {
                            return its.Batch_InitAndGenerateCertRequest(options.mode,
                                                                        options.description);
                        }));
    }
}

void AddInitRequest(cli::Command& app, Session& session) {
    const auto options = std::make_shared<RequestOptions>();
    cli::Command verb =
        AddVerb(app, "init-request",
                "Initialise the key if asked to, and make up to three requests in one step",
                session, [options](Session& running) { RunInitRequest(running, *options); });
    AddRequestOptions(verb, session, *options);
    verb.Add("--mode", options->mode, "0: verify the PIN; 1: initialise the key first")
        .Takes("N")
        .ShowDefault();
    AddConsent(verb, options->change, "With --mode 1: do erase the key");
    AddExamples(
        verb, {"ukeyctl init-request --description 'CertType(1)KeyType(2)HashType(3)|CertType(3)'",
               "ukeyctl init-request --mode 1 --yes --description "
               "'CertType(1)KeyType(2)HashType(3)'"});
}

}  // namespace

void AddRequestVerbs(cli::Command& app, Session& session) {
    AddRequest(app, session);
    AddInitRequest(app, session);
}
