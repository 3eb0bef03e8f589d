#ifndef ORVAL_TESTS_PRODUCT_WALK_STEP_H
#define ORVAL_TESTS_PRODUCT_WALK_STEP_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace walk {

// A text or buffer that a client passes; nothing stands for a null pointer.
using Text = std::optional<std::string>;

constexpr size_t kTexts = 4;
constexpr size_t kNumbers = 7;

// What a client passes, in the order of the function's arguments of each kind.
struct Arguments {
    std::array<Text, kTexts> texts;
    std::array<int64_t, kNumbers> numbers{};
    Text buffer;                    // all its bytes; on entry the last one is NUL
    std::optional<int32_t> length;  // the length argument, which need not be the buffer's size
    std::optional<uint32_t> event;
};

// What the back-end does at one call.
struct Reply {
    int32_t code = 0;
    Text text;                      // written to the buffer, handed over, or returned
    std::optional<int32_t> length;  // stored through the length pointer
    bool throws = false;            // instead of all that
};

struct Device {
    uint32_t slot = 0;
    uint32_t code = 0;  // of reading its record; the record is filled whatever the code
    std::string media_id;
};

// What one call of the token library's wait does, and the pause after it.
struct Wait {
    enum Pause { kCompleted, kInterrupted, kFailed };
    uint32_t code = 1;
    bool throws = false;
    bool stopped = false;  // StopDetectUKey is called meanwhile
    bool fills_event = false;
    uint32_t kind = 0;
    uint32_t slot = 0;
    Pause pause = kCompleted;
    bool stopped_in_pause = false;
};

struct TokenScript {
    uint32_t list_code = 0;
    std::vector<Device> devices;
    uint32_t context_code = 0;
    uint32_t context = 0;
    std::vector<Wait> waits;  // when they are used up, the wait is stopped
    Device arrived;
};

// Which back-end lies in the application directory.
struct Backend {
    bool present = true;
    std::string missing_entry;
};

// One call with its surroundings. It is all data, so that it can be given to the model, given to
// the product, and printed.
struct Step {
    size_t function = 0;  // in Functions()
    Arguments in;
    std::vector<Reply> replies;  // of the back-end's calls, in order; then success and no text
    TokenScript token;
    std::optional<Backend> backend;  // changed before the call
    bool log_unwritable = false;
    bool directory_unreadable = false;
};

// All that a client, the libraries below and the file system see of one call.
struct Outcome {
    std::optional<int32_t> result;
    std::optional<int32_t> exception;  // the code of a string exception that left the call
    bool threw = false;                // the key's exception left the call
    int32_t last_error = 0;
    bool initialized = false;
    std::string slots;  // a digit a slot: 1 where it is set
    Arguments after;
    std::vector<std::string> calls;   // to both libraries as the scripted key shows them, and
                                      // what G_LastError held
    std::vector<std::string> pauses;  // the sleeps of a wait
    std::string log;
};

// For people.
std::string Describe(const Step& step);
// The parts in which the two differ; empty when they agree.
std::string Differences(const Outcome& expected, const Outcome& seen);

}  // namespace walk

#endif
