#ifndef ORVAL_FORMATS_ENVELOPED_KEY_H
#define ORVAL_FORMATS_ENVELOPED_KEY_H

#include "maker/rooms.h"
#include "qrv/string.h"
#include "qrv/wipe.h"

namespace orval {

// An enveloped encryption private key as the back-end takes it: without the fixed 80-digit prefix
// that some authorities put in front, in a buffer of the back-end's room. Wiped at its end.
struct EnvelopedKey {
    EnvelopedKey() = default;
    ~EnvelopedKey() { QRV::Wipe(text, sizeof(text)); }
    EnvelopedKey(const EnvelopedKey&) = delete;
    EnvelopedKey& operator=(const EnvelopedKey&) = delete;

    char text[maker::kKeyTextRoom] = {};
};

// Reads the text of an authority; false when what is left of it does not fit with its terminator.
bool ReadEnvelopedKey(const QRV::CString& key_text, EnvelopedKey& key);

}  // namespace orval

#endif
