// The module orval_ukey.codes of the Python package, made from the catalogue of codes.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

#include "cli/exit_status.h"
#include "codes/catalogue.h"
#include "codes/notation.h"
#include "orval_unified_kpxukey.h"

namespace {

using codes::Code;
using codes::Number;

struct Name {
    int32_t code;
    const char* name;
};

// What an exception is called in Python, without "Error" behind it: every code that the library or
// the software key gives.
constexpr Name kNames[] = {
    {ORVAL_BACKEND_UNAVAILABLE, "BackendUnavailable"},
    {ORVAL_NOT_INITIALIZED, "NotInitialized"},
    {ORVAL_UNSUPPORTED, "Unsupported"},
    {ORVAL_INVALID_ARGUMENT, "InvalidArgument"},
    {ORVAL_BUFFER_TOO_SMALL, "BufferTooSmall"},
    {codes::kTextOutOfMemory, "TextOutOfMemory"},
    {codes::kTextMalformed, "TextMalformed"},
    {Number(Code::kFail), "Fail"},
    {Number(Code::kNotSupported), "NotSupported"},
    {Number(Code::kInvalidParameter), "InvalidParameter"},
    {Number(Code::kNameLength), "NameLength"},
    {Number(Code::kKeyUsage), "KeyUsage"},
    {Number(Code::kMemory), "KeyMemory"},
    {Number(Code::kDataLength), "DataLength"},
    {Number(Code::kData), "Data"},
    {Number(Code::kKeyNotFound), "KeyNotFound"},
    {Number(Code::kCertificateNotFound), "CertificateNotFound"},
    {Number(Code::kDecryption), "Decryption"},
    {Number(Code::kBufferTooSmall), "KeyBufferTooSmall"},
    {Number(Code::kKeyInfoType), "KeyInfoType"},
    {Number(Code::kNoEvent), "NoEvent"},
    {Number(Code::kDeviceRemoved), "DeviceRemoved"},
    {Number(Code::kPinIncorrect), "PinIncorrect"},
    {Number(Code::kPinLocked), "PinLocked"},
    {Number(Code::kPinInvalid), "PinInvalid"},
    {Number(Code::kPinLength), "PinLength"},
    {Number(Code::kNotInitialized), "NotLoggedIn"},
    {Number(Code::kDataItemNotFound), "DataItemNotFound"},
    {Number(Code::kTooManyKeyPairs), "TooManyKeyPairs"},
    {Number(Code::kSelector), "Selector"},
    {Number(Code::kKeyTypeHash), "KeyTypeHash"},
    {Number(Code::kCancelled), "Cancelled"},
    {Number(Code::kNotConfirmed), "NotConfirmed"},
    {Number(Code::kNoDialog), "NoDialog"},
    {Number(Code::kPinSourceRefused), "PinSourceRefused"},
    {Number(Code::kPinSourceUnreadable), "PinSourceUnreadable"},
    {Number(Code::kPkcs7Malformed), "Pkcs7Malformed"},
    {Number(Code::kCertificateNotOurs), "CertificateNotOurs"},
    {Number(Code::kEnvelopeMalformed), "EnvelopeMalformed"},
    {Number(Code::kEnvelopeNotOurs), "EnvelopeNotOurs"},
    {Number(Code::kStoreReadOnly), "StoreReadOnly"},
    {Number(Code::kStoreFull), "StoreFull"},
    {Number(Code::kStoreBusy), "StoreBusy"},
    {Number(Code::kStoreDamaged), "StoreDamaged"},
    {Number(Code::kStoreUnreachable), "StoreUnreachable"},
    {Number(Code::kNoContext), "NoContext"},
    {Number(Code::kNewPinMissing), "NewPinMissing"},
    {Number(Code::kAlreadyPlugged), "AlreadyPlugged"},
    {Number(Code::kSerialTaken), "SerialTaken"},
    {Number(Code::kNoSuchKey), "NoSuchKey"},
    {Number(Code::kDialogFailed), "DialogFailed"},
    {Number(Code::kCertificateUsage), "CertificateUsage"},
};

// Null for a code that nothing here gives: its class has an exception, it has none.
const char* NameOf(const codes::Row& row) {
    const auto* const found =
        std::find_if(std::begin(kNames), std::end(kNames),
                     [&row](const Name& one) { return one.code == row.code; });
    return found == std::end(kNames) ? nullptr : found->name;
}

// A code that the software key has a text for is one that somebody meets.
bool IsNamed(const codes::Row& row) {
    return row.code == ORVAL_OK || row.english == nullptr || NameOf(row) != nullptr;
}

bool HasClass(const codes::Row& row) {
    return row.status != cli::ExitStatus::kDone && row.status != cli::ExitStatus::kFailed;
}

// "pin_wrong" as "PinWrong".
std::string CamelCase(std::string_view name) {
    std::string text;
    bool is_start = true;
    for (const char letter : name) {
        if (letter == '_') {
            is_start = true;
            continue;
        }
        text += is_start ? static_cast<char>(std::toupper(letter)) : letter;
        is_start = false;
    }
    return text;
}

const cli::StatusClass& ClassOf(cli::ExitStatus status) {
    const auto all = cli::AllStatuses();
    return *std::find_if(all.begin(), all.end(),
                         [status](const cli::StatusClass& one) { return one.status == status; });
}

// Where a class has the name of a code, it is that code's exception too.
bool IsItsClass(const codes::Row& row) {
    const char* const name = NameOf(row);
    return name != nullptr && HasClass(row) && CamelCase(ClassOf(row.status).name) == name;
}

std::string BaseOf(const codes::Row& row) {
    return HasClass(row) ? CamelCase(ClassOf(row.status).name) + "Error" : "Error";
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char letter : text) {
        quoted +=
            letter == '"' || letter == '\\' ? std::string("\\") + letter : std::string(1, letter);
    }
    return quoted + "\"";
}

