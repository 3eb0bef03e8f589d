#include "pin_tries.h"

#include "cli/failure.h"
#include "cli/words.h"

namespace {

// Two 32-bit numbers, least significant byte first.
constexpr size_t kNumberSize = 4;
constexpr size_t kRecordSize = 2 * kNumberSize;

int64_t NumberAt(const std::string& record, size_t offset) {
    uint32_t number = 0;
    for (size_t at = offset + kNumberSize; at-- > offset;) {
        number = number << 8U | static_cast<unsigned char>(record[at]);
    }
    return number;
}

Report::Value ValueOf(const std::optional<int64_t>& number) {
    return number ? Report::Value(*number) : Report::Value();
}

// A key that does not tell them may still verify its PIN.
PinTries ReadPinTries(const ukey::Key& key) {
    try {
        return TriesIn(key.GetPinInfo());
    } catch (const ukey::Error& error) {
        PinTries untold;
        untold.problem = error.what();
        return untold;
    }
}

PinTries Tell(Report& report, const ukey::Key& key, const std::string& when) {
    PinTries tries = ReadPinTries(key);
    const bool is_before = when == "before";
    report.Add("tries_left_" + when, is_before ? "Tries left before" : "Tries left after",
               ValueOf(tries.left));
    if (!tries.left) {
        report.AddDetail("tries_problem", tries.problem);
        report.Say(cli::Say(is_before ? "The tries left before cannot be told: {1}"
                                      : "The tries left after cannot be told: {1}",
                            cli::Say(tries.problem)));
    }
    return tries;
}

}  // namespace

// The interface leaves the record to the key: numbers that make no sense are none.
PinTries TriesIn(const std::string& record) {
    PinTries tries;
    tries.record = record;
    const bool is_whole = record.size() == kRecordSize;
    const int64_t left = is_whole ? NumberAt(record, 0) : 0;
    const int64_t at_most = is_whole ? NumberAt(record, kNumberSize) : 0;
    if (at_most == 0 || left > at_most) {
        tries.problem = "the key's record on the PIN is not of the form that is known";
    } else {
        tries.left = left;
        tries.at_most = at_most;
    }
    return tries;
}

void AddLastTry(cli::Command& verb, bool& last_try) {
    verb.AddFlag("--last-try", last_try,
                 "Go on also where one try is left: a wrong PIN then locks the key");
}

void SpendTry(Session& session, const ukey::Key& key, bool last_try,
              const std::function<void()>& work) {
    Report& report = session.Result();
    if (Tell(report, key, "before").left == 1 && !last_try) {
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
