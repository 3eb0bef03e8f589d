// Certificates from an authority: the text's copy, three passes over it that clean it up in place,
// the record of the log, and the package's items in the order of their import.
#include <strings.h>

#include <functional>

#include "least/bare_string.h"
#include "least/calls.h"

namespace least {
namespace {

struct ItemName {
    const char* text;
    size_t length;
};
constexpr ItemName kNames[] = {{"SignCert(", 9}, {"EncPriKey(", 10}, {"EncCert(", 8}};
constexpr size_t kPrefixLength = 80;
constexpr char kPrefix[] =
    "00000000000000010000000000000001000000000000000000000000000000000000000000000273";

// What a record has in front of its text, in length.
constexpr char kHead[] =
    "[21,12:00:00.000] CKPXUSBKey::Batch_ImportX509Cert: (Process is 1000, thread is "
    "-1000000000)\r\n\t[begin, strP7: ";

BareString Cleaned(const char* text) {
    BareString cleaned(text);
    for (const char unwanted : {',', '\r', '\n'}) {
        cleaned.RemoveAll(unwanted);
    }
    return cleaned;
}

void LogText(const BareString& text) {
    BareString record(kHead);
    record.Append(text.Text(), text.Length());
    record.Append("]\r\n", 3);
    WriteRecord(record.Text(), record.Length());
}

bool IsKnown(const char* name, size_t length) {
    for (const ItemName& known : kNames) {
        if (length == known.length - 1 && strncasecmp(name, known.text, length) == 0) {
            return true;
        }
    }
    return false;
}

const char* FindCharacter(const char* from, const char* end, char wanted) {
    return static_cast<const char*>(std::memchr(from, wanted, static_cast<size_t>(end - from)));
}

// Whether every item has a name that is known.
bool IsPackage(const BareString& package) {
    const char* const end = package.Text() + package.Length();
    for (const char* item = package.Text();;) {
        const char* const bracket = FindCharacter(item, end, '(');
        if (bracket == nullptr || !IsKnown(item, static_cast<size_t>(bracket - item))) {
            return false;
        }
        const char* const separator = FindCharacter(bracket, end, '|');
        if (separator == nullptr) {
            return true;
        }
        item = separator + 1;
    }
}

// What the back-end is handed beside the text has the layout of the product's string.
int32_t WriteCertificate(const char* serial_number, BareString& text) {
    BareString unused;
    return Finish(CallEntry(table.GMWritePKCS7, serial_number, text.Writable(),
                            std::ref(reinterpret_cast<QRV::CString&>(unused))));
}

int32_t ImportItem(const ItemName& name, const char* serial_number, BareString item) {
    if (&name == &kNames[1]) {
        char key[maker::kKeyTextRoom] = {};
        item.RemoveAll(',');
        LogText(item);
        const bool prefixed = memmem(item.Text(), item.Length(), kPrefix, kPrefixLength) != nullptr;
        const size_t dropped = prefixed ? kPrefixLength : 0;
        std::memcpy(key, item.Text() + dropped, item.Length() - dropped);
        return Finish(CallEntry(table.GMImportPriKey, serial_number, key, 0));
    }
    return WriteCertificate(serial_number, item);
}

int32_t ImportItems(const ItemName& name, const char* serial_number, const BareString& package) {
    const char* at = package.Text();
    const char* const end = at + package.Length();
    for (;;) {
        at = static_cast<const char*>(
            memmem(at, static_cast<size_t>(end - at), name.text, name.length));
        const char* const data = at == nullptr ? nullptr : at + name.length;
        const char* const close = data == nullptr ? nullptr : FindCharacter(data, end, ')');
        if (close == nullptr) {
            return 0;
        }
        const int32_t code =
            ImportItem(name, serial_number, BareString(data, static_cast<size_t>(close - data)));
        if (code != 0) {
            return code;
        }
        at = close;
    }
}

}  // namespace

int32_t ImportX509Cert(const char* serial_number, const char* pkcs7) {
    Begin();
    BareString text = Cleaned(pkcs7);
    return WriteCertificate(serial_number, text);
}

int32_t BatchImportX509Cert(const char* serial_number, const char* package) {
    Begin();
    const BareString key(serial_number);
    Finish(0);
    const BareString text = Cleaned(package);
    LogText(text);
    if (!IsPackage(text)) {
        return Finish(-401);
    }
    for (const ItemName& name : kNames) {
        const int32_t code = ImportItems(name, key.Text(), text);
        if (code != 0) {
            return code;
        }
    }
    return Finish(0);
}

}  // namespace least
