#include "plain_readings.h"

#include <cctype>
#include <cstddef>

namespace walk {

namespace {

constexpr int64_t kNoMore = -1;

struct Token {
    std::string text;
    int64_t next;
};

// Delimiters at the position are skipped; the next position is behind the delimiter that ends the
// token, one past the end of the text if there is none.
Token Take(const std::string& text, int64_t position, char delimiter) {
    auto at = static_cast<size_t>(position);
    while (at < text.size() && text[at] == delimiter) {
        ++at;
    }
    if (at >= text.size()) {
        return {"", kNoMore};
    }
    size_t end = text.find(delimiter, at);
    if (end == std::string::npos) {
        end = text.size();
    }
    return {text.substr(at, end - at), static_cast<int64_t>(end) + 1};
}

bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string UpperCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

std::string Name(const std::string& token) {
    size_t first = 0;
    size_t end = token.size();
    while (first < end && IsSpace(token[first])) {
        ++first;
    }
    while (end > first && IsSpace(token[end - 1])) {
        --end;
    }
    return UpperCase(token.substr(first, end - first));
}

int64_t* FieldOf(PlainFields& fields, const std::string& name) {
    return name == "CERTTYPE"   ? &fields.cert_type
           : name == "KEYTYPE"  ? &fields.key_type
           : name == "HASHTYPE" ? &fields.hash_type
                                : nullptr;
}

bool IsItemName(const std::string& name) {
    const std::string upper = UpperCase(name);
    return upper == "SIGNCERT" || upper == "ENCCERT" || upper == "ENCPRIKEY";
}

}  // namespace

std::string Without(const std::string& text, const std::string& characters) {
    std::string rest;
    for (const char c : text) {
        if (characters.find(c) == std::string::npos) {
            rest += c;
        }
    }
    return rest;
}

std::vector<std::string> PlainRecords(const std::string& description) {
    std::vector<std::string> records;
    for (Token record = Take(description, 0, '|'); record.next != kNoMore;
         record = Take(description, record.next, '|')) {
        records.push_back(record.text);
    }
    return records;
}

PlainRead ReadPlainRecord(const std::string& record, PlainFields& fields) {
    int64_t position = 0;
    while (position != kNoMore) {
        const Token token = Take(record, position, '(');
        if (token.next == kNoMore) {
            break;
        }
        int64_t* field = FieldOf(fields, Name(token.text));
        if (field == nullptr) {
            return PlainRead::kUnknownName;
        }
        const auto at = static_cast<size_t>(token.next);
        if (at > record.size()) {
            return PlainRead::kPositionPastEnd;
        }
        *field = (at == record.size() ? 0 : static_cast<unsigned char>(record[at])) - 48;
        position = Take(record, token.next, ')').next;
    }
    return PlainRead::kDone;
}

int32_t PlainPackageType(const std::string& text) {
    size_t bracket = text.find('(');
    if (bracket == std::string::npos || bracket == 0) {
        return kNoPackage;
    }
    size_t start = 0;
    while (bracket != std::string::npos && IsItemName(text.substr(start, bracket - start))) {
        const size_t bar = text.find('|', bracket + 1);
        if (bar == std::string::npos) {
            return kPackage;
        }
        start = bar + 1;
        bracket = text.find('(', bar + 2);
    }
    return kMalformedPackage;
}

std::vector<std::string> PlainItems(const std::string& package, const std::string& name) {
    std::vector<std::string> items;
    size_t at = package.find(name);
    while (at != std::string::npos) {
        const size_t data = at + name.size();
        const size_t end = package.find(')', at);
        const bool closed = end != std::string::npos;
        items.push_back(closed ? package.substr(data, end - data) : "");
        at = package.find(name, closed ? end + 2 : data);
    }
    return items;
}

}  // namespace walk
