#ifndef DOCTOR_LIBRARY_H
#define DOCTOR_LIBRARY_H

#include "doctor/examination.h"

namespace doctor {

// What is looked at of either library, each on top of the one before; the first is
// LibraryFacts::file.
Finding LookAtNeeded(const LibraryFacts& library);
Finding LookAtCLibrary(const LibraryFacts& library);
Finding LookAtLoading(const LibraryFacts& library);
Finding LookAtEntries(const LibraryFacts& library);

}  // namespace doctor

#endif
