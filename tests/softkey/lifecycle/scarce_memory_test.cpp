// Memory that runs out in the software key, under a client: what it asks for itself, and what
// OpenSSL, SQLite and the C++ library ask for it. A client is told so by a code; nothing is lost.
//
// A few requests of each call fail here, spread over all that it makes, and the last of all, where
// it puts its answer together; ORVAL_MEMORY_SAMPLES says how many, "all" that each fails.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "failing_heap.h"
#include "maker/token.h"
#include "software_key.h"

namespace lifecycle {
namespace {

constexpr size_t kUsualSamples = 6;
constexpr size_t kLast = 32;
constexpr char kDataText[] = "customer 4711";
constexpr char kLabelText[] = "Alice Li";

// What the calls work on, made beforehand: a client that asks for no memory.
struct World {
    std::string key;
    std::string package;
    std::string cipher;
    std::array<char, 65536> text;
    int32_t length = 0;
};

struct Call {
    const char* name;
    int32_t (*make)(World& world);
    // The library's own texts and buffers may raise an exception.
    bool may_raise = false;
    bool gives_the_same = true;
    bool leaves_requests = false;  // which a key holds only so many of
};

char* Room(World& world) {
    world.length = static_cast<int32_t>(world.text.size()) - 1;
    return world.text.data();
}

template <typename Function>
Function* OfTokenLibrary(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

const Call kReading[] = {
    {"GetPrintNumber", [](World& w) { return GetPrintNumber(Room(w), &w.length); }},
    {"GetLabel", [](World& w) { return GetLabel(w.key.c_str(), Room(w), &w.length); }, true},
    {"GetData", [](World& w) { return GetData(w.key.c_str(), 1, Room(w), &w.length); }},
    {"GetCert",
     [](World& w) { return GetCert(w.key.c_str(), kSigning, kPem, Room(w), &w.length); }},
    {"GetCertDN",
     [](World& w) { return GetCertDN(w.key.c_str(), kSigning, kSubject, Room(w), &w.length); }},
    {"GetCertInfo",
     [](World& w) { return GetCertInfo(w.key.c_str(), kEncryption, Room(w), &w.length); }},
    {"GetPinInfo",
     [](World& w) {
         Room(w);
         w.length = 8;
         return GetPinInfo(w.key.c_str(), w.text.data(), &w.length);
     }},
    {"GetErrorMsg",
     [](World& w) {
         return GetErrorMsg(static_cast<int32_t>(Code::kPinIncorrect), Room(w), &w.length);
     },
     true},
    {"CheckDriverIntegrity", [](World&) { return CheckDriverIntegrity(1); }, true},
    {"VexaT_GetSlotList",
     [](World&) {
         std::array<uint32_t, maker::kSlotArrayRoom> slots = {};
         uint32_t count = 10;
         return static_cast<int32_t>(OfTokenLibrary<decltype(VexaT_GetSlotList)>(
             "VexaT_GetSlotList")(1, slots.data(), &count));
     }},
    {"VexaT_GetDeviceInfo",
     [](World&) {
         static _S_DEV_CONFIG config;
         return static_cast<int32_t>(
             OfTokenLibrary<decltype(VexaT_GetDeviceInfo)>("VexaT_GetDeviceInfo")(1, 0, &config));
     }},
    {"VexaT_ContextInit",
     [](World&) {
         uint32_t context = 0;
         const uint32_t code =
             OfTokenLibrary<decltype(VexaT_ContextInit)>("VexaT_ContextInit")(&context);
         OfTokenLibrary<decltype(VexaT_ContextFinal)>("VexaT_ContextFinal")();
         return static_cast<int32_t>(code);
     }},
};

const Call kWorking[] = {
    {"VerifyPIN", [](World& w) { return VerifyPIN(w.key.c_str()); }},
    {"TestVerifyAndCachePin", [](World& w) { return TestVerifyAndCachePin(w.key.c_str(), 1); }},
    {"RemovePinCache", [](World&) { return RemovePinCache(); }},
    {"SetCachePinFlag", [](World& w) { return SetCachePinFlag(w.key.c_str(), 1); }},
    {"SetCharset", [](World&) { return SetCharset("UTF-8", ""); }},
    {"SetLanguage", [](World&) { return SetLanguage("en_US", ""); }},
    {"Sign",
     [](World& w) {
         return Sign(w.key.c_str(), kSigning, kBase64Value, "pay 100", "Pay 100?", Room(w),
                     &w.length);
     },
     false, false},
    {"SignHash",
     [](World& w) {
         return SignHash(w.key.c_str(), kSigning, kBase64Value, "hello", kAsItIs, Room(w),
                         &w.length);
     },
     true, false},
    {"Attached",
     [](World& w) {
         return SignHash(w.key.c_str(), kSigning, kPkcs7Attached, "hello", kAsItIs, Room(w),
                         &w.length);
     },
     true, false},
    // Not AsymDec: OpenSSL's SM2 decryption uses a null pointer when its key derivation has none.
};

const Call kChanging[] = {
    {"SetLabel", [](World& w) { return SetLabel(w.key.c_str(), kLabelText); }},
    {"SetData", [](World& w) { return SetData(w.key.c_str(), 1, kDataText); }},
    {"Batch_ImportX509Cert",
     [](World& w) { return Batch_ImportX509Cert(w.key.c_str(), w.package.c_str()); }, true},
    {"ChangePin", [](World& w) { return ChangePin(w.key.c_str()); }},
    {"GenerateCertRequest",
     [](World& w) { return GenerateCertRequest(w.key.c_str(), kSm2Signing1, Room(w), &w.length); },
     true, false, true},
    {"Batch_InitAndGenerateCertRequest",
     [](World& w) {
         return Batch_InitAndGenerateCertRequest(w.key.c_str(), kKeep, kBothInOne, Room(w),
                                                 &w.length);
     },
     true, false, true},
};

const Call kDestroying[] = {
    {"DelCertAndTempKey",
     [](World& w) { return DelCertAndTempKey(w.key.c_str(), kSigning, kEverything); }},
    {"InitUKey", [](World& w) { return InitUKey(w.key.c_str()); }},
};

// A call as its client sees it.
struct Seen {
    bool raised = false;
    bool failed = false;
    Code code = kOk;
    std::string text;
    size_t requests = 0;
};

Seen See(const Call& call, World& world, failing_heap::Failing failing) {
    Seen seen;
    if (call.leaves_requests) {
        DelCertAndTempKey(world.key.c_str(), kSigning, kUnanswered);
        DelCertAndTempKey(world.key.c_str(), kEncryption, kUnanswered);
    }
    world.text.fill('\0');
    int32_t code = 0;
    // Blocks are not followed: what libraries keep is theirs.
    static uint64_t tally[2];
    failing_heap::TallyIn(tally);
    failing_heap::Begin(failing_heap::kArrays | failing_heap::kOthers, failing);
    try {
        code = call.make(world);
    } catch (...) {
        seen.raised = true;
    }
    failing_heap::End();
    seen.failed = failing_heap::HasFailed();
    seen.requests = failing_heap::Requests();
    seen.code = static_cast<Code>(code);
    seen.text = world.text.data();
    return seen;
}

using ScarceMemoryAtFirst = SoftwareKeyTest;

class ScarceMemory : public SoftwareKeyTest {
 protected:
    void SetUp() override {
        if (!failing_heap::IsWhole()) {
            GTEST_SKIP() << "the sanitizer's own heap serves OpenSSL and SQLite";
        }
        world_.key = NewPluggedKey();
        const std::string& key = world_.key;
        world_.package = Issue(Given(BatchRequest(key, kKeep, kBothInOne)));
        ASSERT_EQ(kOk, Checked(Batch_ImportX509Cert(key.c_str(), world_.package.c_str())));
        ASSERT_EQ(kOk, Checked(SetLabel(key.c_str(), kLabelText)));
        ASSERT_EQ(kOk, Checked(SetData(key.c_str(), 1, kDataText)));
        const Certificate certificate(Given(CertificateOf(key, kEncryption)));
        world_.cipher = ToBase64(certificate.Encrypt("a message"));
        // The old PIN, and the new one.
        AnswerPin(std::string(kRightPin) + "\n" + kRightPin);
    }

    // Which requests fail, of so many.
    static std::vector<size_t> Chosen(size_t requests) {
        const char* const said = std::getenv("ORVAL_MEMORY_SAMPLES");
        const std::string samples = said == nullptr ? std::to_string(kUsualSamples) : said;
        const size_t step =
            samples == "all" ? 1 : std::max<size_t>(1, requests / std::stoul(samples));
        std::vector<size_t> chosen;
        for (size_t request = 1; request <= requests; ++request) {
            if (request % step == 0 || request + kLast > requests) {
                chosen.push_back(request);
            }
        }
        return chosen;
    }

    void ExpectToldAndNothingLost(const Call& call, const Seen& usual, size_t request,
                                  bool all_behind) {
        const Tries tries = TriesOf(world_.key);
        const Seen seen = See(call, world_, {request, all_behind});
        // Where nothing is left for the way back, a try is lost, as it is after a power cut.
        const Tries tries_behind = TriesOf(world_.key);
        EXPECT_TRUE(tries_behind == tries || (all_behind && tries_behind.left >= tries.left - 1))
            << tries_behind.left;
        const bool as_usual = !seen.raised && seen.code == usual.code;
        EXPECT_TRUE(as_usual || call.may_raise || !seen.raised) << "raised an exception";
        // OpenSSL does not always say that it was memory: then it is a general failure.
        const bool is_told = seen.code == Code::kMemory || seen.code == Code::kFail ||
                             (call.may_raise && seen.code == Code{-300});
        EXPECT_TRUE(as_usual || seen.raised || is_told) << testing::PrintToString(seen.code);
        if (as_usual && call.gives_the_same) {
            EXPECT_TRUE(seen.text == usual.text || seen.text.empty()) << seen.text;
        }
        const Seen next = See(call, world_, {});
        EXPECT_TRUE(next.code == usual.code && !next.raised) << testing::PrintToString(next.code);
        if (call.gives_the_same) {
            EXPECT_EQ(next.text, usual.text);
        }
        EXPECT_EQ(TriesOf(world_.key), tries);
    }

    void FailEach(const Call& call) {
        SCOPED_TRACE(call.name);
        See(call, world_, {});  // What is asked for once in a process has been asked for.
        const Seen usual = See(call, world_, {});
        ASSERT_FALSE(usual.raised);
        size_t failed = 0;
        for (const size_t request : Chosen(usual.requests)) {
            for (const bool all_behind : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << "request " << request << (all_behind ? " and all behind it" : ""));
                ExpectToldAndNothingLost(call, usual, request, all_behind);
                ++failed;
            }
        }
        RecordProperty(call.name, std::to_string(failed) + " of " + std::to_string(usual.requests) +
                                      " requests, twice");
    }

    template <size_t kCount>
    void FailEachOf(const Call (&calls)[kCount]) {
        for (const Call& call : calls) {
            FailEach(call);
        }
    }

    void ExpectWhole() const {
        EXPECT_EQ(kLabelText, Given(LabelOf(world_.key)));
        EXPECT_EQ(kDataText, Given(DataOf(world_.key, 1)));
        const Certificate certificate(Given(CertificateOf(world_.key, kSigning)));
        EXPECT_TRUE(certificate.Verifies("it", FromBase64(Given(Signature(world_.key, "it")))));
        EXPECT_EQ("a message", Given(Decrypted(world_.key, world_.cipher)));
    }

    World world_;
};

// The first call of a process has more to ask for: the libraries begin with it.
TEST_F(ScarceMemoryAtFirst, EndsNoClient) {
    if (!failing_heap::IsWhole()) {
        GTEST_SKIP() << "the sanitizer's own heap serves OpenSSL and SQLite";
    }
    const std::string key = NewPluggedKey();
    constexpr size_t kStep = 40;
    bool failed = true;
    for (size_t request = 1; failed && !HasFailure(); request += kStep) {
        SCOPED_TRACE(testing::Message() << "request " << request);
        const pid_t client = fork();
        if (client == 0) {
            uint64_t tally[2];
            failing_heap::TallyIn(tally);
            failing_heap::Begin(failing_heap::kArrays | failing_heap::kOthers, {request, false});
            const int32_t code = VerifyPIN(key.c_str());
            failing_heap::End();
            const bool is_told = code == 0 || code == ORVAL_BACKEND_UNAVAILABLE ||
                                 Code{code} == Code::kMemory || Code{code} == Code::kFail;
            const int lack = failing_heap::HasFailed() ? 1 : 0;
            if (!is_told) {
                std::fprintf(stderr, "0x%08X\n", static_cast<unsigned>(code));
            }
            _exit(lack + (is_told ? 0 : 2));
        }
        int status = 0;
        ASSERT_EQ(client, waitpid(client, &status, 0));
        ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
        EXPECT_LT(WEXITSTATUS(status), 2);
        failed = WEXITSTATUS(status) == 1;
    }
}

TEST_F(ScarceMemory, IsToldToWhoReads) {
    FailEachOf(kReading);
    ExpectWhole();
}

TEST_F(ScarceMemory, IsToldToWhoSignsAndDecrypts) {
    FailEachOf(kWorking);
    ExpectWhole();
}

TEST_F(ScarceMemory, LeavesWhatIsChangedAsItWasOrDone) {
    FailEachOf(kChanging);
    ExpectWhole();
}

TEST_F(ScarceMemory, LeavesWhatIsDestroyedAsItWasOrGone) {
    FailEachOf(kDestroying);
    EXPECT_EQ("Alice Li", Given(LabelOf(world_.key)));
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(world_.key, kEncryption).code);
}

}  // namespace
}  // namespace lifecycle
