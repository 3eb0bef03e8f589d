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
    ThrowUsage("what this did held for one process and was gone when the command ended",
               std::string(retired.instead) + "for a test, 'ukeyctl call " + retired.call + "'");
}

}  // namespace

void AddRetiredVerbs(CLI::App& app, Session& session) {
    for (const RetiredVerb& retired : kRetiredVerbs) {
        CLI::App& parent = *retired.group == '\0' ? app : *app.get_subcommand(retired.group);
        CLI::App* verb =
            AddVerb(parent, retired.name, "", session, [&retired](Session&) { Refuse(retired); });
        verb->group("");  // not in the help
        // Whatever follows, its own --help included, is taken and not looked at.
        verb->fallthrough(false);
        verb->allow_extras();
        verb->set_help_flag();
        verb->add_flag("--json", session.json);
    }
}
