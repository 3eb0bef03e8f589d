#ifndef CALLS_FUNCTIONS_H
#define CALLS_FUNCTIONS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "maker/entries.h"
#include "maker/token.h"

// What the arguments of the two libraries' functions mean to a recording: data beside the lists in
// maker/, held against them below.
namespace calls {

enum class Kind {
    kNumber,
    kPointer,       // whether there is one; nothing is read behind it
    kSerialNumber,  // a text that names a key: masked unless a recording is to show them
    kSecret,        // a text that is nobody else's affair: always masked
    kText,
    kBytes,
    kSigned,      // a pointer to a 32-bit number
    kUnsigned,    // the same without a sign
    kHandedText,  // a pointer to where the address of a text of array new goes
    kString,      // the product's string
    kRequest,     // a request entry
    kDevice,      // the device record, of which the media identifier is read
    kEvent,       // the event record, of which kind and slot are read
    kSlots        // slot numbers, as many as the next argument says
};

enum class Direction { kIn, kOut, kInOut };

// How large a buffer is: so many bytes, or as this says.
inline constexpr size_t kNextArgument = SIZE_MAX;       // the length behind it holds the capacity
inline constexpr size_t kSignatureRoom = SIZE_MAX - 1;  // twice the text of `data` and 4096

struct Argument {
    std::string_view name{};
    Direction direction = Direction::kIn;
    Kind kind = Kind::kNumber;
    size_t room = 0;
};

inline constexpr size_t kMostArguments = 13;

struct Function {
    std::string_view name{};
    Argument arguments[kMostArguments]{};
};

// The entries in slot order, then the token library's functions. What is signed, stored or shown as
// a warning is the customer's own, and so is what a key decrypts.
inline constexpr Function kFunctions[] = {
    {"CheckDeviceEx",
     {{"value", Direction::kOut, Kind::kUnsigned},
      {"config", Direction::kOut, Kind::kDevice},
      {"one"},
      {"serial_number", Direction::kOut, Kind::kSerialNumber, maker::kSerialNumberRoom}}},
    {"GetLabel",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"label", Direction::kOut, Kind::kText, maker::kLabelRoom}}},
    {"SetLabel",
     {{"first", Direction::kIn, Kind::kSerialNumber}, {"second", Direction::kIn, Kind::kText}}},
    {"ChangePin", {{"serial_number", Direction::kIn, Kind::kSerialNumber}}},
    {"CustInitCard",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"flag"},
      {"parameter", Direction::kIn, Kind::kPointer},
      {"zero"}}},
    {"GMCreatePKCS10",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"cert_type"},
      {"key_type"},
      {"hash_type"},
      {"request", Direction::kOut, Kind::kHandedText},
      {"null_pointer", Direction::kIn, Kind::kPointer},
      {"zero"}}},
    {"GMWritePKCS7",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"pkcs7", Direction::kIn, Kind::kText},
      {"output", Direction::kOut, Kind::kString}}},
    {"GetCertInfo",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"param1"},
      {"param2"},
      {"certificate", Direction::kOut, Kind::kText, kNextArgument},
      {"length", Direction::kInOut, Kind::kSigned}}},
    {"GM_GetCertDN",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"param1"},
      {"param2"},
      {"name", Direction::kOut, Kind::kText, maker::kNameRoom}}},
    {"UOS_SetCharset",
     {{"second", Direction::kIn, Kind::kText}, {"first", Direction::kIn, Kind::kSerialNumber}}},
    {"UOS_SetLanguage",
     {{"second", Direction::kIn, Kind::kText}, {"first", Direction::kIn, Kind::kSerialNumber}}},
    {"SetWarningMsg",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"warning", Direction::kIn, Kind::kSecret}}},
    {"GMUsbKeyCriticalSign",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"param1"},
      {"param2"},
      {"data", Direction::kIn, Kind::kSecret},
      {"signature", Direction::kOut, Kind::kText, kNextArgument},
      {"length", Direction::kInOut, Kind::kSigned}}},
    {"GetMediaID"},
    {"GM_RemoveUserPin"},
    {"GMImportPriKey",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"key", Direction::kIn, Kind::kSecret, maker::kKeyTextRoom},
      {"zero"}}},
    {"GMUsbKeyCommonSign",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"param1"},
      {"param2"},
      {"data", Direction::kIn, Kind::kSecret},
      {"param3"},
      {"signature", Direction::kOut, Kind::kText, kSignatureRoom},
      {"length", Direction::kInOut, Kind::kSigned}}},
    {"GMUSBKeyAsymDec2",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"param1"},
      {"param2"},
      {"cipher", Direction::kIn, Kind::kText},
      {"plain", Direction::kOut, Kind::kSecret, kNextArgument},
      {"length", Direction::kInOut, Kind::kSigned}}},
    {"GMCreatePKCS10Ex",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"entry", Direction::kIn, Kind::kRequest},
      {"request", Direction::kOut, Kind::kHandedText},
      {"one"},
      {"null_pointer", Direction::kIn, Kind::kPointer},
      {"zero"}}},
    {"X_ErrorConvert_UOS", {{"code"}}},
    {"DelCertAndTempKey",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber}, {"param1"}, {"param2"}}},
    {"VerifyPIN", {{"serial_number", Direction::kIn, Kind::kSerialNumber}}},
    {"VerifyAndCachePin", {{"serial_number", Direction::kIn, Kind::kSerialNumber}, {"param"}}},
    {"GetPinInfo",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"info", Direction::kOut, Kind::kBytes, kNextArgument},
      {"length", Direction::kInOut, Kind::kSigned}}},
    {"GetCertInfo_UOS",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"selector"},
      {"info", Direction::kOut, Kind::kText, kNextArgument},
      {"length", Direction::kInOut, Kind::kSigned}}},
    {"SetData",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"index"},
      {"data", Direction::kIn, Kind::kSecret}}},
    {"GetData",
     {{"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"index"},
      {"data", Direction::kOut, Kind::kSecret, maker::kDataRoom}}},
    {"Batch_Sign",
     {{"flags"},
      {"serial_number", Direction::kIn, Kind::kSerialNumber},
      {"param3"},
      {"param4"},
      {"text", Direction::kIn, Kind::kSecret},
      {"param6", Direction::kIn, Kind::kPointer},
      {"param7"},
      {"param8"},
      {"param9"},
      {"batch", Direction::kIn, Kind::kSecret},
      {"param11"},
      {"output", Direction::kOut, Kind::kText, kNextArgument},
      {"length", Direction::kInOut, Kind::kSigned}}},
    {"SetCachePinFlag", {{"serial_number", Direction::kIn, Kind::kSerialNumber}, {"flag"}}},
    {"VexaT_ContextInit", {{"context", Direction::kInOut, Kind::kUnsigned}}},
    {"VexaT_ContextFinal"},
    {"VexaT_WaitForEvent",
     {{"kind"},
      {"flags"},
      {"event", Direction::kOut, Kind::kEvent},
      {"context", Direction::kInOut, Kind::kUnsigned}}},
    {"VexaT_GetSlotList",
     {{"present"},
      {"slots", Direction::kOut, Kind::kSlots},
      {"count", Direction::kInOut, Kind::kUnsigned}}},
    {"VexaT_GetDeviceInfo", {{"slot"}, {"flags"}, {"config", Direction::kOut, Kind::kDevice}}},
};

