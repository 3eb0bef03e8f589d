// Closing the library: what goes with it, what a wait keeps, and which copy it keeps.
#include <sys/stat.h>

#include <functional>
#include <utility>
#include <vector>

#include "client.h"
#include "growth.h"

namespace {

// A string of the product's own, as C++ clients hold them, made, changed and released.
void UseAString(const LoadedProduct& product) {
    using Make = void(char** string, const char* text);
    using Replace = int32_t(char** string, const char* from, const char* to);
    using Free = void(void* manager, void* block);
    constexpr size_t kHeader = 24;
    char* string = nullptr;
    product.Find<Make>("_ZN3QRV8CStringTIcNS_11StrTraitQRVIcNS_10ChTraitsExIcEEEEEC1EPKc")(&string,
                                                                                           "a,b");
    EXPECT_EQ(product.Find<Replace>("_ZN3QRV8CStringTIcNS_11StrTraitQRVIcNS_10ChTraitsExIcEEEEE"
                                    "7ReplaceEPKcS7_")(&string, ",", "||"),
              1);
    EXPECT_STREQ(string, "a||b");
    product.Find<Free>("_ZN3QRV13CQrvBufferMgr4FreeEPNS_11CBufferDataE")(
        product.Find<void>("_ZN3QRV8g_bufmgrE"), string - kHeader);
}

void ConvertAText(const LoadedProduct& product) {
    using MB2MB = int32_t(void*, uint32_t, const char*, uint32_t, char**, uint32_t*);
    char* converted = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(product.Find<MB2MB>("_ZN14CommonFunction5MB2MBEjPKcjPPcPj")(
                  product.Find<void>("ORVAL_ComFunc"), 0, "\xE9\x92\xA5", 3, &converted, &length),
              0);
    EXPECT_EQ(std::string(converted, length), "\xD4\xBF");
    delete[] converted;
}

void CatchAnException(const LoadedProduct& product) {
    int32_t length = 0;
    EXPECT_ANY_THROW(FUNCTION(product, GenerateCertRequest)("SN", "CertType", nullptr, &length));
}

// All that a client may do but for waiting. The last request is left in the cache.
void UseWithoutWaiting(const LoadedProduct& product) {
    EXPECT_EQ(FUNCTION(product, Initialize)(), 0);
    UseAString(product);
    ConvertAText(product);
    CatchAnException(product);
    EXPECT_EQ(FUNCTION(product, StopDetectUKey)(), 0);
    EXPECT_EQ(FUNCTION(product, CheckDriverIntegrity)(1), 0);
    EXPECT_TRUE(CallsOfEveryKindWork(product));
}

TEST(Unloading, LeavesNothingOfTheLibraryMapped) {
    for (int round = 0; round < 2; ++round) {
        LoadedProduct product(RTLD_LAZY);
        ASSERT_TRUE(IsMapped(ProductFile()));
        UseWithoutWaiting(product);
        product.Close();
        EXPECT_FALSE(IsMapped(ProductFile()));
    }
}

// What a client sees of the process-wide state.
struct State {
    explicit State(const LoadedProduct& product)
        : slots(product.Find<void*>("ORVAL_ComFunc"),
                product.Find<void*>("ORVAL_ComFunc") + maker::kHandleSlot + 1),
          nil_references(product.Find<int64_t>("_ZN3QRV8g_bufmgrE")[4]),
          init_flag(*product.Find<uint8_t>("g_initFlag")),
          last_error(product.LastError()) {}

