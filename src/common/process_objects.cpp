// What exists once for the process, in the order of its construction when the library is loaded.
// The stream library comes first, so that it outlives the objects below. Nothing is loaded from
// the back-end here.
#include "common/process_objects.h"

#include <iostream>

#include "common/commonfunction.h"
#include "qrv/constructs_anew.h"

namespace {

using SlotMap = std::map<uint32_t, std::string>;

const QRV::ConstructsAnew<SlotMap> slot_map_after_its_end(g_WaitEventSlotMap, [](SlotMap* place) {
    new (place) SlotMap;
});

}  // namespace

CommonFunction ORVAL_ComFunc;

std::vector<std::string> all_file_list = {"VexaPinpadDaemon_ORVAL", "KeyManager",
                                          "libR7Pinpad_ORVAL", "VexaMonitor_orval",
                                          "libR7Token_ORVAL"};

std::map<uint32_t, std::string> g_WaitEventSlotMap;
