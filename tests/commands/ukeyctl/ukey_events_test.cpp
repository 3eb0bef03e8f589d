#include <sys/wait.h>

#include <random>

#include "every_call.h"
#include "stop_rounds.h"
#include "ukey_fixture.h"

namespace {

using std::chrono::milliseconds;

class Events : public Ukey {
 protected:
    void Happens(uint32_t kind, const std::string& serial_number) {
        const std::lock_guard<std::mutex> lock(fake_.events_mutex);
        fake_.events.emplace_back(kind, serial_number);
    }
};

TEST_F(Events, ArriveInOrder) {
    ukey::EventSource events(library_);
    Happens(ORVAL_KEY_INSERTED, "SN1");
    Happens(ORVAL_KEY_REMOVED, "");
    const auto first = events.Next();
    const auto second = events.Next();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->kind, ukey::KeyEvent::Kind::kInserted);
    EXPECT_EQ(first->serial_number, "SN1");
    EXPECT_EQ(second->kind, ukey::KeyEvent::Kind::kRemoved);
    EXPECT_EQ(second->serial_number, "");
}

TEST_F(Events, OfNoKnownKindAreNoEvents) {
    ukey::EventSource events(library_);
    Happens(0, "0");
    Happens(ORVAL_KEY_INSERTED, "SN1");
    EXPECT_EQ(events.Next()->serial_number, "SN1");
}

TEST_F(Events, DoNotComeInTime) {
    ukey::EventSource events(library_);
    EXPECT_FALSE(events.NextFor(milliseconds(5)));
    EXPECT_FALSE(events.NextFor(milliseconds(0)));
    EXPECT_FALSE(events.IsFinished());
}

TEST_F(Events, MakeTheDescriptorReadable) {
    ukey::EventSource events(library_);
    pollfd available{events.Descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&available, 1, 0), 0);
    Happens(ORVAL_KEY_INSERTED, "SN1");
    EXPECT_EQ(poll(&available, 1, 30000), 1);
    EXPECT_TRUE(events.Next());
    EXPECT_EQ(poll(&available, 1, 0), 0);
    events.Stop();
    EXPECT_EQ(poll(&available, 1, 0), 1);
}

TEST_F(Events, SurviveAStopThatSomebodyElseAskedFor) {
    ukey::EventSource events(library_);
    for (int i = 0; i < 100; ++i) {
        library_.StopDetectUKey();
    }
    Happens(ORVAL_KEY_INSERTED, "SN1");
    EXPECT_TRUE(events.Next());
}

TEST_F(Events, QueuedBeforeAStopCanStillBeTaken) {
    ukey::EventSource events(library_);
    Happens(ORVAL_KEY_INSERTED, "SN1");
    pollfd available{events.Descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&available, 1, 30000), 1);
    events.Stop();
    EXPECT_TRUE(events.Next());
    EXPECT_FALSE(events.Next());
    EXPECT_TRUE(events.IsFinished());
}

TEST_F(Events, FailureOfTheWaitIsThrownAfterTheEvents) {
    ukey::EventSource events(library_);
    Happens(ORVAL_KEY_INSERTED, "SN1");
    Happens(0, std::to_string(kKeyCode));
    EXPECT_TRUE(events.Next());
    EXPECT_EQ(CodeOf([&] { events.Next(); }), kKeyCode);
    EXPECT_EQ(CodeOf([&] { events.NextFor(milliseconds(1)); }), kKeyCode);
    EXPECT_TRUE(events.IsFinished());
}

TEST_F(Events, HaveOneSourceAtATime) {
    {
        ukey::EventSource events(library_);
        try {
            ukey::EventSource second(library_);
            FAIL() << "two sources wait";
        } catch (const std::system_error& error) {
            EXPECT_TRUE(error.code() == std::errc::device_or_resource_busy);
        }
    }
    ukey::EventSource third(library_);
    Happens(ORVAL_KEY_INSERTED, "SN1");
    EXPECT_TRUE(third.Next());
}

