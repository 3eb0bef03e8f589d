#include <cerrno>
#include <cstdlib>

#include "verbs.h"

namespace {

// The functions that have no verb of their own: they are of use to a client's developer only, hold
// for one process, or refuse every call.
struct PlainCall {
    const char* name;
    const char* argument;  // what it takes besides a key; null: nothing
    void (*call)(Session& session, const std::string& argument);
};

intptr_t NumberIn(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno != 0) {
        cli::ThrowUsage("\"" + text + "\" is no number", "give it in decimal or with 0x");
    }
    return static_cast<intptr_t>(number);
}

constexpr PlainCall kPlainCalls[] = {
    {"Initialize", nullptr, [](Session& session, const auto&) { session.Library().Initialize(); }},
    {"Finalize", nullptr, [](Session& session, const auto&) { session.Library().Finalize(); }},
    {"GetLastErrCode", nullptr,
     [](Session& session, const auto&) {
         session.Result().Add("last_error", "Last error",
                              int64_t{session.Library().GetLastErrCode()});
     }},
    {"StopDetectUKey", nullptr,
     [](Session& session, const auto&) { session.Library().StopDetectUKey(); }},
    {"TestInitUKey", nullptr,
     [](Session& session, const auto&) { session.Key().TestInitUKey(nullptr); }},
    {"TestVerifyAndCachePin", "N",
     [](Session& session, const std::string& argument) {
         const intptr_t param = NumberIn(argument);
         session.Key().TestVerifyAndCachePin(param);
     }},
    {"SetCachePinFlag", "FLAG",
     [](Session& session, const std::string& argument) {
         const intptr_t flag = NumberIn(argument);
         session.Key().SetCachePinFlag(flag);
     }},
    {"RemovePinCache", nullptr,
     [](Session& session, const auto&) { session.Library().RemovePinCache(); }},
    {"SetCharset", "NAME",
     [](Session& session, const std::string& argument) {
         session.Library().SetCharset(session.serial_number, argument);
     }},
    {"SetLanguage", "NAME",
     [](Session& session, const std::string& argument) {
         session.Library().SetLanguage(session.serial_number, argument);
     }},
    {"RegisterCert", nullptr,
     [](Session& session, const auto&) { session.Library().RegisterCert(); }},
    {"UnregisterCert", nullptr,
     [](Session& session, const auto&) { session.Library().UnregisterCert(); }},
    {"RepairDriver", nullptr,
     [](Session& session, const auto&) { session.Library().RepairDriver(); }},
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
    std::optional<std::string> argument;
    bool consent = false;
};

void CheckArgument(const PlainCall& plain, bool is_given) {
    const std::string name = plain.name;
    if (plain.argument != nullptr && !is_given) {
        cli::ThrowUsage(name + " takes an argument",
                        "give it: ukeyctl call " + name + " " + plain.argument);
    }
    if (plain.argument == nullptr && is_given) {
        cli::ThrowUsage(name + " takes no argument", "leave it out: ukeyctl call " + name);
    }
}

void RunCall(Session& session, const CallOptions& options) {
    if (options.name == "TestInitUKey") {
        CheckConsent(options.consent, "erases everything on the key");
    }
    const auto* plain =
        std::find_if(std::begin(kPlainCalls), std::end(kPlainCalls),
                     [&options](const PlainCall& known) { return options.name == known.name; });
    CheckArgument(*plain, options.argument.has_value());
    session.Result().AddDetail("function", options.name);
    plain->call(session, options.argument.value_or(std::string()));
    session.Result().Say(options.name + " gave 0.");
}

}  // namespace

void AddCallVerb(cli::Command& app, Session& session) {
    const auto options = std::make_shared<CallOptions>();
    cli::Command verb = AddVerb(app, "call", "Call one of the functions that have no verb", session,
                                [options](Session& running) { RunCall(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    verb.Add("FUNCTION", options->name, "The exported function's name").Required().OneOf(Names());
    verb.Add("ARGUMENT", options->argument,
             "With SetCharset and SetLanguage a name, with SetCachePinFlag and "
             "TestVerifyAndCachePin a number, passed to the key as it is");
    verb.AddFlag("--yes", options->consent, "With TestInitUKey: do erase the key");
    AddExamples(verb, {"ukeyctl call Initialize", "ukeyctl call SetCharset GB18030",
                       "ukeyctl call SetCachePinFlag 1"});
}
