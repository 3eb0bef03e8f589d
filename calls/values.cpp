#include "values.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "cli/printable.h"

namespace calls {

namespace {

constexpr const char* kBytesKey = "bytes";

template <typename T>
T* Behind(Passed argument) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): it was passed as one
    return reinterpret_cast<T*>(argument);
}

std::string Hexadecimal(std::string_view bytes) {
    std::string digits;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 0xF];
    }
    return digits;
}

std::string FromHexadecimal(const std::string& digits) {
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

Json BytesValue(std::string_view bytes) {
    Json value = Json::object();
    value[kBytesKey] = Hexadecimal(bytes);
    return value;
}

// A text and its terminator; texts in other character sets than UTF-8 byte by byte.
Json TextValue(const std::string& text) {
    if (text.find('\0') == std::string::npos && cli::IsUtf8(text)) {
        return text;
    }
    return BytesValue(text + '\0');
}

// As much of a text as is written down of a longer one, and no part of a character.
std::string_view Beginning(std::string_view text, size_t longest) {
    constexpr unsigned char kMark = 0xC0;
    constexpr unsigned char kInside = 0x80;
    size_t length = longest;
    while (length > 0 && length + 4 > longest &&
           (static_cast<unsigned char>(text[length]) & kMark) == kInside) {
        --length;
    }
    return text.substr(0, length);
}

Json Written(Kind kind, std::string_view text, Masker& masker) {
    if (text.size() <= masker.Longest()) {
        return TextValue(masker.Render(kind, text));
    }
    const std::string begin = masker.Render(kind, Beginning(text, masker.Longest()));
    Json value = cli::IsUtf8(begin) ? Json{{"text", begin}} : BytesValue(begin);
    value["length"] = text.size();
    return value;
}

// A text without its end.
Json WrittenBytes(Kind kind, std::string_view bytes, Masker& masker) {
    Json value = BytesValue(masker.Render(kind, bytes.substr(0, masker.Longest())));
    if (bytes.size() > masker.Longest()) {
        value["length"] = bytes.size();
    }
    return value;
}

std::string_view BoundedText(const char* text, size_t room) {
    return {text, strnlen(text, room)};
}

std::string_view TextOf(const Argument& argument, Passed passed) {
    const auto* const text = Behind<char>(passed);
    return argument.room == 0 ? std::string_view(text) : BoundedText(text, argument.room);
}

Json RequestValue(const RequestEntry& entry) {
    return {{"cert_type", entry.certType},
            {"key_type", entry.keyType},
            {"hash_type", entry.hashType},
            {"merged", entry.merged}};
}

Json GivenBehind(const Argument& argument, Passed passed, Masker* masker) {
    switch (argument.kind) {
        case Kind::kSigned:
            return *Behind<int32_t>(passed);
        case Kind::kUnsigned:
            return *Behind<uint32_t>(passed);
        case Kind::kRequest:
            return RequestValue(*Behind<RequestEntry>(passed));
        case Kind::kPointer:
            return "given";
        default:
            return masker == nullptr ? TextValue(std::string(TextOf(argument, passed)))
                                     : Written(argument.kind, TextOf(argument, passed), *masker);
    }
}

// A string of the product is one pointer, to its first character.
const char* CharactersOf(Passed string) {
    const char* characters = nullptr;
    std::memcpy(&characters, Behind<void>(string), sizeof characters);
    return characters;
}

bool IsPointer(const Argument& argument) {
    return argument.kind != Kind::kNumber;
}

}  // namespace

Json Given(const Function& function, const Passed* arguments, Masker* masker) {
    Json given = Json::object();
    for (size_t i = 0; i < ArgumentCount(function); ++i) {
        const Argument& argument = function.arguments[i];
        const std::string name(argument.name);
        if (!IsPointer(argument)) {
            given[name] = static_cast<int64_t>(arguments[i]);
        } else if (arguments[i] == 0) {
            given[name] = nullptr;
        } else if (argument.direction != Direction::kOut) {
            given[name] = GivenBehind(argument, arguments[i], masker);
        }
    }
    return given;
}

