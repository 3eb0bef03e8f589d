#ifndef ORVAL_QRV_EXCEPTION_H
#define ORVAL_QRV_EXCEPTION_H

#include <cstdint>

#include "qrv/export.h"

namespace QRV {

constexpr int32_t kOutOfMemory = static_cast<int32_t>(0x8007000E);
constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80070057);

// The one exception of the string library: a code and nothing else. Its type information is
// exported, because it may leave an exported function and a client may want to catch it.
class ORVAL_QRV_EXPORT CQrvException final {
 public:
    explicit CQrvException(int32_t code) noexcept : code_(code) {}
    int32_t Code() const noexcept { return code_; }

 private:
    int32_t code_;
};

static_assert(sizeof(CQrvException) == sizeof(int32_t), "clients read the code at offset 0");

// Raises a CQrvException holding `code`.
[[noreturn]] ORVAL_QRV_EXPORT void QrvThrow(int32_t code);

}  // namespace QRV

#endif
