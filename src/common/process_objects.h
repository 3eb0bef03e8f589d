#ifndef ORVAL_COMMON_PROCESS_OBJECTS_H
#define ORVAL_COMMON_PROCESS_OBJECTS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// The files of an installation, in the order in which they are listed to support engineers.
extern std::vector<std::string> all_file_list;

// The serial number found in each slot when the current wait began. Touched only by the thread
// that waits.
extern std::map<uint32_t, std::string> g_WaitEventSlotMap;

#endif
