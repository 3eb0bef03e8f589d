#ifndef CALLS_RECORDING_H
#define CALLS_RECORDING_H

#include <stdexcept>
#include <string>
#include <vector>

#include "values.h"

// The file: a line of JSON each, first about the recording, then for each call when it has ended,
// and at the end how the client ended. docs/recording.md has the fields.
namespace calls {

inline constexpr int kSchema = 1;

// A trace has a longer text by its beginning: it keeps the calls of all clients in bounded room.
inline constexpr size_t kLongestInTrace = 4000;

struct Header {
    std::string salt;
    Masker::SerialNumbers serial_numbers = Masker::SerialNumbers::kMasked;
    bool is_diffable = false;
    std::string program;
    std::string started;    // empty in a diffable one
    bool is_trace = false;  // of all clients of a software key, and for ever unfinished
};

struct Call {
    int64_t number = 0;
    std::string program;  // in a trace
    int64_t process = 0;
    int64_t thread = 0;
    int64_t start_us = 0;
    int64_t duration_us = 0;
    size_t function = 0;
    Json given;
    Json taken;
    int64_t code = 0;
    bool has_code = true;  // not where it answered by a text, threw, or never answered
    bool threw = false;
    bool finished = true;  // the client ended in it otherwise
    int64_t times = 1;     // made so often, one directly after the other, with the same answer
    bool fault = false;    // a fault that was ordered decided how it went

    int64_t EndUs() const { return start_us + duration_us; }
    // A wait that came back without an event.
    bool IsIdleWait() const { return function == kWait && (threw || code != 0); }
};

struct Recording {
    Header header;
    std::vector<Call> calls;  // by process, thread and number
    Json end;                 // null where the recording was cut off
    int64_t missed = 0;       // calls that the trace had lost before they were read
    bool is_cut = false;      // in the middle of the last line
};

// Something in a file that no recording has: which line, and what.
class Malformed final : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// What a line tells.
Json FieldsOf(const Header& header);
Json FieldsOf(const Call& call, bool is_diffable = false);
Json FieldsOfMissed(int64_t missed);
Call CallFrom(const Json& line);

// The JSON of a line, which goes no deeper than a recording's does.
Json ParsedLine(const std::string& text);

std::string LineOf(const Header& header);
std::string LineOf(const Call& call, bool is_diffable = false);
std::string LineOf(const Json& end);

// One call as people read it, without number and times: `GetData(serial_number="...", index=1) =
// 0`.
std::string Describe(const Call& call);

Recording Read(const std::string& text);

// Processes counted from 1 in the order of their first calls, their calls one thread after the
// other, and no times: the same work gives the same text.
std::string Diffable(const Recording& recording);

}  // namespace calls

#endif