Before::Before(const Function& function, const Passed* arguments)
    : function_(function), arguments_(arguments) {
    for (size_t i = 0; i < ArgumentCount(function); ++i) {
        if (!IsPointer(function.arguments[i]) || arguments[i] == 0) {
            continue;
        }
        if (function.arguments[i].kind == Kind::kSigned) {
            number_ = *Behind<int32_t>(arguments[i]);
        } else if (function.arguments[i].kind == Kind::kUnsigned) {
            number_ = *Behind<uint32_t>(arguments[i]);
        } else if (function.arguments[i].kind == Kind::kHandedText) {
            handed_ = *Behind<const char*>(arguments[i]);
        } else if (function.arguments[i].kind == Kind::kString) {
            handed_ = CharactersOf(arguments[i]);
        } else if (function.arguments[i].kind == Kind::kDevice) {
            std::memcpy(media_id_, Behind<_S_DEV_CONFIG>(arguments[i])->mediaId, sizeof media_id_);
        } else if (function.arguments[i].kind == Kind::kEvent) {
            const auto* const event = Behind<VEXA_EVENT_INFO>(arguments[i]);
            event_[0] = event->u32EventKind;
            event_[1] = event->ei.slotEvent.u32SlotID;
        }
    }
}

size_t Before::Room(size_t index) const {
    const size_t room = function_.arguments[index].room;
    if (room == kNextArgument) {
        return arguments_[index + 1] == 0 || number_ < 0 ? 0 : static_cast<size_t>(number_);
    }
    if (room == kSignatureRoom) {
        // The product's own buffer, whatever the client's length says.
        constexpr size_t kData = 3;
        const auto* const data = Behind<char>(arguments_[kData]);
        return data == nullptr ? 0 : (std::strlen(data) + 4096) * 2;
    }
    return room;
}

size_t Before::Filled(size_t index) const {
    const size_t room = Room(index);
    if (function_.arguments[index].room < kSignatureRoom) {
        return BoundedText(Behind<char>(arguments_[index]), room).size();
    }
    const auto* const length = Behind<int32_t>(arguments_[index + 1]);
    return length == nullptr || *length < 0 ? 0 : std::min(room, static_cast<size_t>(*length));
}

Json Before::TakenBuffer(size_t index, Masker& masker) const {
    const auto* const buffer = Behind<char>(arguments_[index]);
    const std::string_view filled(buffer, Filled(index));
    const Kind kind = function_.arguments[index].kind;
    if (kind == Kind::kBytes) {
        return BytesValue(filled);
    }
    const bool is_terminated = filled.size() < Room(index) && buffer[filled.size()] == '\0';
    return is_terminated ? Written(kind, filled, masker) : WrittenBytes(kind, filled, masker);
}

// The token library fills some records also where it fails; what it did not touch is not its own.
std::optional<Json> Before::TakenDevice(const _S_DEV_CONFIG& record, bool succeeded,
                                        Masker& masker) const {
    if (!succeeded && std::memcmp(record.mediaId, media_id_, sizeof media_id_) == 0) {
        return std::nullopt;
    }
    const std::string_view id = BoundedText(record.mediaId, sizeof record.mediaId);
    Json value = Json::object();
    value["media_id"] = TextValue(masker.Render(Kind::kSerialNumber, id));
    return value;
}

std::optional<Json> Before::TakenEvent(const VEXA_EVENT_INFO& event, bool succeeded) const {
    const uint32_t slot = event.ei.slotEvent.u32SlotID;
    if (!succeeded && event.u32EventKind == event_[0] && slot == event_[1]) {
        return std::nullopt;
    }
    return Json{{"kind", event.u32EventKind}, {"slot", slot}};
}

// A call that fails may leave the pointer as it was, and that may lead nowhere.
std::optional<Json> Before::TakenHanded(const char* text, bool succeeded, Masker& masker) const {
    if (!succeeded && text == handed_ && text != nullptr) {
        return std::nullopt;
    }
    return KeptText(text, masker);
}

// A string that still has its characters was not filled; whatever they are, they are the client's.
std::optional<Json> Before::TakenString(const char* text, bool succeeded, Masker& masker) const {
    if (!succeeded || text == handed_) {
        return std::nullopt;
    }
    return Written(Kind::kSecret, text, masker);
}

// What only a successful call fills.
Json Before::TakenOfSuccess(size_t index, Masker& masker) const {
    const Passed passed = arguments_[index];
    if (function_.arguments[index].kind == Kind::kSlots) {
        const auto* const slots = Behind<uint32_t>(passed);
        const uint32_t count = *Behind<uint32_t>(arguments_[index + 1]);
        return std::vector<uint32_t>(slots,
                                     slots + std::min<uint32_t>(count, maker::kSlotArrayRoom));
    }
    return TakenBuffer(index, masker);
}

