#ifndef ORVAL_COMMON_LOADED_OBJECTS_H
#define ORVAL_COMMON_LOADED_OBJECTS_H

// What the loader knows about the objects in this process.
namespace orval {

// Whether an address lies in the object that was loaded from `path`, under this name or another one
// of the same file.
bool LiesInObjectFrom(const char* path, const void* address);

// Keeps this library mapped until the process ends. A client may close it while a wait runs, on
// another thread or further up on the same one, and the wait has to return to code that is there.
void StayLoaded();

}  // namespace orval

#endif
