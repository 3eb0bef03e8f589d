#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <map>
#include <stdexcept>
#include <thread>

#include "api_test.h"

namespace {

using testing::StartsWith;

constexpr uint32_t kArrival = 1;
constexpr uint32_t kRemoval = 2;
constexpr uint32_t kNothingYet = 0x0B000001;

constexpr const char* kListCall = "VexaT_GetSlotList(1, zeroed[64], &10)";
constexpr const char* kInitCall = "VexaT_ContextInit(&0)";
constexpr const char* kWaitCall = "VexaT_WaitForEvent(1, 0, zeroed[332], &0)";
constexpr const char* kFinalCall = "VexaT_ContextFinal()";

// The keys by slot, as the token library tells them.
using Keys = std::map<uint32_t, std::string>;

void PlugIn(const Keys& keys) {
    Token().GetSlotList.Does([keys](uint32_t, uint32_t* slots, uint32_t* count) {
        *count = static_cast<uint32_t>(keys.size());
        for (const auto& key : keys) {
            *slots++ = key.first;
        }
        return 0U;
    });
}

// Writes the media identifier where the record has it, between bytes that do not belong to it.
uint32_t Identify(_S_DEV_CONFIG* config, const std::string& number, uint32_t code = 0) {
    memset(config, 'X', sizeof(*config));
    auto* bytes = reinterpret_cast<char*>(config);
    memset(bytes + 248, 0, 16);
    number.copy(bytes + 248, 16);
    return code;
}

void AnswerNumbers(const Keys& keys) {
    Token().GetDeviceInfo.Does([keys](uint32_t slot, uint32_t, _S_DEV_CONFIG* config) {
        const auto key = keys.find(slot);
        return key == keys.end() ? 7U : Identify(config, key->second);
    });
}

auto Event(uint32_t kind, uint32_t slot) {
    return [kind, slot](uint32_t, uint32_t, VEXA_EVENT_INFO* event, uint32_t*) {
        memcpy(event, &kind, sizeof(kind));
        memcpy(reinterpret_cast<char*>(event) + 12, &slot, sizeof(slot));
        return 0U;
    };
}

// One call of WaitForKeyEvent and all that its caller sees.
struct Wait {
    int32_t Run() { return code = WaitForKeyEvent(&event, number, &length); }

    // The call wrote none of its outputs.
    void ExpectUntouched() const {
        EXPECT_EQ(event, 77U);
        ExpectNoNumber();
    }
    void ExpectNoNumber() const {
        EXPECT_EQ(length, 55U);
        EXPECT_TRUE(number.Untouched());
    }
    void ExpectNumber(const std::string& expected) const {
        EXPECT_EQ(length, expected.size());
        EXPECT_TRUE(number.Holds(expected + '\0'));
    }

    int32_t code = 99;
    uint32_t event = 77;
    uint32_t length = 55;
    Canary number{17};
};

// The log of a call, from the first record on.
std::string Started() {
    return TextRecord("SKF_WaitForDevEvent", "begin") + TextRecord("X_getCurrentSlots", "before") +
           TextRecord("X_getCurrentSlots", "after");
}

std::string Ended(const std::string& code, const std::string& line = "616") {
    return TextRecord("SKF_WaitForDevEvent", "end, G_LastError = " + code + ", line = " + line);
}

std::string Threw(pthread_t thread = pthread_self()) {
    return TextRecord("SKF_WaitForDevEvent", " end in catch ,G_LastError = 0, line = 582", thread);
}

std::string Arrived(const std::string& slot, const std::string& code) {
    const char* tag = "VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ";
    return TextRecord(tag, " G_LastError = 0, line = 596") +
           TextRecord(tag, " event.ei.slotEvent.u32SlotID = " + slot + ", line = 600") +
           TextRecord(tag, " G_LastError = " + code + ", line = 603");
}

std::string Removed() {
    const char* tag = "VEXA_EVENT_INFO::SLOT_DEVICEREMOVE ";
    return TextRecord(tag, "G_LastError = 0, line = 606") +
           TextRecord(tag, " G_LastError = 0, line = 609");
}

// Pauses end at once and are counted.
std::vector<timespec> pauses;

void SkipPauses() {
    Libc().nanosleep.replacement = [](const timespec* request, timespec*) {
        pauses.push_back(*request);
        return 0;
    };
}

TEST(WaitForKeyEvent, NullBufferReportsTheRoomNeeded) {
    uint32_t event = 77;
    uint32_t length = 0;
    G_LastError = 5;
    EXPECT_EQ(WaitForKeyEvent(&event, nullptr, &length), 0);
    EXPECT_EQ(length, 17U);
    EXPECT_EQ(event, 77U);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), TextRecord("SKF_WaitForDevEvent", "begin") + Ended("0", "560"));
}

