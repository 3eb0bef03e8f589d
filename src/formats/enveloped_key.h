#ifndef ORVAL_FORMATS_ENVELOPED_KEY_H
#define ORVAL_FORMATS_ENVELOPED_KEY_H

#include "qrv/string.h"

// Hands an enveloped encryption private key to the key: the text without the fixed 80-digit prefix
// that some authorities put in front. Stores and returns the code; a text of 1024 characters or
// more does not fit the back-end's buffer and is refused with -401 before the back-end is called.
int32_t ImportEnvelopedKey(const char* serial_number, const QRV::CString& key_text);

#endif
