#include "authority/subject.h"

#include <algorithm>
#include <vector>

#include "base/encoding.h"
#include "base/error.h"
#include "cli/words.h"
#include "crypto/pkcs10.h"

namespace softkey {
namespace {

constexpr const char* kFields[] = {"CN",    "OU",     "O",        "L",           "ST",
                                   "C",     "STREET", "DC",       "UID",         "serialNumber",
                                   "title",                                         // no message
                                   "SN",    "GN",     "initials", "emailAddress"};  // no message

bool IsDotted(const std::string& name) {
    return name.find('.') != std::string::npos &&
           name.find_first_not_of("0123456789.") == std::string::npos;
}

void CheckField(const std::string& name) {
    std::string all;
    for (const char* const field : kFields) {
        if (name == field) {
            return;
        }
        all += (all.empty() ? "" : ", ") + std::string(field);
    }
    if (!IsDotted(name)) {
        throw Error(Code::kInvalidParameter,
                    cli::Say("a subject has no field {1}; the fields are {2}", name, all));
    }
}

[[noreturn]] void FailWithForm() {
    throw Error(
        Code::kInvalidParameter, "a subject looks like CN=Alice,O=Example,C=CN",
        "Put a backslash before a comma, plus sign or backslash in a value: O=Example\\, Ltd.");
}

// Reads a subject from front to end.
class Reader {
 public:
    explicit Reader(const std::string& text) : text_(text) {}

    // The parts as they stand, each a list of fields.
    std::vector<std::vector<NamePart>> Read() {
        std::vector<std::vector<NamePart>> parts(1);
        for (;;) {
            parts.back().push_back(ReadField());
            if (at_ == text_.size()) {
                return parts;
            }
            if (text_[at_++] == ',') {
                parts.emplace_back();
            }
        }
    }

 private:
    NamePart ReadField() {
        const size_t equals = text_.find('=', at_);
        if (equals == std::string::npos) {
            FailWithForm();
        }
        const size_t begin = std::min(text_.find_first_not_of(' ', at_), equals);
        NamePart part{text_.substr(begin, equals - begin), {}, false};
        CheckField(part.field);
        at_ = equals + 1;
        part.value = ReadValue();
        return part;
    }

    // Up to the separator. Blanks at either end belong to the value only behind a backslash.
    std::string ReadValue() {
        std::string value;
        size_t kept = 0;
        for (; at_ < text_.size() && text_[at_] != ',' && text_[at_] != '+'; ++at_) {
            if (text_[at_] == '\\') {
                value += ReadEscaped();
                kept = value.size();
            } else if (text_[at_] != ' ' || !value.empty()) {
                value += text_[at_];
                kept = text_[at_] == ' ' ? kept : value.size();
            }
        }
        value.resize(kept);
        return value;
    }

    // Leaves the place at the last character of it.
    char ReadEscaped() {
        constexpr char kSpecial[] = " \"#+,;<=>\\";
        ++at_;
        if (at_ < text_.size() &&
            std::string_view(kSpecial).find(text_[at_]) != std::string_view::npos) {
            return text_[at_];
        }
        const std::optional<Bytes> byte =
            FromHex(std::string_view(text_).substr(std::min(at_, text_.size()), 2));
        if (!byte || byte->size() != 1) {
            FailWithForm();
        }
        ++at_;
        return static_cast<char>(byte->front());
    }

    const std::string& text_;
    size_t at_ = 0;
};

}  // namespace

ssl::Name ReadSubject(const std::string& text) {
    std::vector<std::vector<NamePart>> parts = Reader(text).Read();
    // The name itself has the most specific part at its end.
    std::reverse(parts.begin(), parts.end());
    std::vector<NamePart> fields;
    for (const std::vector<NamePart>& part : parts) {
        for (const NamePart& field : part) {
            fields.push_back(field);
            fields.back().joins_previous = &field != &part.front();
        }
    }
    return MakeName(fields);
}

}  // namespace softkey