TEST(WaitForKeyEvent, ReportsAnArrival) {
    Token().WaitForEvent.Does(Event(kArrival, 3));
    AnswerNumbers({{3, "SN0123456789"}});
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 1U);
    wait.ExpectNumber("SN0123456789");
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall, kWaitCall,
                                     "VexaT_GetDeviceInfo(3, 917504, zeroed[396])", kFinalCall));
    EXPECT_EQ(LogText(), Started() + Arrived("3", "0") + Ended("0"));
}

TEST(WaitForKeyEvent, LogsTheSlotAsASignedNumber) {
    Token().WaitForEvent.Does(Event(kArrival, 0xFFFFFFFE));
    AnswerNumbers({{0xFFFFFFFE, "SN"}});
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    wait.ExpectNumber("SN");
    EXPECT_EQ(LogText(), Started() + Arrived("-2", "0") + Ended("0"));
}

TEST(WaitForKeyEvent, ArrivalThatCannotBeReadHasNoNumber) {
    Token().WaitForEvent.Does(Event(kArrival, 3));
    Token().GetDeviceInfo.Returns(0x0B000002);
    Wait wait;
    EXPECT_EQ(wait.Run(), 0x0B000002);
    EXPECT_EQ(wait.event, 1U);
    wait.ExpectNumber("");
    EXPECT_EQ(G_LastError, 0x0B000002);
    EXPECT_EQ(Calls().back(), kFinalCall);
    EXPECT_EQ(LogText(), Started() + Arrived("3", "184549378") + Ended("184549378"));
}

TEST(WaitForKeyEvent, ArrivalsRecordIsReadWhateverTheResult) {
    Token().WaitForEvent.Does(Event(kArrival, 3));
    Token().GetDeviceInfo.Does([](uint32_t, uint32_t, _S_DEV_CONFIG* config) {
        return Identify(config, "SN0123456789", 0x80000001);
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), static_cast<int32_t>(0x80000001));
    wait.ExpectNumber("SN0123456789");
    EXPECT_EQ(LogText(), Started() + Arrived("3", "-2147483647") + Ended("-2147483647"));
}

TEST(WaitForKeyEvent, ReportsARemovalWithTheNumberReadAtTheStart) {
    PlugIn({{2, ""}, {5, ""}});
    AnswerNumbers({{2, "SN2222222222"}, {5, "SN5555555555"}});
    Token().WaitForEvent.Does([](auto kind, auto flags, auto* event, auto* context) {
        AnswerNumbers({{5, "SN9999999999"}});
        return Event(kRemoval, 5)(kind, flags, event, context);
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 2U);
    wait.ExpectNumber("SN5555555555");
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), ElementsAre(kListCall, StartsWith("VexaT_GetDeviceInfo(2, 0, "),
                                     StartsWith("VexaT_GetDeviceInfo(5, 0, "), kInitCall, kWaitCall,
                                     kFinalCall));
    EXPECT_EQ(LogText(), Started() + Removed() + Ended("0"));
}

TEST(WaitForKeyEvent, OtherKindsLeaveTheEventAlone) {
    for (const uint32_t kind : {0U, 3U, 0x100U, 0xFFFFFFFFU}) {
        std::remove(scripted::kLogPath);
        Token().WaitForEvent.Does(Event(kind, 5));
        Wait wait;
        EXPECT_EQ(wait.Run(), 0) << kind;
        EXPECT_EQ(wait.event, 77U) << kind;
        wait.ExpectNumber("");
        EXPECT_EQ(Calls().back(), kFinalCall) << kind;
        EXPECT_EQ(LogText(), Started() + Ended("0")) << kind;
    }
}

