#ifndef ORVAL_BENCH_LEAST_CALLS_H
#define ORVAL_BENCH_LEAST_CALLS_H

#include <cstddef>
#include <cstdint>

#include "least/state.h"

// Exported functions of the same names, by hand.
namespace least {

ORVAL_LEAST_EXPORT int32_t VerifyPIN(const char* serial_number);
ORVAL_LEAST_EXPORT int32_t SetLabel(const char* serial_number, const char* label);
ORVAL_LEAST_EXPORT int32_t DelCertAndTempKey(const char* serial_number, int32_t param1,
                                             int32_t param2);
ORVAL_LEAST_EXPORT int32_t GetCertInfo(const char* serial_number, intptr_t selector, void* info,
                                       int32_t* length);
ORVAL_LEAST_EXPORT int32_t BatchSign(int32_t flags, const char* serial_number, int32_t param3,
                                     int32_t param4, const char* text, const void* param6,
                                     int64_t param7, int32_t param8, int32_t param9,
                                     const char* batch, int32_t param11, char* output,
                                     int32_t* length);

ORVAL_LEAST_EXPORT int32_t GetErrorMsg(int32_t code, char* message, int32_t* length);
ORVAL_LEAST_EXPORT int32_t GetCert(const char* serial_number, int32_t param1, int32_t param2,
                                   char* certificate, int32_t* length);
ORVAL_LEAST_EXPORT int32_t SignHash(const char* serial_number, int32_t param1, int32_t param2,
                                    const char* data, int32_t param3, char* signature,
                                    int32_t* length);
ORVAL_LEAST_EXPORT int32_t AsymDec(const char* serial_number, int32_t param1, uint32_t param2,
                                   const char* cipher, char* plain, int32_t* length);

ORVAL_LEAST_EXPORT int32_t ImportX509Cert(const char* serial_number, const char* pkcs7);
ORVAL_LEAST_EXPORT int32_t BatchImportX509Cert(const char* serial_number, const char* package);
ORVAL_LEAST_EXPORT int32_t GenerateCertRequest(const char* serial_number, const char* description,
                                               char* out, int32_t* length);

// A record of the log whose bytes are made already.
ORVAL_LEAST_EXPORT bool WriteRecord(const char* record, size_t size);
// A record between `head` and `tail` with these bytes in hexadecimal.
ORVAL_LEAST_EXPORT bool WriteHexRecord(const char* head, const void* data, size_t size);

}  // namespace least

#endif
