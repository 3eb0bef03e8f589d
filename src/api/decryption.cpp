#include "call/buffers.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "qrv/string.h"

int32_t AsymDec(const char* szSN, int32_t nParam1, uint32_t nParam2, const char* szCipher,
                char* pszPlain, int32_t* pnPlainLen) {
    EnsureInitialized();
    if (AnyNull(pnPlainLen, szCipher)) {
        return Refuse();
    }
    G_LastError = ORVAL_OK;
    const int32_t estimate = OutputEstimate(szCipher);
    if (pszPlain == nullptr) {
        return AnswerBound(estimate, pnPlainLen);
    }
    const auto plain = ZeroedOutput(estimate);
    const QRV::CString serial_number(szSN);
    QRV::CString cipher(szCipher);
    cipher.Replace("\r", "");
    cipher.Replace("\n", "");
    int32_t length = estimate;
    if (Finish(Backend(&CommonFunction::GMUSBKeyAsymDec2, serial_number.GetString(), nParam1,
                       nParam2, cipher.GetString(), plain.get(), &length)) != ORVAL_OK) {
        return G_LastError;
    }
    return DeliverText(plain.get(), length, pszPlain, pnPlainLen, WhenShort::kTextLength);
}
