// Certificate requests and the text that is remembered from the size query to the fetch.
#include <cctype>

#include "argument.h"
#include "model.h"

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

std::string Name(const std::string& token) {
    size_t first = 0;
    size_t end = token.size();
    while (first < end && IsSpace(token[first])) {
        ++first;
    }
    while (end > first && IsSpace(token[end - 1])) {
        --end;
    }
    std::string name;
    for (const char c : token.substr(first, end - first)) {
        name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return name;
}

}  // namespace

Model::Parsed Model::ReadRecord(const std::string& record, Fields& fields) {
    int64_t position = 0;
    while (position != kNoMore) {
        const Token token = Take(record, position, '(');
        if (token.next == kNoMore) {
            break;
        }
        const std::string name = Name(token.text);
        int64_t* field = name == "CERTTYPE"   ? &fields.cert_type
                         : name == "KEYTYPE"  ? &fields.key_type
                         : name == "HASHTYPE" ? &fields.hash_type
                                              : nullptr;
        if (field == nullptr) {
            return Parsed::kUnknownName;
        }
        const auto at = static_cast<size_t>(token.next);
        if (at > record.size()) {
            return Parsed::kPositionPastEnd;
        }
        *field = (at == record.size() ? 0 : static_cast<unsigned char>(record[at])) - 48;
        position = Take(record, token.next, ')').next;
    }
    return Parsed::kDone;
}

bool Model::RecordIsSound(Parsed parsed) {
    if (parsed == Parsed::kUnknownName) {
        Finish(kInvalid);
    } else if (parsed == Parsed::kPositionPastEnd) {
        out_.result.reset();
        out_.exception = static_cast<int32_t>(0x80070057);
    }
    return parsed == Parsed::kDone;
}

// A length query never reads the remembered text.
bool Model::ServedFromCache() {
    if (!In().buffer || !cache_) {
        return false;
    }
    if (cache_->description != *TextAt(1) || cache_->serial_number != TextAt(0).value_or("")) {
        cache_.reset();
        return false;
    }
    const auto length = static_cast<int32_t>(cache_->text.size());
    if (*In().length < length) {
        out_.length = length + 1;
        Finish(kTooSmall);
        return true;
    }
    out_.length = length;
    Write(cache_->text + '\0');
    cache_.reset();
    Return(last_error_);
    return true;
}

void Model::DeliverRequests(const std::string& text) {
    if (!In().buffer) {
        cache_ = Remembered{text, *TextAt(1), TextAt(0).value_or("")};
    }
    CopyOut(text, static_cast<int32_t>(text.size()));
}

// One request; false when the key refused.
bool Model::MakeRequest(const Fields& fields, std::string& text, bool first) {
    Finish(Call("VerifyPIN", {Own(0)}).code);
    if (last_error_ != 0) {
        return false;
    }
    const Reply reply =
        Call("GMCreatePKCS10", {Own(0), Value(fields.cert_type), Value(fields.key_type),
                                Value(fields.hash_type), Private("&null"), Null(), Value(0)});
    Finish(reply.code);
    text += (first ? "" : "||") + reply.text.value_or("");
    return reply.code == 0;
}

void Model::GenerateCertRequest() {
    LazyInitialize();
    last_error_ = 0;
    if (!In().length || !TextAt(0) || !TextAt(1)) {
        return Finish(kInvalid);
    }
    if (ServedFromCache()) {
        return;
    }
    Fields fields;
    std::string text;
    bool first = true;
    for (Token record = Take(*TextAt(1), 0, '|'); record.next != kNoMore;
         record = Take(*TextAt(1), record.next, '|')) {
        if (!RecordIsSound(ReadRecord(record.text, fields)) || !MakeRequest(fields, text, first)) {
            return;
        }
        first = false;
    }
    DeliverRequests(text);
}

// False for a combination that is not offered.
bool Model::AddRecord(const Fields& fields, Entries& entries) {
    if (fields.cert_type == 3 && fields.key_type != 2) {
        return false;
    }
    const bool pairs = entries.pairing != 0 && fields.key_type == 2 &&
                       (entries.pairing_cert_type == 3) != (fields.cert_type == 3);
    ++entries.records;
    if (pairs) {
        Fields& entry = entries.all[static_cast<size_t>(entries.pairing - 1)];
        entry.merged = 1;
        if (fields.cert_type != 3) {
            entry.cert_type = fields.cert_type;
        }
        return true;
    }
    entries.all.push_back(fields);
    if (fields.key_type == 2) {
        entries.pairing = entries.records;
        entries.pairing_cert_type = fields.cert_type;
    }
    return true;
}

bool Model::ReadEntries(Entries& entries) {
    Fields fields;
    for (Token record = Take(*TextAt(1), 0, '|'); record.next != kNoMore;
         record = Take(*TextAt(1), record.next, '|')) {
        if (entries.records == 3) {
            Finish(kInvalid);
            return false;
        }
        if (!RecordIsSound(ReadRecord(record.text, fields))) {
            return false;
        }
        if (!AddRecord(fields, entries)) {
            Finish(kInvalid);
            return false;
        }
    }
    return true;
}

bool Model::MakeEntry(const Fields& entry, size_t index, std::string& text) {
    if (index == 0 && Number(6) != 1) {
        Finish(Call("VerifyPIN", {Own(0)}).code);
        if (last_error_ != 0) {
            return false;
        }
    }
    const std::string shown =
        "{" + std::to_string(entry.cert_type) + ", " + std::to_string(entry.key_type) + ", " +
        std::to_string(entry.hash_type) + ", " + std::to_string(entry.merged) + "}";
    const Reply reply = Call("GMCreatePKCS10Ex", {Copy(TextAt(0).value_or("")), Private(shown),
                                                  Private("&null"), Value(1), Null(), Value(0)});
    Finish(reply.code);
    text += (index == 0 ? "" : "||") + reply.text.value_or("");
    return reply.code == 0;
}

void Model::Batch_InitAndGenerateCertRequest() {
    Log("Batch_InitAndGenerateCertRequest", "Begin szSN = " + TextAt(0).value_or("(null)") +
                                                ",requestInfo = " + TextAt(1).value_or("(null)"));
    LazyInitialize();
    if (!TextAt(1) || !In().length) {
        return Finish(kInvalid);
    }
    if (ServedFromCache()) {
        return;
    }
    last_error_ = 0;
    Entries entries;
    if (!ReadEntries(entries)) {
        return;
    }
    const auto mode = static_cast<uint32_t>(In().numbers[6]);
    if (mode > 1) {
        return Finish(kInvalid);
    }
    if (mode == 1) {
        Finish(Call("CustInitCard", {Own(0), Value(1), Null(), Value(0)}).code);
        if (last_error_ != 0) {
            return;
        }
    }
    std::string text;
    for (size_t i = 0; i < entries.all.size(); ++i) {
        const Fields& entry = entries.all[i];
        if (entry.cert_type > 0 && entry.key_type > 0 && !MakeEntry(entry, i, text)) {
            return;
        }
    }
    DeliverRequests(text);
}

}  // namespace walk
