#include "cli/stop_signals.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace {

TEST(StopSignalsTest, OneThatComesTwiceAtOnceStopsOnce) {
    cli::CatchStopSignals();
    std::raise(SIGINT);
    std::raise(SIGINT);
    EXPECT_EQ(cli::StopSignal(), SIGINT);
}

TEST(StopSignalsTest, AnotherAfterAWhileEndsWhatDoesNotStop) {
    EXPECT_EXIT(
        {
            cli::CatchStopSignals();
            std::raise(SIGINT);
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
            std::raise(SIGINT);
        },
        testing::KilledBySignal(SIGINT), "");
}

TEST(StopSignalsTest, TheFirstIsToldWhateverTheOtherIs) {
    cli::CatchStopSignals();
    std::raise(SIGTERM);
    std::raise(SIGINT);
    EXPECT_EQ(cli::StopSignal(), SIGTERM);
}

}  // namespace
