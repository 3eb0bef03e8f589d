#include "call/backend.h"
#include "call/buffers.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "orval_unified_kpxukey.h"
#include "qrv/string.h"

namespace {

constexpr int32_t kKeyAndTextRequired = 1;

}  // namespace

int32_t Sign(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
             const char* szWarning, char* pszSignature, int32_t* pnSignatureLen) {
    orval::Begin();
    if (orval::AnyNull(szData, pnSignatureLen, szWarning)) {
        return orval::Refuse();
    }
    if (pszSignature == nullptr) {
        return orval::AnswerBound(orval::lengths::SignatureBound(szData), pnSignatureLen);
    }
    const int32_t code =
        orval::Finish(orval::Backend(&CommonFunction::SetWarningMsg, szSN, szWarning));
    if (code != ORVAL_OK) {
        return code;
    }
    return orval::Finish(orval::Backend(&CommonFunction::GMUsbKeyCriticalSign, szSN, nParam1,
                                        nParam2, szData, pszSignature, pnSignatureLen));
}

int32_t SignHash(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
                 int32_t nParam3, char* pszSignature, int32_t* pnSignatureLen) {
    orval::Begin();
    if (orval::AnyNull(pnSignatureLen, szData)) {
        return orval::Refuse();
    }
    const int32_t bound = orval::lengths::HashSignatureBound(szData);
    if (pszSignature == nullptr) {
        return orval::AnswerBound(bound, pnSignatureLen);
    }
    orval::ClearLastError();
    const auto signature = orval::ZeroedOutput(bound);
    const QRV::CString serial_number(szSN);
    const QRV::CString data(szData);
    const int32_t code =
        orval::Backend(&CommonFunction::GMUsbKeyCommonSign, serial_number.GetString(), nParam1,
                       nParam2, data.GetString(), nParam3, signature.get(), pnSignatureLen);
    if (code != ORVAL_OK) {
        return orval::Finish(code);
    }
    return orval::Finish(orval::lengths::HashSignature::Deliver(signature.get(), *pnSignatureLen,
                                                                pszSignature, pnSignatureLen));
}

int32_t Batch_Sign(int32_t nFlags, const char* szSN, int32_t nParam3, int32_t nParam4,
                   const char* szText, const void* pParam6, int64_t nParam7, int32_t nParam8,
                   int32_t nParam9, const char* szBatch, int32_t nParam11, char* pszOutput,
                   int32_t* pnOutputLen) {
    orval::Begin();
    if (orval::AnyNull(pnOutputLen)) {
        return orval::Refuse();
    }
    if (pszOutput == nullptr) {
        return orval::AnswerBound(orval::lengths::BatchSignatureBound(szText, szBatch),
                                  pnOutputLen);
    }
    const bool required = (nFlags & kKeyAndTextRequired) != 0;
    if (required && orval::AnyNull(szSN, pParam6, szText)) {
        return orval::Refuse();
    }
    return orval::Finish(orval::Backend(&CommonFunction::Batch_Sign, nFlags, szSN, nParam3, nParam4,
                                        szText, pParam6, nParam7, nParam8, nParam9, szBatch,
                                        nParam11, pszOutput, pnOutputLen));
}
