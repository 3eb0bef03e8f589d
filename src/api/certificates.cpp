#include "call/backend.h"
#include "call/buffers.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "maker/rooms.h"
#include "orval_unified_kpxukey.h"

int32_t GetCert(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCert,
                int32_t* pnCertLen) {
    orval::Begin();
    if (orval::AnyNull(pnCertLen, szSN)) {
        return orval::Refuse();
    }
    orval::TextBuffer<maker::kCertificateRoom> certificate;
    int32_t length = maker::kCertificateRoom;
    const int32_t code = orval::Backend(&CommonFunction::GetCertInfo, szSN, nParam1, nParam2,
                                        certificate.text, &length);
    if (code != ORVAL_OK) {
        return orval::Finish(code);
    }
    return orval::Finish(orval::lengths::CertificateNameLabel::Deliver(certificate.text, length,
                                                                       pszCert, pnCertLen));
}

int32_t GetCertDN(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCertDN,
                  int32_t* pnCertDNLen) {
    orval::Begin();
    if (orval::AnyNull(pnCertDNLen, szSN)) {
        return orval::Refuse();
    }
    orval::ClearLastError();
    orval::TextBuffer<maker::kNameRoom> name;
    const int32_t code =
        orval::Backend(&CommonFunction::GM_GetCertDN, szSN, nParam1, nParam2, name.text);
    if (code != ORVAL_OK) {
        return orval::Finish(code);
    }
    return orval::Finish(orval::lengths::CertificateNameLabel::Deliver(name.text, name.Length(),
                                                                       pszCertDN, pnCertDNLen));
}

int32_t GetCertInfo(const char* szSN, intptr_t nSelector, void* pInfo, int32_t* pnInfoLen) {
    orval::Begin();
    if (orval::AnyNull(pnInfoLen)) {
        return orval::Refuse();
    }
    if (pInfo == nullptr) {
        return orval::AnswerBound(orval::lengths::kCertInfoBound, pnInfoLen);
    }
    return orval::Finish(
        orval::Backend(&CommonFunction::GetCertInfo_UOS, szSN, nSelector, pInfo, pnInfoLen));
}

int32_t DelCertAndTempKey(const char* szSN, int32_t nParam1, int32_t nParam2) {
    orval::Begin();
    return orval::Finish(
        orval::Backend(&CommonFunction::DelCertAndTempKey, szSN, nParam1, nParam2));
}

// Kept for clients that still look these up. They refuse every call and leave no trace of it: the
// last error goes on describing the call before.

int32_t RegisterCert() {
    return orval::ReturnOnly(ORVAL_UNSUPPORTED);
}

int32_t UnregisterCert() {
    return orval::ReturnOnly(ORVAL_UNSUPPORTED);
}

int32_t RepairDriver() {
    return orval::ReturnOnly(ORVAL_UNSUPPORTED);
}
