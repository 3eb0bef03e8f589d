#include "pin_tries.h"

#include "cli/failure.h"
#include "cli/words.h"

namespace {

// A key that does not tell them may still verify its PIN.
ToldTries ReadTries(const ukey::Key& key) {
    try {
        return TriesIn(key.GetPinInfo());
    } catch (const ukey::Error& error) {
        return {std::nullopt, error.what()};
    }
}

ToldTries Tell(Report& report, const ukey::Key& key, const std::string& when) {
    ToldTries told = ReadTries(key);
    const bool is_before = when == "before";
    report.Add("tries_left_" + when, is_before ? "Tries left before" : "Tries left after",
               told.Left());
    if (!told.tries) {
        report.AddDetail("tries_problem", told.problem);
        report.Say(cli::Say(is_before ? "The tries left before cannot be told: {1}"
                                      : "The tries left after cannot be told: {1}",
                            cli::Say(told.problem)));
    }
    return told;
}

}  // namespace

Report::Value ToldTries::Left() const {
    return tries ? Report::Value(int64_t{tries->left}) : Report::Value();
}

Report::Value ToldTries::AtMost() const {
    return tries ? Report::Value(int64_t{tries->at_most}) : Report::Value();
}

ToldTries TriesIn(const std::string& record) {
    ToldTries told{ukey::ParsePinTries(record), {}};
    if (!told.tries) {
        told.problem = "the key's record on the PIN is not of the form that is known";
    }
    return told;
}

void AddLastTry(cli::Command& verb, bool& last_try) {
    verb.AddFlag("--last-try", last_try,
                 "Go on also where one try is left: a wrong PIN then locks the key");
}

void SpendTry(Session& session, const ukey::Key& key, bool last_try,
              const std::function<void()>& work) {
    Report& report = session.Result();
    const ToldTries before = Tell(report, key, "before");
    if (before.tries && before.tries->left == 1 && !last_try) {
        cli::Throw(
            cli::ExitStatus::kDeclined, "not carried out",
            cli::Say("one try is left: a wrong PIN would lock the key {1}", key.SerialNumber()),
            "make sure of the PIN, then add --last-try");
    }
    try {
        work();
    } catch (const ukey::Error&) {
        Tell(report, key, "after");
        throw;
    }
    Tell(report, key, "after");
}
