#include "log_output.h"

#include <algorithm>
#include <cstdio>

#include "cli/encoding.h"
#include "cli/json.h"
#include "cli/printable.h"
#include "cli/table.h"
#include "cli/words.h"
#include "codes/advice.h"
#include "codes/catalogue.h"
#include "codes/notation.h"

namespace log_output {
namespace {

using cli::Json;

constexpr const char* kSerialNumber = "serial_number";
constexpr const char* kHelp = "the verb's --help";
constexpr double kMicrosecondsOfMillisecond = 1000;

// Each is wide enough for what usually stands there.
constexpr size_t kTimeWidth = 23;
constexpr size_t kProcessWidth = 7;
constexpr size_t kThreadWidth = 11;
constexpr size_t kFunctionWidth = 32;
constexpr size_t kDurationWidth = 11;

// "1250.042", milliseconds. Without printf, which would be a fourth of a line's time.
std::string Fraction(int64_t microseconds) {
    const std::string thousandths = std::to_string(microseconds % 1000);
    return std::to_string(microseconds / 1000) + "." + std::string(3 - thousandths.size(), '0') +
           thousandths;
}

std::string Milliseconds(int64_t microseconds) {
    return Fraction(microseconds) + " ms";  // no message
}

std::string ShowDuration(const logs::Call& call) {
    const std::optional<int64_t> duration = call.Duration();
    return duration ? Milliseconds(*duration) : "-";
}

const char* NameOf(const codes::Row* known) {
    return known != nullptr ? known->name : nullptr;
}

std::string OutcomeOf(const logs::Call& call) {
    if (!call.code) {
        return call.ending == logs::Ending::kMissing ? cli::Say("no end") : "-";
    }
    if (*call.code == 0) {
        static const std::string done = cli::Say("done");  // of almost every line
        return done;
    }
    const char* const name = NameOf(codes::FindKnown(*call.code));
    const std::string code = codes::InBothForms(*call.code);
    return cli::Say("failed {1}", name != nullptr ? code + " " + name : code);
}

std::string InWords(std::string key) {
    std::replace(key.begin(), key.end(), '_', ' ');
    return cli::Say(key);
}

// The text, filled with blanks up to the width.
void AddCell(std::string& line, const std::string& text, size_t width, bool is_right) {
    const size_t columns = cli::Columns(text);
    const std::string filling(columns < width ? width - columns : 0, ' ');
    line += is_right ? filling : "";
    line += text;
    line += is_right ? "" : filling;
    line += "  ";
}

std::string Aligned(const std::string& time, const std::string& process, const std::string& thread,
                    const std::string& function, const std::string& duration) {
    std::string line;
    AddCell(line, time, kTimeWidth, false);
    AddCell(line, process, kProcessWidth, true);
    AddCell(line, thread, kThreadWidth, true);
    AddCell(line, function, kFunctionWidth, false);
    AddCell(line, duration, kDurationWidth, true);
    return line;
}

// What almost every text is, and what neither a terminal nor JSON minds. Looking for it first is
// most of the speed.
bool IsPlain(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character >= ' ' && character <= '~' && character != '"' && character != '\\';
    });
}

