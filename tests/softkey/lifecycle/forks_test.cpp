// A client that forks while another of its threads waits for a key: parent and child both go on.
#include "forks.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "key_wait.h"
#include "software_key.h"

namespace lifecycle {
namespace {

using Forks = SoftwareKeyTest;

TEST_F(Forks, LeaveChildrenThatWorkWhileTheParentWaits) {
    SKIP_WHERE_FORKS_HANG();
    constexpr int kForks = 40;
    constexpr unsigned kPatienceSeconds = 60;
    const std::string key = NewPluggedKey();
    KeyWait wait;
    for (int number = 0; number < kForks; ++number) {
        InOtherProcess([&] {
            alarm(kPatienceSeconds);
            const std::string text = std::to_string(number);
            EXPECT_EQ(kOk, Checked(SetData(key.c_str(), 0, text.c_str())));
            EXPECT_EQ(text, Given(DataOf(key, 0)));
        });
    }
    EXPECT_FALSE(wait.HasEnded());
    Unplug(key);
    EXPECT_EQ(Removed(key), wait.Result());
}

}  // namespace
}  // namespace lifecycle
