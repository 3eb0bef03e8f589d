#ifndef ORVAL_BENCH_SIGNATURE_PEERS_H
#define ORVAL_BENCH_SIGNATURE_PEERS_H

#include <openssl/types.h>

#include <cstddef>

#include "rows.h"

namespace bench {

constexpr size_t kDigestSize = 32;

// The limit of a signature: libcrypto signs so many digests with this key, which it takes over, and
// which was decoded before.
void SignByLibcrypto(benchmark::State& state, EVP_PKEY* key, int count);

// The row of what others put in front of a key, where p11-kit is installed.
void AddTokenModuleRow();

}  // namespace bench

#endif
