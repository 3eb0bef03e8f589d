#ifndef ORVAL_FORMATS_ENVELOPED_KEY_H
#define ORVAL_FORMATS_ENVELOPED_KEY_H

#include "maker/rooms.h"
#include "qrv/string.h"

namespace orval {

// An enveloped encryption private key as the back-end takes it: without the fixed 80-digit prefix
// that some authorities put in front, in a buffer of the back-end's room.
struct EnvelopedKey {
    char text[maker::kKeyTextRoom] = {};
};

// Reads the text of an authority; false when what is left of it does not fit with its terminator.
bool ReadEnvelopedKey(const QRV::CString& key_text, EnvelopedKey& key);

}  // namespace orval

#endif
