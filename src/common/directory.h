#ifndef ORVAL_COMMON_DIRECTORY_H
#define ORVAL_COMMON_DIRECTORY_H

#include <cstdint>
#include <string>
#include <vector>

namespace orval {

// What CommonFunction::find_dir_file does; its contract is there.
int32_t ListDirectory(const char* path, std::vector<std::string>& names);

}  // namespace orval

#endif
