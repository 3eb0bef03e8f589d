// Which library these tests prove.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

#include "orval_unified_kpxukey.h"

namespace {

// The build's own, or the one that scripts/test-shipped puts before it.
TEST(Product, IsTheLibraryThatIsMeant) {
    const char* meant = std::getenv("ORVAL_PRODUCT_UNDER_TEST");
    Dl_info loaded = {};
    ASSERT_NE(dladdr(reinterpret_cast<const void*>(&GetLastErrCode), &loaded), 0);
    EXPECT_EQ(std::filesystem::canonical(loaded.dli_fname),
              std::filesystem::canonical(meant == nullptr ? ORVAL_PRODUCT_PATH : meant));
}

}  // namespace
