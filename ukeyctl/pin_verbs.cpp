#include "change.h"
#include "cli/encoding.h"
#include "cli/words.h"
#include "pin_tries.h"
#include "verbs.h"

namespace {

void ShowPinInfo(Session& session) {
    const std::string record = session.Key().GetPinInfo();
    const ToldTries told = TriesIn(record);
    Report& report = session.Result();
    report.Add("tries_left", "Tries left", told.Left());
    report.Add("tries_at_most", "Tries at most", told.AtMost());
    report.AddDetail("record_hex", cli::Hex(record));
    report.AddDetail("problem",
                     told.problem.empty() ? Report::Value() : Report::Value(told.problem));
    if (!told.problem.empty()) {
        report.Say(cli::Say("The tries cannot be told: {1}", told.problem));
    }
}

struct PinOptions {
    ChangeOptions change;
    bool last_try = false;
};

void ChangePin(Session& session, const PinOptions& options) {
    Change change;
    change.function = "ChangePin";
    change.items = {{"PIN", {}, "the key, or its own dialog, asks for the old and the new one"}};
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        SpendTry(session, *key, options.last_try, [&key] { key->ChangePin(); });
        session.Result().Say("The PIN has been changed.");
    }
}

void VerifyPin(Session& session, const PinOptions& options) {
    const ukey::Key key = session.Key();
    SpendTry(session, key, options.last_try, [&key] { key.VerifyPIN(); });
    session.Result().Say("The PIN is right.");
}

void AddChange(cli::Command& group, Session& session) {
    const auto options = std::make_shared<PinOptions>();
    cli::Command verb =
        AddVerb(group, "change", "Change the PIN. The key, or its own dialog, asks for the PIN.",
                session, [options](Session& running) { ChangePin(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddLastTry(verb, options->last_try);
    AddDryRun(verb, options->change);
    AddExamples(verb, {"ukeyctl pin change"});
}

void AddVerify(cli::Command& group, Session& session) {
    const auto options = std::make_shared<PinOptions>();
    cli::Command verb =
        AddVerb(group, "verify", "Verify the PIN. The key, or its own dialog, asks for the PIN.",
                session, [options](Session& running) { VerifyPin(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddLastTry(verb, options->last_try);
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
