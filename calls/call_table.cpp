#include "call_table.h"

#include <algorithm>

#include "cli/words.h"
#include "codes/notation.h"

namespace calls {

namespace {

double Milliseconds(int64_t us) {
    return static_cast<double>(us) / 1000;
}

std::string AnswerOf(const Call& call) {
    if (call.threw) {
        return cli::Say("threw");
    }
    return call.has_code   ? codes::Hexadecimal(static_cast<int32_t>(call.code))
           : call.finished ? "-"
                           : cli::Say("did not return");
}

std::string OutcomeOf(const Call& call) {
    return call.threw ? "threw" : call.finished ? "returned" : "missing";
}

}  // namespace

cli::Table TableOf(const std::vector<Call>& calls) {
    const bool has_programs = std::any_of(calls.begin(), calls.end(),
                                          [](const Call& call) { return !call.program.empty(); });
    // Each as wide as what usually stands there: a trace comes piece by piece.
    const auto width = [has_programs](size_t columns) { return has_programs ? columns : 0; };
    cli::Table table{{{"call", "CALL", width(5)},
                      {"program", has_programs ? cli::Mark("PROGRAM") : "", 12},
                      {"process", "PROCESS"},
                      {"thread", "THREAD"},
                      {"start_ms", "START ms", width(10)},
                      {"duration_ms", "TIME ms", width(8)},
                      {"", "CODE", width(10)},
                      {"code", ""},
                      {"hex", ""},
                      {"outcome", ""},
                      {"text", "WHAT WAS CALLED"}},
                     {}};
    using Cell = cli::Table::Cell;
    for (const Call& call : calls) {
        const bool has_code = call.has_code && !call.threw;
        const auto code = static_cast<int32_t>(call.code);
        table.rows.push_back(
            {call.number, call.program.empty() ? Cell() : Cell(call.program), call.process,
             call.thread, Milliseconds(call.start_us), Milliseconds(call.duration_us),
             AnswerOf(call), has_code ? Cell(int64_t{code}) : Cell(),
             has_code ? Cell(codes::Hexadecimal(code)) : Cell(), OutcomeOf(call), Describe(call)});
    }
    return table;
}

std::string EndOf(const Recording& recording) {
    if (recording.end.contains("signal")) {
        return cli::Say("ended by signal {1}", recording.end["signal"].dump());
    }
    if (!recording.end.is_null()) {
        return cli::Say("ended with exit status {1}", recording.end["exit_status"].dump());
    }
    if (recording.header.is_trace) {
        return recording.missed > 0 ? SayMissed(recording.missed) : cli::Say("no call missed");
    }
    return cli::Say("cut off: how the client ended is not in it");
}

std::string SayMissed(int64_t missed) {
    return cli::SayCount("{1} call missed", "{1} calls missed", static_cast<uint64_t>(missed));
}

}  // namespace calls
