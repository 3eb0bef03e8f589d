#include <cstring>

#include "call/frame.h"
#include "call/init_flag.h"
#include "call/lengths.h"
#include "log/vexa_log.h"
#include "qrv/string.h"

namespace {

constexpr size_t kLabelRoom = 512;
constexpr size_t kDataRoom = 260;
constexpr size_t kShortestKeyText = 10;
constexpr size_t kLongestKeyText = 16;
constexpr size_t kLongestData = 300;

// The text that names the key of a data item.
bool IsKeyText(const char* text) {
    const size_t length = std::strlen(text);
    return length >= kShortestKeyText && length <= kLongestKeyText;
}

int32_t FormatKey(const char* szSN, void* parameter) {
    return Finish(Backend(&CommonFunction::CustInitCard, szSN, 0, parameter, 0));
}

}  // namespace

int32_t InitUKey(const char* szSN) {
    LogEntry(__func__, "Begin");
    LogSerialNumber(szSN);
    if (!IsInitialized()) {
        // Formatting erases a key, so a client must have begun its work before.
        return ORVAL_NOT_INITIALIZED;
    }
    G_LastError = ORVAL_OK;
    FormatKey(szSN, nullptr);
    return LogEnd(__func__);
}

int32_t TestInitUKey(const char* szSN, void* pParam) {
    LogEntry(__func__, "Begin");
    OpenCall();
    FormatKey(szSN, pParam);
    return LogEnd(__func__);
}

int32_t GetLabel(const char* szSN, char* pszLabel, int32_t* pnLabelLen) {
    EnsureInitialized();
    if (AnyNull(pnLabelLen, szSN)) {
        return Refuse();
    }
    G_LastError = ORVAL_OK;
    TextBuffer<kLabelRoom> label;
    QRV::CString serial_number(szSN);
    if (serial_number.IsEmpty()) {
        return Refuse();
    }
    char* writable = serial_number.GetBuffer(serial_number.GetLength());
    if (Finish(Backend(&CommonFunction::GetLabel, writable, label.text)) != ORVAL_OK) {
        return G_LastError;
    }
    return CopyOutText(label.text, label.Length(), pszLabel, pnLabelLen, WhenShort::kTextLength);
}

int32_t SetLabel(const char* szSN, const char* szLabel) {
    EnsureInitialized();
    if (AnyNull(szSN, szLabel)) {
        return Refuse();
    }
    return Finish(Backend(&CommonFunction::SetLabel, szSN, szLabel));
}

int32_t GetData(const char* szSN, int32_t nIndex, char* pszData, int32_t* pnDataLen) {
    EnsureInitialized();
    if (AnyNull(szSN, pnDataLen) || !IsKeyText(szSN)) {
        return Refuse();
    }
    G_LastError = ORVAL_OK;
    TextBuffer<kDataRoom> data;
    if (Finish(Backend(&CommonFunction::GetData, szSN, nIndex, data.text)) != ORVAL_OK) {
        return G_LastError;
    }
    return CopyOutText(data.text, data.Length(), pszData, pnDataLen,
                       WhenShort::kTextLengthAndTerminator);
}

int32_t SetData(const char* szSN, int32_t nIndex, const char* szData) {
    EnsureInitialized();
    if (AnyNull(szSN, szData) || !IsKeyText(szSN) || std::strlen(szData) > kLongestData) {
        return Refuse();
    }
    return Finish(Backend(&CommonFunction::SetData, szSN, nIndex, szData));
}

// The back-end takes the two texts of SetCharset and SetLanguage in the opposite order.

int32_t SetCharset(const char* szFirst, const char* szSecond) {
    EnsureInitialized();
    if (AnyNull(szFirst, szSecond)) {
        return Refuse();
    }
    return Finish(Backend(&CommonFunction::UOS_SetCharset, szSecond, szFirst));
}

int32_t SetLanguage(const char* szFirst, const char* szSecond) {
    EnsureInitialized();
    if (AnyNull(szFirst, szSecond)) {
        return Refuse();
    }
    return Finish(Backend(&CommonFunction::UOS_SetLanguage, szSecond, szFirst));
}
