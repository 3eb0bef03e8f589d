#include "cli/encoding.h"
#include "verbs.h"

namespace {

constexpr const char* kPinNote = "The key, or its own dialog, asks for the PIN.";

// What the key tells about the PIN: two 32-bit numbers, least significant byte first.
int64_t NumberAt(const std::string& record, size_t offset) {
    uint32_t number = 0;
    for (size_t at = offset + 4; at-- > offset;) {
        number = number << 8U | (at < record.size() ? static_cast<unsigned char>(record[at]) : 0U);
    }
    return number;
}

void ShowPinInfo(Session& session) {
    const std::string record = session.Key().GetPinInfo();
    Report& report = session.Result();
    report.Add("tries_left", "Tries left", NumberAt(record, 0));
    report.Add("tries_at_most", "Tries at most", NumberAt(record, 4));
    report.AddDetail("record_hex", cli::Hex(record));
}

void AddChange(cli::Command& group, Session& session) {
    cli::Command verb = AddVerb(group, "change", std::string("Change the PIN. ") + kPinNote,
                                session, [](Session& running) {
                                    running.Key().ChangePin();
                                    running.Result().Say("The PIN has been changed.");
                                });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddExamples(verb, {"ukeyctl pin change"});
}

void AddVerify(cli::Command& group, Session& session) {
    cli::Command verb = AddVerb(group, "verify", std::string("Verify the PIN. ") + kPinNote,
                                session, [](Session& running) {
                                    running.Key().VerifyPIN();
                                    running.Result().Say("The PIN is right.");
                                });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddExamples(verb, {"ukeyctl pin verify", "ukeyctl pin verify --sn 1234567890123456"});
}

}  // namespace

void AddPinVerbs(cli::Command& app, Session& session) {
    cli::Command group = app.AddGroup("pin", "Change and verify the PIN");
    AddChange(group, session);
    AddVerify(group, session);
    cli::Command info =
        AddVerb(group, "info", "Show how many tries are left", session, ShowPinInfo);
    AddKeyOption(info, session, KeyUse::kReading);
    AddExamples(info, {"ukeyctl pin info", "ukeyctl pin info --json"});
}
