#ifndef ORVAL_MAKER_ROOMS_H
#define ORVAL_MAKER_ROOMS_H

#include <cstddef>

// How much the key maker's libraries may write, or read, behind a pointer: X(name, elements). The
// interface passes no size with these buffers, so whoever hands one over and whoever fills it must
// mean the same number. Texts include their terminator.
#define ORVAL_MAKER_ROOMS(X)                                                  \
    X(kSerialNumberRoom, 1024) /* CheckDeviceEx */                            \
    X(kMediaIdRoom, 16)        /* the device record; without a terminator */  \
    X(kLabelRoom, 512)         /* GetLabel */                                 \
    X(kDataRoom, 260)          /* GetData: one data item */                   \
    X(kNameRoom, 1024)         /* GM_GetCertDN: a distinguished name */       \
    X(kCertificateRoom, 4096)  /* GetCertInfo: one certificate's text */      \
    X(kCertInfoRoom, 1280)     /* GetCertInfo_UOS: a certificate's fields */  \
    X(kPinInfoRoom, 8)         /* GetPinInfo: two 32-bit numbers */           \
    X(kKeyTextRoom, 1024)      /* GMImportPriKey: an enveloped private key */ \
    X(kSlotArrayRoom, 16)      /* VexaT_GetSlotList: slot numbers */

namespace maker {

#define ORVAL_ROOM(name, elements) inline constexpr size_t name = elements;
ORVAL_MAKER_ROOMS(ORVAL_ROOM)
#undef ORVAL_ROOM

}  // namespace maker

#endif
