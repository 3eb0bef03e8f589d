// What the product is linked against in place of the token library: its name and its functions,
// nothing behind them. It is never installed and never loaded; at run time the maker's library is
// found in the application directory.
#include "maker/entries.h"
#include "maker/token.h"

static_assert(
    maker::kEntryCount == ORVAL_ROWS_OF_ENTRIES &&
        std::size(maker::kTokenNames) == ORVAL_ROWS_OF_TOKEN,
    "maker/CMakeLists.txt reads the lists row by row: begin each row on a line of its own");

// The list names the arguments for its readers.
#pragma GCC diagnostic ignored "-Wunused-parameter"

#define ORVAL_TOKEN_STUB(name, arguments) \
    uint32_t VexaT_##name arguments {     \
        return 1;                         \
    }
// NOLINTNEXTLINE(misc-unused-parameters)
ORVAL_TOKEN_FUNCTIONS(ORVAL_TOKEN_STUB)
#undef ORVAL_TOKEN_STUB
