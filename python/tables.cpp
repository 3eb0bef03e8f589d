// python_tables codes|functions: a module of the Python package, made from the list that everything
// else is made from: the catalogue of codes, or ukey.hpp's list of functions, whose types the
// compiler tells.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

#include "cli/exit_status.h"
#include "codes/catalogue.h"
#include "codes/notation.h"
#include "orval_unified_kpxukey.h"
#include "ukey/load.hpp"

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
    {Number(Code::kFail), "KeyFailed"},
    {Number(Code::kNotSupported), "KeyUnsupported"},
    {Number(Code::kInvalidParameter), "KeyParameter"},
    {Number(Code::kNameLength), "NameLength"},
    {Number(Code::kKeyUsage), "KeyUsage"},
    {Number(Code::kMemory), "KeyMemory"},
    {Number(Code::kDataLength), "DataLength"},
    {Number(Code::kData), "Data"},
    {Number(Code::kKeyNotFound), "KeyPairNotFound"},
    {Number(Code::kCertificateNotFound), "CertificateNotFound"},
    {Number(Code::kDecryption), "Decryption"},
    {Number(Code::kBufferTooSmall), "KeyBufferTooSmall"},
    {Number(Code::kKeyInfoType), "KeyInfoType"},
    {Number(Code::kNoEvent), "NoEvent"},
    {Number(Code::kDeviceRemoved), "DeviceRemoved"},
    {Number(Code::kPinIncorrect), "PinIncorrect"},
    {Number(Code::kPinLocked), "PinIsLocked"},
    {Number(Code::kPinInvalid), "PinInvalid"},
    {Number(Code::kPinLength), "PinLength"},
    {Number(Code::kNotInitialized), "PinNotVerified"},
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

void PrintClasses() {
    for (const cli::StatusClass& one : cli::AllStatuses()) {
        const auto rows = codes::All();
        if (std::any_of(rows.begin(), rows.end(), [&one](const codes::Row& row) {
                return row.status == one.status && HasClass(row);
            })) {
            std::printf("\n\nclass %sError(Error):\n    \"\"\"Of the class %s: %s.\"\"\"\n",
                        CamelCase(one.name).c_str(), one.name, one.meaning);
        }
    }
}

void PrintException(const codes::Row& row) {
    const char* const name = NameOf(row);
    if (name != nullptr) {
        const std::string number = row.name == nullptr
                                       ? codes::Hexadecimal(row.code)
                                       : codes::Hexadecimal(row.code) + " " + row.name;
        std::printf("\n\nclass %sError(%s):\n    \"\"\"%s.\"\"\"\n\n    CODE = %d\n", name,
                    BaseOf(row).c_str(), number.c_str(), row.code);
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

from .failure import Error)";

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
    PrintClasses();
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

template <typename Type>
constexpr const char* CType() {
    if constexpr (std::is_pointer_v<Type>) {
        return "c_void_p";
    } else if constexpr (std::is_void_v<Type>) {
        return "None";
    } else if constexpr (std::is_same_v<Type, uint32_t>) {
        return "c_uint32";
    } else if constexpr (std::is_same_v<Type, int32_t>) {
        return "c_int32";
    } else {
        static_assert(std::is_same_v<Type, int64_t>, "a width that no function has had yet");
        return "c_int64";
    }
}

template <typename Result, typename... Arguments>
void PrintFunction(const char* name, Result (* /*function*/)(Arguments...)) {
    std::string types;
    for (const char* const type : {"", CType<Arguments>()...}) {
        types += *type == '\0' ? "" : (types.empty() ? "" : ", ") + std::string(type);
    }
    std::printf("    \"%s\": (\n        %s,\n        [%s],\n    ),\n", name, CType<Result>(),
                types.c_str());
}

constexpr const char* kFunctionsHead =
    R"("""The exported functions: what each gives and takes.

Made from ukey.hpp's list and the C header; the target update_python_tables makes it anew.
"""

from __future__ import annotations

from ctypes import c_int32, c_int64, c_uint32, c_void_p
from typing import Any, Dict, List, Tuple

FUNCTIONS: Dict[str, Tuple[Any, List[Any]]] = {)";

void PrintFunctions() {
    std::puts(kFunctionsHead);
#define PRINT(name) PrintFunction(#name, decltype(&::name){});
    UKEY_FUNCTIONS(PRINT)
#undef PRINT
    std::puts("}");
}

bool AreNamed() {
    const auto rows = codes::All();
    const auto* const nameless = std::find_if_not(rows.begin(), rows.end(), IsNamed);
    if (nameless == rows.end()) {
        return true;
    }
    std::fprintf(stderr, "python_tables: %s has no name in python/tables.cpp\n",
                 codes::Hexadecimal(nameless->code).c_str());
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view what = argc == 2 ? argv[1] : "";
    if (what == "codes") {
        if (!AreNamed()) {
            return 1;
        }
        PrintCodes();
    } else if (what == "functions") {
        PrintFunctions();
    } else {
        std::fputs("usage: python_tables codes|functions\n", stderr);
        return 2;
    }
    return 0;
}