    std::vector<void*> slots;
    int64_t nil_references;
    int init_flag;
    int32_t last_error;
};

TEST(Unloading, AndLoadingAgainBeginsAnew) {
    LoadedProduct product(RTLD_LAZY);
    UseWithoutWaiting(product);
    FUNCTION(product, GetLastErrCode)(nullptr);
    product.Close();
    LoadedProduct again(RTLD_LAZY);
    const State state(again);
    EXPECT_EQ(state.slots, std::vector<void*>(maker::kHandleSlot + 1));
    EXPECT_EQ(state.nil_references, 2);
    EXPECT_EQ(state.init_flag, 0);
    EXPECT_EQ(state.last_error, 0);
    EXPECT_EQ(FUNCTION(again, InitUKey)("SN"), ORVAL_NOT_INITIALIZED);
    UseWithoutWaiting(again);
    EXPECT_EQ(FUNCTION(again, InitUKey)("SN"), 0);
}

TEST(Unloading, HappensAtTheLastClose) {
    LoadedProduct product(RTLD_LAZY);
    LoadedProduct same(RTLD_NOW);
    UseWithoutWaiting(product);
    product.Close();
    EXPECT_EQ(*same.Find<uint8_t>("g_initFlag"), 1);
    EXPECT_TRUE(CallsOfEveryKindWork(same));
    same.Close();
    EXPECT_FALSE(IsMapped(ProductFile()));
}

TEST(Unloading, OverAndOverLeaksNothing) {
    growth::ExpectNone("times loaded, used and unloaded", growth::Rounds(200, 10'000), [] {
        LoadedProduct product(RTLD_LAZY);
        UseWithoutWaiting(product);
        product.Close();
    });
}

TEST(Unloading, InAForkedChildIsTheChildsAlone) {
    LoadedProduct product(RTLD_LAZY);
    UseWithoutWaiting(product);
    EXPECT_EQ(StatusOfChild([&] {
                  product.Close();
                  _exit(IsMapped(ProductFile()) ? 1 : kFine);
              }),
              kFine);
    EXPECT_TRUE(CallsOfEveryKindWork(product));
}

LoadedProduct* g_product = nullptr;

// Its destructors have run when this does, and run no second time.
void CallLateAndUnload() {
    UseWithoutWaiting(*g_product);
    g_product->Close();
    LoadedProduct again(RTLD_LAZY);
    const bool anew = *again.Find<uint8_t>("g_initFlag") == 0;
    UseWithoutWaiting(again);
    again.Close();
    _exit(anew && !IsMapped(ProductFile()) && !testing::Test::HasFailure() ? kFine : 1);
}

TEST(Unloading, WhileTheProcessEndsWorks) {
    EXPECT_EQ(StatusOfChild([] {
                  std::atexit(CallLateAndUnload);
                  static LoadedProduct product(RTLD_LAZY);
                  g_product = &product;
                  UseWithoutWaiting(product);
              }),
              kFine);
}

TEST(Unloading, OfTwoCopiesTakesOne) {
    LoadedProduct first(RTLD_NOW | RTLD_LOCAL);
    LoadedProduct second(RTLD_NOW | RTLD_LOCAL, CopyOf(ORVAL_PRODUCT_PATH, "/tmp/second_copy.so"));
    UseWithoutWaiting(first);
    UseWithoutWaiting(second);
    first.Close();
    EXPECT_FALSE(IsMapped(ProductFile()));
    EXPECT_TRUE(CallsOfEveryKindWork(second));
    second.Close();
    EXPECT_FALSE(IsMapped("/tmp/second_copy.so"));
}

// The second copy's variables are the first one's, so the loader keeps that one for it.
TEST(Unloading, OfAGlobalCopyWaitsForTheOneThatSharesItsState) {
    LoadedProduct first(RTLD_NOW | RTLD_GLOBAL);
    UseWithoutWaiting(first);
    LoadedProduct second(RTLD_NOW | RTLD_GLOBAL, CopyOf(ORVAL_PRODUCT_PATH, "/tmp/second_copy.so"));
    UseWithoutWaiting(second);
    first.Close();
    UseWithoutWaiting(second);
    second.Close();
    EXPECT_FALSE(IsMapped(ProductFile()));
    EXPECT_FALSE(IsMapped("/tmp/second_copy.so"));
}

// What the token library does while a wait runs through it, on the waiting thread.
std::string g_closing_function;
decltype(&StopDetectUKey) g_stop = nullptr;

void CloseDuring(const char* function) {
    if (g_closing_function == function) {
        g_closing_function.clear();
        g_product->Close();
    }
    if (std::string(function) == "VexaT_WaitForEvent") {
        g_stop();
    }
}

void StopAtOnce(const char* /*function*/) {
    g_stop();
}

// One wait that ends as stopped.
void Wait(const LoadedProduct& product, PlainTokenCall call) {
    g_stop = FUNCTION(product, StopDetectUKey);
    WatchToken(product, call);
    const auto wait = FUNCTION(product, WaitForKeyEvent);
    char number[17] = {};
    uint32_t length = 0;
    uint32_t event = 0;
    EXPECT_EQ(wait(&event, number, &length), 0);
    EXPECT_EQ(event, uint32_t{ORVAL_WAIT_STOPPED});
}

class ClosingIn : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Wait, ClosingIn,
                         testing::Values("VexaT_GetSlotList", "VexaT_GetDeviceInfo",
                                         "VexaT_ContextInit", "VexaT_WaitForEvent"),
                         [](const auto& function) { return std::string(function.param); });

TEST_P(ClosingIn, LeavesTheCodeThatWaitsInPlace) {
    EXPECT_EQ(StatusOfChild([] {
                  static LoadedProduct product(RTLD_LAZY);
                  g_product = &product;
                  g_closing_function = GetParam();
                  Wait(product, CloseDuring);
                  const bool kept = g_closing_function.empty() && IsMapped(ProductFile());
                  _exit(kept && !testing::Test::HasFailure() ? kFine : 1);
              }),
              kFine);
}

std::atomic<int> g_attempts{0};

void CountAttempts(const char* function) {
    g_attempts += std::string(function) == "VexaT_WaitForEvent" ? 1 : 0;
}

void AwaitAttempts(int count) {
    while (g_attempts < count) {
        std::this_thread::yield();
    }
}

