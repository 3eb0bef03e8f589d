#include "call/backend.h"
#include "call/buffers.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "orval_unified_kpxukey.h"
#include "qrv/string.h"

int32_t AsymDec(const char* szSN, int32_t nParam1, uint32_t nParam2, const char* szCipher,
                char* pszPlain, int32_t* pnPlainLen) {
    orval::Begin();
    if (orval::AnyNull(pnPlainLen, szCipher)) {
        return orval::Refuse();
    }
    orval::ClearLastError();
    const int32_t bound = orval::lengths::DecryptionBound(szCipher);
    if (pszPlain == nullptr) {
        return orval::AnswerBound(bound, pnPlainLen);
    }
    const auto plain = orval::ZeroedSecretOutput(bound);
    const QRV::CString serial_number(szSN);
    QRV::CString cipher(szCipher);
    cipher.Replace("\r", "");
    cipher.Replace("\n", "");
    int32_t length = bound;
    const int32_t code =
        orval::Backend(&CommonFunction::GMUSBKeyAsymDec2, serial_number.GetString(), nParam1,
                       nParam2, cipher.GetString(), plain.get(), &length);
    if (code != ORVAL_OK) {
        return orval::Finish(code);
    }
    return orval::Finish(
        orval::lengths::Decryption::Deliver(plain.get(), length, pszPlain, pnPlainLen));
}
