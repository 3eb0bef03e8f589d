// Slots and events, through the token library as a client loads it.
#include "slots/slots.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <thread>

#include "softkey_test.h"

namespace softkey::testing {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kNothing = static_cast<uint32_t>(Code::kNoEvent);

struct Event {
    uint32_t kind;
    uint32_t slot;
    std::string serial;
    bool operator==(const Event& other) const {
        return kind == other.kind && slot == other.slot && serial == other.serial;
    }
};

class TokenTest : public SoftKeyTest {
 protected:
    TokenLibrary token_;
    uint32_t context_ = 0;

    static std::string SerialNumbered(int number) {
        const std::string digits = std::to_string(number);
        return "OR" + std::string(14 - digits.size(), '0') + digits;
    }

    std::string SerialIn(uint32_t slot) {
        _S_DEV_CONFIG config{};
        if (token_.GetDeviceInfo(slot, 0x000E0000, &config) != 0) return "";
        return std::string(config.mediaId, sizeof config.mediaId);
    }

    // The next event within ten seconds.
    std::optional<Event> Next() {
        const auto end = Clock::now() + std::chrono::seconds(10);
        VEXA_EVENT_INFO event{};
        while (Clock::now() < end) {
            if (token_.WaitForEvent(1, 0, &event, &context_) != 0) continue;
            const uint32_t slot = event.ei.slotEvent.u32SlotID;
            return Event{event.u32EventKind, slot,
                         event.u32EventKind == SLOT_DEVICEARRIVAL ? SerialIn(slot) : ""};
        }
        return std::nullopt;
    }
};

TEST_F(TokenTest, NothingPluggedMeansNoSlotsAndNoEvents) {
    uint32_t slots[16] = {};
    uint32_t count = 10;
    EXPECT_EQ(0U, token_.GetSlotList(1, slots, &count));
    EXPECT_EQ(0U, count);
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    VEXA_EVENT_INFO event{};
    EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
}

TEST_F(TokenTest, AWaitWithoutEventsIsShort) {
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    VEXA_EVENT_INFO event{};
    const auto begin = Clock::now();
    EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
}

TEST_F(TokenTest, TheSlotsOfPluggedKeysHaveTheirSerialNumbers) {
    CreateKey(kSerial);
    CreateKey(kOtherSerial);
    PlugWithDialog(kOtherSerial);
    PlugWithDialog(kSerial);
    uint32_t slots[16] = {};
    uint32_t count = 10;
    ASSERT_EQ(0U, token_.GetSlotList(1, slots, &count));
    ASSERT_EQ(2U, count);
    EXPECT_EQ(kOtherSerial, SerialIn(slots[0]));
    EXPECT_EQ(kSerial, SerialIn(slots[1]));
}

TEST_F(TokenTest, AFreedSlotIsTakenAgainAndOthersKeepTheirs) {
    for (int i = 1; i <= 3; ++i) {
        CreateKey(SerialNumbered(i));
        PlugWithDialog(SerialNumbered(i));
    }
    Unplug(SerialNumbered(2));
    CreateKey(SerialNumbered(4));
    PlugWithDialog(SerialNumbered(4));
    EXPECT_EQ(SerialNumbered(1), SerialIn(1));
    EXPECT_EQ(SerialNumbered(4), SerialIn(2));
    EXPECT_EQ(SerialNumbered(3), SerialIn(3));
}

TEST_F(TokenTest, MoreThanTenSlotsAreListedAsFarAsThereIsRoom) {
    for (int i = 1; i <= 12; ++i) {
        CreateKey(SerialNumbered(i));
        PlugWithDialog(SerialNumbered(i));
    }
    uint32_t slots[16] = {};
    uint32_t count = 10;
    EXPECT_EQ(0U, token_.GetSlotList(1, slots, &count));
    EXPECT_EQ(10U, count);
    EXPECT_EQ(0U, slots[10]);
    count = 16;
    EXPECT_EQ(0U, token_.GetSlotList(1, slots, &count));
    EXPECT_EQ(12U, count);
    count = 0;
    EXPECT_EQ(0U, token_.GetSlotList(1, nullptr, &count));
    EXPECT_EQ(12U, count);
    EXPECT_EQ(SerialNumbered(12), SerialIn(12));
}

TEST_F(TokenTest, ArrivalAndRemovalAreDeliveredInOrder) {
    CreateKey();
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    PlugWithDialog();
    EXPECT_EQ((Event{1, 1, kSerial}), Next());
    Unplug();
    EXPECT_EQ((Event{2, 1, ""}), Next());
}

TEST_F(TokenTest, APlugAndAnUnplugThatFollowAtOnceAreBothDelivered) {
    CreateKey();
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    for (int i = 0; i < 3; ++i) {
        PlugWithDialog();
        Unplug();
    }
    for (int i = 0; i < 3; ++i) {
        // The serial number can still be asked for, although the key is gone.
        EXPECT_EQ((Event{1, 1, kSerial}), Next());
        EXPECT_EQ((Event{2, 1, ""}), Next());
    }
    VEXA_EVENT_INFO event{};
    EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
}

TEST_F(TokenTest, WhatHappensBetweenTwoContextsIsDeliveredByTheSecond) {
    CreateKey();
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    PlugWithDialog();
    EXPECT_EQ((Event{1, 1, kSerial}), Next());
    ASSERT_EQ(0U, token_.ContextFinal());
    Unplug();
    // Still listed, so that a client that lists first can name the key in the removal.
    EXPECT_EQ(kSerial, SerialIn(1));
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    EXPECT_EQ((Event{2, 1, ""}), Next());
    EXPECT_EQ("", SerialIn(1));
}

TEST_F(TokenTest, WhatHappensBetweenTheFirstListAndTheContextIsDelivered) {
    CreateKey();
    uint32_t slots[16] = {};
    uint32_t count = 10;
    ASSERT_EQ(0U, token_.GetSlotList(1, slots, &count));
    PlugWithDialog();
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    EXPECT_EQ((Event{1, 1, kSerial}), Next());
}

TEST_F(TokenTest, AskingForAListedSlotSkipsNoEvent) {
    CreateKey(kSerial);
    CreateKey(kOtherSerial);
    PlugWithDialog(kSerial);
    uint32_t slots[16] = {};
    uint32_t count = 10;
    ASSERT_EQ(0U, token_.GetSlotList(1, slots, &count));
    PlugWithDialog(kOtherSerial);
    EXPECT_EQ(kSerial, SerialIn(1));
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    EXPECT_EQ((Event{1, 2, kOtherSerial}), Next());
}

TEST_F(TokenTest, KeysPluggedBeforeTheFirstContextAreNoEvents) {
    CreateKey();
    PlugWithDialog();
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    VEXA_EVENT_INFO event{};
    EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
}

TEST_F(TokenTest, ContextsAreCounted) {
    VEXA_EVENT_INFO event{};
    const auto no_context = static_cast<uint32_t>(Code::kNoContext);
    EXPECT_EQ(no_context, token_.ContextFinal());
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    EXPECT_EQ(0U, token_.ContextFinal());
    EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
    EXPECT_EQ(0U, token_.ContextFinal());
    EXPECT_EQ(no_context, token_.WaitForEvent(1, 0, &event, &context_));
}

TEST_F(TokenTest, AProcessThatFellFarBehindGetsWhatLeadsToThePresent) {
    CreateKey(kSerial);
    CreateKey(kOtherSerial);
    PlugWithDialog(kSerial);
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    Unplug(kSerial);
    PlugWithDialog(kOtherSerial);
    // The journal's beginning is dropped, as after thousands of events.
    Database journal(Folder() + "/home/slots.db", Database::Mode::kExisting);
    journal.Execute("DELETE FROM events WHERE sequence < (SELECT max(sequence) FROM events)");
    EXPECT_EQ((Event{2, 1, ""}), Next());
    EXPECT_EQ((Event{1, 1, kOtherSerial}), Next());
    VEXA_EVENT_INFO event{};
    EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
}

TEST_F(TokenTest, ArgumentsOutsideTheInterfaceGiveCodes) {
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    VEXA_EVENT_INFO event{};
    uint32_t count = 0;
    _S_DEV_CONFIG config{};
    const auto selector = static_cast<uint32_t>(Code::kSelector);
    const auto parameter = static_cast<uint32_t>(Code::kInvalidParameter);
    EXPECT_EQ(parameter, token_.ContextInit(nullptr));
    EXPECT_EQ(selector, token_.WaitForEvent(2, 0, &event, &context_));
    EXPECT_EQ(parameter, token_.WaitForEvent(1, 0, nullptr, &context_));
    EXPECT_EQ(selector, token_.GetSlotList(0, nullptr, &count));
    EXPECT_EQ(parameter, token_.GetSlotList(1, nullptr, nullptr));
    EXPECT_EQ(selector, token_.GetDeviceInfo(1, 7, &config));
    EXPECT_EQ(static_cast<uint32_t>(Code::kDeviceRemoved), token_.GetDeviceInfo(99, 0, &config));
}

TEST_F(TokenTest, SeveralWaitingProcessesSeeTheSameEvents) {
    constexpr int kProcesses = 3;
    constexpr int kRounds = 5;
    CreateKey();
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    pid_t children[kProcesses];
    for (pid_t& child : children) {
        child = fork();
        ASSERT_GE(child, 0);
        if (child != 0) continue;
        bool good = token_.ContextInit(&context_) == 0 && write(ready[1], "r", 1) == 1;
        for (int i = 0; i < kRounds && good; ++i) {
            good = Next() == Event{1, 1, kSerial} && Next() == Event{2, 1, ""};
        }
        _exit(good ? 0 : 1);
    }
    char mark = 0;
    for (int i = 0; i < kProcesses; ++i) ASSERT_EQ(1, read(ready[0], &mark, 1));
    for (int i = 0; i < kRounds; ++i) {
        PlugWithDialog();
        Unplug();
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
}

TEST_F(TokenTest, WhatAnotherProcessDoesIsInTheNextAnswer) {
    CreateKey();
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    for (int i = 0; i < 10; ++i) {
        VEXA_EVENT_INFO event{};
        EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
        ASSERT_EQ(0, RunShell(Program("softkey") + " plug " + kSerial).status);
        EXPECT_EQ(0U, token_.WaitForEvent(1, 0, &event, &context_));
        EXPECT_EQ(uint32_t{SLOT_DEVICEARRIVAL}, event.u32EventKind);
        EXPECT_EQ(kNothing, token_.WaitForEvent(1, 0, &event, &context_));
        ASSERT_EQ(0, RunShell(Program("softkey") + " unplug " + kSerial).status);
        EXPECT_EQ(0U, token_.WaitForEvent(1, 0, &event, &context_));
        EXPECT_EQ(uint32_t{SLOT_DEVICEREMOVE}, event.u32EventKind);
    }
}

TEST_F(TokenTest, AnEventEndsAWait) {
    CreateKey();
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    std::thread plugger([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        PlugWithDialog();
    });
    EXPECT_EQ((Event{1, 1, kSerial}), Next());
    plugger.join();
}

}  // namespace
}  // namespace softkey::testing
