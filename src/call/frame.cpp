#include "call/frame.h"

#include <cstring>

#include "log/vexa_log.h"

namespace orval {

int32_t FinishLogged(const char* name, int32_t code) {
    Finish(code);
    LogEntry(name, "End G_LastError: %08X", static_cast<unsigned>(code));
    return code;
}

void LogSerialNumber(const char* szSN) {
    LogHex("szSN:", szSN, static_cast<int32_t>(std::strlen(szSN)));
}

}  // namespace orval