TEST(Closing, WhileAWaitRunsLeavesTheWaitRunning) {
    LoadedProduct product(RTLD_LAZY);
    WatchToken(product, CountAttempts);
    WaitingThread waiting(product);
    AwaitAttempts(1);
    product.Close();
    AwaitAttempts(3);
    waiting.StopAndJoin();
    EXPECT_EQ(waiting.Event(), uint32_t{ORVAL_WAIT_STOPPED});
    EXPECT_EQ(waiting.Result(), 0);
}

TEST(Closing, InAForkedChildLeavesTheParentsWaitRunning) {
    LoadedProduct product(RTLD_LAZY);
    WatchToken(product, CountAttempts);
    WaitingThread waiting(product);
    AwaitAttempts(1);
    EXPECT_EQ(StatusOfChild([&] {
                  product.Close();
                  _exit(kFine);
              }),
              kFine);
    AwaitAttempts(g_attempts + 2);
    waiting.StopAndJoin();
    EXPECT_EQ(waiting.Event(), uint32_t{ORVAL_WAIT_STOPPED});
}

TEST(Closing, AfterAWaitAndLoadingAgainFindsTheSameLibrary) {
    LoadedProduct product(RTLD_LAZY);
    UseWithoutWaiting(product);
    Wait(product, StopAtOnce);
    product.Close();
    EXPECT_TRUE(IsMapped(ProductFile()));
    LoadedProduct again(RTLD_LAZY);
    EXPECT_EQ(*again.Find<uint8_t>("g_initFlag"), 1);
    UseWithoutWaiting(again);
}

// However a client opened the library that waits, it is the one that stays, and no other copy.
struct Opening {
    const char* name;
    const char* path;
    std::function<void()> meanwhile;  // between the opening and the wait
};

void PrintTo(const Opening& opening, std::ostream* out) {
    *out << opening.name;
}

constexpr const char* kWaiting = "/tmp/one/liborval_unified_kpxukey.so";
constexpr const char* kOther = "/tmp/two/liborval_unified_kpxukey.so";
constexpr const char* kLink = "/tmp/link.so";

void PointLinkTo(const char* target) {
    unlink(kLink);
    ASSERT_EQ(symlink(target, kLink), 0);
}

const Opening kOpenings[] = {
    {"AbsolutePath", kWaiting, [] {}},
    {"RelativePath", "one/../one/liborval_unified_kpxukey.so", [] {}},
    {"RelativePathOfAFolderSinceLeft", "./one/liborval_unified_kpxukey.so",
     [] { ASSERT_EQ(chdir("/"), 0); }},
    {"RelativePathThatNowLeadsToTheOther", "one/liborval_unified_kpxukey.so",
     [] {
         ASSERT_EQ(rename("/tmp/one", "/tmp/three"), 0);
         ASSERT_EQ(rename("/tmp/two", "/tmp/one"), 0);
     }},
    {"PathOfAFileSinceRemoved", kWaiting, [] { ASSERT_EQ(unlink(kWaiting), 0); }},
    {"LinkThatNowLeadsToTheOther", kLink, [] { PointLinkTo(kOther); }},
};

class Pinning : public testing::TestWithParam<std::tuple<Opening, bool>> {
 protected:
    void SetUp() override {
        ASSERT_EQ(mkdir("/tmp/one", 0700), 0);
        ASSERT_EQ(mkdir("/tmp/two", 0700), 0);
        CopyOf(ORVAL_PRODUCT_PATH, kWaiting);
        CopyOf(ORVAL_PRODUCT_PATH, kOther);
        PointLinkTo(kWaiting);
        ASSERT_EQ(chdir("/tmp"), 0);
    }
};

INSTANTIATE_TEST_SUITE_P(Wait, Pinning,
                         testing::Combine(testing::ValuesIn(kOpenings), testing::Bool()),
                         [](const auto& opening) {
                             return std::get<0>(opening.param).name +
                                    std::string(std::get<1>(opening.param) ? "BehindACopy"
                                                                           : "BeforeACopy");
                         });

TEST_P(Pinning, KeepsTheCopyThatWaitsAndNoOther) {
    const auto& [opening, behind] = GetParam();
    const auto load = [](const char* path) { return LoadedProduct(RTLD_NOW | RTLD_LOCAL, path); };
    LoadedProduct first = load(behind ? kOther : opening.path);
    LoadedProduct second = load(behind ? opening.path : kOther);
    LoadedProduct& waiting = behind ? second : first;
    LoadedProduct& other = behind ? first : second;
    UseWithoutWaiting(other);
    opening.meanwhile();
    Wait(waiting, StopAtOnce);
    const auto* flag = waiting.Find<uint8_t>("g_initFlag");
    const void* gone = other.Find<uint8_t>("g_initFlag");
    waiting.Close();
    other.Close();
    Dl_info info = {};
    EXPECT_NE(dladdr(flag, &info), 0);
    EXPECT_EQ(*flag, 1);
    EXPECT_EQ(dladdr(gone, &info), 0);
}

}  // namespace
