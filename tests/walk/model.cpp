#include "model.h"

#include <cstdio>

#include "argument.h"
#include "functions.h"
#include "log_file.h"

namespace walk {

namespace {

constexpr const char* kSlotNames[] = {
#define ORVAL_NAME(slot, name, result, arguments) #name,
    ORVAL_BACKEND_ENTRIES(ORVAL_NAME)
#undef ORVAL_NAME
};
constexpr size_t kEntries = 29;
static_assert(sizeof(kSlotNames) / sizeof(kSlotNames[0]) == kEntries, "29 entries");

// The order in which the entries are looked up; what an incomplete back-end leaves behind depends
// on it.
constexpr size_t kBindingOrder[kEntries] = {0,  3,  4,  5,  6,  1,  2,  7,  8,  9,
                                            10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                            20, 21, 22, 23, 24, 25, 26, 27, 28};

size_t SlotOf(const std::string& entry) {
    size_t slot = 0;
    while (kSlotNames[slot] != entry) {
        ++slot;
    }
    return slot;
}

}  // namespace

std::string Hex8(int32_t value, bool upper) {
    char digits[16];
    std::snprintf(digits, sizeof(digits), upper ? "%08X" : "%08x", static_cast<unsigned>(value));
    return digits;
}

std::string Without(const std::string& text, const std::string& characters) {
    std::string rest;
    for (const char c : text) {
        if (characters.find(c) == std::string::npos) {
            rest += c;
        }
    }
    return rest;
}

std::string AsCText(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

int32_t Estimate(const std::string& text) {
    return static_cast<int32_t>((static_cast<uint32_t>(text.size()) + 4096) * 2);
}

Outcome Model::Expect(const Step& step) {
    step_ = &step;
    next_reply_ = 0;
    next_wait_ = 0;
    out_ = Outcome();
    if (step.backend) {
        backend_ = *step.backend;
    }
    out_.texts = In().texts;
    out_.buffer = In().buffer;
    out_.length = In().length;
    out_.event = In().event;
    (this->*Functions()[step.function].expect)();
    out_.last_error = last_error_;
    out_.initialized = initialized_;
    out_.backend_loaded = loaded_;
    for (const bool set : slots_) {
        out_.slots += set ? '1' : '0';
    }
    return out_;
}

// A library that is loaded is found again, whatever has become of its file. One that lacks an entry
// is closed at once.
int32_t Model::Bind() {
    slots_[kHandleSlot] = loaded_ || backend_.present;
    if (!slots_[kHandleSlot]) {
        last_error_ = kUnavailable;
        return kUnavailable;
    }
    for (const size_t slot : kBindingOrder) {
        slots_[slot] = loaded_ || backend_.missing_entry != kSlotNames[slot];
        if (!slots_[slot]) {
            slots_[kHandleSlot] = false;
            last_error_ = kUnavailable;
            return kUnavailable;
        }
    }
    loaded_ = true;
    return 0;
}

void Model::Initialize() {
    last_error_ = 0;
    last_error_ = Bind();
    if (last_error_ == 0) {
        initialized_ = true;
    }
    Return(last_error_);
}

void Model::LazyInitialize() {
    if (!initialized_) {
        Initialize();
    }
}

void Model::Finalize() {
    initialized_ = false;
    last_error_ = 0;
}

void Model::Finish(int32_t code) {
    last_error_ = code;
    Return(code);
}

void Model::Log(const std::string& name, const std::string& text) {
    if (!step_->log_unwritable) {
        out_.log += scripted::TextRecord(name, text);
    }
}

void Model::LogHex(const std::string& name, const std::string& bytes) {
    std::string digits;
    for (const char c : bytes) {
        digits += Hex8(static_cast<unsigned char>(c), true).substr(6);
    }
    if (!step_->log_unwritable) {
        out_.log += scripted::HexRecord(name, digits);
    }
}

void Model::LogEnd(const std::string& name) {
    Log(name, "End G_LastError: " + Hex8(last_error_, true));
    Return(last_error_);
}

Model::Shown Model::Value(int64_t value) {
    return {std::to_string(value), ""};
}

Model::Shown Model::Private(const std::string& shown) {
    return {shown, "private"};
}

Model::Shown Model::Copy(const std::string& text) {
    return Private(scripted::Quoted(text));
}

Model::Shown Model::CopyIn(const std::string& text, size_t size) {
    const std::string zeroed = "zeroed[" + std::to_string(size) + "]";
    return Private(text.empty() ? zeroed : scripted::Quoted(text) + " in " + zeroed);
}

Model::Shown Model::Null() {
    return {"null", "null"};
}

Model::Shown Model::Own(size_t text_index) const {
    const Text& text = TextAt(text_index);
    return text ? Shown{scripted::Quoted(*text), "text " + std::to_string(text_index)} : Null();
}

Model::Shown Model::OwnBuffer(const std::string& shown) const {
    return In().buffer ? Shown{shown, "buffer"} : Null();
}

Model::Shown Model::OwnLength() const {
    return {"&" + std::to_string(In().length.value()), "length"};
}

void Model::Note(const std::string& name, const std::vector<Shown>& arguments) {
    std::string note = name + ":";
    for (const Shown& argument : arguments) {
        note += argument.whose.empty() ? "" : " " + argument.whose + ",";
    }
    out_.notes.push_back(note + " last error " + std::to_string(last_error_));
}

// What an incomplete back-end leaves in its slots is gone with it.
bool Model::IsBound(const std::string& entry) const {
    return slots_[SlotOf(entry)] && slots_[kHandleSlot];
}

Reply Model::Call(const std::string& entry, const std::vector<Shown>& arguments) {
    if (!IsBound(entry)) {
        last_error_ = kUnavailable;
        return {kUnavailable, std::nullopt, std::nullopt};
    }
    std::string shown;
    for (const Shown& argument : arguments) {
        shown += (shown.empty() ? "" : ", ") + argument.text;
    }
    out_.calls.push_back(entry + "(" + shown + ")");
    Note(entry, arguments);
    const size_t index = next_reply_++;
    return index < step_->replies.size() ? step_->replies[index] : Reply();
}

void Model::CallToken(const std::string& call) {
    out_.calls.push_back(call);
    Note(call.substr(0, call.find('(')), {});
}

void Model::Write(const std::string& text) {
    out_.buffer->replace(0, text.size(), text);
}

// What a back-end that was given the client's own buffer and length leaves there.
void Model::TakeFromKey(const Reply& reply) {
    if (reply.length) {
        out_.length = reply.length;
    }
    if (reply.text) {
        Write(*reply.text + '\0');
    }
}

// A text of n bytes goes out; the families differ in what they report for a buffer that is too
// small.
void Model::CopyOut(const std::string& text, int32_t length_when_too_small) {
    const auto n = static_cast<int32_t>(text.size());
    if (!In().buffer) {
        out_.length = n + 1;
        return Return(0);
    }
    if (*In().length >= n) {
        out_.length = n;
        Write(text + '\0');
        return Return(0);
    }
    out_.length = length_when_too_small;
    Finish(kTooSmall);
}

}  // namespace walk
