#include "recording.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "cli/words.h"

namespace calls {

namespace {

constexpr const char* kMasked = "masked";
constexpr const char* kShown = "shown";
constexpr const char* kMissed = "missed";
constexpr const char* kTrace = "trace";

std::string Line(const Json& object) {
    return object.dump() + "\n";
}

// Deeper than any value of a recording goes. Whoever shows or compares a value needs as much stack.
constexpr int kDeepest = 16;

// Numbers and times are added up.
constexpr int64_t kLargest = int64_t{1} << 53;

int64_t WholeNumber(const Json& value) {
    if (!value.is_number_integer() || value > kLargest || value < -kLargest) {
        throw Malformed(cli::Say("{1} is no number that a recording has", value.dump()));
    }
    return value.get<int64_t>();
}

int64_t WholeNumber(const Json& line, const char* name, int64_t otherwise) {
    return line.contains(name) ? WholeNumber(line[name]) : otherwise;
}

Json Fields(const Json& value, const char* name) {
    if (!value.is_object()) {
        throw Malformed(cli::Say("\"{1}\" has no fields", name));
    }
    return value;
}

Json EndFrom(const Json& line) {
    Json end = Fields(line.at("end"), "end");
    WholeNumber(end.contains("signal") ? end["signal"] : end.at("exit_status"));
    return end;
}

Header HeaderFrom(const Json& line) {
    if (line.at("schema") != kSchema || line.at("kind") != "recording") {
        throw Malformed("line 1: not a recording of this command, or of a newer one");
    }
    Header header;
    header.salt = line.at("salt").get<std::string>();
    header.serial_numbers = line.at("serial_numbers") == kShown ? Masker::SerialNumbers::kShown
                                                                : Masker::SerialNumbers::kMasked;
    header.is_diffable = line.at("diffable").get<bool>();
    header.program = line.at("program").get<std::string>();
    header.started = line.value("started", std::string());
    header.is_trace = line.value("verb", std::string()) == kTrace;
    return header;
}

void TakeLine(const std::string& text, Recording& recording, bool is_first) {
    const Json line = ParsedLine(text);
    if (is_first) {
        recording.header = HeaderFrom(line);
    } else if (line.contains("end")) {
        recording.end = EndFrom(line);
    } else if (line.contains(kMissed)) {
        recording.missed += WholeNumber(line[kMissed]);
    } else {
        recording.calls.push_back(CallFrom(line));
    }
}

}  // namespace

Json ParsedLine(const std::string& text) {
    return Json::parse(text, [](int depth, Json::parse_event_t /*event*/, const Json& /*value*/) {
        if (depth > kDeepest) {
            throw Malformed(cli::Say("it is nested too deeply"));
        }
        return true;
    });
}

Json FieldsOf(const Header& header) {
    Json line = {{"schema", kSchema},
                 {"kind", "recording"},
                 {"program", header.program},
                 {"salt", header.salt},
                 {"serial_numbers",
                  header.serial_numbers == Masker::SerialNumbers::kShown ? kShown : kMasked},
                 {"diffable", header.is_diffable}};
    if (!header.started.empty()) {
        line["started"] = header.started;
    }
    return line;
}

Json FieldsOf(const Call& call, bool is_diffable) {
    Json line = {{"call", call.number}, {"process", call.process}, {"thread", call.thread}};
    if (!is_diffable) {
        if (!call.program.empty()) {
            line["program"] = call.program;
        }
        line["start_us"] = call.start_us;
        line["duration_us"] = call.duration_us;
    }
    line["entry"] = kFunctions[call.function].name;
    line["in"] = call.given;
    if (call.finished) {
        line["out"] = call.taken;
    }
    if (call.has_code) {
        line["code"] = call.code;
    }
    if (call.threw) {
        line["threw"] = true;
    }
    if (call.times > 1) {
        line["times"] = call.times;
    }
    if (call.fault && !is_diffable) {
        line["fault"] = true;
    }
    return line;
}

Json FieldsOfMissed(int64_t missed) {
    return {{kMissed, missed}};
}

Call CallFrom(const Json& line) {
    Call call;
    call.number = WholeNumber(line.at("call"));
    call.process = WholeNumber(line.at("process"));
    call.thread = WholeNumber(line.at("thread"));
    call.start_us = WholeNumber(line, "start_us", 0);
    call.duration_us = WholeNumber(line, "duration_us", 0);
    const auto name = line.at("entry").get<std::string>();
    call.function = IndexOf(name);
    if (call.function == kFunctionCount) {
        throw Malformed(cli::Say("there is no entry {1}", name));
    }
    call.given = Fields(line.at("in"), "in");
    call.finished = line.contains("out");
    call.taken = call.finished ? Fields(line.at("out"), "out") : Json::object();
    call.has_code = line.contains("code");
    call.code = WholeNumber(line, "code", 0);
    call.threw = line.value("threw", false);
    call.program = line.value("program", std::string());
    call.times = WholeNumber(line, "times", 1);
    call.fault = line.value("fault", false);
    return call;
}

std::string LineOf(const Header& header) {
    return Line(FieldsOf(header));
}

std::string LineOf(const Call& call, bool is_diffable) {
    return Line(FieldsOf(call, is_diffable));
}

std::string LineOf(const Json& end) {
    Json line = Json::object();
    line["end"] = end;
    return Line(line);
}

namespace {

std::string DescribeAnswer(const Call& call, const std::string& asked) {
    if (call.threw) {
        return cli::Say("{1} threw", asked);
    }
    std::string text = asked + (call.has_code ? " = " + std::to_string(call.code) : "");
    for (const auto& [name, value] : call.taken.items()) {
        text += ", " + name + "=" + value.dump();
    }
    return call.finished ? text : cli::Say("{1} did not return", text);
}

}  // namespace

std::string Describe(const Call& call) {
    std::string text = std::string(kFunctions[call.function].name) + "(";
    for (const auto& [name, value] : call.given.items()) {
        text += (text.back() == '(' ? "" : ", ") + name + "=" + value.dump();
    }
    text = DescribeAnswer(call, text + ")");
    if (call.fault) {
        text = cli::Say("{1}, as softkey fault ordered", text);
    }
    return call.times > 1 ? cli::Say("{1}, {2} times", text, call.times) : text;
}

Recording Read(const std::string& text) {
    Recording recording;
    size_t number = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            recording.is_cut = true;
            break;
        }
        ++number;
        try {
            TakeLine(text.substr(start, end - start), recording, number == 1);
        } catch (const std::exception& error) {
            throw Malformed(cli::Say("line {1}: {2}", number, error.what()));
        }
        start = end + 1;
    }
    if (number == 0) {
        throw Malformed("it is empty");
    }
    std::stable_sort(recording.calls.begin(), recording.calls.end(),
                     [](const Call& one, const Call& other) {
                         return std::tie(one.process, one.thread, one.number) <
                                std::tie(other.process, other.thread, other.number);
                     });
    return recording;
}

