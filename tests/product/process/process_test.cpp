// At the edges of a process's life: late callers, forking, ways of loading, two copies.
// Closing and unloading are in unloading_test.cpp.
#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "client.h"
#include "forks.h"
#include "maker/places.h"

namespace {

LoadedProduct* g_product = nullptr;

void CallLate() {
    _exit(CallsOfEveryKindWork(*g_product) ? kFine : 1);
}

// An exit handler that was registered before the library was loaded runs after the library's own
// destructors.
TEST(LateCall, FromAnExitHandlerWorks) {
    EXPECT_EQ(StatusOfChild([] {
                  std::atexit(CallLate);
                  static LoadedProduct product(RTLD_LAZY);
                  g_product = &product;
                  if (!CallsOfEveryKindWork(product)) {
                      _exit(2);
                  }
              }),
              kFine);
}

TEST(LateCall, FromAStaticDestructorWorks) {
    struct Late {
        ~Late() { CallLate(); }
    };
    EXPECT_EQ(StatusOfChild([] {
                  static Late late;
                  static LoadedProduct product(RTLD_LAZY);
                  g_product = &product;
                  FUNCTION(product, Initialize)();
              }),
              kFine);
}

// The first call of all may be a late one.
TEST(LateCall, MayBeTheFirst) {
    EXPECT_EQ(StatusOfChild([] {
                  std::atexit(CallLate);
                  static LoadedProduct product(RTLD_LAZY);
                  g_product = &product;
              }),
              kFine);
}

int RequestsMade() {
    void* back_end = dlopen(maker::kBackendPath, RTLD_LAZY | RTLD_NOLOAD);
    return static_cast<const int*>(dlsym(back_end, "plain_calls"))[maker::SlotOf("GMCreatePKCS10")];
}

void FetchLate() {
    char request[64] = {};
    int32_t length = sizeof(request);
    const int32_t code =
        FUNCTION(*g_product, GenerateCertRequest)("SN", "CertType(1)", request, &length);
    _exit(code == 0 && RequestsMade() == 1 ? kFine : 1);
}

// The key is not asked for a second request.
TEST(LateCall, FetchesWhatTheSizeQueryMadeEarly) {
    EXPECT_EQ(StatusOfChild([] {
                  std::atexit(FetchLate);
                  static LoadedProduct product(RTLD_LAZY);
                  g_product = &product;
                  int32_t length = 0;
                  FUNCTION(product, GenerateCertRequest)("SN", "CertType(1)", nullptr, &length);
              }),
              kFine);
}

void WaitLate() {
    WaitingThread waiting(*g_product);
    waiting.StopAndJoin();
    _exit(waiting.Event() == ORVAL_WAIT_STOPPED ? kFine : 1);
}

TEST(LateCall, MayEvenWaitForAKey) {
    EXPECT_EQ(StatusOfChild([] {
                  std::atexit(WaitLate);
                  static LoadedProduct product(RTLD_LAZY);
                  g_product = &product;
              }),
              kFine);
}

// A wait and its stop may be the first two calls of a client, and each of them binds. Under the
// thread sanitizer this shows that they may do so at once.
TEST(Binding, OnTwoThreadsAtOnceWorks) {
    LoadedProduct product(RTLD_LAZY);
    for (int round = 0; round < 50; ++round) {
        FUNCTION(product, Finalize)();
        std::atomic<int> ready{0};
        int32_t results[2] = {-1, -1};
        const auto bind = [&](int32_t& result) {
            ++ready;
            while (ready < 2) {
            }
            result = FUNCTION(product, Initialize)();
        };
        std::thread other([&] { bind(results[1]); });
        bind(results[0]);
        other.join();
        ASSERT_EQ(results[0], 0);
        ASSERT_EQ(results[1], 0);
    }
    EXPECT_TRUE(CallsOfEveryKindWork(product));
}

// Loads copies of the back-end, which fit wherever it fits, until one lies at an address that it
// had. Returns that one's handle, or null.
void* LoadCopyAt(const void* address) {
    constexpr int kCopies = 64;
    for (int number = 0; number < kCopies; ++number) {
        const std::string folder = "/tmp/copy" + std::to_string(number);
        EXPECT_EQ(mkdir(folder.c_str(), 0700), 0);
        const std::string path = CopyOf(maker::kBackendPath, folder + "/libOrvalKPX.so");
        void* copy = dlopen(path.c_str(), RTLD_NOW);
        EXPECT_NE(copy, nullptr) << dlerror();
        Dl_info info = {};
        if (dladdr(address, &info) != 0 && info.dli_fname == path) {
            return copy;
        }
    }
    return nullptr;
}

TEST(Binding, ThatIsGoneReachesNoLibraryAtTheSameAddress) {
    constexpr size_t kVerifyPinSlot = maker::SlotOf("VerifyPIN");
    LoadedProduct product(RTLD_LAZY);
    ASSERT_EQ(FUNCTION(product, VerifyPIN)("SN"), 0);
    auto* slots = product.Find<void*>("ORVAL_ComFunc");
    product.Find<int32_t(void*)>("_ZN14CommonFunction8FreeFuncEv")(slots);
    void* copy = LoadCopyAt(slots[kVerifyPinSlot]);
    if (copy == nullptr && *ORVAL_EMULATOR != '\0') {
        GTEST_SKIP() << "the emulator does not give an address out again";
    }
    ASSERT_NE(copy, nullptr);
    ASSERT_EQ(dlsym(copy, "VerifyPIN"), slots[kVerifyPinSlot]);
    EXPECT_EQ(FUNCTION(product, VerifyPIN)("SN"), ORVAL_BACKEND_UNAVAILABLE);
    EXPECT_EQ(static_cast<const int*>(dlsym(copy, "plain_calls"))[kVerifyPinSlot], 0);
}

TEST(Fork, ChildGoesOnWithTheLibrary) {
    LoadedProduct product(RTLD_LAZY);
    FUNCTION(product, Initialize)();
    EXPECT_EQ(StatusOfChild([&] { _exit(CallsOfEveryKindWork(product) ? kFine : 1); }), kFine);
    EXPECT_TRUE(CallsOfEveryKindWork(product));
}

// The waiting thread does not exist in the child; the child's own wait and stop work all the same.
TEST(Fork, WhileAWaitRunsLeavesTheChildAbleToWait) {
    SKIP_WHERE_FORKS_HANG();
    LoadedProduct product(RTLD_LAZY);
    WaitingThread waiting(product);
    EXPECT_EQ(StatusOfChild([&] {
                  WaitingThread inner(product);
                  inner.StopAndJoin();
                  _exit(inner.Event() == ORVAL_WAIT_STOPPED ? kFine : 1);
              }),
              kFine);
    waiting.StopAndJoin();
    EXPECT_EQ(waiting.Event(), uint32_t{ORVAL_WAIT_STOPPED});
}

// What the program does instead of testing when it is executed with this argument.
constexpr const char* kFreshProcess = "--fresh-process";

// The library is loaded, and nobody has initialised it here.
int RunAsFreshProcess() {
    LoadedProduct product(RTLD_LAZY);
    const bool fresh = *product.Find<uint8_t>("g_initFlag") == 0 && product.LastError() == 0;
    return fresh && CallsOfEveryKindWork(product) && *product.Find<uint8_t>("g_initFlag") == 1
               ? kFine
               : 1;
}

// A program for another machine runs under its emulator again: the kernel here cannot start it.
[[noreturn]] void ExecThisProgram() {
    char self[PATH_MAX] = {};
    static_cast<void>(!readlink("/proc/self/exe", self, sizeof(self) - 1));
    const char* emulator = ORVAL_EMULATOR;
    if (*emulator == '\0') {
        execl(self, self, kFreshProcess, static_cast<char*>(nullptr));
    } else {
        execlp(emulator, emulator, self, kFreshProcess, static_cast<char*>(nullptr));
    }
    _exit(2);
}

TEST(Fork, WithExecStartsAFreshProcess) {
    LoadedProduct product(RTLD_LAZY);
    FUNCTION(product, Initialize)();
    EXPECT_EQ(StatusOfChild([] { ExecThisProgram(); }), kFine);
    EXPECT_TRUE(CallsOfEveryKindWork(product));
}

class Loading : public testing::TestWithParam<int> {};

TEST_P(Loading, WorksInEveryMode) {
    LoadedProduct product(GetParam());
    EXPECT_TRUE(CallsOfEveryKindWork(product));
}

constexpr int kModes[] = {
    RTLD_LAZY | RTLD_LOCAL,    RTLD_LAZY | RTLD_GLOBAL,  RTLD_NOW | RTLD_LOCAL,
    RTLD_NOW | RTLD_GLOBAL,    RTLD_NOW | RTLD_NODELETE,
#ifndef ORVAL_SANITIZED  // a sanitizer's runtime refuses to be bound deeply
    RTLD_LAZY | RTLD_DEEPBIND, RTLD_NOW | RTLD_DEEPBIND,
#endif
};

INSTANTIATE_TEST_SUITE_P(Modes, Loading, testing::ValuesIn(kModes));

TEST(TwoCopies, LoadedLocallyAreIndependent) {
    LoadedProduct first(RTLD_NOW | RTLD_LOCAL);
    LoadedProduct second(RTLD_NOW | RTLD_LOCAL, CopyOf(ORVAL_PRODUCT_PATH, "/tmp/second_copy.so"));
    FUNCTION(first, GetLastErrCode)(nullptr);
    EXPECT_EQ(first.LastError(), ORVAL_INVALID_ARGUMENT);
    EXPECT_EQ(second.LastError(), 0);
    EXPECT_TRUE(CallsOfEveryKindWork(first));
    EXPECT_TRUE(CallsOfEveryKindWork(second));
}

// The second copy's variables are the first one's then, by the loader's rule for data: one last
// error, one table. Both go on working.
TEST(TwoCopies, BehindAGlobalOneShareItsState) {
    LoadedProduct first(RTLD_NOW | RTLD_GLOBAL);
    EXPECT_TRUE(CallsOfEveryKindWork(first));
    LoadedProduct second(RTLD_NOW | RTLD_GLOBAL, CopyOf(ORVAL_PRODUCT_PATH, "/tmp/second_copy.so"));
    EXPECT_TRUE(CallsOfEveryKindWork(second));
    FUNCTION(second, GetLastErrCode)(nullptr);
    EXPECT_EQ(first.LastError(), ORVAL_INVALID_ARGUMENT);
    EXPECT_TRUE(CallsOfEveryKindWork(first));
}

TEST(TwoCopies, EndTogetherWithoutACrash) {
    EXPECT_EQ(StatusOfChild([] {
                  std::atexit(CallLate);
                  static LoadedProduct product(RTLD_NOW | RTLD_GLOBAL);
                  static LoadedProduct second(RTLD_NOW | RTLD_GLOBAL,
                                              CopyOf(ORVAL_PRODUCT_PATH, "/tmp/second_copy.so"));
                  g_product = &product;
                  if (!CallsOfEveryKindWork(second)) {
                      _exit(2);
                  }
              }),
              kFine);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == kFreshProcess) {
        return RunAsFreshProcess();
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
