// State that survives: killed writers, several processes at once, a full disk, a read-only store.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <iterator>
#include <random>
#include <thread>

#include "authority/authority.h"
#include "key/backup.h"
#include "slots/slots.h"
#include "softkey_test.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

constexpr int kFewKills = 12;

int KillCount() {
    const char* const count = std::getenv("SOFTKEY_KILLS");
    return count == nullptr ? kFewKills : std::atoi(count);
}

// What a writer has been told is done.
struct Acknowledged {
    int32_t counter;
    int32_t requests;
};

class DurabilityTest : public EntriesTest {
 protected:
    // Writes until it is killed; each acknowledgement follows the entry's answer.
    [[noreturn]] void WriteForEver(int pipe, int32_t counter) {
        Acknowledged done{counter, 0};
        if (key_.VerifyAndCachePin(kSerial, 0) != kSuccess) _exit(1);
        if (write(pipe, &done, sizeof done) != sizeof done) _exit(4);
        for (;;) {
            const std::string text = std::to_string(done.counter + 1);
            if (key_.SetData(kSerial, 0, text.c_str()) != kSuccess) _exit(2);
            ++done.counter;
            if (done.requests < 20 && done.counter % 3 == 0) {
                char* request = nullptr;
                if (key_.GMCreatePKCS10(kSerial, 2, 2, 3, &request, nullptr, 0) != kSuccess) {
                    _exit(3);
                }
                delete[] request;
                ++done.requests;
            }
            if (write(pipe, &done, sizeof done) != sizeof done) _exit(4);
        }
    }

    enum class From { kItsStart, kItsFirstWrite };

    // Starts a writer, kills it `delay` after its start or after its first acknowledgement, and
    // returns the last one.
    static Acknowledged KillAWriter(From from, std::chrono::microseconds delay,
                                    const Acknowledged& start,
                                    const std::function<void(int pipe)>& write_for_ever) {
        int ends[2];
        EXPECT_EQ(0, pipe(ends));
        const pid_t writer = fork();
        if (writer == 0) {
            write_for_ever(ends[1]);
            _exit(5);
        }
        close(ends[1]);
        Acknowledged last = start;
        if (from == From::kItsFirstWrite) {
            EXPECT_EQ(static_cast<ssize_t>(sizeof last), read(ends[0], &last, sizeof last));
        }
        std::this_thread::sleep_for(delay);
        kill(writer, SIGKILL);
        int status = 0;
        EXPECT_EQ(writer, waitpid(writer, &status, 0));
        EXPECT_TRUE(WIFSIGNALED(status)) << "the writer failed by itself: " << WEXITSTATUS(status);
        Acknowledged next{};
        while (read(ends[0], &next, sizeof next) == sizeof next) last = next;
        close(ends[0]);
        return last;
    }

    int32_t StoredCounter() {
        char text[260] = {};
        const int32_t code = key_.GetData(kSerial, 0, text);
        return code == kSuccess ? std::atoi(text) : 0;
    }

    int32_t TemporaryPairs() {
        int32_t count = 0;
        for (const StoredPair& pair : KeyStore(kSerial).Pairs()) count += pair.IsTemporary();
        return count;
    }
};

TEST_F(DurabilityTest, WritersKilledAtRandomMomentsLoseNothingThatWasAcknowledged) {
    GiveDualCertificates();
    std::random_device device;
    const unsigned seed = device();
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> delay(0, 150000);
    int32_t writes = 0;
    int32_t requests = 0;
    for (int i = 0; i < KillCount(); ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", kill " + std::to_string(i));
        const int32_t before = StoredCounter();
        // Every fourth is to be hit while it verifies the PIN, the others while they write.
        const From from = i % 4 == 3 ? From::kItsStart : From::kItsFirstWrite;
        const Acknowledged last =
            KillAWriter(from, std::chrono::microseconds(delay(random)), {before, 0},
                        [&](int pipe) { WriteForEver(pipe, before); });
        ASSERT_GE(StoredCounter(), last.counter);
        ASSERT_GE(TemporaryPairs(), last.requests);
        ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
        ASSERT_FALSE(SignatureOf("x").empty());
        if (TemporaryPairs() > 0) {
            ASSERT_EQ(kSuccess, key_.DelCertAndTempKey(kSerial, 2, 1));
        }
        writes += last.counter - before;
        requests += last.requests;
    }
    std::cout << KillCount() << " writers killed; acknowledged and not lost: " << writes
              << " data writes, " << requests << " key pairs\n";
    EXPECT_GT(writes, 0) << "no writer came as far as a write; seed " << seed;
}