std::string Quoted(const std::string& text) {
    return IsPlain(text) ? '"' + text + '"'
                         : cli::PrintableJson(
                               Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
}

// A JSON object with one field behind the other, written as fast as a log of a hundred megabytes
// wants it.
class Object final {
 public:
    explicit Object(const char* kind) : text_(Begin()) { Text("kind", kind); }

    Object& Text(const char* key, const std::string& value) {
        Key(key) += Quoted(value);
        if (!IsPlain(value) && !cli::IsUtf8(value)) {
            Key((std::string(key) + "_hex").c_str()) += Quoted(cli::Hex(value));
        }
        return *this;
    }
    Object& TextOrNull(const char* key, const char* value) {
        return value != nullptr ? Text(key, value) : Raw(key, "null");
    }
    Object& Raw(const char* key, const std::string& value) {
        Key(key) += value;
        return *this;
    }
    Object& Number(const char* key, int64_t value) { return Raw(key, std::to_string(value)); }
    Object& Truth(const char* key, bool value) { return Raw(key, value ? "true" : "false"); }
    std::string Line() { return text_ + "}\n"; }

 private:
    static const std::string& Begin() {
        static const std::string begin = [] {
            std::string object = cli::JsonObject("log", true).dump();
            object.pop_back();
            return object;
        }();
        return begin;
    }
    std::string& Key(const char* key) {
        text_ += ",\"";
        text_ += key;
        return text_ += "\":";
    }

    std::string text_;
};

void AddCode(Object& object, const logs::Call& call) {
    if (!call.code) {
        object.Raw("code", "null").Raw("hex", "null").Raw("name", "null").Raw("meaning", "null");
        return;
    }
    const codes::Row* const known = codes::FindKnown(*call.code);
    object.Number("code", *call.code).Text("hex", codes::Hexadecimal(*call.code));
    object.TextOrNull("name", NameOf(known));
    object.TextOrNull("meaning", known != nullptr ? codes::MeaningOf(*known).c_str() : nullptr);
}

std::string Encoded(const logs::Detail& detail) {
    std::string object = std::string(R"({"what":")") + detail.key + R"(","text":)";
    object += Quoted(detail.value);
    if (!IsPlain(detail.value) && !cli::IsUtf8(detail.value)) {
        object += ",\"text_hex\":" + Quoted(cli::Hex(detail.value));
    }
    return object + "}";
}

void AddDetails(Object& object, const logs::Call& call) {
    const logs::Detail* serial_number = nullptr;
    std::string rest;
    for (const logs::Detail& detail : call.details) {
        if (serial_number == nullptr && detail.key == std::string_view(kSerialNumber)) {
            serial_number = &detail;
        } else {
            rest += (rest.empty() ? "" : ",") + Encoded(detail);
        }
    }
    if (serial_number != nullptr) {
        object.Text(kSerialNumber, serial_number->value);
    } else {
        object.Raw(kSerialNumber, "null");
    }
    object.Raw("details", "[" + rest + "]");
}

std::string EndingOf(const logs::Call& call) {
    constexpr const char* kEndings[] = {"told", "untold", "missing"};
    return kEndings[static_cast<size_t>(call.ending)];
}

std::string NextFor(const logs::Summary::Failure& failure) {
    return failure.code ? codes::NextFor(*failure.code, failure.function, {}, kHelp)
                        : cli::Say(
                              "see whether the program ended there: what it wrote last, and "
                              "the system's log of crashed programs");
}

std::string MeaningOf(const logs::Summary::Failure& failure) {
    if (!failure.code) {
        logs::Call call;
        call.function = failure.function;
        const char* const why = call.WithoutEnd();
        return why != nullptr ? cli::Say(why) : "";
    }
    const codes::Row* const known = codes::FindKnown(*failure.code);
    return codes::InBothForms(*failure.code) +
           (known != nullptr ? ": " + codes::MeaningOf(*known) : "");
}

std::string Functions(const logs::Summary& summary) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& [name, function] : summary.functions) {
        const auto timed = static_cast<int64_t>(function.timed);
        rows.push_back({name, std::to_string(function.calls), std::to_string(function.failures),
                        timed > 0 ? Milliseconds(function.duration / timed) : "-",
                        timed > 0 ? Milliseconds(function.slowest) : "-"});
    }
    return cli::InColumns({"FUNCTION", "CALLS", "FAILED", "MEAN", "SLOWEST"}, rows);
}

std::string Failures(const logs::Summary& summary) {
    std::string text;
    for (const auto& [failure, count] : summary.failed) {
        text += cli::SayCount("{2}, {1} time: {3}", "{2}, {1} times: {3}", count,
                              {failure.function, MeaningOf(failure)}) +
                "\n" + cli::Say("  next: {1}", NextFor(failure)) + "\n";
    }
    return cli::PrintableLines(text);
}

std::string Slowest(const logs::Summary& summary) {
    std::vector<std::vector<std::string>> rows;
    for (const logs::Call& call : summary.slowest) {
        rows.push_back({ShowDuration(call), call.function, logs::ShowMoment(call.first, ' '),
                        std::to_string(call.process), std::to_string(call.thread)});
    }
    return cli::InColumns({"SLOWEST", "FUNCTION", "TIME", "PROCESS", "THREAD"}, rows);
}

Json Time(logs::Moment moment) {
    return moment == logs::kNoMoment ? Json(nullptr) : Json(logs::ShowMoment(moment, 'T'));
}

Json MillisecondsOrNull(std::optional<int64_t> microseconds) {
    return microseconds ? Json(static_cast<double>(*microseconds) / kMicrosecondsOfMillisecond)
                        : Json(nullptr);
}

Json FunctionRows(const logs::Summary& summary) {
    Json rows = Json::array();
    for (const auto& [name, function] : summary.functions) {
        const auto timed = static_cast<int64_t>(function.timed);
        const auto none = std::optional<int64_t>();
        rows.push_back(
            {{"function", name},
             {"call_count", function.calls},
             {"failed", function.failures},
             {"mean_ms", MillisecondsOrNull(timed > 0 ? function.duration / timed : none)},
             {"slowest_ms", MillisecondsOrNull(timed > 0 ? function.slowest : none)}});
    }
    return rows;
}

