#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>

#include <array>

#include "api_test.h"
#include "common/commonfunction.h"
#include "qrv/process_objects.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";
constexpr size_t kHandleSlot = maker::kHandleSlot;

// What is known of the interface, written out once more: a slip in the list would change both the
// product and what the tests expect of it.

// The entries by slot.
constexpr const char* kSlotNames[] = {
    "CheckDeviceEx",        "GetLabel",         "SetLabel",          "ChangePin",
    "CustInitCard",         "GMCreatePKCS10",   "GMWritePKCS7",      "GetCertInfo",
    "GM_GetCertDN",         "UOS_SetCharset",   "UOS_SetLanguage",   "SetWarningMsg",
    "GMUsbKeyCriticalSign", "GetMediaID",       "GM_RemoveUserPin",  "GMImportPriKey",
    "GMUsbKeyCommonSign",   "GMUSBKeyAsymDec2", "GMCreatePKCS10Ex",  "X_ErrorConvert_UOS",
    "DelCertAndTempKey",    "VerifyPIN",        "VerifyAndCachePin", "GetPinInfo",
    "GetCertInfo_UOS",      "SetData",          "GetData",           "Batch_Sign",
    "SetCachePinFlag"};
static_assert(std::size(kSlotNames) == maker::kEntryCount, "a new entry? Then write its name here");

// The slots in the order of their look-up.
constexpr size_t kLookUpOrder[] = {0,  3,  4,  5,  6,  1,  2,  7,  8,  9,  10, 11, 12, 13, 14,
                                   15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28};
static_assert(std::size(kLookUpOrder) == maker::kEntryCount,
              "a new entry? Then write its place in the look-up here");

using Slots = std::array<void*, maker::kHandleSlot + 1>;
static_assert(sizeof(Slots) == sizeof(CommonFunction));

Slots ReadSlots() {
    Slots slots;
    std::memcpy(slots.data(), static_cast<const void*>(&ORVAL_ComFunc), sizeof(slots));
    return slots;
}

void* Marker(size_t slot) {
    return reinterpret_cast<void*>(0x1000 + slot);
}

// Gives the entries' slots values of which no look-up can be the source.
void MarkSlots() {
    Slots slots = ReadSlots();
    for (size_t slot = 0; slot < kHandleSlot; ++slot) {
        slots[slot] = Marker(slot);
    }
    std::memcpy(static_cast<void*>(&ORVAL_ComFunc), slots.data(), sizeof(slots));
}

// What the loader was asked for.
struct Loader {
    Loader() {
        Libc().dlopen.replacement = [this](const char* path, int mode) {
            opened.emplace_back(path);
            modes.push_back(mode);
            return refuses ? nullptr : Libc().dlopen.real(path, mode);
        };
        Libc().dlclose.replacement = [this](void* handle) {
            closed.push_back(handle);
            return Libc().dlclose.real(handle);
        };
    }
    ~Loader() {
        Libc().dlopen.replacement = nullptr;
        Libc().dlclose.replacement = nullptr;
    }

    std::vector<std::string> opened;
    std::vector<int> modes;
    std::vector<void*> closed;
    bool refuses = false;
};

TEST(Load, LoadsNothingAndLeavesEverythingEmpty) {
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(ReadSlots(), Slots{});
    EXPECT_FALSE(scripted::BackendIsLoaded());
    EXPECT_EQ(LogText(), "");
}