// The page says so. A try is taken before the PIN is looked at: a kill must not win one.
TEST_F(DurabilityTest, SixKillsInTheMiddleOfRightPinsLockTheKey) {
    constexpr int kEnoughAttempts = 200;
    // A fixture's PIN would be known before the kill.
    Unplug();
    DeleteKey(kSerial);
    CreateKey(kSerial, "", Kind::kReal);
    PlugWithPinFile();
    for (int attempt = 0; TriesLeft() > 0; ++attempt) {
        ASSERT_LT(attempt, kEnoughAttempts) << "the verifications were always faster than the kill";
        const int32_t before = TriesLeft();
        const pid_t client = fork();
        if (client == 0) _exit(key_.VerifyPIN(kSerial) == kSuccess ? 0 : 1);
        while (TriesLeft() == before && waitpid(client, nullptr, WNOHANG) == 0) {
        }
        kill(client, SIGKILL);
        waitpid(client, nullptr, 0);
        // One that came to its end has given all tries back.
        const int32_t left = TriesLeft();
        ASSERT_TRUE(left == before - 1 || left == 6) << left << " of " << before;
    }
    EXPECT_EQ(Number(Code::kPinLocked), key_.VerifyPIN(kSerial));
}

// A change that is made again and again: step n leads from state n - 1 to state n. After a kill the
// key is in the last acknowledged state or in the next one, and in nothing between.
struct Change {
    const char* name;
    std::function<bool(int32_t n)> step;
    std::function<bool(int32_t n)> is_in_state;
    int32_t state = 0;
};

class ChangesTest : public DurabilityTest {
 protected:
    ChangesTest() { Answer(Request(1, 2)); }  // makes the authority

    void SayPin(const std::string& lines) const {
        WriteSecretFile(std::string("pin-") + kSerial, lines);
    }

    static std::string PinNumber(int32_t n) { return "pin-" + std::to_string(100000 + n); }

    bool HasPin(int32_t n) const {
        const Code code = CodeOfFailure([&] { KeyStore(kSerial).Unlock(ToSecret(PinNumber(n))); });
        if (code == Code::kOk) SayPin(PinNumber(n));
        return code == Code::kOk;
    }

    bool ChangesPin(int32_t n) const {
        SayPin(PinNumber(n - 1) + "\n" + PinNumber(n) + "\n");
        return key_.ChangePin(kSerial) == kSuccess;
    }

    // Erases, so that label and data item belong together.
    bool Erases(int32_t n) const {
        std::string text = std::to_string(n);
        return key_.CustInitCard(kSerial, 0, text.data(), 0) == kSuccess &&
               key_.SetData(kSerial, 1, text.c_str()) == kSuccess;
    }
    static bool IsErased(int32_t n) {
        KeyStore store(kSerial);
        const std::string text = store.Data(1).value_or(store.Label());
        return store.Label() == std::to_string(n) && store.Pairs().empty() && text == store.Label();
    }

    std::string NameOf(int32_t selector) const {
        char name[1024] = {};
        return key_.GM_GetCertDN(kSerial, selector, 0, name) == kSuccess ? name : "none";
    }
    bool Imports(int32_t n) {
        Authority::Terms terms;
        terms.subject = "CN=" + std::to_string(n);
        return Import(Authority(AuthorityFolder()).Answer(DualRequest(), terms)) == kSuccess;
    }
    // Three writes: the encryption certificate comes last and may still be the one before. Then the
    // import is made again, as a client would: otherwise the next kill could leave one still older.
    bool HasImported(int32_t n) {
        const std::string wanted = "CN=" + std::to_string(n);
        const std::string signing = NameOf(0x21);
        const std::string encryption = NameOf(0x22);
        const bool old_enough = encryption == wanted || encryption == "CN=" + std::to_string(n - 1);
        if (signing != wanted || !old_enough) return false;
        if (encryption != wanted && !Imports(n)) return false;
        // Key pairs of requests that were on their way.
        key_.DelCertAndTempKey(kSerial, 1, 1);
        key_.DelCertAndTempKey(kSerial, 2, 1);
        return TemporaryPairs() == 0 && !SignatureOf("x").empty();
    }

