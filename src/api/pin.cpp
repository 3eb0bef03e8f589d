#include "call/backend.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "log/vexa_log.h"
#include "orval_unified_kpxukey.h"

int32_t ChangePin(const char* szSN) {
    orval::LogEntry(__func__, "Begin");
    orval::LogSerialNumber(szSN);
    orval::BeginClean();
    return orval::FinishLogged(__func__, orval::Backend(&CommonFunction::ChangePin, szSN));
}

int32_t VerifyPIN(const char* szSN) {
    orval::Begin();
    return orval::Finish(orval::Backend(&CommonFunction::VerifyPIN, szSN));
}

int32_t TestVerifyAndCachePin(const char* szSN, intptr_t nParam) {
    orval::Begin();
    return orval::Finish(orval::Backend(&CommonFunction::VerifyAndCachePin, szSN, nParam));
}

int32_t GetPinInfo(const char* szSN, void* pInfo, int32_t* pnInfoLen) {
    orval::Begin();
    if (orval::AnyNull(pnInfoLen)) {
        return orval::Refuse();
    }
    if (pInfo == nullptr) {
        return orval::AnswerBound(orval::lengths::kPinInfoBound, pnInfoLen);
    }
    return orval::Finish(orval::Backend(&CommonFunction::GetPinInfo, szSN, pInfo, pnInfoLen));
}

int32_t RemovePinCache() {
    orval::BeginClean();
    return orval::Finish(orval::Backend(&CommonFunction::GM_RemoveUserPin));
}

// Does not bind the back-end: before any other call it finds its slot empty. Clients use that to
// learn whether the library is in use already.
int32_t SetCachePinFlag(const char* szSN, intptr_t nFlag) {
    orval::ClearLastError();
    return orval::Finish(orval::Backend(&CommonFunction::SetCachePinFlag, szSN, nFlag));
}
