// Which key, what would be done to it, and what a try costs, where the software key is the
// back-end.

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "command.h"

namespace {

constexpr const char* kPath = DOCTOR_PROGRAMS ":/usr/bin:/bin";

class SelectionOnSoftkey : public testing::Test {
 protected:
    SelectionOnSoftkey() {
        setenv("ORVAL_SOFTKEY_HOME", "/tmp/home", 1);
        setenv("PATH", kPath, 1);
        Shell(
            "umask 077; echo 12345678 >pin; softkey new --fixture --label Alice --pin-file pin "
            ">alice; "
            "softkey new --fixture --label Bob --pin-file pin >bob");
        alice_ = Line("/tmp/alice");
        bob_ = Line("/tmp/bob");
    }

    static void Shell(const std::string& script) {
        ASSERT_EQ(std::system(("cd /tmp; set -e; { " + script + "; } >&2").c_str()), 0) << script;
    }
    static void Plug(const std::string& serial_number) {
        Shell("softkey plug " + serial_number + " --pin-file pin");
    }
    static void Unplug(const std::string& serial_number) {
        Shell("softkey unplug " + serial_number);
    }
    static std::string Line(const std::string& path) {
        std::string text = FileContents(path);
        return text.substr(0, text.find('\n'));
    }
    static Command Ukeyctl(std::vector<std::string> words) {
        Command command(std::move(words));
        command.With("LD_LIBRARY_PATH", DOCTOR_PRODUCT);
        // What the software key keeps for its process is lost to the sanitizer's sight, not to the
        // process's end, when the command has closed it.
        command.With("ASAN_OPTIONS", "detect_leaks=0");
        return command;
    }

    std::string alice_;
    std::string bob_;
};

TEST_F(SelectionOnSoftkey, ListHasEveryKeyWithSlotSerialNumberAndLabel) {
    Plug(alice_);
    Plug(bob_);
    const nlohmann::json keys = Ukeyctl({"list", "--json"}).Run().Json()["keys"];
    const nlohmann::json expected = {
        {{"slot", 1}, {"serial_number", alice_}, {"label", "Alice"}, {"problem", nullptr}},
        {{"slot", 2}, {"serial_number", bob_}, {"label", "Bob"}, {"problem", nullptr}}};
    EXPECT_EQ(keys, expected);
}

TEST_F(SelectionOnSoftkey, WaitForAKeyEndsWhenOneIsPlugged) {
    const Outcome outcome = Ukeyctl({"wait", "--present", "--timeout", "60", "--json"})
                                .Meanwhile([this](pid_t) { Plug(bob_); })
                                .Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["serial_number"], bob_);
    EXPECT_EQ(outcome.Json()["keys"][0]["label"], "Bob");
}

// Keys come and go until the watch has begun and has told of more than one.
TEST_F(SelectionOnSoftkey, WatchTellsKeysByTheirLabels) {
    constexpr int kEvents = 3;
    const std::string out = "/tmp/events";
    const auto until_both = [this, &out](pid_t process) {
        for (int round = 0; round < 300; ++round) {
            Plug(alice_);
            Unplug(alice_);
            Plug(bob_);
            Unplug(bob_);
            const std::string shown = FileContents(out);
            if (std::count(shown.begin(), shown.end(), '\n') >= kEvents &&
                shown.find("\"Bob\"") != std::string::npos) {
                break;
            }
        }
        kill(process, SIGINT);
    };
    EXPECT_EQ(Ukeyctl({"watch", "--json"}).WritesTo(out).Meanwhile(until_both).Run().status, 0);
    std::istringstream lines(FileContents(out));
    int told = 0;
    for (std::string line; std::getline(lines, line); ++told) {
        const nlohmann::json event = nlohmann::json::parse(line);
        EXPECT_TRUE(event["serial_number"] == alice_ || event["serial_number"] == bob_) << line;
        // One that is gone again before it is asked says so.
        if (event["label"].is_null()) {
            EXPECT_FALSE(event["problem"].is_null()) << line;
        } else {
            EXPECT_EQ(event["label"], event["serial_number"] == alice_ ? "Alice" : "Bob") << line;
        }
    }
    EXPECT_GE(told, kEvents);
}

