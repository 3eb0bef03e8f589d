#include "logs/calls.h"

#include <charconv>

#include "logs/forms.h"

namespace logs {
namespace {

constexpr std::string_view kLine = ", line = ";

std::optional<int32_t> ReadHexCode(std::string_view text) {
    uint32_t code = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), code, 16);
    const bool whole = result.ptr == text.data() + text.size() && text.size() == 8;
    return whole && result.ec == std::errc() ? std::optional(static_cast<int32_t>(code))
                                             : std::nullopt;
}

// The number in front.
std::optional<int32_t> ReadNumber(std::string_view text) {
    int32_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

std::optional<int32_t> LineIn(std::string_view rest) {
    const size_t at = rest.find(kLine);
    return at == std::string_view::npos ? std::nullopt : ReadNumber(rest.substr(at + kLine.size()));
}

bool BelongsTo(const Form& form, const Call& call) {
    return form.function.empty() ? call.function == "ChangePin" || call.function == "InitUKey"
                                 : form.function == call.function;
}

}  // namespace

std::optional<int64_t> Call::Duration() const {
    if (!is_begin_known || ending != Ending::kTold || last < first) {
        return std::nullopt;
    }
    return last - first;
}

const char* Call::WithoutEnd() const {
    const LoggedFunction* const logged = FindLogged(function);
    return ending == Ending::kTold || logged == nullptr ? nullptr : logged->without_end;
}

void Joiner::Take(const Record& record, Moment moment) {
    const Form* const form = FindForm(record.header.name, record.text);
    Call& call = CallOf(record, form, moment);
    call.last = moment;
    ++call.records;
    call.is_cut = call.is_cut || record.is_cut;
    call.is_doubtful = call.is_doubtful || record.is_doubtful;
    if (form == nullptr) {
        call.details.push_back({"text", masks_.Other(record.text)});
    } else {
        AddDetails(call, *form, record);
    }
    const bool is_whole = form == nullptr ? FindLogged(call.function) == nullptr
                                          : form->role == Role::kEnds || form->role == Role::kIsAll;
    if (is_whole) {
        TellEnded(call);
        open_.erase({record.header.process, record.header.thread});
    }
}

// The call that the thread is in, or a new one where the record cannot belong to that.
Call& Joiner::CallOf(const Record& record, const Form* form, Moment moment) {
    const Writer writer(record.header.process, record.header.thread);
    const auto open = open_.find(writer);
    const bool begins =
        form != nullptr && (form->role == Role::kBegins || form->role == Role::kIsAll);
    if (open != open_.end() && !begins && (form == nullptr || BelongsTo(*form, open->second))) {
        return open->second;
    }
    Close(writer);
    Call& call = open_[writer];
    call.function = form != nullptr && !form->function.empty() ? std::string(form->function)
                                                               : masks_.Name(record.header.name);
    call.process = writer.first;
    call.thread = writer.second;
    call.first = moment;
    call.is_begin_known = begins;
    call.offset = record.offset;
    return call;
}

void Joiner::Close(const Writer& writer) {
    const auto open = open_.find(writer);
    if (open != open_.end()) {
        TellEnded(open->second);
        open_.erase(open);
    }
}

void Joiner::TellEnded(Call& call) {
    if (!call.code) {
        const LoggedFunction* const logged = FindLogged(call.function);
        call.ending = logged != nullptr && logged->always_ends ? Ending::kMissing : Ending::kUntold;
    }
    tell_(call);
}

void Joiner::Finish() {
    for (auto& [writer, call] : open_) {
        TellEnded(call);
    }
    open_.clear();
}

void Joiner::AddDetails(Call& call, const Form& form, const Record& record) {
    const std::string_view rest = record.text.substr(form.opening.size());
    const auto add = [&call](const char* key, std::string value) {
        call.details.push_back({key, std::move(value)});
    };
    switch (form.holds) {
        case Holds::kNothing:
            return;
        case Holds::kCapacity:
            if (const std::optional<int32_t> capacity = ReadHexCode(rest)) {
                add("capacity", std::to_string(*capacity));
            }
            return;
        case Holds::kVersion:
            return add("version", masks_.Constant(form.holds, rest));
        case Holds::kUsbIds:
            return add("usb_ids", masks_.Constant(form.holds, rest));
        case Holds::kSerialNumber:
            return add("serial_number", masks_.SerialNumber(rest));
        case Holds::kHexSerialNumber:
            return add("serial_number", record.IsHex() ? masks_.SerialNumber(FromHexadecimal(rest))
                                                       : masks_.Other(rest));
        case Holds::kKeyText:
            return add("key_text", masks_.KeyText(rest));
        case Holds::kPackage:
            return add("package", masks_.Package(rest));
        case Holds::kRequest:
            return AddRequest(call, rest);
        case Holds::kStep:
        case Holds::kSlot:
            AddStep(call, form, rest);
            return TakeCode(call, form, rest);
        case Holds::kEndCode:
        case Holds::kDecimalCode:
            return TakeCode(call, form, rest);
    }
}

void Joiner::AddRequest(Call& call, std::string_view rest) {
    const RequestParts parts = SplitRequest(rest);
    call.details.push_back({"serial_number", masks_.SerialNumber(parts.serial_number)});
    if (!parts.words_between.empty()) {
        call.details.push_back({"request", masks_.Request(parts.description)});
    }
}

// Told are the steps that say something: an event, its slot, what failed.
void Joiner::AddStep(Call& call, const Form& form, std::string_view rest) {
    const std::optional<int32_t> line = LineIn(rest);
    if (!line) {
        call.details.push_back({"text", masks_.Other(rest)});
        return;
    }
    if (form.holds == Holds::kSlot) {
        call.details.push_back({"slot", std::to_string(ReadNumber(rest).value_or(-1))});
        return;
    }
    constexpr int kArrival = 596;
    constexpr int kArrivalInfo = 603;
    constexpr int kRemoval = 606;
    constexpr int kRemovalFound = 609;
    constexpr int kEnd = 616;
    if (*line == kEnd) {
        return;
    }
    const std::optional<int32_t> code = ReadNumber(rest);
    if (*line == kArrival || *line == kRemoval) {
        call.details.push_back({"event", *line == kArrival ? "inserted" : "removed"});
    }
    // These are of interest where they come with a code.
    const bool is_usual =
        *line == kArrival || *line == kArrivalInfo || *line == kRemoval || *line == kRemovalFound;
    if (is_usual && code.value_or(0) == 0) {
        return;
    }
    const std::string_view words = StepInWords(*line);
    call.details.push_back({"step", std::to_string(*line) + (words.empty() ? "" : ": ") +
                                        std::string(words) +
                                        (is_usual ? ", code " + std::to_string(*code) : "")});
}

void Joiner::TakeCode(Call& call, const Form& form, std::string_view rest) {
    if (form.role != Role::kEnds) {
        return;
    }
    call.code = form.holds == Holds::kEndCode ? ReadHexCode(rest) : ReadNumber(rest);
    if (call.code) {
        call.ending = Ending::kTold;
    } else {
        call.details.push_back({"text", masks_.Other(rest)});
    }
}

}  // namespace logs
