#include "argument.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

namespace scripted {

namespace {

// An argument as the list declares it: `char label[maker::kLabelRoom]`.
struct Parameter {
    std::string name;
    size_t room = 0;  // 0: nothing is declared
};

size_t RoomCalled(const std::string& name) {
#define ORVAL_NAMED_ROOM(room, elements) {#room, maker::room},
    static const std::map<std::string, size_t> kRooms = {ORVAL_MAKER_ROOMS(ORVAL_NAMED_ROOM)};
#undef ORVAL_NAMED_ROOM
    return kRooms.at(name);
}

Parameter ParameterFrom(const std::string& declaration) {
    const size_t bracket = std::min(declaration.find('['), declaration.size());
    const size_t name = declaration.find_last_of(" (", bracket) + 1;
    const std::string text = declaration.substr(name, bracket - name);
    if (bracket == declaration.size()) {
        return {text, 0};
    }
    const size_t room = declaration.find("::", bracket) + 2;
    return {text, RoomCalled(declaration.substr(room, declaration.find(']') - room))};
}

// Without a regular expression, which allocates arrays: tests count those that a call asks for.
std::vector<Parameter> ParametersOf(const std::string& signature) {
    std::vector<Parameter> parameters;
    size_t start = 0;
    for (size_t end = 0; (end = signature.find_first_of(",)", start)) != std::string::npos;
         start = end + 1) {
        parameters.push_back(ParameterFrom(signature.substr(start, end - start)));
    }
    return parameters;
}

// The call's arguments, and what one of them tells about another.
struct Call {
    const std::string& name;
    const std::vector<Parameter>& parameters;
    const std::vector<Argument>& arguments;
};

// Private buffers whose size depends on the call. Buffers of the client's own are not among them:
// their content is the client's affair.
size_t SizeFromCall(const Call& call, size_t index) {
    if (call.name == "GMUsbKeyCommonSign" && call.parameters[index].name == "signature") {
        return (std::strlen(std::get<const char*>(call.arguments[3])) + 4096) * 2;
    }
    if (call.name == "GetCertInfo" || call.name == "GMUSBKeyAsymDec2") {
        const auto* length = std::get<const int32_t*>(call.arguments[index + 1]);
        return *length > 0 ? static_cast<size_t>(*length) : 0;
    }
    return call.parameters[index].room;
}

bool IsOutput(const std::string& name) {
    return name == "signature" || name == "output";
}

std::string DescribeBytes(const void* pointer, size_t size) {
    const auto* bytes = static_cast<const char*>(pointer);
    const std::string area = "zeroed[" + std::to_string(size) + "]";
    const size_t length = strnlen(bytes, size);
    const bool zero_behind =
        std::all_of(bytes + length, bytes + size, [](char c) { return c == 0; });
    if (length == size || !zero_behind) {
        return "bytes[" + std::to_string(size) + "]";
    }
    return length == 0 ? area : Quoted(std::string(bytes, length)) + " in " + area;
}

std::string DescribeNumber(int64_t number) {
    return std::to_string(number);
}

class Describer {
 public:
    Describer(const Call& call, size_t index) : call_(call), index_(index) {}

    std::string operator()(int64_t number) const { return DescribeNumber(number); }
    std::string operator()(const char* text) const {
        return text == nullptr ? "null" : Quoted(text);
    }
    std::string operator()(char* buffer) const {
        if (buffer == nullptr) {
            return "null";
        }
        const size_t size = SizeFromCall(call_, index_);
        if (size != 0) {
            return DescribeBytes(buffer, size);
        }
        return IsOutput(call_.parameters[index_].name) ? "buffer" : Quoted(buffer);
    }
    std::string operator()(const int32_t* number) const {
        return number == nullptr ? "null" : "&" + DescribeNumber(*number);
    }
    std::string operator()(const uint32_t* number) const {
        if (number == nullptr) {
            return "null";
        }
        const size_t room = call_.parameters[index_].room;
        return room != 0 ? DescribeBytes(number, room * sizeof(*number))
                         : "&" + DescribeNumber(*number);
    }
    std::string operator()(char* const* text) const {
        if (text == nullptr) {
            return "null";
        }
        return *text == nullptr ? "&null" : "&" + Quoted(*text);
    }
    std::string operator()(const void* pointer) const {
        return pointer == nullptr ? "null" : "pointer";
    }
    std::string operator()(const _S_DEV_CONFIG* record) const {
        return record == nullptr ? "null" : DescribeBytes(record, sizeof(*record));
    }
    std::string operator()(const VEXA_EVENT_INFO* record) const {
        return record == nullptr ? "null" : DescribeBytes(record, sizeof(*record));
    }
    std::string operator()(const RequestEntry* entry) const {
        static const uint8_t kZero[sizeof(entry->reserved)] = {};
        if (entry == nullptr) {
            return "null";
        }
        const bool clean = std::memcmp(entry->reserved, kZero, sizeof(kZero)) == 0;
        return "{" + DescribeNumber(entry->certType) + ", " + DescribeNumber(entry->keyType) +
               ", " + DescribeNumber(entry->hashType) + ", " + DescribeNumber(entry->merged) +
               (clean ? "}" : ", reserved bytes set}");
    }
    // A string object is one pointer to its first character; read as that, because this library
    // must not depend on the product.
    std::string operator()(const QRV::CString* text) const {
        const char* characters = nullptr;
        std::memcpy(&characters, static_cast<const void*>(text), sizeof(characters));
        return Quoted(characters);
    }

 private:
    const Call& call_;
    size_t index_;
};

}  // namespace

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        char escaped[8] = {c, '\0'};
        if (c == '\r' || c == '\n' || c == '\t') {
            std::snprintf(escaped, sizeof(escaped), "\\%c",
                          c == '\r'   ? 'r'
                          : c == '\n' ? 'n'
                                      : 't');
        } else if (c == '"' || c == '\\') {
            std::snprintf(escaped, sizeof(escaped), "\\%c", c);
        } else if (c < ' ' || c > '~') {
            std::snprintf(escaped, sizeof(escaped), "\\x%02X", static_cast<unsigned char>(c));
        }
        quoted += escaped;
    }
    return quoted + "\"";
}

std::string DescribeCall(const std::string& name, const char* signature,
                         const std::vector<Argument>& arguments) {
    const std::vector<Parameter> parameters = ParametersOf(signature);
    const Call call = {name, parameters, arguments};
    std::string text = name + "(";
    for (size_t i = 0; i < arguments.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::visit(Describer(call, i), arguments[i]);
    }
    return text + ")";
}

}  // namespace scripted