TEST(Initialize, BindsEachSlotToItsEntry) {
    EXPECT_EQ(Initialize(), 0);
    void* library = dlopen(maker::kBackendPath, RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    const Slots slots = ReadSlots();
    for (size_t slot = 0; slot < kHandleSlot; ++slot) {
        EXPECT_EQ(slots[slot], dlsym(library, kSlotNames[slot])) << kSlotNames[slot];
    }
    EXPECT_EQ(slots[kHandleSlot], library);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
    dlclose(library);
}

TEST(Initialize, OpensTheApplicationsLibraryLazily) {
    const Loader loader;
    EXPECT_EQ(Initialize(), 0);
    EXPECT_THAT(loader.opened, ElementsAre("/opt/apps/com.kpx.uosorval/files/bin/libOrvalKPX.so"));
    EXPECT_THAT(loader.modes, ElementsAre(1));
    EXPECT_THAT(loader.closed, IsEmpty());
}

TEST(Initialize, ResetsTheLastError) {
    G_LastError = 77;
    EXPECT_EQ(Initialize(), 0);
    EXPECT_EQ(G_LastError, 0);
}

TEST(Initialize, TwiceBindsAnewAndClosesNothing) {
    const Loader loader;
    EXPECT_EQ(Initialize(), 0);
    const Slots bound = ReadSlots();
    MarkSlots();
    EXPECT_EQ(Initialize(), 0);
    EXPECT_EQ(ReadSlots(), bound);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(loader.opened.size(), 2U);
    EXPECT_THAT(loader.closed, IsEmpty());
}

TEST(Initialize, MissingLibraryIsUnavailable) {
    scripted::RemoveBackend();
    const Loader loader;
    G_LastError = 77;
    EXPECT_EQ(Initialize(), -101);
    EXPECT_EQ(G_LastError, -101);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(ReadSlots(), Slots{});
    EXPECT_THAT(loader.closed, IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(Initialize, UnreadableDirectoryIsUnavailable) {
    ASSERT_EQ(chmod(maker::kApplicationDirectory, 0), 0);
    EXPECT_EQ(Initialize(), -101);
    EXPECT_EQ(G_LastError, -101);
    EXPECT_EQ(g_initFlag, 0);
}

TEST(Initialize, SucceedsOnceTheLibraryIsThere) {
    scripted::RemoveBackend();
    EXPECT_EQ(Initialize(), -101);
    scripted::UseBackend();
    EXPECT_EQ(Initialize(), 0);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_EQ(G_LastError, 0);
}

TEST(Initialize, FailureLeavesTheFlagAndTheSlotsAsTheyWere) {
    Loader loader;
    EXPECT_EQ(Initialize(), 0);
    Slots bound = ReadSlots();
    loader.refuses = true;
    EXPECT_EQ(Initialize(), -101);
    EXPECT_EQ(G_LastError, -101);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(loader.closed, IsEmpty());
    bound[kHandleSlot] = nullptr;
    EXPECT_EQ(ReadSlots(), bound);
}

class MissingEntry : public testing::TestWithParam<size_t> {
 protected:
    // Where in the order of look-ups the missing entry stands.
    static size_t Position() { return GetParam(); }
    static size_t MissingSlot() { return kLookUpOrder[Position()]; }
};

INSTANTIATE_TEST_SUITE_P(Initialize, MissingEntry, testing::Range(size_t{0}, maker::kEntryCount),
                         [](const auto& position) {
                             return std::string(kSlotNames[kLookUpOrder[position.param]]);
                         });

TEST_P(MissingEntry, FailsTheBindAndClosesTheLibrary) {
    scripted::UseBackendWithout(kSlotNames[MissingSlot()]);
    const Loader loader;
    EXPECT_EQ(Initialize(), -101);
    EXPECT_EQ(G_LastError, -101);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(loader.opened.size(), 1U);
    EXPECT_EQ(loader.closed.size(), 1U);
    EXPECT_EQ(ReadSlots()[kHandleSlot], nullptr);
    EXPECT_FALSE(scripted::BackendIsLoaded());
    EXPECT_EQ(LogText(), "");
}

// In the order of look-ups: those before it are bound, it is empty, those behind it keep what they
// held.
TEST_P(MissingEntry, LeavesTheSlotsPartlySet) {
    scripted::UseBackendWithout(kSlotNames[MissingSlot()]);
    MarkSlots();
    EXPECT_EQ(Initialize(), -101);
    const Slots slots = ReadSlots();
    for (size_t position = 0; position < std::size(kLookUpOrder); ++position) {
        const size_t slot = kLookUpOrder[position];
        if (position < Position()) {
            EXPECT_NE(slots[slot], Marker(slot)) << kSlotNames[slot];
            EXPECT_NE(slots[slot], nullptr) << kSlotNames[slot];
        } else {
            EXPECT_EQ(slots[slot], position == Position() ? nullptr : Marker(slot))
                << kSlotNames[slot];
        }
    }
}

TEST_P(MissingEntry, NextCallTriesAgain) {
    scripted::UseBackendWithout(kSlotNames[MissingSlot()]);
    EXPECT_EQ(Initialize(), -101);
    scripted::UseBackend();
    Key().VerifyPIN.Returns(5);
    EXPECT_EQ(VerifyPIN(kSerialNumber), 5);
    EXPECT_EQ(g_initFlag, 1);
}

TEST(CommonFunctionInit, SuccessLeavesTheLastErrorAlone) {
    G_LastError = 77;
    EXPECT_EQ(ORVAL_ComFunc.init(), 0);
    EXPECT_EQ(G_LastError, 77);
    EXPECT_EQ(g_initFlag, 0);
}

TEST(CommonFunctionInit, FailureSetsTheLastError) {
    scripted::RemoveBackend();
    G_LastError = 77;
    EXPECT_EQ(ORVAL_ComFunc.init(), -101);
    EXPECT_EQ(G_LastError, -101);
}

TEST(FreeFunc, ClosesTheLibraryAndKeepsTheEntrySlots) {
    ASSERT_EQ(Initialize(), 0);
    Slots bound = ReadSlots();
    const Loader loader;
    G_LastError = 77;
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    EXPECT_THAT(loader.closed, ElementsAre(bound[kHandleSlot]));
    EXPECT_FALSE(scripted::BackendIsLoaded());
    bound[kHandleSlot] = nullptr;
    EXPECT_EQ(ReadSlots(), bound);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_EQ(G_LastError, 77);
}

TEST(FreeFunc, WithoutALibraryDoesNothing) {
    const Loader loader;
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    EXPECT_THAT(loader.closed, IsEmpty());
}

TEST(FreeFunc, GivesBackOneReferenceOnly) {
    ASSERT_EQ(Initialize(), 0);
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    EXPECT_TRUE(scripted::BackendIsLoaded());
}

TEST(CommonFunctionDestructor, KeepsTheLibraryAndTheSlots) {
    ASSERT_EQ(Initialize(), 0);
    const Slots bound = ReadSlots();
    ORVAL_ComFunc.~CommonFunction();
    EXPECT_EQ(ReadSlots(), bound);
    EXPECT_TRUE(scripted::BackendIsLoaded());
}

TEST(Finalize, ClearsTheFlagAndTheLastErrorOnly) {
    ASSERT_EQ(Initialize(), 0);
    const Slots bound = ReadSlots();
    const Loader loader;
    G_LastError = 77;
    Finalize();
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(ReadSlots(), bound);
    EXPECT_THAT(loader.closed, IsEmpty());
    EXPECT_TRUE(scripted::BackendIsLoaded());
    EXPECT_EQ(LogText(), "");
}

TEST(Finalize, BeforeInitializeIsHarmless) {
    G_LastError = 77;
    Finalize();
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_FALSE(scripted::BackendIsLoaded());
}

TEST(Finalize, NextCallBindsAgain) {
    ASSERT_EQ(Initialize(), 0);
    Finalize();
    MarkSlots();
    const Loader loader;
    Key().VerifyPIN.Returns(5);
    EXPECT_EQ(VerifyPIN(kSerialNumber), 5);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_EQ(loader.opened.size(), 1U);
}

TEST(InitFlag, WhenSetNothingIsBound) {
    g_initFlag = 1;
    EXPECT_EQ(VerifyPIN(kSerialNumber), -101);
    EXPECT_EQ(G_LastError, -101);
    EXPECT_FALSE(scripted::BackendIsLoaded());
}

TEST(FreeFunc, LaterCallsAnswerUnavailable) {
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    EXPECT_EQ(VerifyPIN(kSerialNumber), -101);
    EXPECT_EQ(G_LastError, -101);
}

int32_t ReachedAtTheOldAddress(const char* /*szSN*/) {
    ADD_FAILURE() << "the back-end is gone, and what lies in its place was called";
    return 0;
}

TEST(FreeFunc, LaterCallsDoNotReachWhatLiesWhereTheLibraryWas) {
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    ORVAL_ComFunc.VerifyPIN = ReachedAtTheOldAddress;
    EXPECT_EQ(VerifyPIN(kSerialNumber), -101);
    EXPECT_EQ(G_LastError, -101);
}

TEST(FreeFunc, LaterCallsReachALibraryThatTheClientHoldsToo) {
    void* held = dlopen(maker::kBackendPath, RTLD_LAZY);
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    Key().VerifyPIN.Returns(5);
    EXPECT_EQ(VerifyPIN(kSerialNumber), 5);
    dlclose(held);
    EXPECT_EQ(VerifyPIN(kSerialNumber), -101);
}

// The loader knows the library by the name under which it was opened first.
TEST(FreeFunc, LaterCallsReachALibraryThatTheClientOpenedByAnotherName) {
    char file[PATH_MAX] = {};
    ASSERT_NE(realpath(maker::kBackendPath, file), nullptr);
    ASSERT_STRNE(file, maker::kBackendPath);
    ASSERT_NE(dlopen(file, RTLD_LAZY), nullptr);
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(ORVAL_ComFunc.FreeFunc(), 0);
    Key().VerifyPIN.Returns(5);
    EXPECT_EQ(VerifyPIN(kSerialNumber), 5);
}

// A client that was bound goes on with what is bound: the library is still loaded.
TEST(Initialize, ThatFailsLaterLeavesBoundEntriesCallable) {
    Loader loader;
    ASSERT_EQ(Initialize(), 0);
    loader.refuses = true;
    EXPECT_EQ(Initialize(), -101);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_EQ(VerifyPIN(kSerialNumber), 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), testing::SizeIs(1));
}

TEST(SetCachePinFlag, BeforeAnyOtherCallFindsItsSlotEmpty) {
    EXPECT_EQ(SetCachePinFlag(kSerialNumber, 1), -101);
    EXPECT_EQ(G_LastError, -101);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_FALSE(scripted::BackendIsLoaded());
    EXPECT_EQ(LogText(), "");
}

TEST(SetCachePinFlag, AfterFinalizeFindsItsSlotStillSet) {
    ASSERT_EQ(Initialize(), 0);
    Finalize();
    Key().SetCachePinFlag.Returns(5);
    EXPECT_EQ(SetCachePinFlag(kSerialNumber, 1), 5);
    EXPECT_EQ(g_initFlag, 0);
}

TEST(MemcpyS, CopiesWhatFits) {
    const char source[] = "abcd";
    char target[] = "wxyz";
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, 4, source, 3), 0);
    EXPECT_STREQ(target, "abcz");
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, 4, source, 4), 0);
    EXPECT_STREQ(target, "abcd");
}

