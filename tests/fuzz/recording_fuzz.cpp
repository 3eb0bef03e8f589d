// Any text is a recording or is refused as none. What was read is the same when it is written and
// read again, can be shown and compared, and is replayed without a write beyond the room that its
// caller has.
#include <algorithm>
#include <memory>

#include "calls/call_table.h"
#include "calls/recording.h"
#include "fuzz_target.h"
#include "recorder/comparison.h"

namespace {

using calls::ArgumentCount;
using calls::Function;
using calls::Kind;
using calls::Recording;
using fuzz::Require;

constexpr size_t kOwnRoom = 64;  // of a buffer whose capacity an argument tells

// The arguments of a call as a client has them: each in a block of its exact size, so that a
// sanitizer sees what is written past it.
class Caller final {
 public:
    explicit Caller(const Function& function) : function_(function) {
        for (size_t i = 0; i < ArgumentCount(function); ++i) {
            arguments_[i] = Address(i);
        }
    }

    // Whether what the recording tells fits; texts that were handed over are the caller's.
    bool Take(const calls::Json& taken) {
        const bool fits = calls::Before(function_, arguments_).Put(taken);
        for (size_t i = 0; i < ArgumentCount(function_); ++i) {
            if (function_.arguments[i].kind == Kind::kHandedText) {
                ReadHanded(*reinterpret_cast<char**>(arguments_[i]));
            }
        }
        return fits;
    }

 private:
    size_t SizeOf(size_t index) const {
        const calls::Argument& argument = function_.arguments[index];
        switch (argument.kind) {
            case Kind::kNumber:
                return 0;
            case Kind::kSigned:
            case Kind::kUnsigned:
                return sizeof(int32_t);
            case Kind::kHandedText:
                return sizeof(char*);
            case Kind::kDevice:
                return sizeof(_S_DEV_CONFIG);
            case Kind::kEvent:
                return sizeof(VEXA_EVENT_INFO);
            case Kind::kSlots:
                return maker::kSlotArrayRoom * sizeof(uint32_t);
            default:
                // A text that is given is an empty one.
                return argument.room == calls::kNextArgument ? kOwnRoom
                       : argument.room == calls::kSignatureRoom
                           ? 2 * size_t{4096}
                           : std::max<size_t>(argument.room, 1);
        }
    }

    calls::Passed Address(size_t index) {
        const size_t size = SizeOf(index);
        if (size == 0 || function_.arguments[index].kind == Kind::kString) {
            return 0;
        }
        blocks_[index] = std::make_unique<unsigned char[]>(size);
        const bool is_capacity = function_.arguments[index].kind == Kind::kSigned;
        blocks_[index][0] = is_capacity ? kOwnRoom : 0;
        return reinterpret_cast<calls::Passed>(blocks_[index].get());
    }

    static void ReadHanded(const char* text) {
        const std::unique_ptr<const char[]> owned(text);
        Require(text == nullptr || std::string(text).size() < SIZE_MAX, "a text ends");
    }

    const Function& function_;
    calls::Passed arguments_[calls::kMostArguments] = {};
    std::unique_ptr<unsigned char[]> blocks_[calls::kMostArguments];
};

// A recording whose values are of other types than the function's cannot be replayed: the replay
// says so, as of everything else that does not fit.
void Replay(const calls::Call& call) {
    try {
        Caller(calls::kFunctions[call.function]).Take(call.taken);
    } catch (const std::exception&) {
        return;
    }
}

void Show(const Recording& recording) {
    for (const calls::Call& call : recording.calls) {
        Require(!Describe(call).empty(), "a call is shown");
        Replay(call);
    }
    calls::TableOf(recording.calls);
    calls::EndOf(recording);
    recorder::ChromeTrace(recording);
    Require(recorder::Compare(recording, recording).empty(), "a recording is as it is");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Recording recording;
    try {
        recording = calls::Read(text);
    } catch (const calls::Malformed&) {
        return 0;
    }
    const std::string diffable = Diffable(recording);
    Require(Diffable(calls::Read(diffable)) == diffable, "what is written is read as the same");
    Show(recording);
    return 0;
}
