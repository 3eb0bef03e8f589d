#include "call/frame.h"
#include "call/lengths.h"

namespace {

constexpr int32_t kCertificateRoom = 4096;
constexpr size_t kNameRoom = 1024;
constexpr int32_t kCertInfoBound = 1280;

}  // namespace

int32_t GetCert(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCert,
                int32_t* pnCertLen) {
    EnsureInitialized();
    if (AnyNull(pnCertLen, szSN)) {
        return Refuse();
    }
    TextBuffer<kCertificateRoom> certificate;
    int32_t length = kCertificateRoom;
    if (Finish(Backend(&CommonFunction::GetCertInfo, szSN, nParam1, nParam2, certificate.text,
                       &length)) != ORVAL_OK) {
        return G_LastError;
    }
    return CopyOutText(certificate.text, length, pszCert, pnCertLen, WhenShort::kTextLength);
}

int32_t GetCertDN(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCertDN,
                  int32_t* pnCertDNLen) {
    EnsureInitialized();
    if (AnyNull(pnCertDNLen, szSN)) {
        return Refuse();
    }
    G_LastError = ORVAL_OK;
    TextBuffer<kNameRoom> name;
    if (Finish(Backend(&CommonFunction::GM_GetCertDN, szSN, nParam1, nParam2, name.text)) !=
        ORVAL_OK) {
        return G_LastError;
    }
    return CopyOutText(name.text, name.Length(), pszCertDN, pnCertDNLen, WhenShort::kTextLength);
}

int32_t GetCertInfo(const char* szSN, intptr_t nSelector, void* pInfo, int32_t* pnInfoLen) {
    EnsureInitialized();
    if (AnyNull(pnInfoLen)) {
        return Refuse();
    }
    if (pInfo == nullptr) {
        return AnswerBound(kCertInfoBound, pnInfoLen);
    }
    return Finish(Backend(&CommonFunction::GetCertInfo_UOS, szSN, nSelector, pInfo, pnInfoLen));
}

int32_t DelCertAndTempKey(const char* szSN, int32_t nParam1, int32_t nParam2) {
    EnsureInitialized();
    return Finish(Backend(&CommonFunction::DelCertAndTempKey, szSN, nParam1, nParam2));
}

// Kept for clients that still look these up. They refuse every call and leave no trace of it: the
// last error goes on describing the call before.

int32_t RegisterCert() {
    return ORVAL_UNSUPPORTED;
}

int32_t UnregisterCert() {
    return ORVAL_UNSUPPORTED;
}

int32_t RepairDriver() {
    return ORVAL_UNSUPPORTED;
}
