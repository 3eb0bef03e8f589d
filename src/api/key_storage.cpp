#include <cstring>

#include "call/backend.h"
#include "call/buffers.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "log/vexa_log.h"
#include "maker/rooms.h"
#include "orval_unified_kpxukey.h"
#include "qrv/string.h"

namespace {

constexpr size_t kShortestKeyText = 10;
constexpr size_t kLongestKeyText = 16;
constexpr size_t kLongestData = 300;

// The text that names the key of a data item.
bool IsKeyText(const char* text) {
    const size_t length = std::strlen(text);
    return length >= kShortestKeyText && length <= kLongestKeyText;
}

int32_t FormatKey(const char* szSN, void* parameter) {
    return orval::Backend(&CommonFunction::CustInitCard, szSN, 0, parameter, 0);
}

}  // namespace

int32_t InitUKey(const char* szSN) {
    orval::LogEntry(__func__, "Begin");
    orval::LogSerialNumber(szSN);
    if (!orval::IsInitialized()) {
        // Formatting erases a key, so a client must have begun its work before.
        return orval::ReturnOnly(ORVAL_NOT_INITIALIZED);
    }
    orval::ClearLastError();
    return orval::FinishLogged(__func__, FormatKey(szSN, nullptr));
}

int32_t TestInitUKey(const char* szSN, void* pParam) {
    orval::LogEntry(__func__, "Begin");
    orval::BeginClean();
    return orval::FinishLogged(__func__, FormatKey(szSN, pParam));
}

int32_t GetLabel(const char* szSN, char* pszLabel, int32_t* pnLabelLen) {
    orval::Begin();
    if (orval::AnyNull(pnLabelLen, szSN)) {
        return orval::Refuse();
    }
    orval::ClearLastError();
    orval::TextBuffer<maker::kLabelRoom> label;
    QRV::CString serial_number(szSN);
    if (serial_number.IsEmpty()) {
        return orval::Refuse();
    }
    char* writable = serial_number.GetBuffer(serial_number.GetLength());
    const int32_t code = orval::Backend(&CommonFunction::GetLabel, writable, label.text);
    if (code != ORVAL_OK) {
        return orval::Finish(code);
    }
    return orval::Finish(orval::lengths::CertificateNameLabel::Deliver(label.text, label.Length(),
                                                                       pszLabel, pnLabelLen));
}

int32_t SetLabel(const char* szSN, const char* szLabel) {
    orval::Begin();
    if (orval::AnyNull(szSN, szLabel)) {
        return orval::Refuse();
    }
    return orval::Finish(orval::Backend(&CommonFunction::SetLabel, szSN, szLabel));
}

int32_t GetData(const char* szSN, int32_t nIndex, char* pszData, int32_t* pnDataLen) {
    orval::Begin();
    if (orval::AnyNull(szSN, pnDataLen) || !IsKeyText(szSN)) {
        return orval::Refuse();
    }
    orval::ClearLastError();
    orval::TextBuffer<maker::kDataRoom> data;
    const int32_t code = orval::Backend(&CommonFunction::GetData, szSN, nIndex, data.text);
    if (code != ORVAL_OK) {
        return orval::Finish(code);
    }
    return orval::Finish(
        orval::lengths::Data::Deliver(data.text, data.Length(), pszData, pnDataLen));
}

int32_t SetData(const char* szSN, int32_t nIndex, const char* szData) {
    orval::Begin();
    if (orval::AnyNull(szSN, szData) || !IsKeyText(szSN) || std::strlen(szData) > kLongestData) {
        return orval::Refuse();
    }
    return orval::Finish(orval::Backend(&CommonFunction::SetData, szSN, nIndex, szData));
}

// The back-end takes the two texts of SetCharset and SetLanguage in the opposite order.

int32_t SetCharset(const char* szFirst, const char* szSecond) {
    orval::Begin();
    if (orval::AnyNull(szFirst, szSecond)) {
        return orval::Refuse();
    }
    return orval::Finish(orval::Backend(&CommonFunction::UOS_SetCharset, szSecond, szFirst));
}

int32_t SetLanguage(const char* szFirst, const char* szSecond) {
    orval::Begin();
    if (orval::AnyNull(szFirst, szSecond)) {
        return orval::Refuse();
    }
    return orval::Finish(orval::Backend(&CommonFunction::UOS_SetLanguage, szSecond, szFirst));
}
