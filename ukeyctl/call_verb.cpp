#include "verbs.h"

namespace {

// The functions that have no verb of their own: they are of use to a client's developer only, or
// refuse every call.
struct PlainCall {
    const char* name;
    void (*call)(Session& session);
};

constexpr PlainCall kPlainCalls[] = {
    {"Initialize", [](Session& session) { session.Library().Initialize(); }},
    {"Finalize", [](Session& session) { session.Library().Finalize(); }},
    {"GetLastErrCode",
     [](Session& session) {
         session.Result().Add("last_error", "Last error",
                              int64_t{session.Library().GetLastErrCode()});
     }},
    {"StopDetectUKey", [](Session& session) { session.Library().StopDetectUKey(); }},
    {"TestInitUKey", [](Session& session) { session.Key().TestInitUKey(nullptr); }},
    {"RegisterCert", [](Session& session) { session.Library().RegisterCert(); }},
    {"UnregisterCert", [](Session& session) { session.Library().UnregisterCert(); }},
    {"RepairDriver", [](Session& session) { session.Library().RepairDriver(); }},
};

std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const PlainCall& plain : kPlainCalls) {
        names.emplace_back(plain.name);
    }
    return names;
}

struct CallOptions {
    std::string name;
    bool consent = false;
};

void RunCall(Session& session, const CallOptions& options) {
    if (options.name == "TestInitUKey") {
        CheckConsent(options.consent, "erases everything on the key");
    }
    const auto* plain =
        std::find_if(std::begin(kPlainCalls), std::end(kPlainCalls),
                     [&options](const PlainCall& known) { return options.name == known.name; });
    session.Result().AddDetail("function", options.name);
    plain->call(session);
    session.Result().Say(options.name + " gave 0.");
}

}  // namespace

void AddCallVerb(CLI::App& app, Session& session) {
    const auto options = std::make_shared<CallOptions>();
    CLI::App* verb = AddVerb(app, "call", "Call one of the functions that have no verb", session,
                             [options](Session& running) { RunCall(running, *options); });
    AddKeyOption(*verb, session);
    verb->add_option("FUNCTION", options->name, "The exported function's name")
        ->required()
        ->check(CLI::IsMember(Names()));
    verb->add_flag("--yes", options->consent, "With TestInitUKey: do erase the key");
    AddExamples(*verb, {"ukeyctl call Initialize", "ukeyctl call RepairDriver"});
}
