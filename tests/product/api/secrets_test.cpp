#include <functional>

#include "api_test.h"
#include "common/commonfunction.h"
#include "freed_memory.h"
#include "qrv/string.h"

// The product exports the larger operations of its strings; the small ones are the client's own.
template class QRV::CSimpleBufferT<char>;

// Where an enveloped private key or a decrypted text has been in the library's own memory, nothing
// of it is left once the call is over: not in what it gave back to the heap, not below on the
// stack. The key's functions stand in the table themselves here; the scripted key would keep copies
// of what it is given.
namespace {

using scripted::FreedMemory;
using scripted::LeavesOnStack;

const std::string kSecret = "Vb7Rk2Qm9Xc4Tz1Ls6Wd8Hn3Jg5Fp0YaUeIoAqSwDxEfGvBhNjMkLpZrCtYbXuCi";
const std::string kPrefix =
    "00000000000000010000000000000001000000000000000000000000000000000000000000000273";
constexpr const char* kSN = "SN0123456789";

// How the key answers, and what it has seen.
int32_t answer = 0;
bool throws = false;
bool key_had_secret = false;

int32_t Answer() {
    if (throws) {
        throw std::runtime_error("the key's library fails");
    }
    return answer;
}

int32_t DecryptOnKey(const char*, int64_t, uint32_t, const char*, char* plain, int32_t* length) {
    std::memcpy(plain, kSecret.data(), kSecret.size());
    *length = static_cast<int32_t>(kSecret.size());
    key_had_secret = true;
    return Answer();
}

int32_t ImportOnKey(const char*, char* text, int32_t) {
    key_had_secret = std::strstr(text, kSecret.c_str()) != nullptr;
    return Answer();
}

int32_t WriteOnKey(const char*, char* text, QRV::CString&) {
    if (std::strstr(text, kSecret.c_str()) == nullptr) {
        return 0;
    }
    key_had_secret = true;
    return Answer();
}

void BindKey() {
    ASSERT_EQ(Initialize(), 0);
    ORVAL_ComFunc.GMUSBKeyAsymDec2 = DecryptOnKey;
    ORVAL_ComFunc.GMImportPriKey = ImportOnKey;
    ORVAL_ComFunc.GMWritePKCS7 = WriteOnKey;
}

struct Case {
    const char* name;
    std::function<int32_t()> call;
    bool reaches_key;
};

void Call(const Case& one) {
    try {
        one.call();
    } catch (const std::runtime_error&) {
        // The key's own, which passes through.
    }
}

// A function of variable arguments saves the vector registers on AArch64, the C library's and the
// log's alike, with what a copy has left in them: up to 128 bytes of a text that is being logged.
#ifdef __aarch64__
constexpr bool kLoggingSavesRegisters = true;
#else
constexpr bool kLoggingSavesRegisters = false;
#endif

// Whether the log has the text itself, as the contract has it.
enum class Logged { kNo, kYes };

// Each call as it ends well, and as it ends when the key refuses and when its library throws.
void ExpectNothingIsLeft(Logged logged, const std::vector<Case>& cases) {
    BindKey();
    for (const Case& one : cases) {
        for (const int ending : {0, 1, 2}) {
            SCOPED_TRACE(one.name + " ending "s + std::to_string(ending));
            answer = ending == 1 ? 5 : 0;
            throws = ending == 2;
            size_t leaks = 0;
            const auto leaves_on_stack = [&] {
                key_had_secret = false;
                return LeavesOnStack(kSecret, [&] {
                    const FreedMemory freed(kSecret);
                    Call(one);
                    leaks = freed.Leaks();
                });
            };
            // Once beforehand: the loader looks up the C++ library's and this program's functions
            // at their first call, and saves the processor's registers on the stack for that, with
            // whatever a copy has left in them. The library's own are bound while it is loaded.
            leaves_on_stack();
            const bool on_stack = leaves_on_stack();
            EXPECT_FALSE(on_stack && !(kLoggingSavesRegisters && logged == Logged::kYes));
            EXPECT_EQ(key_had_secret, one.reaches_key);
            EXPECT_EQ(leaks, 0U);
        }
    }
}

std::string Wrapped(const std::string& text, const std::string& separator) {
    std::string wrapped;
    for (const char c : text) {
        wrapped += c + separator;
    }
    return wrapped;
}

TEST(Secrets, NothingOfADecryptedTextIsLeftBehind) {
    static char plain[1024];
    static int32_t length;
    const auto decrypt = [](int32_t capacity) {
        return [capacity] {
            length = capacity;
            return AsymDec(kSN, 1, 2, "MIIB\r\nMIIB", plain, &length);
        };
    };
    ExpectNothingIsLeft(Logged::kNo, {
                                         {"AsymDec", decrypt(sizeof plain), true},
                                         {"AsymDec, too small a buffer", decrypt(5), true},
                                     });
}

TEST(Secrets, NothingOfAnEnvelopedKeyIsLeftBehind) {
    const auto import = [](const std::string& key) {
        return [key] { return ImportEncX509Cert(kSN, "MII,B", key.c_str()); };
    };
    ExpectNothingIsLeft(
        Logged::kYes,
        {
            {"as it is", import(kSecret), true},
            {"with the prefix", import(kPrefix + kSecret), true},
            {"with commas", import(Wrapped(kSecret, ",")), true},
            {"cut short by commas", import(kSecret.substr(0, 32) + std::string(400, ',')), false},
            {"too long", import(kSecret + std::string(2000, '0')), false},
            {"longer than a record's buffer", import(kSecret + std::string(20000, '0')), false},
        });
}

TEST(Secrets, NothingOfAPackageIsLeftBehind) {
    const auto import = [](const std::string& package) {
        return [package] { return Batch_ImportX509Cert(kSN, package.c_str()); };
    };
    const std::string key = "EncPriKey(" + kSecret + ")";
    ExpectNothingIsLeft(
        Logged::kYes,
        {
            {"a package", import("SignCert(MII)|" + key + "|EncCert(MII)"), true},
            {"with the prefix", import("EncPriKey(" + kPrefix + kSecret + ")"), true},
            {"with line breaks", import("EncPriKey(" + Wrapped(kSecret, ",\r\n") + ")"), true},
            {"malformed", import(key + "|Other(MII)"), false},
            {"in lower case", import("encprikey(" + kSecret + ")"), false},
            {"not closed", import("EncPriKey(" + kSecret), false},
            {"taken for a certificate", import("SignCert(EncPriKey(" + kSecret + ")"), true},
            {"no package", import(kSecret), true},
            {"longer than a record's buffer",
             import(key + "|SignCert(" + std::string(20000, 'M') + ")"), true},
        });
}

// Else nothing found would mean nothing.
TEST(Secrets, ASearchFindsWhatIsLeftBehind) {
    const FreedMemory freed(kSecret);
    {
        const std::string copy = kSecret;
        const QRV::CString text(kSecret.c_str());
    }
    EXPECT_EQ(freed.Leaks(), 2U);
    EXPECT_GE(freed.Blocks(), 2U);
    EXPECT_TRUE(LeavesOnStack(kSecret, [] {
        char copy[1024];
        kSecret.copy(copy, sizeof copy);
        asm volatile("" : : "r"(copy) : "memory");
    }));
}

}  // namespace