TEST(WaitForKeyEvent, RefusedContextIsReported) {
    Token().ContextInit.Returns(0x0B000003);
    Wait wait;
    EXPECT_EQ(wait.Run(), 0x0B000003);
    wait.ExpectUntouched();
    EXPECT_EQ(G_LastError, 0x0B000003);
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall));
    EXPECT_EQ(LogText(), Started() + Ended("184549379", "571"));
}

TEST(WaitForKeyEvent, ResetsTheLastErrorBeforeTheContextOpens) {
    Initialize();
    G_LastError = 77;
    int32_t seen = -1;
    Token().ContextInit.Does([&](uint32_t*) {
        seen = G_LastError;
        return 0U;
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(seen, 0);
}

TEST(WaitForKeyEvent, HandsTheContextFromInitToTheWait) {
    Token().ContextInit.Does([](uint32_t* context) {
        *context = 4711;
        return 0U;
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall,
                                     "VexaT_WaitForEvent(1, 0, zeroed[332], &4711)", kFinalCall));
    EXPECT_EQ(std::get<0>(Token().ContextInit.Arguments()[0]),
              std::get<3>(Token().WaitForEvent.Arguments()[0]));
}

TEST(WaitForKeyEvent, NeedsNoBackend) {
    scripted::RemoveBackend();
    Token().WaitForEvent.Does(Event(kArrival, 3));
    AnswerNumbers({{3, "SN0123456789"}});
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    wait.ExpectNumber("SN0123456789");
    EXPECT_EQ(G_LastError, 0);
}

// --- The slots ---------------------------------------------------------------------------------

// The serial number that a removal in `slot` reports.
std::string NumberAtRemoval(uint32_t slot) {
    Token().WaitForEvent.Does(Event(kRemoval, slot));
    char number[32] = "untouched";
    uint32_t event = 0;
    uint32_t length = 0;
    EXPECT_EQ(WaitForKeyEvent(&event, number, &length), 0);
    EXPECT_EQ(event, 2U);
    EXPECT_EQ(length, strlen(number));
    return number;
}

TEST(SlotMap, UnknownSlotHasAnEmptyNumber) {
    PlugIn({{2, ""}});
    AnswerNumbers({{2, "SN2222222222"}});
    Token().WaitForEvent.Does(Event(kRemoval, 5));
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 2U);
    wait.ExpectNumber("");
    EXPECT_EQ(LogText(), Started() + Removed() + Ended("0"));
}

TEST(SlotMap, FailedListIsIgnoredWhateverItHolds) {
    Token().GetSlotList.Does([](uint32_t, uint32_t* slots, uint32_t* count) {
        slots[0] = 2;
        *count = 1;
        return 5U;
    });
    AnswerNumbers({{2, "SN2222222222"}});
    EXPECT_EQ(NumberAtRemoval(2), "");
    EXPECT_THAT(Token().GetDeviceInfo.Arguments(), IsEmpty());
    EXPECT_EQ(LogText(), Started() + Removed() + Ended("0"));
}

TEST(SlotMap, EmptyListAsksForNoKey) {
    PlugIn({});
    EXPECT_EQ(NumberAtRemoval(0), "");
    EXPECT_THAT(Token().GetDeviceInfo.Arguments(), IsEmpty());
}

TEST(SlotMap, UnreadableKeysAreLeftOut) {
    PlugIn({{1, ""}, {2, ""}, {3, ""}});
    AnswerNumbers({{1, "SN1111111111"}, {3, "SN3333333333"}});
    EXPECT_EQ(NumberAtRemoval(2), "");
    EXPECT_EQ(NumberAtRemoval(1), "SN1111111111");
    EXPECT_EQ(NumberAtRemoval(3), "SN3333333333");
}

TEST(SlotMap, SlotListedTwiceTakesTheLaterKey) {
    Token().GetSlotList.Does([](uint32_t, uint32_t* slots, uint32_t* count) {
        slots[0] = 2;
        slots[1] = 2;
        *count = 2;
        return 0U;
    });
    Token().GetDeviceInfo.DoesOnce(
        [](auto, auto, _S_DEV_CONFIG* config) { return Identify(config, "earlier"); });
    Token().GetDeviceInfo.DoesOnce(
        [](auto, auto, _S_DEV_CONFIG* config) { return Identify(config, "later"); });
    EXPECT_EQ(NumberAtRemoval(2), "later");
}

TEST(SlotMap, HoldsTenSlots) {
    Keys keys;
    for (uint32_t slot = 100; slot < 110; ++slot) {
        keys[slot] = "SN" + std::to_string(slot);
    }
    PlugIn(keys);
    AnswerNumbers(keys);
    for (const auto& [slot, number] : keys) {
        EXPECT_EQ(NumberAtRemoval(slot), number);
    }
    EXPECT_EQ(Calls().front(), kListCall);
}

// The list has sixteen places; a larger count is not followed beyond them.
TEST(SlotMap, CountBeyondTheListEndsWithTheList) {
    Token().GetSlotList.Does([](uint32_t, uint32_t* slots, uint32_t* count) {
        for (uint32_t i = 0; i < 16; ++i) {
            slots[i] = 100 + i;
        }
        *count = 1000;
        return 0U;
    });
    Token().GetDeviceInfo.Does(
        [](auto, auto, _S_DEV_CONFIG* config) { return Identify(config, "SN0123456789"); });
    EXPECT_EQ(NumberAtRemoval(115), "SN0123456789");
    const std::vector<std::string> calls = Calls();
    EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                            [](const std::string& call) {
                                return call.rfind("VexaT_GetDeviceInfo(", 0) == 0;
                            }),
              16);
    EXPECT_EQ(NumberAtRemoval(116), "");
}