inline constexpr size_t kFunctionCount = std::size(kFunctions);

constexpr size_t ArgumentCount(const Function& function) {
    size_t count = 0;
    while (count < kMostArguments && !function.arguments[count].name.empty()) {
        ++count;
    }
    return count;
}

// kFunctionCount for a name that is none's.
constexpr size_t IndexOf(std::string_view name) {
    size_t index = 0;
    while (index < kFunctionCount && name != kFunctions[index].name) {
        ++index;
    }
    return index;
}

// Answers as a text, and so by a pointer.
inline constexpr size_t kTextOfCode = IndexOf("X_ErrorConvert_UOS");
// Asked again and again until something happens, and what comes before that.
inline constexpr size_t kWait = IndexOf("VexaT_WaitForEvent");
inline constexpr size_t kBeginOfWaits = IndexOf("VexaT_ContextInit");

namespace detail {

struct Listed {
    std::string_view name;
    std::string_view signature;
};

inline constexpr Listed kListed[] = {
#define CALLS_ENTRY(slot, name, result, arguments) {#name, #arguments},
#define CALLS_TOKEN(name, arguments) {"VexaT_" #name, #arguments},
    ORVAL_BACKEND_ENTRIES(CALLS_ENTRY) ORVAL_TOKEN_FUNCTIONS(CALLS_TOKEN)
#undef CALLS_ENTRY
#undef CALLS_TOKEN
};

// The name in a declaration as it stands in the list: "char label[maker::kLabelRoom]".
constexpr std::string_view NameIn(std::string_view declaration) {
    declaration = declaration.substr(0, declaration.find('['));
    const size_t before = declaration.find_last_of(" *&(");
    return before == std::string_view::npos ? declaration : declaration.substr(before + 1);
}

constexpr bool HasArgumentsOf(const Function& function, std::string_view signature) {
    signature = signature.substr(1, signature.size() - 2);
    size_t index = 0;
    while (!signature.empty() && signature != "void") {
        const size_t comma = signature.find(',');
        if (index == kMostArguments ||
            function.arguments[index].name != NameIn(signature.substr(0, comma))) {
            return false;
        }
        signature = comma == std::string_view::npos ? "" : signature.substr(comma + 1);
        ++index;
    }
    return index == ArgumentCount(function);
}

constexpr bool IsAsListed() {
    for (size_t i = 0; i < kFunctionCount; ++i) {
        if (kFunctions[i].name != kListed[i].name ||
            !HasArgumentsOf(kFunctions[i], kListed[i].signature)) {
            return false;
        }
    }
    return true;
}

}  // namespace detail

static_assert(kFunctionCount == std::size(detail::kListed), "a row for each function of the lists");
static_assert(detail::IsAsListed(), "each function has its arguments by name, in order");

}  // namespace calls

#endif
