#include <cstring>

#include "call/frame.h"
#include "call/lengths.h"
#include "qrv/string.h"

namespace {

// What a length query is told: room for any message, not the length of this one.
constexpr int32_t kMessageBound = 200;

}  // namespace

void GetLastErrCode(int32_t* pnErrCode) {
    if (pnErrCode == nullptr) {
        Refuse();
        return;
    }
    *pnErrCode = G_LastError;
}

// Beyond the initialisation, success leaves G_LastError alone, so that asking for a message does
// not erase the code that is being explained.
int32_t GetErrorMsg(int32_t nErrCode, char* pszErrMsg, int32_t* pnErrMsgLen) {
    EnsureInitialized();
    if (AnyNull(pnErrMsgLen)) {
        return Refuse();
    }
    if (pszErrMsg == nullptr) {
        *pnErrMsgLen = kMessageBound;
        return ORVAL_OK;
    }
    const auto answer = CallEntry(&CommonFunction::X_ErrorConvert_UOS, int64_t{nErrCode});
    if (!answer) {
        return ORVAL_BACKEND_UNAVAILABLE;
    }
    const QRV::CString message(*answer);
    const int32_t length = message.GetLength();
    const bool fits = length < *pnErrMsgLen;
    *pnErrMsgLen = WithTerminator(length);
    if (!fits) {
        return Finish(ORVAL_BUFFER_TOO_SMALL);
    }
    std::memcpy(pszErrMsg, message.GetString(), static_cast<size_t>(length) + 1);
    return ORVAL_OK;
}
