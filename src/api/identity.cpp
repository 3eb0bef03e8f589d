#include <algorithm>
#include <string_view>

#include "call/backend.h"
#include "call/buffers.h"
#include "call/frame.h"
#include "call/lengths.h"
#include "log/vexa_log.h"
#include "maker/rooms.h"
#include "maker/token.h"
#include "orval_unified_kpxukey.h"

namespace {

constexpr std::string_view kVersion = "9.2025.0731.3";
constexpr std::string_view kVidAndPid = "1780&0301";
constexpr std::string_view kVendorChinese = "马洛文科技股份有限公司";
constexpr std::string_view kVendorEnglish = "Marlowen Corporation";

static_assert(kVersion.size() == 13 && kVidAndPid.size() == 9);
static_assert(kVendorChinese.size() == 33 && kVendorEnglish.size() == 20);

// The part that the constant queries share. The record shows the caller's buffer as a text: what
// follows the characters written here shows as well, up to the first NUL or the capacity stated.
int32_t AnswerConstant(const char* name, const char* format, std::string_view text, char* out,
                       int32_t* length) {
    orval::BeginClean();
    const int32_t capacity = *length;
    orval::lengths::Constant::Deliver(text.data(), static_cast<int32_t>(text.size()), out, length);
    if (out != nullptr) {
        // The capacity is not tested, so it may be less than what was written.
        const int32_t shown = std::max(capacity, *length);
        // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): the callers' literals
        orval::LogEntry(name, format, static_cast<int>(shown), out);
    }
    return orval::FinishLogged(name, ORVAL_OK);
}

// Asks the key for its serial number; stores and returns the back-end's code.
int32_t ReadSerialNumber(orval::TextBuffer<maker::kSerialNumberRoom>& serial_number) {
    uint32_t value = 0;
    _S_DEV_CONFIG config = {};
    return orval::Finish(
        orval::Backend(&CommonFunction::CheckDeviceEx, &value, &config, 1, serial_number.text));
}

}  // namespace

int32_t GetDriverVersion(char* pszVersion, int32_t* pnVersionLen) {
    return AnswerConstant(__func__, "pszVersion: %.*s", kVersion, pszVersion, pnVersionLen);
}

int32_t GetDllVersion(char* pszVersion, int32_t* pnVersionLen) {
    orval::LogEntry(__func__, "Begin pnVersionLen = %08x", static_cast<unsigned>(*pnVersionLen));
    return AnswerConstant(__func__, "pszVersion: %.*s", kVersion, pszVersion, pnVersionLen);
}

int32_t GetVidAndPid(char* pszVidPid, int32_t* pnVidPidLen) {
    orval::LogEntry(__func__, "Begin pnVidPidLen = %08x", static_cast<unsigned>(*pnVidPidLen));
    return AnswerConstant(__func__, "pszVidPid: %.*s", kVidAndPid, pszVidPid, pnVidPidLen);
}

int32_t GetPrintNumber(char* pszSN, int32_t* pnSNLen) {
    orval::LogEntry(__func__, "Begin pnSNLen = %08x", static_cast<unsigned>(*pnSNLen));
    orval::BeginClean();
    orval::TextBuffer<maker::kSerialNumberRoom> serial_number;
    const int32_t code = ReadSerialNumber(serial_number);
    if (code == ORVAL_OK) {
        orval::lengths::SerialNumber::Deliver(serial_number.text, serial_number.Length(), pszSN,
                                              pnSNLen);
    }
    if (pszSN != nullptr) {
        // Also after a failure, with whatever the caller's buffer held.
        orval::LogEntry(__func__, "m_SN: %s", pszSN);
    }
    return orval::FinishLogged(__func__, code);
}

int32_t GetVendorInfo(int32_t nType, char* pszVendorInfo, int32_t* pnVendorInfoLen) {
    orval::BeginClean();
    if (nType < 0 || nType > 2) {
        return orval::Finish(ORVAL_UNSUPPORTED);
    }
    const std::string_view name = nType == 2 ? kVendorEnglish : kVendorChinese;
    // The length argument may be null with a buffer: it is neither read nor written.
    return orval::Finish(orval::lengths::VendorName::Deliver(
        name.data(), static_cast<int32_t>(name.size()), pszVendorInfo, pnVendorInfoLen));
}
