#include "trace/trace_reader.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>

namespace softkey {
namespace {

std::string Utc(std::time_t time) {
    char text[32];
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

bool IsGone(pid_t process) {
    return kill(process, 0) != 0 && errno == ESRCH;
}

}  // namespace

TraceReader::TraceReader(Ring ring) : ring_(std::move(ring)) {
    // A count that leads to no call at all was not counted by a client.
    const uint64_t count = ring_.Count();
    const uint64_t oldest = count > Ring::kPlaces ? count - Ring::kPlaces + 1 : 1;
    bool has_any = count == 0;
    for (uint64_t number = oldest; !has_any && number <= count; ++number) {
        has_any = ring_.At(number).has_value();
    }
    Require(has_any, Code::kStoreDamaged, "none of its calls can be read");
}

calls::Header TraceReader::Header() const {
    calls::Header header;
    header.salt = ring_.Salt();
    header.serial_numbers = calls::Masker::SerialNumbers::kShown;
    header.program = "softkey trace";
    header.started = Utc(ring_.Begin().started);
    return header;
}

bool TraceReader::IsCurrent() const {
    const std::optional<Ring> now = Ring::Open(Ring::For::kReading);
    return now && now->Salt() == ring_.Salt();
}

int64_t TraceReader::NumberOf(const Thread& thread) {
    const auto [known, is_new] = numbers_.try_emplace(thread, 0);
    if (is_new) {
        known->second = ++threads_[thread.first];
    }
    return known->second;
}

calls::Call TraceReader::CallOf(const TracedLine& line) {
    calls::Call call = calls::CallFrom(calls::ParsedLine(line.text));
    call.number = static_cast<int64_t>(line.number);
    call.thread = NumberOf({line.process, line.thread});
    return call;
}

void TraceReader::ReadAgain() {
    for (auto& [number, held] : held_) {
        const std::optional<TracedLine> line = ring_.At(number);
        held.is_lost = !line;
        if (line && line->text != held.line.text) {
            held = {*line, CallOf(*line)};
        }
    }
}

// False for what stands in a place and is no call.
bool TraceReader::Take(const TracedLine& line) {
    try {
        held_[line.number] = {line, CallOf(line)};
    } catch (const std::exception&) {
        return false;
    }
    latest_[{line.process, line.thread}] = line.number;
    return true;
}

void TraceReader::ReadNew(Items& items) {
    const uint64_t count = ring_.Count();
    int64_t missed = 0;
    if (count > seen_ + Ring::kPlaces) {
        missed = static_cast<int64_t>(count - Ring::kPlaces - seen_);
        seen_ = count - Ring::kPlaces;
    }
    while (seen_ < count) {
        const std::optional<TracedLine> line = ring_.At(++seen_);
        missed += line && Take(*line) ? 0 : 1;
    }
    if (missed > 0) {
        items.emplace_back(missed);
    }
}

bool TraceReader::HasEnded(const Held& held) const {
    const Thread thread(held.line.process, held.line.thread);
    return held.is_lost || held.line.state == TracedLine::State::kEnded ||
           latest_.at(thread) > held.line.number || IsGone(held.line.process);
}

TraceReader::Items TraceReader::Read(Unended unended) {
    Items items;
    ReadAgain();
    ReadNew(items);
    for (auto held = held_.begin(); held != held_.end();) {
        if (unended == Unended::kCome || HasEnded(held->second)) {
            items.emplace_back(held->second.call);
            held = held_.erase(held);
        } else {
            ++held;
        }
    }
    return items;
}

}  // namespace softkey
