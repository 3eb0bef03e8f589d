#ifndef ORVAL_FORMATS_CHARSET_H
#define ORVAL_FORMATS_CHARSET_H

#include <cstdint>

namespace orval {

// What CommonFunction::MB2MB does; its contract is there.
int32_t ConvertCharset(uint32_t direction, const char* src, uint32_t src_length, char** out,
                       uint32_t* out_length);

}  // namespace orval

#endif
