#ifndef ORVAL_CALL_LENGTHS_H
#define ORVAL_CALL_LENGTHS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "formats/occurrences.h"
#include "maker/rooms.h"
#include "orval_unified_kpxukey.h"

// The rows of docs/length-rules.md, by name and in its order: how a text and its length reach the
// caller. They differ between the families of calls, and clients rely on each difference. Nothing
// here knows the last error: a call finishes with the code that a rule gives.
namespace orval::lengths {

// What a cell of the table says. L is the length of the text without its terminator.
enum Cell {
    kL,      // L
    kL1,     // L + 1
    kBound,  // a bound, told before there is a text: the row's ...Bound
    kNone,   // not tested; neither read nor written
};

// L or L + 1. In 32 bits, and the back-end may report the largest number there is: the sum wraps.
constexpr int32_t Counted(Cell cell, int32_t text_length) {
    return static_cast<int32_t>(static_cast<uint32_t>(text_length) + (cell == kL1 ? 1U : 0U));
}

// A row of the table, for what a text's length is known of.
template <Cell kNullBuffer,  // what a null buffer is told
          Cell kEnough,      // the least capacity that is large enough
          Cell kWhenShort,   // what a smaller one is told, with -404
          Cell kReported,    // what a large enough one is told
          Cell kWritten>     // the bytes that it gets
struct Row {
    // A text to the caller. Returns 0 or -404. Where a capacity of L is enough, the terminator is
    // written one byte beyond it: clients pass exactly the length that a call reported.
    // `text_length` is the L that is counted, which may be the key's own word for it; a text that
    // is written with its terminator ends with the text itself. A row whose null buffer is told a
    // bound takes no null buffer: the call has answered it before there was a text.
    template <typename Length>
    static int32_t Deliver(const char* text, int32_t text_length, char* out, Length* length) {
        if constexpr (kNullBuffer != kBound) {
            if (out == nullptr) {
                *length = static_cast<Length>(Counted(kNullBuffer, text_length));
                return ORVAL_OK;
            }
        }
        if constexpr (kEnough != kNone) {
            if (kEnough == kL1 ? *length <= text_length : *length < text_length) {
                *length = Counted(kWhenShort, text_length);
                return ORVAL_BUFFER_TOO_SMALL;
            }
        }
        if constexpr (kReported != kNone) {
            *length = static_cast<Length>(Counted(kReported, text_length));
        }
        std::memcpy(out, text,
                    kWritten == kL ? static_cast<size_t>(text_length) : std::strlen(text) + 1);
        return ORVAL_OK;
    }
};

// The generous bound that three calls share. In 32 bits.
inline int32_t OutputBound(const char* input) {
    constexpr uint32_t kAllowance = 4096;
    return static_cast<int32_t>((static_cast<uint32_t>(std::strlen(input)) + kAllowance) * 2);
}

// The table: a row for each line whose text passes through here, and a bound for each whose null
// buffer is told one. Where there is no row, the key itself decides.
//
//          null buffer, enough, when short, reported, written

// GetCert, GetCertDN, GetLabel
using CertificateNameLabel = Row<kL1, kL, kL, kL, kL1>;

// GetData
using Data = Row<kL1, kL, kL1, kL, kL1>;

// GetErrorMsg
using ErrorMessage = Row<kBound, kL1, kL1, kL1, kL1>;
inline constexpr int32_t kErrorMessageBound = 200;

// GenerateCertRequest, Batch_InitAndGenerateCertRequest, served from the size query
using RememberedRequests = Row<kL1, kL, kL1, kL, kL1>;

// The same, made afresh
using FreshRequests = Row<kL1, kL, kL, kL, kL1>;

// AsymDec
using Decryption = Row<kBound, kL, kL, kL, kL1>;
inline int32_t DecryptionBound(const char* cipher) {
    return OutputBound(cipher);
}

// Sign
inline int32_t SignatureBound(const char* data) {
    return OutputBound(data);
}

// SignHash: what is reported is what the key reports.
using HashSignature = Row<kBound, kNone, kNone, kNone, kL1>;
inline int32_t HashSignatureBound(const char* data) {
    return OutputBound(data);
}

// Batch_Sign, in 32 bits. The batch counts once for each separator, not for each item: a batch of
// one item adds nothing.
inline int32_t BatchSignatureBound(const char* text, const char* batch) {
    constexpr uint32_t kAllowance = 2048;
    uint32_t bound = 0;
    if (text != nullptr) {
        bound = static_cast<uint32_t>(std::strlen(text)) + kAllowance;
    }
    if (batch != nullptr) {
        const auto separators = static_cast<uint32_t>(CountOccurrences(batch, "||"));
        bound += (static_cast<uint32_t>(std::strlen(batch)) + kAllowance) * separators;
    }
    return static_cast<int32_t>(bound * 2);
}

// GetPinInfo
inline constexpr int32_t kPinInfoBound = maker::kPinInfoRoom;

// GetCertInfo
inline constexpr int32_t kCertInfoBound = maker::kCertInfoRoom;

// GetDriverVersion, GetDllVersion, GetVidAndPid
using Constant = Row<kL, kNone, kNone, kL, kL>;

// GetPrintNumber
using SerialNumber = Row<kL, kNone, kNone, kL, kL1>;

// GetVendorInfo
using VendorName = Row<kL, kNone, kNone, kNone, kL1>;

// WaitForKeyEvent
using KeyEvent = Row<kBound, kNone, kNone, kL, kL1>;
inline constexpr uint32_t kKeyEventBound = ORVAL_EVENT_SERIAL_NUMBER_ROOM;

static_assert(kPinInfoBound == 8 && kCertInfoBound == 1280 && kKeyEventBound == 17,
              "clients know these bounds");

}  // namespace orval::lengths

#endif
