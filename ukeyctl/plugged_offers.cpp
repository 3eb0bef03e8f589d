// What completion offers of the plugged keys.
#include "command_line.h"
#include "doctor/apart.h"
#include "key_choice.h"

namespace {

constexpr std::chrono::seconds kPatience(3);

// In a process of its own: a library that hangs or complains must not disturb who types.
doctor::Apart AskForKeys(const Session& session, const cli::OnLine& given) {
    Session asking;
    const auto named = given.find("--library");
    asking.library_path = named != given.end() ? named->second : session.library_path;
    return doctor::RunApart(
        [&asking](const doctor::Teller& tell) {
            for (const LabelledKey& one : ListLabelledKeys(asking.Library())) {
                tell("serial_number", one.key.serial_number);
                tell("label", one.label.value_or(std::string()));
            }
        },
        kPatience);
}

// One fact of each key that has it, and the other beside it.
cli::Source OfPluggedKeys(const Session& session, const char* fact, const char* beside) {
    return [&session, fact, beside](const cli::OnLine& given) {
        const doctor::Apart answer = AskForKeys(session, given);
        const std::vector<std::string> facts = answer.All(fact);
        const std::vector<std::string> others = answer.All(beside);
        cli::Candidates candidates;
        for (size_t i = 0; i < std::min(facts.size(), others.size()); ++i) {
            if (!facts[i].empty()) {
                candidates.push_back({facts[i], others[i]});
            }
        }
        return candidates;
    };
}

}  // namespace

cli::Source PluggedSerialNumbers(const Session& session) {
    return OfPluggedKeys(session, "serial_number", "label");
}

cli::Source PluggedLabels(const Session& session) {
    return OfPluggedKeys(session, "label", "serial_number");
}