TEST(MemcpyS, NothingToCopyLeavesTheTarget) {
    char target[] = "wxyz";
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, 0, "a", 0), 0);
    EXPECT_STREQ(target, "wxyz");
}

TEST(MemcpyS, TooLargeACountIsFoundFirst) {
    char target[] = "wxyz";
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, 4, "abcdef", 5), 1);
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, 4, nullptr, 5), 1);
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(nullptr, 4, nullptr, 5), 1);
    EXPECT_STREQ(target, "wxyz");
}

TEST(MemcpyS, SizesAreUnsigned) {
    char target[] = "wxyz";
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, 4, "abcd", SIZE_MAX), 1);
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, SIZE_MAX, "abcd", 4), 0);
    EXPECT_STREQ(target, "abcd");
}

TEST(MemcpyS, NullSourceIsFoundBeforeANullTarget) {
    char target[] = "wxyz";
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(target, 4, nullptr, 4), 2);
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(nullptr, 4, nullptr, 4), 2);
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(nullptr, 4, nullptr, 0), 2);
    EXPECT_STREQ(target, "wxyz");
}

TEST(MemcpyS, NullTarget) {
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(nullptr, 4, "abcd", 4), 3);
    EXPECT_EQ(ORVAL_ComFunc.memcpy_s(nullptr, 0, "abcd", 0), 3);
}

TEST(Hooks, DoNothing) {
    QRV::DoInitialization();
    QRV::DoCleanup();
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(ReadSlots(), Slots{});
}

TEST(TraceCategory, HoldsItsFixedValues) {
    const auto* trace =
        static_cast<const QRV::TraceCategory*>(dlsym(RTLD_DEFAULT, "_ZN3QRV15qrvTraceGeneralE"));
    ASSERT_NE(trace, nullptr);
    EXPECT_EQ(trace->category, 17U);
    EXPECT_EQ(trace->level, 4U);
    EXPECT_STREQ(trace->name, "TraceGeneral");
    EXPECT_EQ(trace->reserved, nullptr);
}

}  // namespace
