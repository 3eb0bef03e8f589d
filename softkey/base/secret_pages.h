#ifndef SOFTKEY_BASE_SECRET_PAGES_H
#define SOFTKEY_BASE_SECRET_PAGES_H

#include <cstddef>

// Memory for secrets: pages that are left out of core files and, where the process may lock memory,
// never swapped out. A process that may lock none, or no more, has the pages all the same. A fork's
// child gets the secrets with everything else, and may go on with them: it needs what its parent
// has verified.
namespace softkey {

// Throws std::bad_alloc where there is none.
void* TakeSecretMemory(size_t size);

// Wipes it. `size` is what was asked for.
void GiveSecretMemory(void* memory, size_t size) noexcept;

}  // namespace softkey

#endif
