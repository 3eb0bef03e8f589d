// Certificate requests and the text that is remembered from the size query to the fetch.
#include "model.h"

namespace walk {

bool Model::RecordIsSound(PlainRead read) {
    if (read == PlainRead::kUnknownName) {
        Finish(kInvalid);
    } else if (read == PlainRead::kPositionPastEnd) {
        out_.result.reset();
        out_.exception = static_cast<int32_t>(0x80070057);
    }
    return read == PlainRead::kDone;
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
bool Model::MakeRequest(const PlainFields& fields, std::string& text, bool first) {
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
    PlainFields fields;
    std::string text;
    bool first = true;
    for (const std::string& record : PlainRecords(*TextAt(1))) {
        if (!RecordIsSound(ReadPlainRecord(record, fields)) || !MakeRequest(fields, text, first)) {
            return;
        }
        first = false;
    }
    DeliverRequests(text);
}

// False for a combination that is not offered.
bool Model::AddRecord(const PlainFields& fields, Entries& entries) {
    if (fields.cert_type == 3 && fields.key_type != 2) {
        return false;
    }
    const bool pairs = entries.pairing != 0 && fields.key_type == 2 &&
                       (entries.pairing_cert_type == 3) != (fields.cert_type == 3);
    ++entries.records;
    if (pairs) {
        Entry& entry = entries.all[static_cast<size_t>(entries.pairing - 1)];
        entry.merged = true;
        if (fields.cert_type != 3) {
            entry.fields.cert_type = fields.cert_type;
        }
        return true;
    }
    entries.all.push_back({fields, false});
    if (fields.key_type == 2) {
        entries.pairing = entries.records;
        entries.pairing_cert_type = fields.cert_type;
    }
    return true;
}

bool Model::ReadEntries(Entries& entries) {
    PlainFields fields;
    for (const std::string& record : PlainRecords(*TextAt(1))) {
        if (entries.records == 3) {
            Finish(kInvalid);
            return false;
        }
        if (!RecordIsSound(ReadPlainRecord(record, fields))) {
            return false;
        }
        if (!AddRecord(fields, entries)) {
            Finish(kInvalid);
            return false;
        }
    }
    return true;
}

bool Model::MakeEntry(const Entry& entry, size_t index, std::string& text) {
    if (index == 0 && Number(6) != 1) {
        Finish(Call("VerifyPIN", {Own(0)}).code);
        if (last_error_ != 0) {
            return false;
        }
    }
    const std::string shown = "{" + std::to_string(entry.fields.cert_type) + ", " +
                              std::to_string(entry.fields.key_type) + ", " +
                              std::to_string(entry.fields.hash_type) + ", " +
                              std::to_string(entry.merged) + "}";
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
        const Entry& entry = entries.all[i];
        if (entry.fields.cert_type > 0 && entry.fields.key_type > 0 && !MakeEntry(entry, i, text)) {
            return;
        }
    }
    DeliverRequests(text);
}

}  // namespace walk
