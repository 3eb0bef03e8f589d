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

// One set for each copy of the library that a process loads, constructed when it is loaded. A copy
// loaded later must not construct the first one's objects again, under strings that live. Weak for
// who has them from a library: a program would ask for a copy of its own otherwise.
#ifdef orval_unified_kpxukey_EXPORTS
#define ORVAL_QRV_OBJECT __attribute__((visibility("protected")))
#else
#define ORVAL_QRV_OBJECT __attribute__((visibility("default"), weak))
#endif

ORVAL_QRV_OBJECT extern TraceCategory qrvTraceGeneral;
ORVAL_QRV_OBJECT extern CCRTHeap g_heapmgr;
ORVAL_QRV_OBJECT extern CQrvBufferMgr g_bufmgr;
ORVAL_QRV_OBJECT extern IQrvMemMgr* _qrvMemoryManager;
ORVAL_QRV_OBJECT extern IQrvBufferMgr* _qrvBufferManager;

// How the strings call a manager, and the only way. The default one is called by its own type,
// which spares a virtual call. An exception that escapes from another one ends the process here,
// before it meets a string that is half changed.
template <typename Operation>
auto CallManager(IQrvBufferMgr* manager, Operation operation) noexcept {
    return manager == &g_bufmgr ? operation(g_bufmgr) : operation(*manager);
}

// Hooks for programs that expect to start and stop a string library. They do nothing.
ORVAL_QRV_EXPORT void DoInitialization();
ORVAL_QRV_EXPORT void DoCleanup();

}  // namespace QRV

#endif
