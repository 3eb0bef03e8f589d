// The request that a question for the length leaves behind for its fetch. Both request calls fill
// it and are served from it alike; what their code is then is told with each of them.
#include <stdexcept>

#include "api_test.h"
#include "outcome.h"
#include "scarce_memory.h"

namespace {

using namespace scripted;  // NOLINT(google-build-using-namespace)

constexpr const char* kSN = "SN0123456789";
constexpr const char* kDescription = "CertType(1)KeyType(2)HashType(3)";

struct RequestCall {
    const char* name;
    int32_t (*call)(const char* serial_number, const char* description, char* out, int32_t* length);
    int32_t without_backend;  // the code of a remembered request
};

void PrintTo(const RequestCall& request, std::ostream* out) {
    *out << request.name;
}

int32_t Combined(const char* serial_number, const char* description, char* out, int32_t* length) {
    return Batch_InitAndGenerateCertRequest(serial_number, 0, description, out, length);
}

const RequestCall kSingle = {"GenerateCertRequest", GenerateCertRequest, 0};
// Keeps the code of the call before, here that of the bind.
const RequestCall kCombined = {"Batch_InitAndGenerateCertRequest", Combined, -101};

// The requests that the key has made.
size_t Made() {
    return Key().GMCreatePKCS10.Arguments().size() + Key().GMCreatePKCS10Ex.Arguments().size();
}

std::string Numbered(size_t request) {
    return "R" + std::to_string(request % 10);
}

// The text of a fetch with room enough: "R1" for the first request that the key made.
std::string Fetch(const RequestCall& request, const char* description = kDescription,
                  const char* serial_number = kSN) {
    char out[64] = {};
    int32_t length = 63;
    G_LastError = 0;
    EXPECT_TRUE(Gives(request.call(serial_number, description, out, &length), 0));
    EXPECT_EQ(length, 2);
    return out;
}

// The code of a question, which writes a length only when it succeeds.
int32_t Ask(const RequestCall& request, const char* description = kDescription,
            const char* serial_number = kSN) {
    int32_t length = -77;
    const int32_t code = request.call(serial_number, description, nullptr, &length);
    EXPECT_EQ(length, code == 0 ? 3 : -77);
    return code;
}

class RequestCache : public testing::TestWithParam<RequestCall> {
 protected:
    RequestCache() {
        Key().GMCreatePKCS10.Does([](auto, auto, auto, auto, char** request, auto...) {
            *request = NewText(Numbered(Made()));
            return 0;
        });
        Key().GMCreatePKCS10Ex.Does([](auto, auto, char** request, auto...) {
            *request = NewText(Numbered(Made()));
            return 0;
        });
    }
    static std::string Fetch(const char* description = kDescription,
                             const char* serial_number = kSN) {
        return ::Fetch(GetParam(), description, serial_number);
    }
    static int32_t Ask(const char* description = kDescription, const char* serial_number = kSN) {
        return ::Ask(GetParam(), description, serial_number);
    }
};

INSTANTIATE_TEST_SUITE_P(Requests, RequestCache, testing::Values(kSingle, kCombined),
                         [](const auto& request) { return std::string(request.param.name); });

TEST_P(RequestCache, ServesOneFetchWithoutTheKey) {
    Ask();
    const size_t calls = Calls().size();
    EXPECT_EQ(Fetch(), "R1");
    EXPECT_EQ(Calls().size(), calls);
    EXPECT_EQ(Fetch(), "R2");
}

TEST_P(RequestCache, IsNotFilledByAFetch) {
    EXPECT_EQ(Fetch(), "R1");
    EXPECT_EQ(Fetch(), "R2");
}

TEST_P(RequestCache, OutlivesBuffersThatAreTooSmall) {
    Ask();
    for (const int32_t capacity : {1, 0, -1, INT32_MIN}) {
        Canary out(16);
        int32_t length = capacity;
        EXPECT_TRUE(Gives(GetParam().call(kSN, kDescription, out, &length), -404)) << capacity;
        EXPECT_EQ(length, 3) << capacity;
        EXPECT_TRUE(out.Untouched()) << capacity;
    }
    EXPECT_EQ(Fetch(), "R1");
}

TEST_P(RequestCache, DoesNotHoldAFreshRequestThatFoundTooSmallABuffer) {
    Canary out(16);
    int32_t length = 1;
    EXPECT_TRUE(Gives(GetParam().call(kSN, kDescription, out, &length), -404));
    EXPECT_EQ(Fetch(), "R2");
}

TEST_P(RequestCache, IsDroppedByAFetchForAnythingElse) {
    const std::pair<const char*, const char*> others[] = {
        {"SN9876543210", kDescription},
        {"sn0123456789", kDescription},
        {"SN012345678", kDescription},
        {kSN, "CertType(1)KeyType(2)HashType(4)"},
        {kSN, "CertType(1)KeyType(2)hashtype(3)"},
        {kSN, "CertType(1)KeyType(2)HashType(3"},
    };
    for (const auto& [serial_number, description] : others) {
        EXPECT_EQ(Ask(), 0);
        const size_t made = Made();
        EXPECT_EQ(Fetch(description, serial_number), Numbered(made + 1));
        Fetch();
        EXPECT_EQ(Made(), made + 2) << serial_number << ", " << description;
    }
}

TEST_P(RequestCache, IsDroppedByAFetchForAnythingElseThatFails) {
    Ask();
    Canary out(16);
    int32_t length = 16;
    EXPECT_TRUE(Gives(GetParam().call(kSN, "Foo(1)", out, &length), -401));
    EXPECT_EQ(Fetch(), "R2");
}

TEST_P(RequestCache, IsReplacedByTheNextQuestion) {
    Ask();
    Ask();
    EXPECT_EQ(Fetch(), "R2");
    Ask();
    Ask(kDescription, "SN9876543210");
    EXPECT_EQ(Fetch(kDescription, "SN9876543210"), "R4");
    EXPECT_EQ(Fetch(), "R5");
}

TEST_P(RequestCache, OutlivesQuestionsThatFailAndArgumentsThatAreRefused) {
    Ask();
    EXPECT_EQ(Ask("Foo(1)"), -401);
    EXPECT_EQ(RaisedCode([] { Ask("CertType"); }), QRV::kInvalidArgument);
    Key().VerifyPIN.ReturnsOnce(kKeyRefuses);
    EXPECT_EQ(Ask("CertType(1)KeyType(1)"), kKeyRefuses);
    char out[16];
    int32_t length = 16;
    EXPECT_EQ(GetParam().call(kSN, nullptr, out, &length), -401);
    EXPECT_EQ(GetParam().call(kSN, kDescription, out, nullptr), -401);
    EXPECT_EQ(Fetch(), "R1");
}

TEST_P(RequestCache, OutlivesFinalizeAndTheBackend) {
    Ask();
    Finalize();
    EXPECT_EQ(Fetch(), "R1");
    Ask();
    Finalize();
    Libc().dlopen.replacement = [](const char*, int) -> void* { return nullptr; };
    char out[16] = {};
    int32_t length = 16;
    EXPECT_TRUE(
        Gives(GetParam().call(kSN, kDescription, out, &length), GetParam().without_backend));
    EXPECT_STREQ(out, "R2");
}

TEST_P(RequestCache, HoldsCopiesOfTheCallersTexts) {
    std::string description = kDescription;
    std::string serial_number = kSN;
    Ask(description.c_str(), serial_number.c_str());
    description.assign(description.size(), 'x');
    serial_number.assign(serial_number.size(), 'x');
    EXPECT_EQ(Fetch(), "R1");
}

TEST_P(RequestCache, IsSharedByBothCalls) {
    const RequestCall& other = GetParam().call == kSingle.call ? kCombined : kSingle;
    Ask();
    EXPECT_EQ(::Fetch(other), "R1");
    EXPECT_EQ(Made(), 1u);
}

// A null serial number, where it is accepted, counts as an empty one.
TEST_P(RequestCache, ServesAnEmptySerialNumber) {
    ::Ask(kCombined, kDescription, nullptr);
    EXPECT_EQ(Fetch(kDescription, ""), "R1");
    Ask(kDescription, "");
    EXPECT_EQ(::Fetch(kCombined, kDescription, nullptr), "R2");
}

// The three parts of a pending request are there together or not at all.
TEST_P(RequestCache, HoldsNoHalfOfARequestWhenMemoryRunsOut) {
    LeaveEarlierCode();
    for (size_t request = 1;; ++request) {
        bool out_of_memory = false;
        bool failed = false;
        {
            const ScarceMemory arrays(kArrays, {request});
            try {
                Ask();
            } catch (const std::bad_alloc&) {
                out_of_memory = true;
            }
            failed = arrays.Failed();
        }
        EXPECT_EQ(out_of_memory, failed);
        const std::string fetched = Fetch();
        EXPECT_EQ(fetched, Numbered(Made()));
        if (!failed) {
            EXPECT_GE(request, 4u) << "request, description and serial number are kept";
            break;
        }
    }
}

TEST_P(RequestCache, OutlivesAQuestionForWhichMemoryRunsOut) {
    LeaveEarlierCode();
    FailEachRequest([](Failing failing) {
        Ask();
        const std::string pending = Numbered(Made());
        bool ran_out = false;
        bool failed = false;
        {
            const ScarceMemory memory(EveryKind(), failing);
            ran_out = RunsOutOfMemory([] { Ask(kDescription, "SN9876543210"); });
            failed = memory.Failed();
        }
        if (ran_out) {
            EXPECT_EQ(Fetch(), pending);
        } else {
            EXPECT_EQ(Fetch(kDescription, "SN9876543210"), Numbered(Made()));
        }
        return failed;
    });
}

TEST_P(RequestCache, RequestOfAKeyThatThrowsIsReleased) {
    Initialize();
    Key().GMCreatePKCS10.Does([](auto, auto, auto, auto, char** request, auto...) -> int32_t {
        *request = NewText("handed over");
        throw std::runtime_error("out of the key");
    });
    Key().GMCreatePKCS10Ex.Does([](auto, auto, char** request, auto...) -> int32_t {
        *request = NewText("handed over");
        throw std::runtime_error("out of the key");
    });
    const ScarceMemory arrays(kArrays);
    EXPECT_THROW(Ask(), std::runtime_error);
    EXPECT_EQ(arrays.LiveBlocks(), 0U);
}

// --- Imports -------------------------------------------------------------------------------------

struct Import {
    const char* name;
    int32_t (*call)();
    int32_t code;
    bool forgets;
};

const std::string kTooLongAKey(1024, 'k');

// A single import empties the cache once it begins, however it ends. A bank may import a package
// while a further request is still to be fetched.
const Import kImports[] = {
    {"Single", [] { return ImportX509Cert(kSN, "MII"); }, kKeyRefuses, true},
    {"SingleWithoutKey", [] { return ImportX509Cert(nullptr, "MII"); }, -401, false},
    {"SingleWithoutText", [] { return ImportX509Cert(kSN, nullptr); }, -401, false},
    {"Encryption", [] { return ImportEncX509Cert(kSN, "MII", "1234"); }, kKeyRefuses, true},
    {"EncryptionKeyTooLong", [] { return ImportEncX509Cert(kSN, "MII", kTooLongAKey.c_str()); },
     -401, true},
    {"EncryptionWithoutText", [] { return ImportEncX509Cert(kSN, nullptr, "1234"); }, -401, false},
    {"EncryptionWithoutKeyText", [] { return ImportEncX509Cert(kSN, "MII", nullptr); }, -401,
     false},
    {"Package", [] { return Batch_ImportX509Cert(kSN, "SignCert(X)|EncCert(Z)"); }, kKeyRefuses,
     false},
    {"PackageOfOneText", [] { return Batch_ImportX509Cert(kSN, "MII"); }, kKeyRefuses, false},
    {"MalformedPackage", [] { return Batch_ImportX509Cert(kSN, "Foo(X)"); }, -401, false},
};

class ImportAfterAQuestion : public testing::TestWithParam<Import> {};

INSTANTIATE_TEST_SUITE_P(RequestCache, ImportAfterAQuestion, testing::ValuesIn(kImports),
                         [](const auto& import) { return std::string(import.param.name); });

TEST_P(ImportAfterAQuestion, ForgetsTheRequestWhenItIsASingleOne) {
    Key().GMCreatePKCS10.HandsOver("R1");
    for (const bool key_refuses : {true, false}) {
        Key().GMWritePKCS7.Returns(key_refuses ? kKeyRefuses : 0);
        EXPECT_EQ(Ask(kSingle), 0);
        const size_t made = Made();
        const bool reaches_the_key = GetParam().code == kKeyRefuses;
        EXPECT_TRUE(
            Gives(GetParam().call(), reaches_the_key && !key_refuses ? 0 : GetParam().code));
        Fetch(kSingle);
        EXPECT_EQ(Made(), made + (GetParam().forgets ? 1 : 0));
    }
}

}  // namespace
