#ifndef ORVAL_CALL_REQUEST_CACHE_H
#define ORVAL_CALL_REQUEST_CACHE_H

#include <cstdint>
#include <optional>

#include "qrv/string.h"

// The one-entry cache that carries made requests from the size query to the fetch, so that the key
// is not asked twice. A successful size query fills it; its fetch, a single import of a certificate
// and a fetch for other arguments empty it. One for the process and not guarded.
namespace orval {

// Empties the cache.
void ReleaseP10Buffer();

// Answers a fetch from the cache: the outcome, or nothing when the requests must be made. A success
// leaves the last error as it stands and returns what is there. A cache filled for other arguments
// is emptied. A length query (null `out`) leaves the cache alone.
std::optional<int32_t> ServeFromCache(const char* szSN, const char* szRequestInfo, char* out,
                                      int32_t* length);

// Delivers freshly made requests: a length query fills the cache, a fetch gets the text. Stores and
// returns the outcome.
int32_t DeliverRequests(const QRV::CString& requests, const char* szSN, const char* szRequestInfo,
                        char* out, int32_t* length);

}  // namespace orval

#endif
