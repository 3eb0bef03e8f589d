#include "call/frame.h"
#include "call/lengths.h"
#include "log/vexa_log.h"

namespace {

constexpr int32_t kPinInfoBound = 8;

}  // namespace

int32_t ChangePin(const char* szSN) {
    LogEntry(__func__, "Begin");
    LogSerialNumber(szSN);
    OpenCall();
    Finish(Backend(&CommonFunction::ChangePin, szSN));
    return LogEnd(__func__);
}

int32_t VerifyPIN(const char* szSN) {
    EnsureInitialized();
    return Finish(Backend(&CommonFunction::VerifyPIN, szSN));
}

int32_t TestVerifyAndCachePin(const char* szSN, intptr_t nParam) {
    EnsureInitialized();
    return Finish(Backend(&CommonFunction::VerifyAndCachePin, szSN, nParam));
}

int32_t GetPinInfo(const char* szSN, void* pInfo, int32_t* pnInfoLen) {
    EnsureInitialized();
    if (AnyNull(pnInfoLen)) {
        return Refuse();
    }
    if (pInfo == nullptr) {
        return AnswerBound(kPinInfoBound, pnInfoLen);
    }
    return Finish(Backend(&CommonFunction::GetPinInfo, szSN, pInfo, pnInfoLen));
}

int32_t RemovePinCache() {
    OpenCall();
    return Finish(Backend(&CommonFunction::GM_RemoveUserPin));
}

// Does not bind the back-end: before any other call it finds its slot empty. Clients use that to
// learn whether the library is in use already.
int32_t SetCachePinFlag(const char* szSN, intptr_t nFlag) {
    G_LastError = ORVAL_OK;
    return Finish(Backend(&CommonFunction::SetCachePinFlag, szSN, nFlag));
}
