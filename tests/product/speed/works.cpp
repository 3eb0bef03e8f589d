// What is counted: works of the library, each performed as often as asked, on a key that answers at
// once. The rest of a run is the same however often, so two runs give the work's instructions.
//
//   speed_works                the works, one a line: how often each is enough, and its name
//   speed_works NAME COUNT     performs that one
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "formats/enveloped_key.h"
#include "log/vexa_log.h"
#include "maker/places.h"
#include "orval_unified_kpxukey.h"
#include "qrv/string.h"

namespace {

constexpr const char* kSerialNumber = "0123456789ABCDEF";
constexpr const char* kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int32_t kLongText = 65536;

// What a work makes is used, as far as the compiler can tell.
template <typename T>
void Use(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

template <typename Step>
void Repeat(long count, Step step) {
    for (long i = 0; i < count; ++i) {
        step();
    }
}

// `piece` again and again, up to `size` characters.
std::string Repeated(const std::string& piece, size_t size) {
    std::string text;
    while (text.size() < size) {
        text += piece;
    }
    text.resize(size);
    return text;
}

// Characters of the alphabet in no order, the same on each run.
std::string Shuffled(const std::string& alphabet, size_t size) {
    uint32_t state = 1;
    std::string text(size, ' ');
    for (char& character : text) {
        state = state * 1664525U + 1013904223U;
        character = alphabet[(state >> 16U) % alphabet.size()];
    }
    return text;
}

// The first `count` records of a description or items of a package. The whole is built whatever the
// count, so that its building does not count.
std::string Leading(const std::string& piece, long count) {
    constexpr size_t kMost = 4096;
    const size_t size = piece.size() * static_cast<size_t>(count);
    std::string text = Repeated(piece, piece.size() * kMost);
    if (size > text.size()) {
        throw std::invalid_argument("no more than 4096 pieces");
    }
    text[size - 1] = '\0';  // instead of the last separator
    return text;
}

void* BackendEntry(const char* name) {
    void* const library = dlopen(maker::kBackendPath, RTLD_LAZY);
    void* const entry = library == nullptr ? nullptr : dlsym(library, name);
    if (entry == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return entry;
}

void CallKeyDirectly(long count) {
    auto* const entry = reinterpret_cast<int32_t (*)(const char*)>(BackendEntry("VerifyPIN"));
    Repeat(count, [entry] { Use(entry(kSerialNumber)); });
}

void CallQuietly(long count) {
    Repeat(count, [] { Use(VerifyPIN(kSerialNumber)); });
}

void CallQuietlyWithThirteenArguments(long count) {
    char output[16] = {};
    int32_t length = sizeof(output);
    Repeat(count, [&] {
        Use(Batch_Sign(0, kSerialNumber, 3, 4, "text", nullptr, 7, 8, 9, "batch", 11, output,
                       &length));
    });
}

void WriteTextRecord(long count) {
    Repeat(count, [] { orval::LogEntry("GetDllVersion", "End G_LastError: %08X", 0U); });
}

void WriteHexRecord(long count) {
    const std::string bytes = Repeated("\x01\x9F\xC4", 1024);
    Repeat(count,
           [&] { orval::LogHex("szSN:", bytes.data(), static_cast<int32_t>(bytes.size())); });
}

// Of one call with many.
void ReadRequestRecords(long count) {
    const std::string records = Leading("CertType(1)KeyType(2)HashType(3)|", count);
    char output[16384] = {};
    int32_t length = sizeof(output);
    Use(GenerateCertRequest(kSerialNumber, records.c_str(), output, &length));
}

void ImportPackageItems(long count) {
    const std::string items = Leading("SignCert(" + Shuffled(kBase64, 1000) + ")|", count);
    Use(Batch_ImportX509Cert(kSerialNumber, items.c_str()));
}

// A text of hexadecimal digits in which the prefix is looked for to the end.
void FindPrefix(long count) {
    const QRV::CString text(Shuffled("0123456789ABCDEF", kLongText).c_str());
    orval::EnvelopedKey key;
    Repeat(count, [&] { Use(orval::ReadEnvelopedKey(text, key)); });
}

// Lines of 64 characters, and a comma in every fourth.
void ImportCertificate(long count) {
    const std::string line = Shuffled(kBase64, 62);
    const std::string text =
        Repeated(line + "\r\n" + line + "\r\n" + line + "\r\n" + line + ",\n", kLongText);
    Repeat(count, [&] { Use(ImportX509Cert(kSerialNumber, text.c_str())); });
}

void AppendCharacters(long count) {
    Repeat(count, [] {
        QRV::CString text;
        for (int32_t i = 0; i < kLongText; ++i) {
            text += "x";
        }
        Use(text);
    });
}

void CopyString(long count) {
    const QRV::CString text(Repeated("x", 1024).c_str());
    Repeat(count, [&] {
        const QRV::CString copy(text);
        Use(copy);
    });
}

// Counts that the compiler cannot see, as a client's are.
void TakeMiddle(long count, int32_t first, int32_t size) {
    const QRV::CString text(Repeated("x", 1024).c_str());
    Use(first);
    Use(size);
    Repeat(count, [&] {
        const QRV::CString part = text.Mid(first, size);
        Use(part);
    });
}

void TakeWhole(long count) {
    TakeMiddle(count, 0, 1024);
}

void TakePart(long count) {
    TakeMiddle(count, 100, 100);
}

// Enough, so that what differs between two starts of a program is less than a hundredth of it.
struct Work {
    long enough;
    const char* name;
    void (*perform)(long count);
};

constexpr Work kWorks[] = {
    {5000, "direct call of the key, 1 argument", CallKeyDirectly},
    {5000, "quiet call, 1 argument", CallQuietly},
    {5000, "quiet call, 13 arguments", CallQuietlyWithThirteenArguments},
    {100, "log record, text", WriteTextRecord},
    {20, "log record, hex of 1 KiB", WriteHexRecord},
    {100, "request record", ReadRequestRecords},
    {100, "package item of 1000 characters", ImportPackageItems},
    {5, "find of the prefix in 64 KiB", FindPrefix},
    {5, "ImportX509Cert of 64 KiB", ImportCertificate},
    {1, "64 KiB appended by the character", AppendCharacters},
    {5000, "copy of a 1 KiB string", CopyString},
    {5000, "Mid, the whole string", TakeWhole},
    {1000, "Mid, 100 of 1024 characters", TakePart},
};

int List() {
    for (const Work& work : kWorks) {
        std::printf("%ld %s\n", work.enough, work.name);
    }
    return EXIT_SUCCESS;
}

int Perform(const std::string& name, long count) {
    for (const Work& work : kWorks) {
        if (name == work.name) {
            work.perform(count);
            return EXIT_SUCCESS;
        }
    }
    std::fprintf(stderr, "speed_works: no work \"%s\"; without arguments it lists them\n",
                 name.c_str());
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 1) {
            return List();
        }
        if (argc == 3) {
            return Perform(argv[1], std::stol(argv[2]));
        }
        std::fputs("usage: speed_works [NAME COUNT]\n", stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "speed_works: %s\n", error.what());
    }
    return EXIT_FAILURE;
}
