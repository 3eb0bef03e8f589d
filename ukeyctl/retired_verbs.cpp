#include "cli/words.h"
#include "verbs.h"

// Verbs that this command once had. What they did held for its own process and was gone when it
// ended, so that they looked as if they did something. Whoever still gives one is told.

namespace {

struct RetiredVerb {
    const char* group;  // empty: none
    const char* name;
    const char* call;     // how a tester still reaches the function
    const char* instead;  // what a person wants, where there is such a thing, and {1} for the call
};

constexpr RetiredVerb kRetiredVerbs[] = {
    {"pin", "cache", "TestVerifyAndCachePin N",
     "to see whether the PIN is right, 'ukeyctl pin verify'; for a test, 'ukeyctl call {1}'"},
    {"pin", "caching", "SetCachePinFlag FLAG", "for a test, 'ukeyctl call {1}'"},
    {"pin", "forget", "RemovePinCache", "for a test, 'ukeyctl call {1}'"},
    {"", "charset", "SetCharset NAME",
     "for a verb's texts, give it --charset NAME; for a test, 'ukeyctl call {1}'"},
    {"", "language", "SetLanguage NAME",
     "for a verb's texts, give it --language NAME; for a test, 'ukeyctl call {1}'"},
};

void Refuse(const RetiredVerb& retired) {
    cli::ThrowUsage("what this did held for one process and was gone when the command ended",
                    cli::Say(retired.instead, std::string(retired.call)));
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