TEST(SlotMap, AsksForCleanSlotsEachTime) {
    PlugIn({{7, ""}});
    NumberAtRemoval(7);
    NumberAtRemoval(7);
    const std::vector<std::string> calls = Calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), kListCall), 2);
}

TEST(SlotMap, IsRebuiltByEachWait) {
    PlugIn({{2, ""}});
    AnswerNumbers({{2, "SN2222222222"}});
    EXPECT_EQ(NumberAtRemoval(2), "SN2222222222");
    PlugIn({});
    EXPECT_EQ(NumberAtRemoval(2), "");
}

// The media identifier: 16 bytes that need no terminator.
TEST(SlotMap, NumberMayFillItsField) {
    PlugIn({{2, ""}});
    AnswerNumbers({{2, "0123456789ABCDEF"}});
    EXPECT_EQ(NumberAtRemoval(2), "0123456789ABCDEF");
}

TEST(WaitForKeyEvent, NumberMayFillItsField) {
    Token().WaitForEvent.Does(Event(kArrival, 3));
    AnswerNumbers({{3, "0123456789ABCDEF"}});
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.length, 16U);
    wait.ExpectNumber("0123456789ABCDEF");
}

TEST(WaitForKeyEvent, NumberEndsAtItsFirstNul) {
    Token().WaitForEvent.Does(Event(kArrival, 3));
    AnswerNumbers({{3, "SN01\0SN02"s}});
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    wait.ExpectNumber("SN01");
}

TEST(WaitForKeyEvent, EmptyNumber) {
    Token().WaitForEvent.Does(Event(kArrival, 3));
    AnswerNumbers({{3, ""}});
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    wait.ExpectNumber("");
}

// --- The wait ----------------------------------------------------------------------------------

TEST(WaitLoop, PausesTwentyMillisecondsAfterEachFailedAttempt) {
    SkipPauses();
    Token().WaitForEvent.ReturnsOnce(kNothingYet);
    Token().WaitForEvent.ReturnsOnce(kNothingYet);
    Token().WaitForEvent.DoesOnce(Event(kRemoval, 1));
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 2U);
    ASSERT_EQ(pauses.size(), 2U);
    for (const timespec& pause : pauses) {
        EXPECT_EQ(pause.tv_sec, 0);
        EXPECT_EQ(pause.tv_nsec, 20000000);
    }
    EXPECT_THAT(Calls(),
                ElementsAre(kListCall, kInitCall, kWaitCall, kWaitCall, kWaitCall, kFinalCall));
    EXPECT_EQ(LogText(), Started() + Removed() + Ended("0"));
}

