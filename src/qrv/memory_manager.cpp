#include "qrv/memory_manager.h"

namespace QRV {

IQrvMemMgr::~IQrvMemMgr() = default;

CCRTHeap::~CCRTHeap() = default;

}  // namespace QRV
