#include <cerrno>
#include <cstdlib>

#include "change.h"
#include "cli/words.h"
#include "pin_tries.h"
#include "verbs.h"

namespace {

// The functions that have no verb of their own: they are of use to a client's developer only, hold
// for one process, or refuse every call.
struct PlainCall {
    const char* name;
    const char* argument;   // what it takes besides a key; null: nothing
    const char* parameter;  // what the header calls that
    // Exactly one of them: a function that takes a key, and one that takes none.
    void (*call)(Session& session, const std::string& argument);
    void (*call_on)(const ukey::Key& key, const std::string& argument);
};

intptr_t NumberIn(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno != 0) {
        cli::ThrowUsage(cli::Say("\"{1}\" is no number", text), "give it in decimal or with 0x");
    }
    return static_cast<intptr_t>(number);
}

constexpr PlainCall kPlainCalls[] = {
    {"Initialize", nullptr, nullptr,
     [](Session& session, const auto&) { session.Library().Initialize(); }, nullptr},
    {"Finalize", nullptr, nullptr,
     [](Session& session, const auto&) { session.Library().Finalize(); }, nullptr},
    {"GetLastErrCode", nullptr, nullptr,
     [](Session& session, const auto&) {
         session.Result().Add("last_error", "Last error",
                              int64_t{session.Library().GetLastErrCode()});
     },
     nullptr},
    {"StopDetectUKey", nullptr, nullptr,
     [](Session& session, const auto&) { session.Library().StopDetectUKey(); }, nullptr},
    {"TestInitUKey", nullptr, nullptr, nullptr,
     [](const ukey::Key& key, const auto&) { key.TestInitUKey(nullptr); }},
    {"TestVerifyAndCachePin", "N", "nParam", nullptr,
     [](const ukey::Key& key, const std::string& argument) {
         key.TestVerifyAndCachePin(NumberIn(argument));
     }},
    {"SetCachePinFlag", "FLAG", "nFlag", nullptr,
     [](const ukey::Key& key, const std::string& argument) {
         key.SetCachePinFlag(NumberIn(argument));
     }},
    {"RemovePinCache", nullptr, nullptr,
     [](Session& session, const auto&) { session.Library().RemovePinCache(); }, nullptr},
    {"SetCharset", "NAME", "szSecond",
     [](Session& session, const std::string& argument) {
         session.Library().SetCharset(session.serial_number, argument);
     },
     nullptr},
    {"SetLanguage", "NAME", "szSecond",
     [](Session& session, const std::string& argument) {
         session.Library().SetLanguage(session.serial_number, argument);
     },
     nullptr},
    {"RegisterCert", nullptr, nullptr,
     [](Session& session, const auto&) { session.Library().RegisterCert(); }, nullptr},
    {"UnregisterCert", nullptr, nullptr,
     [](Session& session, const auto&) { session.Library().UnregisterCert(); }, nullptr},
    {"RepairDriver", nullptr, nullptr,
     [](Session& session, const auto&) { session.Library().RepairDriver(); }, nullptr},
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
    ChangeOptions change;
    bool last_try = false;
};

void CheckArgument(const PlainCall& plain, const std::optional<std::string>& argument) {
    const std::string name = plain.name;
    if (plain.argument != nullptr && !argument) {
        cli::ThrowUsage(cli::Say("{1} takes an argument", name),
                        cli::Say("give it: ukeyctl call {1} {2}", name, plain.argument));
    }
    if (plain.argument == nullptr && argument) {
        cli::ThrowUsage(cli::Say("{1} takes no argument", name),
                        cli::Say("leave it out: ukeyctl call {1}", name));
    }
    if (plain.call_on != nullptr && argument) {
        NumberIn(*argument);
    }
}

Change ChangeOf(const PlainCall& plain, const CallOptions& options) {
    Change change;
    change.function = plain.name;
    change.needs_key = plain.call_on != nullptr;
    if (options.argument) {
        change.arguments = {{plain.parameter, *options.argument}};
    }
    if (options.name == "TestInitUKey") {
        change.items = {{cli::Mark("erasure"), {}, "everything on the key"}};
        change.consequence = "erases everything on the key";
        change.question = "Erase everything on key {1}?";
    }
    return change;
}

void CallOn(Session& session, const PlainCall& plain, const ukey::Key& key,
            const CallOptions& options) {
    const std::string argument = options.argument.value_or(std::string());
    if (options.name == "TestVerifyAndCachePin") {
        SpendTry(session, key, options.last_try, [&] { plain.call_on(key, argument); });
    } else {
        plain.call_on(key, argument);
    }
}

void RunCall(Session& session, const CallOptions& options) {
    const auto* plain =
        std::find_if(std::begin(kPlainCalls), std::end(kPlainCalls),
                     [&options](const PlainCall& known) { return options.name == known.name; });
    CheckArgument(*plain, options.argument);
    session.Result().AddDetail("function", options.name);
    std::optional<ukey::Key> key;
    if (!MayCarryOut(session, options.change, ChangeOf(*plain, options), key)) {
        return;
    }
    if (key) {
        CallOn(session, *plain, *key, options);
    } else {
        plain->call(session, options.argument.value_or(std::string()));
    }
    session.Result().Say(cli::Say("{1} gave 0.", options.name));
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
    AddConsent(verb, options->change, "With TestInitUKey: do erase the key");
    AddLastTry(verb, options->last_try);
    AddDryRun(verb, options->change);
    AddExamples(verb, {"ukeyctl call Initialize", "ukeyctl call SetCharset GB18030",
                       "ukeyctl call SetCachePinFlag 1"});
}