// The product serves one thread, and that is the waiting one.
TEST_F(Events, RefuseEveryCallBesideTheWait) {
    ukey::EventSource events(library_);
    for (const AnyCall& call : EveryCall()) {
        try {
            call.make(library_, key_);
            ADD_FAILURE() << call.name << " was called";
        } catch (const ukey::BusyError& error) {
            EXPECT_TRUE(error.code() == std::errc::device_or_resource_busy);
            EXPECT_THAT(error.what(), testing::HasSubstr(" was not called: an event source waits"));
        }
    }
    EXPECT_THROW(library_.WaitForKeyEvent(), ukey::BusyError);
    // A code is explained without the key.
    EXPECT_EQ(ukey::Category().message(ORVAL_INVALID_ARGUMENT),
              ukey::OwnText(ORVAL_INVALID_ARGUMENT));
    events.Stop();
    EXPECT_THAT(fake_.calls, testing::IsEmpty());
    key_.GetLabel();
    EXPECT_THAT(fake_.calls, testing::SizeIs(2));
}

TEST_F(Events, AllowCallsOnceTheWaitHasFailed) {
    for (int round = 0; round < 200; ++round) {
        ukey::EventSource events(library_);
        Happens(0, std::to_string(kKeyCode));
        try {
            events.Next();
            FAIL() << "no error";
        } catch (const ukey::Error& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr("text of 167772161"));
        }
        EXPECT_EQ(CodeOf([&] { key_.VerifyPIN(); }), 0);
    }
}

TEST_F(Events, RefuseNothingInAForkedChild) {
    ukey::EventSource events(library_);
    const pid_t child = fork();
    if (child == 0) {
        int status = 1;
        try {
            key_.VerifyPIN();
            const ukey::detail::WaitPermit permit;
            status = 0;
        } catch (const std::exception&) {
        }
        _exit(status);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// The child has the source and not its thread.
TEST_F(Events, EndAtOnceInAForkedChild) {
    constexpr unsigned kLongest = 20;
    auto events = std::make_unique<ukey::EventSource>(library_);
    const pid_t child = fork();
    if (child == 0) {
        alarm(kLongest);
        const bool has_none = events->IsFinished() && !events->Next();
        events->Stop();
        events.reset();
        _exit(has_none ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(events->IsFinished());
    Happens(ORVAL_KEY_INSERTED, "SN1");
    EXPECT_TRUE(events->Next());
}

TEST_F(Events, KeepTheLibraryOpen) {
    auto library = std::make_unique<ukey::Library>(OpenProduct());
    ukey::EventSource events(*library);
    library.reset();
    Happens(ORVAL_KEY_INSERTED, "SN1");
    EXPECT_TRUE(events.Next());
}

TEST_F(Events, StopFromAnotherThreadEndsNext) {
    ukey::EventSource events(library_);
    std::thread stopper([&] { events.Stop(); });
    EXPECT_FALSE(events.Next());
    stopper.join();
}

TEST(StopRounds, ThatAreNoPositiveNumberAreNone) {
    for (const char* text : {"", "many", "0", "-1", "5x", " 5", "99999999999"}) {
        EXPECT_FALSE(ParseStopRounds(text)) << text;
    }
    EXPECT_EQ(ParseStopRounds("12"), 12);
}

// The end of the wait brings back every thread that is inside Next, before the source goes.
TEST_F(Events, StopBringsEveryThreadBackFromNext) {
    ukey::EventSource events(library_);
    std::vector<std::thread> threads;
    std::atomic<int> without_event{0};
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] { without_event += events.Next() ? 0 : 1; });
    }
    events.Stop();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(without_event, 4);
}

constexpr int32_t kNoKey = 0x0A000023;

TEST_F(Events, AKeyThatIsPluggedIsNotWaitedFor) {
    const auto key = library_.WaitForKey(milliseconds(0));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->SerialNumber(), kSerialNumber);
}

void IsPluggedOnceSomebodyWaits(FakeProduct& fake) {
    while (!ukey::detail::IsWaitedBeside()) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    const std::lock_guard<std::mutex> lock(fake.codes_mutex);
    fake.codes.clear();
}

