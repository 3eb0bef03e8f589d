#include "call/backend.h"
#include "call/frame.h"
#include "call/request_cache.h"
#include "formats/request_description.h"
#include "formats/request_entries.h"
#include "log/vexa_log.h"
#include "maker/entries.h"
#include "orval_unified_kpxukey.h"
#include "qrv/string.h"

namespace {

constexpr const char* kRequestSeparator = "||";

enum InitMode : uint32_t { kVerifyPin = 0, kInitializeKey = 1 };

// A request text of the back-end, from array new. It is owned before the back-end is called, which
// may throw when it has handed one over.
class RequestText final {
 public:
    RequestText() = default;
    ~RequestText() { delete[] text_; }
    RequestText(const RequestText&) = delete;
    RequestText& operator=(const RequestText&) = delete;

    char** Receiver() { return &text_; }
    const char* Get() const { return text_; }

 private:
    char* text_ = nullptr;
};

// The separator goes by the position, not by what is there already.
void AppendRequest(QRV::CString& requests, int32_t position, const char* request) {
    if (position > 0) {
        requests += kRequestSeparator;
    }
    requests += request;
}

// The steps of a call store their outcome and return it.

int32_t VerifyPin(const char* szSN) {
    return orval::Finish(orval::Backend(&CommonFunction::VerifyPIN, szSN));
}

// One request for the fields, appended.
int32_t MakeRequest(const char* szSN, const orval::RequestFields& fields, int32_t position,
                    QRV::CString& requests) {
    RequestText text;
    const int32_t code = orval::Finish(
        orval::Backend(&CommonFunction::GMCreatePKCS10, szSN, fields.cert_type, fields.key_type,
                       fields.hash_type, text.Receiver(), nullptr, 0));
    if (code == ORVAL_OK) {
        AppendRequest(requests, position, text.Get());
    }
    return code;
}

// One request for each record, the PIN verified before each.
int32_t MakeRequests(const char* szSN, const char* szRequestInfo, QRV::CString& requests) {
    orval::RequestDescription description(szRequestInfo);
    orval::RequestFields fields;
    for (int32_t position = 0; description.TakeRecord(); ++position) {
        if (!description.ReadFields(fields)) {
            return orval::Refuse();
        }
        int32_t code = VerifyPin(szSN);
        if (code == ORVAL_OK) {
            code = MakeRequest(szSN, fields, position, requests);
        }
        if (code != ORVAL_OK) {
            return code;
        }
    }
    return ORVAL_OK;
}

int32_t ReadEntries(const char* szRequestInfo, orval::RequestEntries& entries) {
    orval::RequestDescription description(szRequestInfo);
    orval::RequestFields fields;
    while (description.TakeRecord()) {
        if (entries.IsFull() || !description.ReadFields(fields) || !entries.Add(fields)) {
            return orval::Refuse();
        }
    }
    return ORVAL_OK;
}

// Checked after the description, so that a malformed description is reported even with a bad mode.
int32_t PrepareKey(const char* szSN, uint32_t init_mode) {
    if (init_mode > kInitializeKey) {
        return orval::Refuse();
    }
    if (init_mode == kVerifyPin) {
        return ORVAL_OK;
    }
    const auto flag = static_cast<uint8_t>(init_mode);
    return orval::Finish(orval::Backend(&CommonFunction::CustInitCard, szSN, flag, nullptr, 0));
}

int32_t MakeEntryRequest(const char* szSN, RequestEntry& entry, int32_t position,
                         QRV::CString& requests) {
    const QRV::CString serial_number(szSN);
    RequestText text;
    const int32_t code =
        orval::Finish(orval::Backend(&CommonFunction::GMCreatePKCS10Ex, serial_number.GetString(),
                                     &entry, text.Receiver(), 1, nullptr, 0));
    if (code == ORVAL_OK) {
        AppendRequest(requests, position, text.Get());
    }
    return code;
}

// One request for each entry in use. The PIN is verified once, with entry 0: a call whose entry 0
// is not in use makes its requests without, and its text begins with the separator.
int32_t MakeEntryRequests(const char* szSN, uint32_t init_mode, orval::RequestEntries& entries,
                          QRV::CString& requests) {
    int32_t position = -1;
    for (RequestEntry& entry : entries.All()) {
        ++position;
        if (entry.certType <= 0 || entry.keyType <= 0) {
            continue;
        }
        int32_t code = ORVAL_OK;
        if (position == 0 && init_mode != kInitializeKey) {
            code = VerifyPin(szSN);
        }
        if (code == ORVAL_OK) {
            code = MakeEntryRequest(szSN, entry, position, requests);
        }
        if (code != ORVAL_OK) {
            return code;
        }
    }
    return ORVAL_OK;
}

}  // namespace

int32_t GenerateCertRequest(const char* szSN, const char* szRequestInfo, char* pszOut,
                            int32_t* pnOutLen) {
    orval::BeginClean();
    if (orval::AnyNull(pnOutLen, szSN, szRequestInfo)) {
        return orval::Refuse();
    }
    if (const auto served = orval::ServeFromCache(szSN, szRequestInfo, pszOut, pnOutLen)) {
        return *served;
    }
    QRV::CString requests;
    const int32_t code = MakeRequests(szSN, szRequestInfo, requests);
    if (code != ORVAL_OK) {
        return code;
    }
    return orval::DeliverRequests(requests, szSN, szRequestInfo, pszOut, pnOutLen);
}

int32_t Batch_InitAndGenerateCertRequest(const char* szSN, uint32_t nInitMode,
                                         const char* szRequestInfo, char* pszOut,
                                         int32_t* pnOutLen) {
    orval::LogEntry(__func__, "Begin szSN = %s,requestInfo = %s", szSN, szRequestInfo);
    orval::Begin();
    if (orval::AnyNull(szRequestInfo, pnOutLen)) {
        return orval::Refuse();
    }
    // The last error is not reset yet: a fetch served from the cache returns what it holds, 0 after
    // the size query that filled the cache.
    if (const auto served = orval::ServeFromCache(szSN, szRequestInfo, pszOut, pnOutLen)) {
        return *served;
    }
    orval::ClearLastError();
    orval::RequestEntries entries;
    QRV::CString requests;
    int32_t code = ReadEntries(szRequestInfo, entries);
    if (code == ORVAL_OK) {
        code = PrepareKey(szSN, nInitMode);
    }
    if (code == ORVAL_OK) {
        code = MakeEntryRequests(szSN, nInitMode, entries, requests);
    }
    if (code != ORVAL_OK) {
        return code;
    }
    return orval::DeliverRequests(requests, szSN, szRequestInfo, pszOut, pnOutLen);
}
