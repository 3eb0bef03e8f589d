#ifndef ORVAL_TESTS_SUPPORT_DOUBLES_SILENT_H
#define ORVAL_TESTS_SUPPORT_DOUBLES_SILENT_H

#include <cstddef>

// The silent key: every function of either library answers at once: 0, or an empty text, and
// nothing through its pointers. All of its definitions are weak. A double that does more in one of
// them has a definition of its own beside these.
namespace silent {

// Run first by every function. They do nothing, unless the double has its own.
void EntryReached(size_t slot);
void FunctionReached(const char* name);

}  // namespace silent

#endif
