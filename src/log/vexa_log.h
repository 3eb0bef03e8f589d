#ifndef ORVAL_LOG_VEXA_LOG_H
#define ORVAL_LOG_VEXA_LOG_H

#include <cstdint>

// The diagnostic log: one text file, always on, one record of two lines a call. Each call opens,
// writes and closes the file; nothing is reported when that fails. The format is in
// docs/log-format.md.
namespace orval {

// Appends a text record. `pszName` is the writer's own name; the text follows printf's rules.
void LogEntry(const char* pszName, const char* pszFormat, ...)
    __attribute__((format(printf, 2, 3)));

// Appends a record with `nLen` bytes of pData in hexadecimal; 0 or a negative number shows none.
void LogHex(const char* pszName, const void* pData, int32_t nLen);

}  // namespace orval

#endif