    // In turn: three key pairs come one by one, and all three go at once.
    static constexpr int32_t kPairs = 3;
    bool AddsOrDeletesPairs(int32_t n) {
        if (n % (kPairs + 1) == 0) return key_.DelCertAndTempKey(kSerial, 2, 1) == kSuccess;
        char* request = nullptr;
        const bool good = key_.GMCreatePKCS10(kSerial, 2, 2, 3, &request, nullptr, 0) == kSuccess;
        delete[] request;
        return good;
    }
    bool HasPairs(int32_t n) { return TemporaryPairs() == n % (kPairs + 1); }

    bool PlugsOrUnplugs(int32_t n) const {
        n % 2 == 1 ? Unplug() : Plug();
        return true;
    }
    bool IsPlugged(int32_t n) const {
        std::optional<Slots> slots = Slots::OpenExisting();
        return slots->LastSequence() == first_sequence_ + n &&
               slots->Find(kSerial).has_value() == (n % 2 == 0);
    }
    void Plug() const {
        PinSource source;
        source.file = Folder() + "/pin-" + kSerial;
        source.confirmation = Confirmation::kAlways;
        Slots::OpenOrCreate().Plug(kSerial, source);
    }

    // Returns how many steps were acknowledged.
    int32_t KillOnce(Change& change, std::chrono::microseconds delay) {
        const Acknowledged last =
            KillAWriter(From::kItsFirstWrite, delay, {change.state, 0}, [&](int pipe) {
                Acknowledged done{change.state, 0};
                for (;;) {
                    if (write(pipe, &done, sizeof done) != sizeof done) _exit(4);
                    if (!change.step(done.counter + 1)) _exit(2);
                    ++done.counter;
                }
            });
        const int32_t steps = last.counter - change.state;
        const bool next = !change.is_in_state(last.counter);
        change.state = last.counter + (next ? 1 : 0);
        EXPECT_TRUE(!next || change.is_in_state(change.state))
            << change.name << ": neither state " << last.counter << " nor the next";
        return steps;
    }

    int64_t first_sequence_ = Slots::OpenOrCreate().LastSequence();
};

TEST_F(ChangesTest, KilledAtRandomMomentsAreDoneOrNotDone) {
    KeyStore(kSerial).ChangePin(ToSecret(kPin), ToSecret(PinNumber(0)));
    SayPin(PinNumber(0));
    Change changes[] = {
        {"erasure", [&](int32_t n) { return Erases(n); }, IsErased},
        {"PIN change", [&](int32_t n) { return ChangesPin(n); },
         [&](int32_t n) { return HasPin(n); }},
        {"import", [&](int32_t n) { return Imports(n); },
         [&](int32_t n) { return HasImported(n); }},
        {"deletion", [&](int32_t n) { return AddsOrDeletesPairs(n); },
         [&](int32_t n) { return HasPairs(n); }},
        {"plug", [&](int32_t n) { return PlugsOrUnplugs(n); },
         [&](int32_t n) { return IsPlugged(n); }},
    };
    std::random_device device;
    const unsigned seed = device();
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> delay(0, 300000);
    const int kills = std::max(1, KillCount() / static_cast<int>(std::size(changes)));
    for (Change& change : changes) {
        ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
        // The first step is undisturbed: it makes a state that can be recognised.
        ASSERT_TRUE(change.step(1)) << change.name;
        change.state = 1;
        int32_t steps = 0;
        for (int i = 0; i < kills; ++i) {
            SCOPED_TRACE(change.name + (", seed " + std::to_string(seed)));
            steps += KillOnce(change, std::chrono::microseconds(delay(random)));
            ASSERT_FALSE(HasFailure());
        }
        std::cout << change.name << ": " << kills << " killed, " << steps
                  << " acknowledged and not lost\n";
    }
}

