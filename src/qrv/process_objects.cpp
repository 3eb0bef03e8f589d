#include "qrv/process_objects.h"

#include "qrv/exception.h"
#include "qrv/simple_buffer.h"
#include "qrv/string.h"

namespace QRV {

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