Json FailureRows(const logs::Summary& summary) {
    Json rows = Json::array();
    for (const auto& [failure, count] : summary.failed) {
        const codes::Row* const known = failure.code ? codes::FindKnown(*failure.code) : nullptr;
        rows.push_back(
            {{"function", failure.function},
             {"call_count", count},
             {"code", failure.code ? Json(*failure.code) : Json(nullptr)},
             {"hex", failure.code ? Json(codes::Hexadecimal(*failure.code)) : Json(nullptr)},
             {"name", NameOf(known) != nullptr ? Json(known->name) : Json(nullptr)},
             {"meaning", MeaningOf(failure)},
             {"next", NextFor(failure)}});
    }
    return rows;
}

Json SlowestRows(const logs::Summary& summary) {
    Json rows = Json::array();
    for (const logs::Call& call : summary.slowest) {
        rows.push_back({{"function", call.function},
                        {"time", Time(call.first)},
                        {"duration_ms", MillisecondsOrNull(call.Duration())},
                        {"process", call.process},
                        {"thread", call.thread}});
    }
    return rows;
}

}  // namespace

std::string Headings() {
    return cli::Encoded(Aligned(cli::Say("TIME"), cli::Say("PROCESS"), cli::Say("THREAD"),
                                cli::Say("FUNCTION"), cli::Say("DURATION")) +
                        cli::Say("OUTCOME") + "\n");
}

std::string LineOf(const logs::Call& call) {
    std::string line = Aligned(logs::ShowMoment(call.first, ' '), std::to_string(call.process),
                               std::to_string(call.thread), call.function, ShowDuration(call)) +
                       OutcomeOf(call);
    for (const logs::Detail& detail : call.details) {
        line += "; " + InWords(detail.key) + " " + detail.value;
    }
    line += call.is_cut ? "; " + cli::Say("a record is cut") : "";
    line += call.is_doubtful ? "; " + cli::Say("may be part of a text") : "";
    return (IsPlain(line) ? line : cli::Encoded(cli::Printable(line))) + "\n";
}

std::string JsonOf(const logs::Call& call) {
    Object object("call");
    object.Text("function", call.function);
    object.Number("process", call.process).Number("thread", call.thread);
    object.Text("time", logs::ShowMoment(call.first, 'T'));
    const std::optional<int64_t> duration = call.Duration();
    object.Raw("duration_ms", duration ? Fraction(*duration) : "null");
    object.Truth("failed", call.HasFailed()).Text("ending", EndingOf(call));
    AddCode(object, call);
    AddDetails(object, call);
    object.Number("records", call.records).Number("offset", static_cast<int64_t>(call.offset));
    object.Truth("cut", call.is_cut).Truth("doubtful", call.is_doubtful);
    return object.Line();
}

std::string LineOfDamage(uint64_t offset, uint64_t bytes) {
    return cli::Encoded(cli::SayCount("({1} byte at {2} of no record)",
                                      "({1} bytes at {2} of no record)", bytes, {offset}) +
                        "\n");
}

std::string JsonOfDamage(uint64_t offset, uint64_t bytes) {
    Object object("damage");
    object.Number("offset", static_cast<int64_t>(offset));
    return object.Number("bytes", static_cast<int64_t>(bytes)).Line();
}

std::string ForPeople(const logs::Summary& summary) {
    const std::string calls = cli::SayCount("{1} call", "{1} calls", summary.calls);
    const std::string processes =
        cli::SayCount("{1} process", "{1} processes", summary.processes.size());
    std::string text =
        summary.calls > 0 ? cli::Say("{1} of {2}, {3} failed; from {4} to {5}.", calls, processes,
                                     summary.failures, logs::ShowMoment(summary.first, ' '),
                                     logs::ShowMoment(summary.last, ' '))
                          : cli::Say("{1} of {2}, {3} failed.", calls, processes, summary.failures);
    text += "\n";
    if (summary.damaged_places > 0) {
        text += cli::Say("Damaged: {1} at {2}, of no record.",
                         cli::SayCount("{1} byte", "{1} bytes", summary.damaged_bytes),
                         cli::SayCount("{1} place", "{1} places", summary.damaged_places)) +
                "\n";
    }
    text += summary.functions.empty() ? "" : "\n" + Functions(summary);
    text += summary.failed.empty() ? "" : "\n" + Failures(summary);
    text += summary.slowest.empty() ? "" : "\n" + Slowest(summary);
    return cli::Encoded(text);
}

std::string ForScripts(const logs::Summary& summary) {
    Json object = cli::JsonObject("log", true);
    object.update({{"kind", "summary"},
                   {"call_count", summary.calls},
                   {"failed", summary.failures},
                   {"processes", summary.processes.size()},
                   {"first", Time(summary.first)},
                   {"last", Time(summary.last)},
                   {"damaged_places", summary.damaged_places},
                   {"damaged_bytes", summary.damaged_bytes},
                   {"functions", FunctionRows(summary)},
                   {"failures", FailureRows(summary)},
                   {"slowest", SlowestRows(summary)}});
    return cli::JsonLine(object);
}

}  // namespace log_output
