#include "verbs.h"

// Verbs that this command once had. What they did held for its own process and was gone when it
// ended, so that they looked as if they did something. Whoever still gives one is told.

namespace {

struct RetiredVerb {
    const char* group;  // empty: none
    const char* name;
    const char* call;     // how a tester still reaches the function
    const char* instead;  // what a person wants; empty where there is no such thing
};

constexpr RetiredVerb kRetiredVerbs[] = {
    {"pin", "cache", "TestVerifyAndCachePin N",
     "to see whether the PIN is right, 'ukeyctl pin verify'; "},
    {"pin", "caching", "SetCachePinFlag FLAG", ""},
    {"pin", "forget", "RemovePinCache", ""},
    {"", "charset", "SetCharset NAME", "for a verb's texts, give it --charset NAME; "},
    {"", "language", "SetLanguage NAME", "for a verb's texts, give it --language NAME; "},
};

void Refuse(const RetiredVerb& retired) {
    cli::ThrowUsage(
        "what this did held for one process and was gone when the command ended",
        std::string(retired.instead) + "for a test, 'ukeyctl call " + retired.call + "'");
}

}  // namespace

void AddRetiredVerbs(cli::Command& app, Session& session) {
    for (const RetiredVerb& retired : kRetiredVerbs) {
        cli::Command parent = *retired.group == '\0' ? app : app.Find(retired.group);
        cli::Command verb =
            AddVerb(parent, retired.name, "", session, [&retired](Session&) { Refuse(retired); });
        verb.Retire();
        verb.AddFlag("--json", session.json);
    }
}