TEST_F(DurabilityTest, SeveralProcessesUseOneKeyAtOnce) {
    constexpr int kProcesses = 4;
    constexpr int kWrites = 10;
    GiveDualCertificates();
    pid_t children[kProcesses];
    for (int child = 0; child < kProcesses; ++child) {
        children[child] = fork();
        ASSERT_GE(children[child], 0);
        if (children[child] != 0) continue;
        bool good = true;
        for (int i = 1; i <= kWrites && good; ++i) {
            char* request = nullptr;
            good = key_.SetData(kSerial, child, std::to_string(i).c_str()) == kSuccess &&
                   key_.VerifyPIN(kSerial) == kSuccess &&
                   key_.GMCreatePKCS10(kSerial, 1, 2, 3, &request, nullptr, 0) == kSuccess &&
                   !SignatureOf("x").empty();
            delete[] request;
        }
        _exit(good && !HasFailure() ? 0 : 1);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
    for (int child = 0; child < kProcesses; ++child) {
        EXPECT_EQ(std::to_string(kWrites), KeyStore(kSerial).Data(child));
    }
    EXPECT_EQ(kProcesses * kWrites, TemporaryPairs());
    EXPECT_EQ(kMaximumTries, TriesLeft());
}

TEST_F(DurabilityTest, MoreProcessesThanTriesVerifyTheRightPinAtOnce) {
    constexpr int kProcesses = 10;
    pid_t children[kProcesses];
    for (pid_t& child : children) {
        child = fork();
        ASSERT_GE(child, 0);
        if (child != 0) continue;
        _exit(key_.VerifyPIN(kSerial) == kSuccess ? 0 : 1);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
    EXPECT_EQ(kMaximumTries, TriesLeft());
}

// The command runs in a view of the file system in which the home is as the test wants it.
class HostileStoreTest : public SoftKeyTest {
 protected:
    HostileStoreTest() : pin_file_(WriteSecretFile("pin", kPin)) {}

    std::string SoftKey(const std::string& arguments) const {
        return Program("softkey") + " " + arguments;
    }

    std::string pin_file_;
};

TEST_F(HostileStoreTest, AReadOnlyStoreGivesItsCodeAndIsReadable) {
    CreateKey();
    const std::string home = Folder() + "/home";
    const std::string view = "bwrap --dev-bind / / --ro-bind " + home + " " + home + " -- ";
    const CommandResult listed = RunShell(view + SoftKey("list"));
    EXPECT_EQ(0, listed.status) << listed.output;
    EXPECT_NE(std::string::npos, listed.output.find(kSerial));
    for (const std::string& arguments :
         {std::string("pin --check --pin-file ") + pin_file_ + " " + kSerial,
          "new --pin-file " + pin_file_, std::string("plug ") + kSerial,
          std::string("fault VerifyPIN 1"), std::string("delete --yes ") + kSerial}) {
        const CommandResult result = RunShell(view + SoftKey(arguments));
        EXPECT_EQ(4, result.status) << arguments << '\n' << result.output;
        EXPECT_NE(std::string::npos, result.output.find("store is read-only")) << arguments << '\n'
                                                                               << result.output;
    }
    EXPECT_EQ(kMaximumTries, KeyStore(kSerial).Pin().tries_left);
}

TEST_F(HostileStoreTest, AFullDiskGivesItsCodeAndLosesNothing) {
    const std::string home = Folder() + "/small";
    const std::string check =
        SoftKey("pin " + std::string(kSerial) + " --check --pin-file " + pin_file_);
    WriteFile(Folder() + "/steps",
              "set -e; mkdir -p " + home + "/h; export ORVAL_SOFTKEY_HOME=" + home + "/h\n" +
                  SoftKey("new --serial " + std::string(kSerial) + " --pin-file " + pin_file_) +
                  "\ncat /dev/zero > " + home + "/filler 2>/dev/null || true\n" + "if " + check +
                  "; then exit 9; fi\n" + "if " + SoftKey("new --pin-file " + pin_file_) +
                  "; then exit 9; fi\n" + "rm " + home + "/filler\n" + check + "\n" +
                  SoftKey("list") + "\n");
    const CommandResult result =
        RunShell("mkdir " + home + " && bwrap --dev-bind / / --size 1000000" + " --tmpfs " + home +
                 " -- sh " + Folder() + "/steps");
    EXPECT_EQ(0, result.status) << result.output;
    const size_t first = result.output.find("disk that holds the key is full");
    EXPECT_NE(std::string::npos, first) << result.output;
    EXPECT_NE(first, result.output.rfind("disk that holds the key is full")) << result.output;
    EXPECT_NE(std::string::npos, result.output.find("The PIN is right.")) << result.output;
    EXPECT_NE(std::string::npos, result.output.find("6 of 6 tries left")) << result.output;
}

}  // namespace
}  // namespace softkey::testing