TEST(WaitLoop, EventRecordIsClearedOnceOnly) {
    SkipPauses();
    Token().WaitForEvent.DoesOnce([](auto, auto, VEXA_EVENT_INFO* event, auto) {
        memset(event, 0xEE, sizeof(*event));
        return kNothingYet;
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall, kWaitCall,
                                     "VexaT_WaitForEvent(1, 0, bytes[332], &0)", kFinalCall));
}

TEST(WaitLoop, InterruptedPauseIsResumedForTheTimeLeft) {
    Libc().nanosleep.replacement = [](const timespec* request, timespec* remainder) {
        EXPECT_EQ(request, remainder);
        pauses.push_back(*request);
        if (pauses.size() < 3) {
            remainder->tv_nsec -= 7000000;
            errno = EINTR;
            return -1;
        }
        return 0;
    };
    Token().WaitForEvent.ReturnsOnce(kNothingYet);
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    ASSERT_EQ(pauses.size(), 3U);
    EXPECT_EQ(pauses[0].tv_nsec, 20000000);
    EXPECT_EQ(pauses[1].tv_nsec, 13000000);
    EXPECT_EQ(pauses[2].tv_nsec, 6000000);
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall, kWaitCall, kWaitCall, kFinalCall));
}

// A client's timer sends its signals to whichever thread it likes. With every pause cut short by
// them the wait would ask the token library a hundred times in this while, and not ten.
TEST(WaitLoop, SignalsToTheWaitingThreadDoNotShortenThePauses) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    std::atomic<bool> signalled{false};
    Token().WaitForEvent.Does([&signalled](auto... arguments) {
        return signalled ? Event(kRemoval, 1)(arguments...) : kNothingYet;
    });
    Wait wait;
    std::thread waiting([&wait] { wait.Run(); });
    for (int i = 0; i < 100; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        pthread_kill(waiting.native_handle(), SIGUSR1);
    }
    signalled = true;
    waiting.join();
    EXPECT_EQ(wait.event, kRemoval);
    const auto calls = Calls();
    const auto attempts = std::count(calls.begin(), calls.end(), kWaitCall);
    EXPECT_GE(attempts, 2);
    EXPECT_LE(attempts, 40);
}

TEST(WaitLoop, FailedPauseGoesOnAtOnce) {
    Libc().nanosleep.replacement = [](const timespec* request, timespec*) {
        pauses.push_back(*request);
        errno = EINVAL;
        return -1;
    };
    Token().WaitForEvent.ReturnsOnce(kNothingYet);
    Token().WaitForEvent.ReturnsOnce(kNothingYet);
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(pauses.size(), 2U);
    EXPECT_THAT(Calls(),
                ElementsAre(kListCall, kInitCall, kWaitCall, kWaitCall, kWaitCall, kFinalCall));
}

TEST(WaitLoop, FailedPauseOfAStoppedWaitEndsIt) {
    Libc().nanosleep.replacement = [](const timespec*, timespec*) {
        StopDetectUKey();
        errno = EINVAL;
        return -1;
    };
    Token().WaitForEvent.Returns(kNothingYet);
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 3U);
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall, kWaitCall));
}

TEST(WaitLoop, ThrownExceptionsAreLoggedAndTheWaitGoesOn) {
    SkipPauses();
    Token().WaitForEvent.ThrowsOnce(std::runtime_error("lost"));
    Token().WaitForEvent.ThrowsOnce(5);
    Token().WaitForEvent.DoesOnce(Event(kRemoval, 1));
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 2U);
    EXPECT_EQ(pauses.size(), 2U);
    EXPECT_EQ(LogText(), Started() + Threw() + Threw() + Removed() + Ended("0"));
}

