#ifndef ORVAL_MAKER_ENTRIES_H
#define ORVAL_MAKER_ENTRIES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "maker/rooms.h"

// In maker/token.h.
struct _S_DEV_CONFIG;  // NOLINT(bugprone-reserved-identifier): the token library's own name

// The product's string, which one entry is handed by reference. Only its name is needed here.
namespace QRV {
template <typename T>
struct ChTraitsEx;
template <typename T, typename CharTraits>
struct StrTraitQRV;
template <typename T, typename Traits>
class CStringT;
using CString = CStringT<char, StrTraitQRV<char, ChTraitsEx<char>>>;
}  // namespace QRV

// One PKCS#10 request as GMCreatePKCS10Ex reads it.
struct RequestEntry {
    int64_t certType;
    int64_t keyType;
    int64_t hashType;
    uint8_t merged;  // 1: a second record was folded in, the entry asks for two certificates
    uint8_t reserved[7];
};

static_assert(sizeof(RequestEntry) == 32 && offsetof(RequestEntry, merged) == 24,
              "the back-end reads the entry by offset");

// The back-end's entry points in slot order: X(slot, name, result, arguments). The table's members,
// its binding, the typed calls, the software key's exports and the doubles are all made from this
// list, one X(slot, name to a line. Texts that an
// entry hands over through a char** are allocated with array new and belong to the caller; the
// text of X_ErrorConvert_UOS stays the back-end's.
#define ORVAL_BACKEND_ENTRIES(X)                                                                   \
    X(0, CheckDeviceEx, int32_t,                                                                   \
      (uint32_t * value, _S_DEV_CONFIG * config, int32_t one,                                      \
       char serial_number[maker::kSerialNumberRoom]))                                              \
    X(1, GetLabel, int32_t, (char* serial_number, char label[maker::kLabelRoom]))                  \
    X(2, SetLabel, int32_t, (const char* first, const char* second))                               \
    X(3, ChangePin, int32_t, (const char* serial_number))                                          \
    X(4, CustInitCard, int32_t,                                                                    \
      (const char* serial_number, int32_t flag, void* parameter, int32_t zero))                    \
    X(5, GMCreatePKCS10, int32_t,                                                                  \
      (const char* serial_number, int32_t cert_type, int32_t key_type, int32_t hash_type,          \
       char** request, void* null_pointer, int32_t zero))                                          \
    X(6, GMWritePKCS7, int32_t, (const char* serial_number, char* pkcs7, QRV::CString& output))    \
    X(7, GetCertInfo, int32_t,                                                                     \
      (const char* serial_number, int32_t param1, int32_t param2, char* certificate,               \
       int32_t* length))                                                                           \
    X(8, GM_GetCertDN, int32_t,                                                                    \
      (const char* serial_number, int32_t param1, int32_t param2, char name[maker::kNameRoom]))    \
    X(9, UOS_SetCharset, int32_t, (const char* second, const char* first))                         \
    X(10, UOS_SetLanguage, int32_t, (const char* second, const char* first))                       \
    X(11, SetWarningMsg, int32_t, (const char* serial_number, const char* warning))                \
    X(12, GMUsbKeyCriticalSign, int32_t,                                                           \
      (const char* serial_number, int64_t param1, int64_t param2, const char* data,                \
       char* signature, int32_t* length))                                                          \
    X(13, GetMediaID, int32_t, (void))                                                             \
    X(14, GM_RemoveUserPin, int32_t, (void))                                                       \
    X(15, GMImportPriKey, int32_t,                                                                 \
      (const char* serial_number, char key[maker::kKeyTextRoom], int32_t zero))                    \
    X(16, GMUsbKeyCommonSign, int32_t,                                                             \
      (const char* serial_number, int64_t param1, int64_t param2, const char* data,                \
       int64_t param3, char* signature, int32_t* length))                                          \
    X(17, GMUSBKeyAsymDec2, int32_t,                                                               \
      (const char* serial_number, int64_t param1, uint32_t param2, const char* cipher,             \
       char* plain, int32_t* length))                                                              \
    X(18, GMCreatePKCS10Ex, int32_t,                                                               \
      (const char* serial_number, RequestEntry* entry, char** request, int32_t one,                \
       void* null_pointer, int32_t zero))                                                          \
    X(19, X_ErrorConvert_UOS, const char*, (int64_t code))                                         \
    X(20, DelCertAndTempKey, int32_t, (const char* serial_number, int32_t param1, int32_t param2)) \
    X(21, VerifyPIN, int32_t, (const char* serial_number))                                         \
    X(22, VerifyAndCachePin, int32_t, (const char* serial_number, intptr_t param))                 \
    X(23, GetPinInfo, int32_t, (const char* serial_number, void* info, int32_t* length))           \
    X(24, GetCertInfo_UOS, int32_t,                                                                \
      (const char* serial_number, intptr_t selector, void* info, int32_t* length))                 \
    X(25, SetData, int32_t, (const char* serial_number, int32_t index, const char* data))          \
    X(26, GetData, int32_t,                                                                        \
      (const char* serial_number, int32_t index, char data[maker::kDataRoom]))                     \
    X(27, Batch_Sign, int32_t,                                                                     \
      (int32_t flags, const char* serial_number, int32_t param3, int32_t param4, const char* text, \
       const void* param6, int64_t param7, int32_t param8, int32_t param9, const char* batch,      \
       int32_t param11, char* output, int32_t* length))                                            \
    X(28, SetCachePinFlag, int32_t, (const char* serial_number, intptr_t flag))

namespace maker {

inline constexpr const char* kEntryNames[] = {
#define ORVAL_ENTRY_NAME(slot, name, result, arguments) #name,
    ORVAL_BACKEND_ENTRIES(ORVAL_ENTRY_NAME)
#undef ORVAL_ENTRY_NAME
};
inline constexpr size_t kEntryCount = std::size(kEntryNames);

// In the product's exported table the library's handle stands behind the entries.
inline constexpr size_t kHandleSlot = kEntryCount;

// The slots whose entries are looked up first; the others follow in slot order. It shows when an
// entry is missing: what was looked up before it is set.
inline constexpr size_t kLookedUpFirst[] = {0, 3, 4, 5, 6, 1, 2};

constexpr std::array<size_t, kEntryCount> LookUpOrder() {
    std::array<size_t, kEntryCount> order{};
    for (size_t i = 0; i < kEntryCount; ++i) {
        order[i] = i < std::size(kLookedUpFirst) ? kLookedUpFirst[i] : i;
    }
    return order;
}

// kEntryCount for a name that is no entry's.
constexpr size_t SlotOf(std::string_view name) {
    size_t slot = 0;
    while (slot < kEntryCount && name != kEntryNames[slot]) {
        ++slot;
    }
    return slot;
}

}  // namespace maker

#endif
