#include "call/frame.h"

#include <cstring>

#include "call/init_flag.h"
#include "log/vexa_log.h"

void EnsureInitialized() {
    if (!IsInitialized()) {
        InitializeLibrary();
    }
}

void OpenCall() {
    EnsureInitialized();
    G_LastError = ORVAL_OK;
}

int32_t LogEnd(const char* name) {
    LogEntry(name, "End G_LastError: %08X", static_cast<unsigned>(G_LastError));
    return G_LastError;
}

void LogSerialNumber(const char* szSN) {
    LogHex("szSN:", szSN, static_cast<int32_t>(std::strlen(szSN)));
}
