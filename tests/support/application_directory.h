#ifndef ORVAL_TESTS_SUPPORT_APPLICATION_DIRECTORY_H
#define ORVAL_TESTS_SUPPORT_APPLICATION_DIRECTORY_H

#include <string>

#include "maker/places.h"

namespace scripted {

// The application directory is private to the running test case, which finds the complete scripted
// key there.

// Puts the complete back-end there.
void UseBackend();
// Puts a back-end there that lacks one entry.
void UseBackendWithout(const std::string& entry);
// Leaves no back-end there.
void RemoveBackend();

// True while the back-end library is loaded in this process.
bool BackendIsLoaded();

}  // namespace scripted

#endif
