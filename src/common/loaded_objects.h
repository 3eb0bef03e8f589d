#ifndef ORVAL_COMMON_LOADED_OBJECTS_H
#define ORVAL_COMMON_LOADED_OBJECTS_H

// What the loader knows about the objects in this process.

// Keeps this library mapped until the process ends. A client may close it while a wait runs, on
// another thread or further up on the same one, and the wait has to return to code that is there.
void StayLoaded();

#endif
