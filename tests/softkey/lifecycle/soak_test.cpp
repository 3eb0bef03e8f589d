// A client that works for a long time, with keys that come and go: nothing grows.
#include <atomic>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "growth.h"
#include "key_wait.h"
#include "software_key.h"

namespace lifecycle {
namespace {

class Soak : public SoftwareKeyTest {};

// The database's and the cryptographic library's caches have their size after some thousand calls.
constexpr long kCaches = 128L * 1024;

TEST_F(Soak, MixedCallsGrowNothing) {
    const std::string key = NewDualKey();
    const std::string cipher =
        ToBase64(Certificate(Given(CertificateOf(key, kEncryption))).Encrypt("text"));
    const std::vector<std::function<void()>> calls = {
        [&] { EXPECT_EQ("Soak", Given(LabelOf(key))); },
        [&] { EXPECT_EQ(kOk, Checked(SetLabel(key.c_str(), "Soak"))); },
        [&] { EXPECT_EQ("data", Given(DataOf(key, 7))); },
        [&] { EXPECT_EQ(kOk, Checked(SetData(key.c_str(), 7, "data"))); },
        [&] { EXPECT_EQ(Code::kDataItemNotFound, DataOf(key, 8).code); },
        [&] { EXPECT_NE("", Given(CertificateOf(key, kSigning))); },
        [&] { EXPECT_NE("", Given(CertificateName(key, kSigning, kIssuer))); },
        [&] { EXPECT_NE("", Given(CertificateDetails(key, kEncryption))); },
        [&] { EXPECT_NE("", Given(Signature(key, "order"))); },
        [&] { EXPECT_NE("", Given(BatchSignatures(key, "one||two"))); },
        [&] { EXPECT_EQ("text", Given(Decrypted(key, cipher))); },
        [&] { EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key, kRsaSigning).code); },
        [&] { EXPECT_EQ(key, Given(AskForText(GetPrintNumber))); },
        [&] { EXPECT_NE(0, TriesOf(key).left); },
        [&] { EXPECT_NE("", ErrorText(Code::kDataItemNotFound)); },
        [&] { EXPECT_EQ(kOk, Checked(CheckDriverIntegrity(1))); },
    };
    calls[1]();
    calls[3]();
    std::mt19937 random(1);
    growth::ExpectNone(
        "mixed calls of a software key", growth::Rounds(2'000, 1'000'000),
        [&] { calls[random() % calls.size()](); }, kCaches);
}

// Waits on a thread of its own, one after the other, until it has seen so many events.
class Waiter final {
 public:
    Waiter() : thread_([this] { Wait(); }) {}
    ~Waiter() {
        is_stopped_ = true;
        while (!has_ended_) {
            StopDetectUKey();
            std::this_thread::yield();
        }
        thread_.join();
    }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    std::vector<KeyEvent> Events() {
        const std::lock_guard lock(mutex_);
        return std::move(events_);
    }

 private:
    void Wait() {
        while (!is_stopped_) {
            const KeyEvent event = WaitForKey();
            const std::lock_guard lock(mutex_);
            events_.push_back(event);
        }
        has_ended_ = true;
    }

    std::mutex mutex_;
    std::vector<KeyEvent> events_;
    std::atomic<bool> is_stopped_{false};
    std::atomic<bool> has_ended_{false};
    std::thread thread_;
};

TEST_F(Soak, StormsOfPlugsAndUnplugsAreAllToldAndGrowNothing) {
    const std::string key = NewKey();
    Waiter waiter;
    ASSERT_TRUE(Eventually([] { return WaitsBegun() == 1; }));
    // Several at once, as a loose plug has it.
    growth::ExpectNone(
        "storms of six events", growth::Rounds(10, 1'000),
        [&] {
            std::vector<KeyEvent> expected;
            for (int i = 0; i < 3; ++i) {
                Plug(key);
                Unplug(key);
                expected.push_back(Inserted(key));
                expected.push_back(Removed(key));
            }
            std::vector<KeyEvent> told;
            ASSERT_TRUE(Eventually([&] {
                const std::vector<KeyEvent> some = waiter.Events();
                told.insert(told.end(), some.begin(), some.end());
                return told.size() >= expected.size();
            }));
            EXPECT_EQ(expected, told);
        },
        kCaches);
}

}  // namespace
}  // namespace lifecycle