std::optional<Json> Before::TakenFrom(size_t index, bool succeeded, Masker& masker) const {
    const Passed passed = arguments_[index];
    switch (function_.arguments[index].kind) {
        case Kind::kSigned:
            return Json(*Behind<int32_t>(passed));
        case Kind::kUnsigned:
            return Json(*Behind<uint32_t>(passed));
        case Kind::kHandedText:
            return TakenHanded(*Behind<const char*>(passed), succeeded, masker);
        case Kind::kDevice:
            return TakenDevice(*Behind<_S_DEV_CONFIG>(passed), succeeded, masker);
        case Kind::kEvent:
            return TakenEvent(*Behind<VEXA_EVENT_INFO>(passed), succeeded);
        case Kind::kString:
            return TakenString(CharactersOf(passed), succeeded, masker);
        default:
            return succeeded ? std::optional<Json>(TakenOfSuccess(index, masker)) : std::nullopt;
    }
}

Json Before::Taken(int64_t code, Masker& masker) const {
    Json taken = Json::object();
    for (size_t i = 0; i < ArgumentCount(function_); ++i) {
        const Argument& argument = function_.arguments[i];
        if (argument.direction == Direction::kIn || arguments_[i] == 0) {
            continue;
        }
        if (std::optional<Json> value = TakenFrom(i, code == 0, masker)) {
            taken[std::string(argument.name)] = std::move(*value);
        }
    }
    return taken;
}

namespace {

// The bytes that go into a buffer, the terminator of a text with them.
std::string BytesOf(const Json& value) {
    if (value.is_string()) {
        return value.get<std::string>() + '\0';
    }
    return FromHexadecimal(value.at(kBytesKey).get<std::string>());
}

// 32 bits, with a sign or without. What is no whole number cannot be made one.
uint32_t Word(const Json& value) {
    if (!value.is_number_integer()) {
        throw std::invalid_argument(value.dump());
    }
    return static_cast<uint32_t>(value.get<int64_t>());
}

void HandOver(const Json& value, Passed destination) {
    if (value.is_null()) {
        return;
    }
    const std::string text = BytesOf(value);
    // It ends, whatever a recording says: who is handed a text reads it up to its end.
    char* const copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    *Behind<char*>(destination) = copy;
}

void PutDevice(const Json& value, _S_DEV_CONFIG& record) {
    std::string id = BytesOf(value.at("media_id"));
    id.resize(sizeof record.mediaId, '\0');
    std::memcpy(record.mediaId, id.data(), id.size());
}

}  // namespace

bool Before::PutInto(size_t index, const Json& value) const {
    const Passed passed = arguments_[index];
    switch (function_.arguments[index].kind) {
        case Kind::kSigned:
            *Behind<int32_t>(passed) = static_cast<int32_t>(Word(value));
            return true;
        case Kind::kUnsigned:
            *Behind<uint32_t>(passed) = Word(value);
            return true;
        case Kind::kHandedText:
            HandOver(value, passed);
            return true;
        case Kind::kDevice:
            PutDevice(value, *Behind<_S_DEV_CONFIG>(passed));
            return true;
        case Kind::kEvent:
            Behind<VEXA_EVENT_INFO>(passed)->u32EventKind = Word(value.at("kind"));
            Behind<VEXA_EVENT_INFO>(passed)->ei.slotEvent.u32SlotID = Word(value.at("slot"));
            return true;
        case Kind::kSlots: {
            const size_t count = std::min(value.size(), maker::kSlotArrayRoom);
            for (size_t i = 0; i < count; ++i) {
                Behind<uint32_t>(passed)[i] = Word(value.at(i));
            }
            return value.size() <= maker::kSlotArrayRoom;
        }
        case Kind::kString:
            return true;  // only the product can fill one, and it throws it away unread
        default:
            break;
    }
    const std::string bytes = BytesOf(value);
    if (bytes.size() > Room(index)) {
        return false;
    }
    std::memcpy(Behind<char>(passed), bytes.data(), bytes.size());
    return true;
}

// Lengths last: they tell how large the buffers before them are.
bool Before::Put(const Json& taken) const {
    bool fits = true;
    for (size_t i = 0; i < ArgumentCount(function_); ++i) {
        const auto value = taken.find(std::string(function_.arguments[i].name));
        if (value != taken.end() && arguments_[i] != 0) {
            fits = PutInto(i, *value) && fits;
        }
    }
    return fits;
}

Json KeptText(const char* text, Masker& masker) {
    return text == nullptr ? Json() : Written(Kind::kText, text, masker);
}

bool IsGiven(const Json& recorded, const Json& plain, const Json& masked) {
    if (recorded.size() != plain.size()) {
        return false;
    }
    for (const auto& [name, value] : recorded.items()) {
        if (!plain.contains(name) || (value != plain[name] && value != masked[name])) {
            return false;
        }
    }
    return true;
}

}  // namespace calls