TEST(WaitLoop, ExceptionsOfOtherCallsLeave) {
    const std::runtime_error lost("lost");
    Wait wait;
    Token().GetSlotList.ThrowsOnce(lost);
    EXPECT_THROW(wait.Run(), std::runtime_error);
    Token().ContextInit.ThrowsOnce(lost);
    EXPECT_THROW(wait.Run(), std::runtime_error);
    Token().ContextFinal.ThrowsOnce(lost);
    EXPECT_THROW(wait.Run(), std::runtime_error);
    wait.ExpectUntouched();
    Token().WaitForEvent.Does(Event(kArrival, 3));
    Token().GetDeviceInfo.ThrowsOnce(lost);
    EXPECT_THROW(wait.Run(), std::runtime_error);
    EXPECT_EQ(wait.event, 1U);
    wait.ExpectNoNumber();
}

// --- Stopping ----------------------------------------------------------------------------------

TEST(StopDetectUKey, EndsAWaitOnAnotherThread) {
    Initialize();
    Token().WaitForEvent.Returns(kNothingYet);
    Wait wait;
    pthread_t waiting = {};
    std::thread waiter([&] {
        waiting = pthread_self();
        wait.Run();
    });
    ASSERT_TRUE(Token().WaitForEvent.AwaitCalls(3));
    EXPECT_EQ(StopDetectUKey(), 0);
    waiter.join();
    EXPECT_EQ(wait.code, 0);
    EXPECT_EQ(wait.event, 3U);
    wait.ExpectNoNumber();
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Token().ContextFinal.Arguments(), IsEmpty());
    EXPECT_EQ(LogText(), TextRecord("SKF_WaitForDevEvent", "begin", waiting) +
                             TextRecord("X_getCurrentSlots", "before", waiting) +
                             TextRecord("X_getCurrentSlots", "after", waiting));
}

TEST(StopDetectUKey, BeforeTheWaitIsForgotten) {
    EXPECT_EQ(StopDetectUKey(), 0);
    Token().WaitForEvent.Does(Event(kRemoval, 1));
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 2U);
}

TEST(StopDetectUKey, WhileTheSlotsAreReadIsForgotten) {
    Token().GetSlotList.Does([](auto, auto, uint32_t* count) {
        *count = 0;
        StopDetectUKey();
        return 0U;
    });
    Token().WaitForEvent.Does(Event(kRemoval, 1));
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 2U);
}

TEST(StopDetectUKey, WhileTheContextOpensEndsTheWaitBeforeItsFirstAttempt) {
    Token().ContextInit.Does([](uint32_t*) {
        StopDetectUKey();
        return 0U;
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 3U);
    wait.ExpectNoNumber();
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall));
    EXPECT_EQ(LogText(), Started());
}

TEST(StopDetectUKey, WinsOverAnEventJustDelivered) {
    Token().WaitForEvent.Does([](auto kind, auto flags, auto* event, auto* context) {
        StopDetectUKey();
        return Event(kArrival, 3)(kind, flags, event, context);
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 3U);
    wait.ExpectNoNumber();
    EXPECT_THAT(Calls(), ElementsAre(kListCall, kInitCall, kWaitCall));
    EXPECT_EQ(LogText(), Started());
}

TEST(StopDetectUKey, DuringAThrowingAttemptEndsTheWaitAfterTheRecord) {
    SkipPauses();
    Token().WaitForEvent.Does([](auto, auto, auto, auto) -> uint32_t {
        StopDetectUKey();
        throw std::runtime_error("lost");
    });
    Wait wait;
    EXPECT_EQ(wait.Run(), 0);
    EXPECT_EQ(wait.event, 3U);
    EXPECT_EQ(LogText(), Started() + Threw());
}

TEST(StopDetectUKey, NextWaitStartsAnew) {
    Token().ContextInit.DoesOnce([](uint32_t*) {
        StopDetectUKey();
        return 0U;
    });
    Token().WaitForEvent.Does(Event(kRemoval, 1));
    Wait stopped;
    EXPECT_EQ(stopped.Run(), 0);
    EXPECT_EQ(stopped.event, 3U);
    Wait next;
    EXPECT_EQ(next.Run(), 0);
    EXPECT_EQ(next.event, 2U);
    EXPECT_THAT(Calls(),
                ElementsAre(kListCall, kInitCall, kListCall, kInitCall, kWaitCall, kFinalCall));
}

}  // namespace
