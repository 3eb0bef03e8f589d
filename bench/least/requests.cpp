// The request description in one pass over its characters, the PIN and the request asked of the key
// for each record, and the requests in one text.
#include <strings.h>

#include <cctype>

#include "least/bare_string.h"
#include "least/calls.h"

namespace least {
namespace {

struct FieldName {
    const char* text;
    size_t length;
};
constexpr FieldName kFields[] = {{"CertType", 8}, {"KeyType", 7}, {"HashType", 8}};

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The number of the field that stands at `name`, or -1.
int FieldAt(const char* name, const char* end) {
    while (name < end && IsSpace(*name)) {
        ++name;
    }
    while (end > name && IsSpace(end[-1])) {
        --end;
    }
    const auto length = static_cast<size_t>(end - name);
    for (int i = 0; i < 3; ++i) {
        if (kFields[i].length == length && strncasecmp(name, kFields[i].text, length) == 0) {
            return i;
        }
    }
    return -1;
}

// Reads the record at `at`, and returns where it ends; null for a name that is unknown.
const char* ReadRecord(const char* at, int32_t (&values)[3]) {
    while (*at != '|' && *at != '\0') {
        const char* bracket = at;
        while (*bracket != '(') {
            ++bracket;
        }
        const int field = FieldAt(at, bracket);
        if (field < 0) {
            return nullptr;
        }
        values[field] = static_cast<unsigned char>(bracket[1]) - '0';
        at = bracket + 1;
        while (*at != ')') {
            ++at;
        }
        ++at;
    }
    return at;
}

int32_t AddRequest(const char* serial_number, const int32_t (&values)[3], BareString& requests) {
    const int32_t code = Finish(CallEntry(table.VerifyPIN, serial_number));
    if (code != 0) {
        return code;
    }
    char* request = nullptr;
    Finish(CallEntry(table.GMCreatePKCS10, serial_number, values[0], values[1], values[2], &request,
                     nullptr, 0));
    if (requests.Length() != 0) {
        requests.Append("||", 2);
    }
    requests.Append(request, std::strlen(request));
    delete[] request;
    return 0;
}

}  // namespace

int32_t GenerateCertRequest(const char* serial_number, const char* description, char* out,
                            int32_t* length) {
    Begin();
    const BareString text(description);
    BareString requests;
    int32_t values[3] = {};
    for (const char* at = text.Text(); *at != '\0'; at += *at == '|' ? 1 : 0) {
        at = ReadRecord(at, values);
        if (at == nullptr || AddRequest(serial_number, values, requests) != 0) {
            return Finish(-401);
        }
    }
    *length = static_cast<int32_t>(requests.Length());
    std::memcpy(out, requests.Text(), requests.Length() + 1);
    return Finish(0);
}

}  // namespace least
