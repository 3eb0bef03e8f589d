#ifndef RECORDER_STAND_IN_H
#define RECORDER_STAND_IN_H

#include <stdexcept>
#include <type_traits>

#include "calls/functions.h"
#include "engine.h"

namespace recorder {

// Null when there is none: the process was started without what the command set up.
const Engine* TheEngine();

template <typename Result>
Result Unpack(int64_t answer) {
    if constexpr (std::is_pointer_v<Result>) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): an answer of any kind travels as a number
        return reinterpret_cast<Result>(answer);
    } else {
        return static_cast<Result>(answer);
    }
}

template <typename Result>
Result AnswerWithout() {
    if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
    } else {
        return static_cast<Result>(kNoAnswer);
    }
}

// Tells how a call of the real function ended, also where an exception or the thread's cancellation
// passes through.
class Ending {
 public:
    Ending(const Engine& engine, void* record) : engine_(engine), record_(record) {}
    ~Ending() { engine_.finish(record_, end_, answer_); }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

    template <typename Result>
    Result Returned(Result result) {
        end_ = End::kReturned;
        answer_ = static_cast<int64_t>(calls::Pack(result));
        return result;
    }

 private:
    const Engine& engine_;
    void* record_;
    End end_ = End::kThrew;
    int64_t answer_ = 0;
};

// A function of either library: on to the real one, its arguments untouched, or answered.
template <size_t index, typename Signature>
struct StandIn;

template <size_t index, typename Result, typename... Parameters>
struct StandIn<index, Result(Parameters...)> {
    static Result Call(Parameters... parameters) {
        const Engine* const engine = TheEngine();
        if (engine == nullptr) {
            return AnswerWithout<Result>();
        }
        const Passed arguments[sizeof...(Parameters) + 1] = {calls::Pack(parameters)...};
        const Course course = engine->begin(index, arguments);
        if (course.throws) {
            throw std::runtime_error("the recorded call threw an exception");
        }
        if (course.real == nullptr) {
            return Unpack<Result>(course.answer);
        }
        auto* const real = reinterpret_cast<Result (*)(Parameters...)>(course.real);
        if (course.record == nullptr) {
            return real(parameters...);
        }
        Ending ending(*engine, course.record);
        return ending.Returned(real(parameters...));
    }
};

}  // namespace recorder

// The lists have argument lists with types and names, from which no call can be written; an
// indirect function needs none.
#define RECORDER_STAND_IN(index, symbol, result, arguments)                                    \
    extern "C" decltype(&recorder::StandIn<index, result arguments>::Call) Resolve##symbol() { \
        return recorder::StandIn<index, result arguments>::Call;                               \
    }                                                                                          \
    extern "C" __attribute__((visibility("default"), ifunc("Resolve" #symbol)))                \
    result symbol arguments;

#endif
