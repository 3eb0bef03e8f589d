#ifndef ORVAL_TESTS_SUPPORT_DOUBLES_SCRIPTED_KEY_H
#define ORVAL_TESTS_SUPPORT_DOUBLES_SCRIPTED_KEY_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "argument.h"

// The scripted key: a back-end key library and a token access library that record every call and
// do what a test told them. The product loads them under their real names.
//
//     TEST(GetPrintNumber, ReportsTheSerialNumber) {
//         Key().CheckDeviceEx.Writes("SN0123456789");
//         Canary number(32);
//         int32_t length = 32;
//         EXPECT_EQ(GetPrintNumber(number, &length), 0);
//         EXPECT_EQ(length, 12);
//         EXPECT_TRUE(number.Holds("SN0123456789\0"s));
//         EXPECT_EQ(G_LastError, 0);
//         EXPECT_THAT(Calls(), ElementsAre("CheckDeviceEx(&0, zeroed[396], 1, zeroed[1024])"));
//         EXPECT_EQ(LogText(), TextRecord("GetPrintNumber", "Begin pnSNLen = 00000020") +
//                                  TextRecord("GetPrintNumber", "m_SN: SN0123456789") +
//                                  TextRecord("GetPrintNumber", "End G_LastError: 00000000"));
//     }
//
// Each test case runs in a process of its own, so nothing is reset there. argument.h tells how
// arguments are shown.
namespace scripted {

// What was called, in order, on both libraries. Guards the entries' own records too.
class Journal {
 public:
    std::mutex mutex;
    std::condition_variable grown;
    std::vector<std::string> calls;
};

Journal& TheJournal();

// How many calls the key is working on. What it does then is not the product's doing.
std::atomic<int>& CallsAtWork();

class CallAtWork final {
 public:
    CallAtWork() { ++CallsAtWork(); }
    ~CallAtWork() { --CallsAtWork(); }
    CallAtWork(const CallAtWork&) = delete;
    CallAtWork& operator=(const CallAtWork&) = delete;
};

// A text as the back-end hands one over: from array new, for the receiver to release.
inline char* NewText(const std::string& text) {
    char* copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

template <typename Signature>
class Entry;

// One function of the scripted key. Without a script it returns 0 (the error text: an empty one)
// and touches nothing.
template <typename Result, typename... Parameters>
class Entry<Result(Parameters...)> {
 public:
    using Handler = std::function<Result(Parameters...)>;
    // The raw arguments of one call; a reference is kept as a pointer.
    using Raw = std::tuple<
        std::conditional_t<std::is_reference_v<Parameters>,
                           std::add_pointer_t<std::remove_reference_t<Parameters>>, Parameters>...>;

    Entry(const char* name, const char* signature) : name_(name), signature_(signature) {}

    // What every call does from now on, after the calls scripted with the ...Once forms.
    void Does(Handler handler) {
        const std::lock_guard<std::mutex> lock(TheJournal().mutex);
        handler_ = std::move(handler);
    }
    // What the next call does that has no script of its own yet.
    void DoesOnce(Handler handler) {
        const std::lock_guard<std::mutex> lock(TheJournal().mutex);
        once_.push_back(std::move(handler));
    }

    void Returns(Result result) { Does(ReturnHandler(result)); }
    void ReturnsOnce(Result result) { DoesOnce(ReturnHandler(result)); }

    // Writes the text and its terminator into the last buffer among the arguments, sets a length
    // that follows it to the text's length, and returns `code`.
    void Writes(const std::string& text, int32_t code = 0) { Does(WriteHandler(text, code)); }
    void WritesOnce(const std::string& text, int32_t code = 0) {
        DoesOnce(WriteHandler(text, code));
    }

    // Hands over a text from array new through the char** argument and returns `code`.
    void HandsOver(const std::string& text, int32_t code = 0) { Does(HandHandler(text, code)); }
    void HandsOverOnce(const std::string& text, int32_t code = 0) {
        DoesOnce(HandHandler(text, code));
    }

    template <typename Exception>
    void ThrowsOnce(Exception exception) {
        DoesOnce([exception](Parameters...) -> Result { throw exception; });
    }

    // The raw arguments of every call so far, for questions of identity: the caller's own pointer
    // or a private copy. What they point to may be gone.
    std::vector<Raw> Arguments() const {
        const std::lock_guard<std::mutex> lock(TheJournal().mutex);
        return arguments_;
    }

    void ForgetCalls() {
        const std::lock_guard<std::mutex> lock(TheJournal().mutex);
        arguments_.clear();
    }

    // Waits until this function has been called `count` times; false when that takes too long.
    bool AwaitCalls(size_t count) const {
        std::unique_lock<std::mutex> lock(TheJournal().mutex);
        return TheJournal().grown.wait_for(lock, std::chrono::seconds(30),
                                           [&] { return arguments_.size() >= count; });
    }

    // What the library's function does: records, then answers.
    Result Call(Parameters... parameters) {
        const CallAtWork work;
        return Record(parameters...)(parameters...);
    }

 private:
    static Handler ReturnHandler(Result result) {
        return [result](Parameters...) { return result; };
    }

    static Handler WriteHandler(std::string text, int32_t code) {
        return [text = std::move(text), code](Parameters... parameters) -> Result {
            char* buffer = nullptr;
            int32_t* length = nullptr;
            (FindBuffer(parameters, buffer, length), ...);
            std::memcpy(buffer, text.c_str(), text.size() + 1);
            if (length != nullptr) {
                *length = static_cast<int32_t>(text.size());
            }
            return code;
        };
    }

    static Handler HandHandler(std::string text, int32_t code) {
        return [text = std::move(text), code](Parameters... parameters) -> Result {
            (HandTo(parameters, text), ...);
            return code;
        };
    }

    template <typename Parameter>
    static void FindBuffer(Parameter& parameter, char*& buffer, int32_t*& length) {
        if constexpr (std::is_same_v<Parameter, char*>) {
            buffer = parameter;
        } else if constexpr (std::is_same_v<Parameter, int32_t*>) {
            length = parameter;
        }
    }

    template <typename Parameter>
    static void HandTo(Parameter& parameter, const std::string& text) {
        if constexpr (std::is_same_v<Parameter, char**>) {
            *parameter = NewText(text);
        }
    }

    template <typename Parameter>
    static auto Stored(Parameter&& parameter) {
        return parameter;
    }
    static QRV::CString* Stored(QRV::CString& text) { return &text; }

    Handler Record(Parameters... parameters) {
        Journal& journal = TheJournal();
        const std::lock_guard<std::mutex> lock(journal.mutex);
        journal.calls.push_back(DescribeCall(name_, signature_, {AsArgument(parameters)...}));
        arguments_.emplace_back(Stored(parameters)...);
        journal.grown.notify_all();
        if (once_.empty()) {
            return handler_;
        }
        Handler handler = std::move(once_.front());
        once_.pop_front();
        return handler;
    }

    static Result Nothing() {
        if constexpr (std::is_pointer_v<Result>) {
            return "";
        } else {
            return 0;
        }
    }

    const char* name_;
    const char* signature_;
    Handler handler_ = [](Parameters...) { return Nothing(); };
    std::deque<Handler> once_;
    std::vector<Raw> arguments_;
};

// libOrvalKPX.so: `Key().VerifyPIN`, `Key().GetData` and so on, one for each entry.
struct KeyLibrary {
#define ORVAL_SCRIPTED_ENTRY(slot, name, result, arguments) \
    Entry<result arguments> name{#name, #arguments};
    ORVAL_BACKEND_ENTRIES(ORVAL_SCRIPTED_ENTRY)
#undef ORVAL_SCRIPTED_ENTRY
};

KeyLibrary& Key();

// libR7Token_ORVAL.so. Without a script there is no key in any slot.
struct TokenLibrary {
    TokenLibrary() {
        GetSlotList.Does([](uint32_t, uint32_t*, uint32_t* count) {
            *count = 0;
            return 0U;
        });
    }

#define ORVAL_SCRIPTED_FUNCTION(name, arguments) \
    Entry<uint32_t arguments> name{"VexaT_" #name, #arguments};
    ORVAL_TOKEN_FUNCTIONS(ORVAL_SCRIPTED_FUNCTION)
#undef ORVAL_SCRIPTED_FUNCTION
};

TokenLibrary& Token();

// Every call so far on both libraries, in order.
std::vector<std::string> Calls();

// As if there had been none: for a process of millions of them.
void ForgetCalls();

}  // namespace scripted

#endif