// ------------------------------------------------------------------- what changes a key

TEST_F(SelectionOnSoftkey, DryRunLeavesTheKeyAsItIs) {
    Plug(alice_);
    ASSERT_EQ(Ukeyctl({"data", "set", "1", "--data", "kept"}).Run().status, 0);
    const std::vector<std::vector<std::string>> changes = {
        {"init"},
        {"init-request", "--mode", "1", "--description", "CertType(1)KeyType(2)HashType(3)"},
        {"data", "set", "1", "--data", "lost"},
        {"label", "set", "lost"},
        {"pin", "change"}};
    for (std::vector<std::string> words : changes) {
        words.insert(words.end(), {"--dry-run", "--json"});
        const Outcome outcome = Ukeyctl(words).Run();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.Json()["serial_number"], alice_);
    }
    EXPECT_EQ(Ukeyctl({"data", "get", "1"}).Run().out, "kept\n");
    EXPECT_EQ(Ukeyctl({"label", "get"}).Run().out, "Alice\n");
}

// What the plan of a package shows is what the key then takes, in this order.
TEST_F(SelectionOnSoftkey, PlanOfAPackageIsWhatIsImported) {
    Plug(alice_);
    const std::string request = "/tmp/request";
    const std::string answer = "/tmp/answer";
    ASSERT_EQ(
        Ukeyctl({"init-request", "--description", "CertType(1)KeyType(2)HashType(3)|CertType(3)",
                 "--format", "text", "--out", request})
            .Run()
            .status,
        0);
    Shell("export HOME=/tmp; softca init; softca issue --in " + request + " --out " + answer);
    const nlohmann::json plan =
        Ukeyctl({"cert", "import-package", "--dry-run", "--json", answer}).Run().Json();
    ASSERT_EQ(plan["items"].size(), 3U);
    EXPECT_EQ(plan["items"][0]["kind"], "SignCert");
    EXPECT_EQ(plan["items"][1]["kind"], "EncPriKey");
    EXPECT_EQ(plan["items"][2]["kind"], "EncCert");
    EXPECT_NE(Ukeyctl({"cert", "dn"}).Run().status, 0);
    EXPECT_EQ(Ukeyctl({"cert", "import-package", answer}).Run().status, 0);
    EXPECT_EQ(Ukeyctl({"cert", "dn"}).Run().status, 0);
}

TEST_F(SelectionOnSoftkey, LastTryIsSpentOnlyWhenToldTo) {
    Shell("umask 077; echo 87654321 >wrong; softkey plug " + alice_ + " --pin-file wrong");
    const nlohmann::json first = Ukeyctl({"pin", "verify", "--json"}).Run().Json();
    const int64_t tries = first["tries_left_before"];
    EXPECT_EQ(first["tries_left_after"], tries - 1);
    for (int64_t left = tries - 1; left > 1; --left) {
        EXPECT_EQ(Ukeyctl({"pin", "verify", "--json"}).Run().Json()["tries_left_before"], left);
    }
    const Outcome refused = Ukeyctl({"pin", "verify", "--json"}).Run();
    EXPECT_EQ(refused.status, 13);
    EXPECT_EQ(Ukeyctl({"pin", "info", "--json"}).Run().Json()["tries_left"], 1);
    Unplug(alice_);
    Plug(alice_);
    const Outcome right = Ukeyctl({"pin", "verify", "--last-try", "--json"}).Run();
    EXPECT_EQ(right.status, 0);
    EXPECT_EQ(right.Json()["tries_left_after"], tries);
}

}  // namespace
