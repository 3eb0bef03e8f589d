#include "model.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "argument.h"
#include "log_file.h"

namespace walk {

namespace {

// The order in which the entries are looked up, written out once more; what an incomplete back-end
// leaves behind depends on it.
constexpr size_t kBindingOrder[] = {0,  3,  4,  5,  6,  1,  2,  7,  8,  9,  10, 11, 12, 13, 14,
                                    15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28};
static_assert(std::size(kBindingOrder) == maker::kEntryCount,
              "a new entry? Then write its place in the look-up here");

bool Has(const char* letters, char letter) {
    return std::strchr(letters, letter) != nullptr;
}

// A text as it is, or at the start of a zeroed buffer of that size.
std::string InRoom(const std::string& text, const std::string& size) {
    const std::string zeroed = "zeroed[" + size + "]";
    return size.empty()   ? scripted::Quoted(text)
           : text.empty() ? zeroed
                          : scripted::Quoted(text) + " in " + zeroed;
}

}  // namespace

std::string Hex8(int32_t value, bool upper) {
    char digits[16];
    std::snprintf(digits, sizeof(digits), upper ? "%08X" : "%08x", static_cast<unsigned>(value));
    return digits;
}

std::string AsCText(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

Outcome Model::Expect(const Step& step) {
    step_ = &step;
    next_reply_ = 0;
    next_wait_ = 0;
    out_ = Outcome();
    if (step.backend) {
        backend_ = *step.backend;
    }
    out_.after = In();
    try {
        Do(Functions()[step.function]);
    } catch (const Thrown&) {
        out_.result.reset();
        out_.threw = true;
    }
    out_.last_error = last_error_;
    out_.initialized = initialized_;
    for (const bool set : slots_) {
        out_.slots += set ? '1' : '0';
    }
    return out_;
}

void Model::Do(const Function& function) {
    if (function.odd != nullptr) {
        (this->*function.odd)();
    } else {
        Follow(function.rule);
    }
}

// A library that is loaded is found again, whatever has become of its file. One that lacks an entry
// is closed at once.
int32_t Model::Bind() {
    slots_[maker::kHandleSlot] = loaded_ || backend_.present;
    if (!slots_[maker::kHandleSlot]) {
        return kUnavailable;
    }
    for (const size_t slot : kBindingOrder) {
        slots_[slot] = loaded_ || backend_.missing_entry != maker::kEntryNames[slot];
        if (!slots_[slot]) {
            slots_[maker::kHandleSlot] = false;
            return kUnavailable;
        }
    }
    loaded_ = true;
    return 0;
}

void Model::Initialize() {
    Finish(Bind());
    initialized_ = initialized_ || last_error_ == 0;
}

void Model::Finalize() {
    initialized_ = false;
    last_error_ = 0;
}

void Model::LazyInitialize() {
    if (!initialized_) {
        Initialize();
    }
}

void Model::Finish(int32_t code) {
    last_error_ = code;
    Return(code);
}

bool Model::Fails(int32_t code) {
    Finish(code);
    return code != 0;
}

void Model::Log(const std::string& name, const std::string& text) {
    if (!step_->log_unwritable) {
        out_.log += scripted::TextRecord(name, text);
    }
}

void Model::LogEnd(const std::string& name) {
    Log(name, "End G_LastError: " + Hex8(last_error_, true));
    Return(last_error_);
}

// False when the call ends here.
bool Model::LogBegin(const Rule& rule) {
    if (Has(rule.frame, 'l')) {
        Log(Functions()[step_->function].name, "Begin");
    }
    if (Has(rule.frame, 'h') && !step_->log_unwritable) {
        std::string digits;
        for (const char c : *TextAt(0)) {
            digits += Hex8(static_cast<unsigned char>(c), true).substr(6);
        }
        out_.log += scripted::HexRecord("szSN:", digits);
    }
    if (Has(rule.frame, 'n') && !initialized_) {
        Return(kNotInitialized);
        return false;
    }
    return true;
}

bool Model::IsAcceptable(char required) const {
    switch (required) {
        case 'L':
            return In().length.has_value();
        case 'E':
            return !TextAt(0)->empty();
        case 'K':
            return TextAt(0) && TextAt(0)->size() >= 10 && TextAt(0)->size() <= 16;
        case 'D':
            return TextAt(1) && TextAt(1)->size() <= 300;
        case 'F':
            return !In().buffer || Number(0) % 2 == 0 || (TextAt(0) && TextAt(1) && TextAt(2));
        default:
            return TextAt(static_cast<size_t>(required - '0')).has_value();
    }
}

void Model::Follow(const Rule& rule) {
    if (!LogBegin(rule)) {
        return;
    }
    if (Has(rule.frame, 'i')) {
        LazyInitialize();
    }
    for (const char* required = rule.required; *required != '\0'; ++required) {
        if (!IsAcceptable(*required)) {
            return Finish(kInvalid);
        }
    }
    if (rule.bound != nullptr && !In().buffer) {
        out_.after.length = rule.bound(In());
        return Finish(0);
    }
    if (Has(rule.frame, 'r')) {
        last_error_ = 0;
    }
    std::istringstream calls(rule.calls);
    for (std::string call; std::getline(calls, call, ';');) {
        const Reply reply = Call(call);
        Deliver(rule.delivery, reply, call);
        if (reply.code != 0) {
            break;
        }
    }
    if (Has(rule.frame, 'l')) {
        LogEnd(Functions()[step_->function].name);
    }
}

void Model::Deliver(Delivery delivery, const Reply& reply, const std::string& call) {
    Finish(reply.code);
    const bool owned = call.find(" L") != std::string::npos;
    if (owned && reply.length) {
        out_.after.length = reply.length;
    }
    const std::string text = reply.text.value_or("");
    if (owned && delivery != kUntested) {
        // What a back-end that was given the client's own buffer leaves there, whatever its code.
        return Write(!reply.text ? "" : delivery == kOwnBytes ? text : text + '\0');
    }
    if (reply.code != 0 || delivery == kCode || delivery == kOwnText) {
        return;
    }
    if (delivery == kUntested) {
        return Write(text + '\0');
    }
    // Where the key reports a length, that counts, and before its report the room that it had.
    auto length = static_cast<int32_t>(text.size());
    const size_t room = call.find('&');
    if (room != std::string::npos) {
        const std::string size = call.substr(room + 1);
        length = reply.length.value_or(size == "~" ? Estimate(*TextAt(1)) : std::stoi(size));
    }
    CopyOut(text, length, delivery == kTested ? length : length + 1);
}

Reply Model::Call(const std::string& call, const std::string& extra) {
    std::istringstream words(call);
    std::string entry;
    words >> entry;
    if (!IsBound(entry)) {
        last_error_ = kUnavailable;
        return {kUnavailable, std::nullopt, std::nullopt};
    }
    std::string shown;
    for (std::string word; words >> word;) {
        shown += (shown.empty() ? "" : ", ") + Argument(word, extra);
    }
    RecordCall(entry + "(" + shown + ")");
    const size_t index = next_reply_++;
    const Reply reply = index < step_->replies.size() ? step_->replies[index] : Reply();
    if (reply.throws) {
        throw Thrown();
    }
    return reply;
}

// What an incomplete back-end leaves in its slots is gone with it.
bool Model::IsBound(const std::string& entry) const {
    return slots_[maker::SlotOf(entry)] && slots_[maker::kHandleSlot];
}

// The words that stand for arguments:
//     t0 n0 u0 w0   text 0; number 0 as int32_t, uint32_t, int64_t
//     p0 b B L      text 0 and the buffer as pointers, the buffer as an output, the length
//     c0 y0         a copy of text 0, as it is or without line ends; of null, an empty one
//     x x512        the extra text; the same in a zeroed buffer
//     z z512        the same without a text
//     &4 r          a pointer to a number; the extra text without quotes
// A size of ~ is what text 1 may become. Other words stand for themselves.
std::string Model::Argument(const std::string& word, const std::string& extra) const {
    const char kind = word[0];
    const std::string rest = word.substr(1);
    const std::string size = rest == "~" ? std::to_string(Estimate(*TextAt(1))) : rest;
    const size_t index = Has("tpcynuw", kind) && word != "null" ? std::stoul(rest) : 0;
    const Text& text = TextAt(index % kTexts);
    const bool null = (Has("tp", kind) && !text) || (Has("bB", kind) && !In().buffer);
    if (word == "null" || null) {
        return "null";
    }
    switch (kind) {
        case 't':
            return scripted::Quoted(*text);
        case 'c':
            return scripted::Quoted(text.value_or(""));
        case 'y':
            return scripted::Quoted(Without(text.value_or(""), "\r\n"));
        case 'n':
            return std::to_string(Number(index));
        case 'u':
            return std::to_string(static_cast<uint32_t>(Number(index)));
        case 'w':
            return std::to_string(In().numbers[index]);
        case 'x':
            return InRoom(extra, size);
        case 'z':
            return InRoom("", size);
        default:
            return kind == '&'                  ? "&" + size
                   : kind == 'L'                ? "&" + std::to_string(*In().length)
                   : kind == 'r'                ? extra
                   : kind == 'b'                ? "buffer"
                   : kind == 'B' || kind == 'p' ? "pointer"
                                                : word;
    }
}

void Model::RecordCall(const std::string& call) {
    out_.calls.push_back(call + " with last error " + std::to_string(last_error_));
}

void Model::Write(const std::string& text) {
    out_.after.buffer->replace(0, text.size(), text);
}

// A text for which `length` is reported. The families differ in what they report for a buffer that
// is too small.
void Model::CopyOut(const std::string& text, int32_t length, int32_t length_when_too_small) {
    if (!In().buffer) {
        out_.after.length = length + 1;
    } else if (*In().length >= length) {
        out_.after.length = length;
        Write(text + '\0');
    } else {
        out_.after.length = length_when_too_small;
        last_error_ = kTooSmall;
    }
    Return(last_error_);
}

}  // namespace walk
