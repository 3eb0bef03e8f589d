#include "common/directory.h"

#include <dirent.h>

#include <memory>

#include "orval_unified_kpxukey.h"

namespace orval {

int32_t ListDirectory(const char* path, std::vector<std::string>& names) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(path), closedir);
    if (directory == nullptr) {
        return ORVAL_UNSUPPORTED;
    }
    while (const dirent* entry = readdir(directory.get())) {
        names.emplace_back(entry->d_name);
    }
    return ORVAL_OK;
}

}  // namespace orval
