// Memory that runs out where a call has more behind it than the usual arguments of the ladder: a
// remembered request, a package of several items, a wait with keys in several slots; and in what
// else is exported.
#include <dlfcn.h>

#include <algorithm>
#include <cstring>

#include "api_test.h"
#include "common/commonfunction.h"
#include "maker/places.h"
#include "outcome.h"
#include "qrv/string.h"
#include "scarce_memory.h"

// The product exports the larger operations of its strings; the small ones are the client's own.
template class QRV::CSimpleBufferT<char>;

namespace {

using namespace scripted;  // NOLINT(google-build-using-namespace)

constexpr const char* kSN = "SN0123456789";
constexpr const char* kDescription = "CertType(1)KeyType(2)HashType(3)|CertType(3)";
constexpr const char* kPackage =
    "SignCert(MIIa)|EncPriKey(1234)|EncCert(MIIb)|SignCert(MIIc)|EncPriKey(5678)|EncCert(MIId)";

// What a call gives, as a text to be compared; it may throw.
struct Scene {
    const char* name;
    void (*prepare)();
    std::string (*call)();
    // What it may give instead when the C library has no memory; null: nothing.
    const char* for_lack = nullptr;
    bool may_run_out = true;
};

void PrintTo(const Scene& scene, std::ostream* out) {
    *out << scene.name;
}

std::string Shown(int32_t code, const char* text = "", int32_t length = 0) {
    const failing_heap::Pause pause;
    return std::to_string(code) + " " + std::string(text) + " " + std::to_string(length);
}

std::string Fetch(int32_t (*call)(char* out, int32_t* length)) {
    char out[64] = {};
    int32_t length = sizeof(out);
    const int32_t code = call(out, &length);
    return Shown(code, out, length);
}

void RememberRequests() {
    Key().GMCreatePKCS10.HandsOver("REQUEST");
    int32_t length = 0;
    GenerateCertRequest(kSN, kDescription, nullptr, &length);
}

constexpr const char* kNumbers[] = {"A234567890123456", "B234567890123456", "C234567890123456"};

void PlugThreeKeys() {
    Token().GetSlotList.Does([](uint32_t, uint32_t* slots, uint32_t* count) {
        for (*count = 0; *count < 3; ++*count) {
            slots[*count] = *count;
        }
        return 0U;
    });
    Token().GetDeviceInfo.Does([](uint32_t slot, uint32_t, _S_DEV_CONFIG* config) {
        std::memcpy(reinterpret_cast<char*>(config) + 248, kNumbers[slot % 3], 16);
        return 0U;
    });
}

template <uint32_t kKind, uint32_t kSlot>
void PlugAndDeliver() {
    PlugThreeKeys();
    Token().WaitForEvent.Does([](auto, auto, VEXA_EVENT_INFO* event, auto) {
        const uint32_t kind = kKind;
        const uint32_t slot = kSlot;
        std::memcpy(event, &kind, sizeof(kind));
        std::memcpy(reinterpret_cast<char*>(event) + 12, &slot, sizeof(slot));
        return 0U;
    });
}

std::string WaitForAnEvent() {
    uint32_t event = 0;
    char number[ORVAL_EVENT_SERIAL_NUMBER_ROOM] = {};
    uint32_t length = sizeof(number);
    const int32_t code = WaitForKeyEvent(&event, number, &length);
    return Shown(code, number, static_cast<int32_t>(event));
}

template <uint32_t kDirection>
std::string Convert() {
    char* out = nullptr;
    uint32_t length = 0;
    // Written before the result's buffer is asked for, as a length that the caller may rely on.
    const auto release = [&out] { delete[] out; };
    try {
        const int32_t code = ORVAL_ComFunc.MB2MB(kDirection, "\xE4\xB8\xAD", 3, &out, &length);
        std::string shown = Shown(code, "", static_cast<int32_t>(length));
        release();
        return shown;
    } catch (...) {
        release();
        throw;
    }
}

std::string List() {
    std::vector<std::string> names;
    const int32_t code = ORVAL_ComFunc.find_dir_file(maker::kApplicationDirectory, names);
    return Shown(code, "", static_cast<int32_t>(names.size()));
}

void Nothing() {}

const Scene kScenes[] = {
    {"Initialize",
     [] {
         Finalize();
         ORVAL_ComFunc.FreeFunc();
     },
     [] {
         const std::string shown = Shown(Initialize());
         const failing_heap::Pause pause;
         ORVAL_ComFunc.FreeFunc();
         dlerror();
         return shown;
     },
     "-101  0", false},
    {"Finalize", Nothing,
     [] {
         Finalize();
         return Shown(G_LastError);
     },
     nullptr, false},
    {"GetLastErrCode", Nothing,
     [] {
         int32_t code = 0;
         GetLastErrCode(&code);
         return Shown(code);
     },
     nullptr, false},
    {"RememberedRequest", RememberRequests,
     [] {
         return Fetch([](char* out, int32_t* length) {
             return GenerateCertRequest(kSN, kDescription, out, length);
         });
     },
     nullptr, false},
    {"RememberedRequestOfABatch", RememberRequests,
     [] {
         return Fetch([](char* out, int32_t* length) {
             return Batch_InitAndGenerateCertRequest(kSN, 0, kDescription, out, length);
         });
     },
     nullptr, false},
    {"PackageOfSeveralItems", Nothing, [] { return Shown(Batch_ImportX509Cert(kSN, kPackage)); }},
    {"PackageOfOneText", Nothing, [] { return Shown(Batch_ImportX509Cert(kSN, "MII,a\r\n")); }},
    {"MalformedPackage", Nothing, [] { return Shown(Batch_ImportX509Cert(kSN, "Foo(X)")); }},
    {"Arrival", PlugAndDeliver<SLOT_DEVICEARRIVAL, 1>, WaitForAnEvent},
    {"Removal", PlugAndDeliver<SLOT_DEVICEREMOVE, 2>, WaitForAnEvent},
    {"RemovalFromAnUnknownSlot", PlugAndDeliver<SLOT_DEVICEREMOVE, 7>, WaitForAnEvent},
    {"MB2MBConverting", Nothing, Convert<0>, "-1  0"},
    {"MB2MBCopying", Nothing, Convert<1>},
    {"find_dir_file", Nothing, List, "-300  0"},
    {"GetBatchCertDataType", Nothing,
     [] { return Shown(ORVAL_ComFunc.GetBatchCertDataType(QRV::CString(kPackage))); }},
};

struct Seen {
    bool ran_out = false;
    bool failed = false;
    size_t live_blocks = 0;
    std::string given;
    std::vector<std::string> calls;
};

// The slots that a wait has found are remembered until the next one, which finds none here.
void ForgetSlots() {
    const failing_heap::Pause pause;
    Token().GetSlotList.Returns(1);
    Token().ContextInit.ReturnsOnce(1);
    WaitForAnEvent();
}

Seen See(const Scene& scene, Failing failing) {
    Seen seen;
    Initialize();
    scene.prepare();
    const size_t before = Calls().size();
    {
        const ScarceMemory memory(EveryKind(), failing);
        std::string given;
        seen.ran_out = RunsOutOfMemory([&] { given = scene.call(); });
        seen.failed = memory.Failed();
        const failing_heap::Pause pause;
        seen.given = given;
        seen.calls = Calls();
        given = std::string();
        ForgetSlots();
        seen.live_blocks = memory.LiveBlocks();
    }
    seen.calls.erase(seen.calls.begin(), seen.calls.begin() + static_cast<std::ptrdiff_t>(before));
    return seen;
}

class Memory : public testing::TestWithParam<Scene> {};

INSTANTIATE_TEST_SUITE_P(Scenes, Memory, testing::ValuesIn(kScenes),
                         [](const auto& scene) { return std::string(scene.param.name); });

TEST_P(Memory, ThatRunsOutIsToldAndTheNextCallWorks) {
    See(GetParam(), {});  // What is asked for once in a process has been asked for.
    const Seen usual = See(GetParam(), {});
    ASSERT_FALSE(usual.ran_out);
    ASSERT_EQ(usual.live_blocks, 0U);
    FailEachRequest([&](Failing failing) {
        const Seen seen = See(GetParam(), failing);
        EXPECT_EQ(seen.live_blocks, 0U);
        EXPECT_TRUE(seen.failed || (!seen.ran_out && seen.given == usual.given));
        EXPECT_TRUE(!seen.ran_out || GetParam().may_run_out);
        const bool lacks = GetParam().for_lack != nullptr && seen.given == GetParam().for_lack;
        EXPECT_TRUE(seen.ran_out || lacks || seen.given == usual.given) << seen.given;
        // The key was asked the same, up to where the call ended.
        EXPECT_TRUE(seen.calls.size() <= usual.calls.size() &&
                    std::equal(seen.calls.begin(), seen.calls.end(), usual.calls.begin()));
        const Seen next = See(GetParam(), {});
        EXPECT_EQ(next.given, usual.given);
        EXPECT_EQ(next.calls, usual.calls);
        return seen.failed;
    });
}

}  // namespace
