#ifndef ORVAL_QRV_PROCESS_OBJECTS_H
#define ORVAL_QRV_PROCESS_OBJECTS_H

#include <cstdint>

#include "qrv/buffer_manager.h"
#include "qrv/export.h"
#include "qrv/memory_manager.h"

namespace QRV {

// A trace category. Kept for programs that look it up; nothing here reads it.
struct TraceCategory {
    uint32_t category;
    uint32_t level;
    const char* name;
    void* reserved;
};

ORVAL_QRV_OBJECT extern TraceCategory qrvTraceGeneral;
ORVAL_QRV_OBJECT extern IQrvMemMgr* _qrvMemoryManager;
ORVAL_QRV_OBJECT extern IQrvBufferMgr* _qrvBufferManager;

// Hooks for programs that expect to start and stop a string library. They do nothing.
ORVAL_QRV_EXPORT void DoInitialization();
ORVAL_QRV_EXPORT void DoCleanup();

}  // namespace QRV

#endif