// Rows without a name of the standard's are shown by their number alone.
std::string NameIn(const codes::Row& row) {
    return row.name == nullptr ? std::string() : row.name;
}

bool HasRows(const cli::StatusClass& one) {
    const auto rows = codes::All();
    return std::any_of(rows.begin(), rows.end(), [&one](const codes::Row& row) {
        return row.status == one.status && HasClass(row);
    });
}

void PrintNames() {
    std::puts("__all__ = [");
    for (const cli::StatusClass& one : cli::AllStatuses()) {
        if (HasRows(one)) {
            std::printf("    \"%sError\",\n", CamelCase(one.name).c_str());
        }
    }
    for (const codes::Row& row : codes::All()) {
        if (NameOf(row) != nullptr && !IsItsClass(row)) {
            std::printf("    \"%sError\",\n", NameOf(row));
        }
    }
    std::puts("]");
}

std::string NumberAndName(const codes::Row& row) {
    return codes::Hexadecimal(row.code) + (row.name == nullptr ? "" : std::string(" ") + row.name);
}

void PrintClass(const cli::StatusClass& one) {
    std::printf("\n\nclass %sError(Error):\n    \"\"\"Of the class %s: %s.\"\"\"\n",
                CamelCase(one.name).c_str(), one.name, one.meaning);
    for (const codes::Row& row : codes::All()) {
        if (row.status == one.status && IsItsClass(row)) {
            std::printf("\n    CODE = %d  # %s\n", row.code, NumberAndName(row).c_str());
        }
    }
}

void PrintException(const codes::Row& row) {
    const char* const name = NameOf(row);
    if (name != nullptr && !IsItsClass(row)) {
        std::printf("\n\nclass %sError(%s):\n    \"\"\"%s.\"\"\"\n\n    CODE = %d\n", name,
                    BaseOf(row).c_str(), NumberAndName(row).c_str(), row.code);
    }
}

void PrintRow(const codes::Row& row) {
    const char* const name = NameOf(row);
    const std::string exception = name == nullptr ? BaseOf(row) : std::string(name) + "Error";
    std::printf("    %d: Row(\n        %s,\n        %s,\n        %s,\n        %s,\n    ),\n",
                row.code, Quoted(NameIn(row)).c_str(), Quoted(ClassOf(row.status).name).c_str(),
                Quoted(codes::MeaningOf(row)).c_str(), exception.c_str());
}

constexpr const char* kCodesHead =
    R"("""The codes, each with its name, class, meaning and exception.

Made from the catalogue of codes; the target update_python_tables makes it anew.
"""

from __future__ import annotations

from typing import Dict, NamedTuple, Type

from .failure import Error
)";

constexpr const char* kRowHead = R"(

class Row(NamedTuple):
    """What is known of a code."""

    name: str  # empty where it has none
    class_name: str  # as in the commands' JSON
    meaning: str
    exception: Type[Error]


ROWS: Dict[int, Row] = {
)";

void PrintCodes() {
    std::puts(kCodesHead);
    PrintNames();
    for (const cli::StatusClass& one : cli::AllStatuses()) {
        if (HasRows(one)) {
            PrintClass(one);
        }
    }
    for (const codes::Row& row : codes::All()) {
        PrintException(row);
    }
    std::fputs(kRowHead, stdout);
    for (const codes::Row& row : codes::All()) {
        if (row.code != ORVAL_OK) {
            PrintRow(row);
        }
    }
    std::puts("}");
}

bool AreNamed() {
    const auto rows = codes::All();
    const auto* const nameless = std::find_if_not(rows.begin(), rows.end(), IsNamed);
    if (nameless == rows.end()) {
        return true;
    }
    std::fprintf(stderr, "python_codes: %s has no name in python/codes.cpp\n",
                 codes::Hexadecimal(nameless->code).c_str());
    return false;
}

}  // namespace

int main() {
    if (!AreNamed()) {
        return 1;
    }
    PrintCodes();
    return 0;
}