namespace {

// The processes counted from 1 in the order in which they began. Of those that began at once, and
// of all where no times are told, the lower number comes first.
std::map<int64_t, int64_t> RanksOfProcesses(const std::vector<Call>& calls) {
    std::map<int64_t, int64_t> first_start;
    for (const Call& call : calls) {
        const auto [at, is_new] = first_start.try_emplace(call.process, call.start_us);
        at->second = is_new ? at->second : std::min(at->second, call.start_us);
    }
    std::set<std::pair<int64_t, int64_t>> order;
    for (const auto& [process, start] : first_start) {
        order.emplace(start, process);
    }
    std::map<int64_t, int64_t> ranks;
    int64_t rank = 0;
    for (const auto& [start, process] : order) {
        ranks[process] = ++rank;
    }
    return ranks;
}

}  // namespace

std::string Diffable(const Recording& recording) {
    std::map<int64_t, int64_t> ranks = RanksOfProcesses(recording.calls);
    std::vector<Call> calls = recording.calls;
    for (Call& call : calls) {
        call.process = ranks[call.process];
    }
    std::stable_sort(calls.begin(), calls.end(), [](const Call& one, const Call& other) {
        return std::tie(one.process, one.thread, one.number) <
               std::tie(other.process, other.thread, other.number);
    });
    Header header = recording.header;
    header.started.clear();
    std::string text = LineOf(header);
    std::map<int64_t, int64_t> made;
    for (Call& call : calls) {
        // A client asks again until something happens: how often is a matter of time.
        if (!call.IsIdleWait()) {
            call.number = ++made[call.process];
            text += LineOf(call, true);
        }
    }
    return text + (recording.end.is_null() ? std::string() : LineOf(recording.end));
}

}  // namespace calls
