#include <cstring>

#include "call/buffers.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "qrv/string.h"

namespace {

constexpr const char* kBatchSeparator = "||";
constexpr uint32_t kBatchAllowance = 2048;
constexpr int32_t kKeyAndTextRequired = 1;

// In 32 bits. The batch counts once for each separator, not for each item: a batch of one item
// adds nothing.
int32_t BatchEstimate(const char* text, const char* batch) {
    uint32_t estimate = 0;
    if (text != nullptr) {
        estimate = static_cast<uint32_t>(std::strlen(text)) + kBatchAllowance;
    }
    if (batch != nullptr) {
        const auto separators =
            static_cast<uint32_t>(ORVAL_ComFunc.GetSubStringCount(batch, kBatchSeparator));
        estimate += (static_cast<uint32_t>(std::strlen(batch)) + kBatchAllowance) * separators;
    }
    return static_cast<int32_t>(estimate * 2);
}

}  // namespace

int32_t Sign(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
             const char* szWarning, char* pszSignature, int32_t* pnSignatureLen) {
    EnsureInitialized();
    if (AnyNull(szData, pnSignatureLen, szWarning)) {
        return Refuse();
    }
    if (pszSignature == nullptr) {
        return AnswerBound(OutputEstimate(szData), pnSignatureLen);
    }
    if (Finish(Backend(&CommonFunction::SetWarningMsg, szSN, szWarning)) != ORVAL_OK) {
        return G_LastError;
    }
    return Finish(Backend(&CommonFunction::GMUsbKeyCriticalSign, szSN, nParam1, nParam2, szData,
                          pszSignature, pnSignatureLen));
}

int32_t SignHash(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
                 int32_t nParam3, char* pszSignature, int32_t* pnSignatureLen) {
    EnsureInitialized();
    if (AnyNull(pnSignatureLen, szData)) {
        return Refuse();
    }
    const int32_t estimate = OutputEstimate(szData);
    if (pszSignature == nullptr) {
        return AnswerBound(estimate, pnSignatureLen);
    }
    G_LastError = ORVAL_OK;
    const auto signature = ZeroedOutput(estimate);
    const QRV::CString serial_number(szSN);
    const QRV::CString data(szData);
    const int32_t code =
        Finish(Backend(&CommonFunction::GMUsbKeyCommonSign, serial_number.GetString(), nParam1,
                       nParam2, data.GetString(), nParam3, signature.get(), pnSignatureLen));
    if (code == ORVAL_OK) {
        // The length that the caller reads is the back-end's own; the capacity is not tested.
        std::memcpy(pszSignature, signature.get(), std::strlen(signature.get()) + 1);
    }
    return code;
}

int32_t Batch_Sign(int32_t nFlags, const char* szSN, int32_t nParam3, int32_t nParam4,
                   const char* szText, const void* pParam6, int64_t nParam7, int32_t nParam8,
                   int32_t nParam9, const char* szBatch, int32_t nParam11, char* pszOutput,
                   int32_t* pnOutputLen) {
    EnsureInitialized();
    if (AnyNull(pnOutputLen)) {
        return Refuse();
    }
    if (pszOutput == nullptr) {
        return AnswerBound(BatchEstimate(szText, szBatch), pnOutputLen);
    }
    const bool required = (nFlags & kKeyAndTextRequired) != 0;
    if (required && (szSN == nullptr || pParam6 == nullptr || szText == nullptr)) {
        return Refuse();
    }
    return Finish(Backend(&CommonFunction::Batch_Sign, nFlags, szSN, nParam3, nParam4, szText,
                          pParam6, nParam7, nParam8, nParam9, szBatch, nParam11, pszOutput,
                          pnOutputLen));
}
