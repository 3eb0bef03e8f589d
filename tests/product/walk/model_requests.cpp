// Certificate requests and the text that is remembered from the size query to the fetch.
#include "model.h"

namespace walk {

bool Model::RecordIsSound(const std::string& record, PlainFields& fields) {
    const PlainRead read = ReadPlainRecord(record, fields);
    if (read == PlainRead::kUnknownName) {
        Finish(kInvalid);
    } else if (read == PlainRead::kPositionPastEnd) {
        out_.result.reset();
        out_.exception = static_cast<int32_t>(0x80070057);
    }
    return read == PlainRead::kDone;
}

// A length query never reads the remembered text.
bool Model::IsServedFromCache() {
    if (!In().buffer || !cache_) {
        return false;
    }
    const Remembered found = *cache_;
    const auto length = static_cast<int32_t>(found.text.size());
    const bool serves =
        found.description == *TextAt(1) && found.serial_number == TextAt(0).value_or("");
    if (!serves || *In().length >= length) {
        cache_.reset();
    }
    if (serves) {
        CopyOut(found.text, length, length + 1);
    }
    return serves;
}

void Model::DeliverRequests(const std::string& text) {
    if (!In().buffer) {
        cache_ = Remembered{text, *TextAt(1), TextAt(0).value_or("")};
    }
    const auto length = static_cast<int32_t>(text.size());
    CopyOut(text, length, length);
}

// False when the key refused.
bool Model::AddRequest(const std::string& call, const std::string& extra, bool first,
                       std::string& text) {
    const Reply reply = Call(call, extra);
    text += (first ? "" : "||") + reply.text.value_or("");
    return !Fails(reply.code);
}

void Model::GenerateCertRequest() {
    LazyInitialize();
    last_error_ = 0;
    if (!In().length || !TextAt(0) || !TextAt(1)) {
        return Finish(kInvalid);
    }
    if (IsServedFromCache()) {
        return;
    }
    PlainFields fields;
    std::string text;
    bool first = true;
    for (const std::string& record : PlainRecords(*TextAt(1))) {
        if (!RecordIsSound(record, fields) || Fails(Call("VerifyPIN t0").code)) {
            return;
        }
        const std::string types = std::to_string(fields.cert_type) + " " +
                                  std::to_string(fields.key_type) + " " +
                                  std::to_string(fields.hash_type);
        if (!AddRequest("GMCreatePKCS10 t0 " + types + " &null null 0", "", first, text)) {
            return;
        }
        first = false;
    }
    DeliverRequests(text);
}

// At most three records are read into entries. A record of key type 2 is merged into the entry of
// the record of that type before it, if one of the two asks for an encryption certificate.
bool Model::ReadEntries(std::vector<Entry>& entries) {
    PlainFields fields;
    size_t records = 0;
    size_t pairing = 0;  // the record before, counted from 1
    int64_t pairing_cert_type = 0;
    for (const std::string& record : PlainRecords(*TextAt(1))) {
        if (records == 3) {
            Finish(kInvalid);
            return false;
        }
        if (!RecordIsSound(record, fields)) {
            return false;
        }
        const bool encrypts = fields.cert_type == 3;
        if (encrypts && fields.key_type != 2) {
            Finish(kInvalid);
            return false;
        }
        ++records;
        if (pairing != 0 && fields.key_type == 2 && (pairing_cert_type == 3) != encrypts) {
            Entry& entry = entries[pairing - 1];
            entry.merged = true;
            entry.fields.cert_type = encrypts ? entry.fields.cert_type : fields.cert_type;
            continue;
        }
        entries.push_back({fields, false});
        if (fields.key_type == 2) {
            pairing = records;
            pairing_cert_type = fields.cert_type;
        }
    }
    return true;
}

bool Model::MakeEntry(const Entry& entry, bool first, std::string& text) {
    if (first && Number(0) != 1 && Fails(Call("VerifyPIN t0").code)) {
        return false;
    }
    const std::string shown = "{" + std::to_string(entry.fields.cert_type) + ", " +
                              std::to_string(entry.fields.key_type) + ", " +
                              std::to_string(entry.fields.hash_type) + ", " +
                              std::to_string(entry.merged) + "}";
    return AddRequest("GMCreatePKCS10Ex c0 r &null 1 null 0", shown, first, text);
}

void Model::Batch_InitAndGenerateCertRequest() {
    Log("Batch_InitAndGenerateCertRequest", "Begin szSN = " + TextAt(0).value_or("(null)") +
                                                ",requestInfo = " + TextAt(1).value_or("(null)"));
    LazyInitialize();
    if (!TextAt(1) || !In().length) {
        return Finish(kInvalid);
    }
    if (IsServedFromCache()) {
        return;
    }
    last_error_ = 0;
    std::vector<Entry> entries;
    if (!ReadEntries(entries)) {
        return;
    }
    const auto mode = static_cast<uint32_t>(Number(0));
    if (mode > 1) {
        return Finish(kInvalid);
    }
    if (mode == 1 && Fails(Call("CustInitCard t0 1 null 0").code)) {
        return;
    }
    std::string text;
    for (size_t i = 0; i < entries.size(); ++i) {
        const PlainFields& fields = entries[i].fields;
        if (fields.cert_type > 0 && fields.key_type > 0 && !MakeEntry(entries[i], i == 0, text)) {
            return;
        }
    }
    DeliverRequests(text);
}

}  // namespace walk
