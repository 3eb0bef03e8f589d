#include "qrv/process_objects.h"

#include "qrv/constructs_anew.h"
#include "qrv/exception.h"
#include "qrv/simple_buffer.h"
#include "qrv/string.h"

namespace QRV {

namespace {

const ConstructsAnew<CCRTHeap> heap_after_its_end(g_heapmgr,
                                                  [](CCRTHeap* place) { new (place) CCRTHeap; });
const ConstructsAnew<CQrvBufferMgr> manager_after_its_end(g_bufmgr, [](CQrvBufferMgr* place) {
    new (place) CQrvBufferMgr(_qrvMemoryManager);
});

}  // namespace

TraceCategory qrvTraceGeneral = {17, 4, "TraceGeneral", nullptr};
CCRTHeap g_heapmgr;
IQrvMemMgr* _qrvMemoryManager = &g_heapmgr;
CQrvBufferMgr g_bufmgr(_qrvMemoryManager);
IQrvBufferMgr* _qrvBufferManager = &g_bufmgr;

void DoInitialization() {}
void DoCleanup() {}

void QrvThrow(int32_t code) {
    throw CQrvException(code);
}

template class CSimpleBufferT<char>;
template class CSimpleBufferT<unsigned char>;
template class CStringT<char, StrTraitQRV<char, ChTraitsEx<char>>>;

}  // namespace QRV
