#include "call/backend.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "orval_unified_kpxukey.h"
#include "qrv/string.h"

void GetLastErrCode(int32_t* pnErrCode) {
    if (pnErrCode == nullptr) {
        orval::Refuse();
        return;
    }
    *pnErrCode = orval::LastError();
}

// Beyond the initialisation, success leaves G_LastError alone, so that asking for a message does
// not erase the code that is being explained.
int32_t GetErrorMsg(int32_t nErrCode, char* pszErrMsg, int32_t* pnErrMsgLen) {
    orval::Begin();
    if (orval::AnyNull(pnErrMsgLen)) {
        return orval::Refuse();
    }
    if (pszErrMsg == nullptr) {
        *pnErrMsgLen = orval::lengths::kErrorMessageBound;
        return orval::ReturnOnly(ORVAL_OK);
    }
    auto* const convert = orval::CallableEntry(&CommonFunction::X_ErrorConvert_UOS);
    if (convert == nullptr) {
        return orval::Finish(ORVAL_BACKEND_UNAVAILABLE);
    }
    const QRV::CString message(convert(nErrCode));
    return orval::FinishFailure(orval::lengths::ErrorMessage::Deliver(
        message.GetString(), message.GetLength(), pszErrMsg, pnErrMsgLen));
}
