// Any bytes are read as a log: the same in parts of any size, and each byte of it is told once at
// most. A masked log has the same length and the same records, and masking it again changes
// nothing.
//
// The first byte of the input is the size of the parts.
#include "fuzz_target.h"
#include "logs/scrub.h"
#include "logs/summary.h"
#include "made_log.h"

namespace {

using fuzz::Require;

// Each byte is damage or a part of a text, or stands around one.
void RequireInside(const Told& told, const std::string& log) {
    uint64_t behind = 0;
    for (const auto& [offset, bytes] : told.damage) {
        Require(offset >= behind && log.compare(offset, bytes.size(), bytes) == 0,
                "damage is told in its place, and once");
        behind = offset + bytes.size();
    }
    for (const Told::Kept& record : told.records) {
        Require(record.offset < log.size(), "a record stands in the log");
    }
}

// What is masked stays where it is, so that who has both can lay one over the other.
void RequireSamePlaces(const Told& before, const Told& after) {
    Require(before.records.size() == after.records.size(), "a masked log has as many records");
    for (size_t i = 0; i < before.records.size(); ++i) {
        Require(before.records[i].offset == after.records[i].offset,
                "a masked record stands where it stood");
    }
}

void CountCalls(const std::string& log) {
    logs::Summary summary;
    const std::vector<logs::Call> calls = CallsOf(log);
    for (const logs::Call& call : calls) {
        Require(call.offset < log.size(), "a call stands in the log");
        summary.Take(call);
    }
    Require(summary.calls == calls.size(), "each call counts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const size_t part = size_t{input.TakeByte()} + 1;
    const std::string log = input.TakeRest();
    const Told whole = Read(log);
    const Told parts = Read(log, part);
    Require(whole.Texts() == parts.Texts() && whole.damage == parts.damage,
            "a log is read the same in parts of any size");
    RequireInside(whole, log);
    const std::string masked = logs::Scrubbed(log);
    Require(masked.size() == log.size(), "a masked log has the same length");
    Require(logs::Scrubbed(masked) == masked, "a masked log is left as it is");
    RequireSamePlaces(whole, Read(masked));
    CountCalls(log);
    return 0;
}