TEST_F(Events, AKeyThatIsPluggedLaterIsWaitedFor) {
    fake_.codes["GetPrintNumber"] = kNoKey;
    std::thread plugger([&] {
        IsPluggedOnceSomebodyWaits(fake_);
        Happens(ORVAL_KEY_INSERTED, kSerialNumber);
    });
    const auto begin = std::chrono::steady_clock::now();
    const auto key = library_.WaitForKey(std::chrono::minutes(5));
    plugger.join();
    ASSERT_TRUE(key);
    EXPECT_EQ(key->SerialNumber(), kSerialNumber);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(1));
}

// As one that comes before the product's first look.
TEST_F(Events, AKeyThatIsNoEventIsFoundByTheNextLook) {
    fake_.codes["GetPrintNumber"] = kNoKey;
    std::thread plugger([&] { IsPluggedOnceSomebodyWaits(fake_); });
    EXPECT_TRUE(library_.WaitForKey(std::chrono::minutes(1)));
    plugger.join();
}

TEST_F(Events, NoKeyInTimeIsNone) {
    fake_.codes["GetPrintNumber"] = kNoKey;
    EXPECT_FALSE(library_.WaitForKey(milliseconds(0)));
    EXPECT_FALSE(library_.WaitForKey(milliseconds(10)));
}

TEST_F(Events, AMakersOwnCodeIsWaitedOutAndThenTold) {
    fake_.codes["GetPrintNumber"] = kKeyCode;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(CodeOf([&] { library_.WaitForKey(milliseconds(30)); }), kKeyCode);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(30));
}

TEST_F(Events, AProductThatCannotBeUsedIsNotWaitedFor) {
    fake_.codes["GetPrintNumber"] = ORVAL_BACKEND_UNAVAILABLE;
    EXPECT_EQ(CodeOf([&] { library_.WaitForKey(std::chrono::hours(24)); }),
              ORVAL_BACKEND_UNAVAILABLE);
}

TEST_F(Events, AWaitForAKeyThatFailsTellsWhy) {
    fake_.codes["GetPrintNumber"] = kNoKey;
    Happens(0, std::to_string(kKeyCode));
    EXPECT_EQ(CodeOf([&] { library_.WaitForKey(milliseconds::max()); }), kKeyCode);
}

TEST_F(Events, AWaitForAKeyEndsWithItsFlag) {
    fake_.codes["GetPrintNumber"] = kNoKey;
    ukey::StopFlag stop;
    EXPECT_FALSE(stop.IsRaised());
    std::thread stopper([&] {
        std::this_thread::sleep_for(milliseconds(5));
        stop.Raise();
    });
    EXPECT_FALSE(library_.WaitForKey(milliseconds::max(), stop));
    stopper.join();
    EXPECT_TRUE(stop.IsRaised());
    EXPECT_FALSE(library_.WaitForKey(milliseconds::max(), stop));
    // A key that is there is not kept back by it.
    fake_.codes.clear();
    EXPECT_TRUE(library_.WaitForKey(milliseconds::max(), stop));
}

// A source stopped or destroyed at any moment of its wait comes to its end. UKEY_STOP_ROUNDS
// sets the number of rounds.
TEST_F(Events, StopAtRandomMoments) {
    const std::optional<int> rounds = StopRounds(STOP_ROUNDS);
    ASSERT_TRUE(rounds) << "UKEY_STOP_ROUNDS is not a positive number";
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    for (int round = 0; round < *rounds; ++round) {
        auto events = std::make_unique<ukey::EventSource>(library_);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
        if (random() % 2 == 0) {
            events->Stop();
            EXPECT_TRUE(events->IsFinished()) << "round " << round << " of seed " << seed;
            EXPECT_FALSE(events->Next()) << "round " << round << " of seed " << seed;
        }
        events.reset();
    }
    // Whatever came before, the next source works.
    ukey::EventSource events(library_);
    Happens(ORVAL_KEY_INSERTED, "SN1");
    EXPECT_TRUE(events.Next()) << "seed " << seed;
}

}  // namespace
