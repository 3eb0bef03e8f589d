// Files of the home that are damaged, open to others, another user's or left behind: what is sound
// goes on, what is not is named, and each advice leads out.
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <thread>

#include "base/draft_file.h"
#include "cli/exit_status.h"
#include "entry/faults.h"
#include "slots/slots.h"
#include "softkey_test.h"
#include "store/database.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using std::string_literals::operator""s;

struct Damage {
    const char* name;
    std::function<void(const std::string& path)> inflict;
};

const Damage kDamages[] = {
    {"truncated", [](const auto& path) { fs::resize_file(path, fs::file_size(path) / 2); }},
    {"garbage", [](const auto& path) { WriteFile(path, std::string(8192, 'x')); }},
    {"empty", [](const auto& path) { fs::resize_file(path, 0); }},
    {"without its tables",
     [](const auto& path) {
         fs::resize_file(path, 0);
         Database(path, Database::Mode::kExisting).Execute("CREATE TABLE other(x)");
     }},
};

const Damage& kGarbage = kDamages[1];

CommandResult SoftKey(const std::string& arguments) {
    return RunShell(Program("softkey") + " " + arguments + " </dev/null");
}

std::string Good(const std::string& arguments) {
    const CommandResult result = SoftKey(arguments);
    EXPECT_EQ(0, result.status) << arguments << '\n' << result.output;
    return result.output;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The command failed and said all of this; its output, for its advice.
std::string Failed(const CommandResult& result, std::initializer_list<std::string> parts,
                   cli::ExitStatus status = cli::ExitStatus::kFile) {
    EXPECT_EQ(static_cast<int>(status), result.status);
    for (const std::string& part : parts) {
        EXPECT_TRUE(Contains(result.output, part)) << part << " is not in\n" << result.output;
    }
    return result.output;
}

// What the commands of the advice begin with; each stands at the end of its line or before a ";".
std::string AdvisedCommand(const std::string& output, const std::string& beginning) {
    const size_t begin = output.find(beginning, output.find("\n  next: "));
    EXPECT_NE(std::string::npos, begin) << output;
    return begin == std::string::npos
               ? "false"
               : output.substr(begin, output.find_first_of(";\n", begin) - begin);
}

// Two plugged keys, of which the first is to be damaged.
class DamagedStore : public EntriesTest {
 protected:
    DamagedStore() {
        CreateKey(kOtherSerial, "Sound");
        PlugWithPinFile(kOtherSerial);
    }

    int32_t LabelCode(std::string serial) const {
        char label[512] = {};
        return key_.GetLabel(serial.data(), label);
    }

    static std::vector<std::string> FilesIn(const std::string& folder, const std::string& part) {
        std::vector<std::string> files;
        for (const auto& entry : fs::directory_iterator(folder)) {
            const std::string name = entry.path().filename().string();
            if (Contains(name, part)) files.push_back(name);
        }
        return files;
    }

    uint32_t ListedSlots() const {
        uint32_t slots[10] = {};
        uint32_t count = 10;
        EXPECT_EQ(0U, token_.GetSlotList(1, slots, &count));
        return count;
    }

    // The next event of this process, or {0, 0} when there is none.
    std::array<uint32_t, 2> NextEvent() {
        VEXA_EVENT_INFO event{};
        if (token_.WaitForEvent(1, 0, &event, &context_) != 0) return {0, 0};
        return {event.u32EventKind, event.ei.slotEvent.u32SlotID};
    }
    static constexpr std::array<uint32_t, 2> kNoEvent{0, 0};
    static std::array<uint32_t, 2> Arrival(uint32_t slot) { return {SLOT_DEVICEARRIVAL, slot}; }
    static std::array<uint32_t, 2> Removal(uint32_t slot) { return {SLOT_DEVICEREMOVE, slot}; }

    TokenLibrary token_;
    uint32_t context_ = 0;
};

// Keys.

using DamagedKey = DamagedStore;

TEST_F(DamagedKey, IsNamedInTheListBesideTheSoundOnes) {
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        damage.inflict(KeyPath(kSerial));
        Failed(SoftKey("list"),
               {kSerial + "  1     unusable\n"s,
                kOtherSerial + "  2     6 of 6 tries left (fixture)  Sound\n"s,
                "softkey list: "s + kSerial + ": The key's store is damaged", "\n  why: "});
    }
}

TEST_F(DamagedKey, HasItsProblemInTheListForPrograms) {
    kGarbage.inflict(KeyPath(kSerial));
    const CommandResult list = RunShell(Program("softkey") + " list --json 2>/dev/null");
    EXPECT_EQ(4, list.status);
    const Json keys = Json::parse(list.output)["keys"];
    ASSERT_EQ(2U, keys.size());
    EXPECT_EQ(kSerial, keys[0]["serial_number"]);
    EXPECT_EQ(1, keys[0]["slot"]);
    EXPECT_TRUE(keys[0]["tries_left"].is_null());
    EXPECT_EQ(Number(Code::kStoreDamaged), keys[0]["code"]);
    EXPECT_TRUE(Contains(keys[0]["next"], "softkey delete"));
    EXPECT_EQ("Sound", keys[1]["label"]);
    EXPECT_TRUE(keys[1]["problem"].is_null());
}

TEST_F(DamagedKey, OfWhichOnlyAPageIsLostIsNamedToo) {
    fs::resize_file(KeyPath(kSerial), fs::file_size(KeyPath(kSerial)) - 4096);
    Failed(SoftKey("list"), {kSerial + "  1     unusable"s});
}

TEST_F(DamagedKey, IsNotNoticedByClientsOfOtherKeys) {
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        damage.inflict(KeyPath(kSerial));
        EXPECT_EQ(2U, ListedSlots());
        EXPECT_EQ(kNoEvent, NextEvent());
        EXPECT_EQ(kSuccess, LabelCode(kOtherSerial));
        EXPECT_EQ(kSuccess, key_.VerifyPIN(kOtherSerial));
        EXPECT_EQ(kSuccess, key_.GetMediaID());
        EXPECT_EQ(Number(Code::kStoreDamaged), LabelCode(kSerial));
    }
}

TEST_F(DamagedKey, IsDeletedAsTheListAdvises) {
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        damage.inflict(KeyPath(kSerial));
        Good("unplug "s + kSerial);
        const std::string advised = AdvisedCommand(SoftKey("list").output, "softkey delete ");
        EXPECT_EQ("softkey delete "s + kSerial, advised);
        Good(advised.substr(advised.find(' ')) + " --yes");
        EXPECT_FALSE(Contains(Good("list"), kSerial));
        CreateKey();
        PlugWithPinFile();
    }
}

TEST_F(DamagedKey, IsReplacedByItsCopyAndItsFileIsKept) {
    GiveDualCertificates();
    const std::string certificate = CertificatePem(0x21);
    const std::string copy = Folder() + "/copy";
    Good("backup "s + kSerial + " " + copy);
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        damage.inflict(KeyPath(kSerial));
        const std::string damaged = ReadFile(KeyPath(kSerial));
        const CommandResult restored = SoftKey("restore " + copy);
        EXPECT_EQ(0, restored.status) << restored.output;
        EXPECT_TRUE(Contains(restored.output, KeyPath(kSerial) + ".damaged")) << restored.output;
        EXPECT_EQ(damaged, ReadFile(KeyPath(kSerial) + ".damaged"));
        EXPECT_EQ(certificate, CertificatePem(0x21));
        Good("list");
    }
    Good("unplug "s + kSerial);
    Good("delete --yes "s + kSerial);
    EXPECT_TRUE(FilesIn(KeysPath(), kSerial).empty());
}

TEST_F(DamagedKey, IsNeitherBackedUpNorErased) {
    kGarbage.inflict(KeyPath(kSerial));
    const std::string serial = kSerial;
    for (const std::string& arguments : {"backup " + serial + " " + Folder() + "/copy",
                                         "reset --yes " + serial, "show " + serial}) {
        SCOPED_TRACE(arguments);
        Failed(SoftKey(arguments), {"softkey restore FILE", "softkey delete SERIAL"});
    }
    EXPECT_FALSE(fs::exists(Folder() + "/copy"));
}

TEST_F(DamagedKey, IsNotASoundOneAndADamagedCopyIsNoCopy) {
    const std::string copy = Folder() + "/copy";
    Good("backup "s + kSerial + " " + copy);
    Failed(SoftKey("restore " + copy), {"softkey delete "s + kSerial}, cli::ExitStatus::kFailed);
    fs::resize_file(copy, fs::file_size(copy) / 2);
    kGarbage.inflict(KeyPath(kSerial));
    const std::string before = ReadFile(KeyPath(kSerial));
    Failed(SoftKey("restore " + copy), {"Name another copy"});
    EXPECT_EQ(before, ReadFile(KeyPath(kSerial)));
}

TEST_F(DamagedKey, LeavesNoJournalToTheNextKeyOfItsNumber) {
    const std::string copy = Folder() + "/copy";
    Good("backup "s + kSerial + " " + copy);
    const std::string journal = KeyPath(kSerial) + "-journal";
    {
        // A writer that would be killed here leaves a journal to roll back.
        Database writer(KeyPath(kSerial), Database::Mode::kExisting);
        writer.Execute("PRAGMA cache_size=1; BEGIN IMMEDIATE");
        for (int64_t i = 0; i < 64; ++i) {
            Statement(writer, "INSERT INTO data VALUES(?, ?)")
                .Bind(i)
                .Bind(std::string(259, 'x'))
                .Run();
        }
        ASSERT_LT(1000U, fs::file_size(journal));
        fs::copy_file(journal, Folder() + "/journal");
    }
    Unplug();
    fs::copy_file(Folder() + "/journal", journal);
    fs::remove(KeyPath(kSerial));
    Good("restore " + copy);
    EXPECT_FALSE(fs::exists(journal));
    Good("list");
    fs::copy_file(Folder() + "/journal", journal);
    Good("delete --yes "s + kSerial);
    EXPECT_FALSE(fs::exists(journal));
}

// The record of what is plugged.

using DamagedSlots = DamagedStore;

TEST_F(DamagedSlots, MeanThatNothingIsPluggedAndAreMadeAnewByTheNextPlug) {
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        damage.inflict(SlotsPath());
        EXPECT_EQ(Number(Code::kDeviceRemoved), LabelCode(kSerial));
        Failed(SoftKey("list"), {kSerial + "  -     6 of 6"s, "no key counts as plugged"});
        EXPECT_TRUE(Contains(SoftKey("unplug "s + kSerial).output, "softkey plug"));
        EXPECT_TRUE(Contains(Good("plug "s + kSerial), "has been made anew"));
        EXPECT_EQ(kSuccess, LabelCode(kSerial));
        EXPECT_EQ(Number(Code::kDeviceRemoved), LabelCode(kOtherSerial));
        EXPECT_EQ("Plugged OR00000000000002 into slot 2.\n", Good("plug "s + kOtherSerial));
        Good("list");
    }
}

TEST_F(DamagedSlots, DoNotKeepAKeyFromBeingDeleted) {
    kGarbage.inflict(SlotsPath());
    Good("delete --yes "s + kSerial);
    EXPECT_FALSE(fs::exists(KeyPath(kSerial)));
}

TEST_F(DamagedSlots, AreRemovalsForAWaitingClient) {
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    EXPECT_EQ(2U, ListedSlots());
    kGarbage.inflict(SlotsPath());
    EXPECT_EQ(Removal(1), NextEvent());
    EXPECT_EQ(Removal(2), NextEvent());
    EXPECT_EQ(kNoEvent, NextEvent());
    PlugWithDialog(kOtherSerial);
    Unplug(kOtherSerial);
    PlugWithDialog(kSerial);
    EXPECT_EQ(Arrival(1), NextEvent());
    EXPECT_EQ(Removal(1), NextEvent());
    EXPECT_EQ(Arrival(1), NextEvent());
    EXPECT_EQ(kNoEvent, NextEvent());
}

// The new journal has as many events as the one before it when the client looks again.
TEST_F(DamagedSlots, MadeAnewBetweenTwoLooksAreNotTakenForTheSame) {
    ASSERT_EQ(0U, token_.ContextInit(&context_));
    EXPECT_EQ(kNoEvent, NextEvent());
    kGarbage.inflict(SlotsPath());
    PlugWithDialog(kOtherSerial);
    Unplug(kOtherSerial);
    EXPECT_EQ(Removal(1), NextEvent());
    EXPECT_EQ(Removal(2), NextEvent());
    EXPECT_EQ(kNoEvent, NextEvent());
    EXPECT_EQ(0U, ListedSlots());
}

TEST_F(DamagedSlots, EndCachedPins) {
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    kGarbage.inflict(SlotsPath());
    PlugWithPinFile(kSerial, kOtherPin);
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
}

// The file of ordered faults.

class DamagedFaults : public DamagedStore {
 protected:
    // What stands in the place of the file.
    static std::vector<Damage> Damages() {
        std::vector<Damage> damages(std::begin(kDamages), std::end(kDamages));
        damages.push_back({"open to others", [](const auto& path) { chmod(path.c_str(), 0644); }});
        damages.push_back({"link", [](const auto& path) {
                               fs::rename(path, path + ".moved");
                               fs::create_symlink(path + ".moved", path);
                           }});
        return damages;
    }

    // Orders and withdraws, until it is killed.
    [[noreturn]] static void DisturbForEver() {
        for (;;) {
            OrderFault({"VerifyPIN", -401, 3, 0, 0});
            OrderFault({"SetData", -401, -1, 2, 0});
            ClearFaults("VerifyPIN");
            ClearFaults("");
        }
    }
};

TEST_F(DamagedFaults, AreNoFaultsForClients) {
    for (const Damage& damage : Damages()) {
        SCOPED_TRACE(damage.name);
        OrderFault({"SetData", -401, -1, 0, 0});
        damage.inflict(FaultsPath());
        EXPECT_EQ(kSuccess, LabelCode(kSerial));
        EXPECT_EQ(2U, ListedSlots());
        fs::remove(FaultsPath());
        fs::remove(FaultsPath() + ".moved");
    }
}

TEST_F(DamagedFaults, AreNamedByTheListAndRemovedByTheCommandThatItAdvises) {
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        OrderFault({"GetLabel", -401, -1, 0, 0});
        OrderFault({"VexaT_WaitForEvent", -401, -1, 0, 0});
        damage.inflict(FaultsPath());
        const std::string list = Failed(SoftKey("fault --list"), {FaultsPath()});
        const std::string advised = AdvisedCommand(list, "softkey fault");
        EXPECT_EQ("No faults are ordered.\n", Good(advised.substr(advised.find(' '))));
        EXPECT_FALSE(fs::exists(FaultsPath()));
    }
}

TEST_F(DamagedFaults, GiveWayToTheNextOrder) {
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        OrderFault({"SetLabel", -401, -1, 0, 0});
        damage.inflict(FaultsPath());
        Good("fault GetLabel -401");
        EXPECT_EQ(-401, LabelCode(kSerial));
        EXPECT_EQ(kSuccess, LabelCode(kSerial));
        EXPECT_FALSE(fs::exists(FaultsPath())) << "the last order is served";
    }
}

TEST_F(DamagedFaults, AreNeverSeenWhileOthersOrderAndWithdraw) {
    constexpr int kCallers = 3;
    constexpr int kCalls = 400;
    pid_t disturbers[2];
    for (pid_t& disturber : disturbers) {
        disturber = fork();
        if (disturber == 0) DisturbForEver();
    }
    pid_t callers[kCallers];
    for (pid_t& caller : callers) {
        caller = fork();
        if (caller != 0) continue;
        int failures = 0;
        for (int i = 0; i < kCalls; ++i) failures += LabelCode(kSerial) != kSuccess;
        _exit(failures < 100 ? failures : 100);
    }
    int status = 0;
    for (const pid_t caller : callers) {
        ASSERT_EQ(caller, waitpid(caller, &status, 0));
        EXPECT_EQ(0, WEXITSTATUS(status)) << "calls failed that no fault was ordered for";
    }
    for (const pid_t disturber : disturbers) {
        EXPECT_EQ(0, waitpid(disturber, &status, WNOHANG)) << "a disturber failed by itself";
        kill(disturber, SIGKILL);
        waitpid(disturber, &status, 0);
    }
}

TEST_F(DamagedFaults, AreNotWhatAKillLeavesBehind) {
    std::random_device device;
    const unsigned seed = device();
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> delay(0, 30000);
    for (int i = 0; i < 30; ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", kill " + std::to_string(i));
        ClearFaults("");
        const pid_t disturber = fork();
        if (disturber == 0) DisturbForEver();
        std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
        kill(disturber, SIGKILL);
        int status = 0;
        waitpid(disturber, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        ASSERT_EQ(kSuccess, LabelCode(kSerial));
        ASSERT_NO_THROW(OrderedFaults());
    }
    Good("fault --clear");
    Good("fault GetLabel 1");
    EXPECT_TRUE(FilesIn(HomePath(), ".new-").empty()) << "drafts were left behind";
}

// Drafts.

using AbandonedDraft = DamagedStore;

void BeKilledWithADraftOf(const std::string& path) {
    const pid_t maker = fork();
    if (maker == 0) {
        const DraftFile draft(path);
        raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(maker, waitpid(maker, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status));
}

TEST_F(AbandonedDraft, OfAKeyIsClearedByTheNextOne) {
    BeKilledWithADraftOf(KeyPath("OR00000000000009"));
    BeKilledWithADraftOf(SlotsPath());
    EXPECT_EQ(1U, FilesIn(KeysPath(), ".new-").size());
    const DraftFile of_a_living_maker(KeyPath("OR00000000000008"));
    CreateKey("OR00000000000003");
    const std::vector<std::string> left = FilesIn(KeysPath(), ".new-");
    ASSERT_EQ(1U, left.size());
    EXPECT_EQ(0U, left[0].find("OR00000000000008.key"));
    EXPECT_TRUE(FilesIn(HomePath(), ".new-").empty());
}

TEST_F(AbandonedDraft, OfACopyIsClearedByTheNextOneOfItsName) {
    const std::string copy = Folder() + "/copy";
    BeKilledWithADraftOf(copy);
    WriteFile(Folder() + "/copy.new-one", "somebody's own");
    WriteFile(Folder() + "/other.new-abcdef", "somebody's own");
    EXPECT_EQ(2U, FilesIn(Folder(), "copy.new-").size());
    Good("backup "s + kSerial + " " + copy);
    EXPECT_EQ(std::vector<std::string>{"copy.new-one"}, FilesIn(Folder(), "copy.new-"));
    EXPECT_TRUE(fs::exists(Folder() + "/other.new-abcdef"));
}

// Owner and modes.

using OpenToOthers = DamagedStore;

TEST_F(OpenToOthers, AFileOrFolderIsRefusedWheneverItIsOpenedAndTheAdviceHelps) {
    const struct {
        std::string path;
        mode_t mode;
    } openings[] = {{HomePath(), 0750},       {KeysPath(), 0705},  {KeyPath(kSerial), 0640},
                    {KeyPath(kSerial), 0602}, {SlotsPath(), 0604}, {HomePath(), 0777},
                    {KeyPath(kSerial), 0200}};
    for (const auto& opening : openings) {
        SCOPED_TRACE(opening.path);
        ASSERT_EQ(0, chmod(opening.path.c_str(), opening.mode));
        EXPECT_EQ(Number(Code::kStoreUnreachable), LabelCode(kSerial));
        const CommandResult list = SoftKey("list");
        EXPECT_EQ(4, list.status);
        EXPECT_TRUE(Contains(list.output, opening.path + " is open to other users") ||
                    Contains(list.output, opening.path + " may not be read"))
            << list.output;
        EXPECT_EQ(0, RunShell(AdvisedCommand(list.output, "chmod ")).status);
        EXPECT_EQ(kSuccess, LabelCode(kSerial));
        Good("list");
    }
}

TEST_F(OpenToOthers, ASharedFolderIsRefusedAlsoForReading) {
    chmod(HomePath().c_str(), 01777);
    EXPECT_EQ(Number(Code::kStoreUnreachable), LabelCode(kSerial));
    Failed(SoftKey("list"), {"shared by several users", "ORVAL_SOFTKEY_HOME"});
}

// What another user owns is seen as such by root, who may give it away, and by anybody else through
// a view of the file system that shows root's in its place.
class AnothersFile : public DamagedStore {
 protected:
    static std::string SoftKeyWhile(const std::string& path, const std::string& root_has) {
        const std::string command = Program("softkey") + " list";
        if (geteuid() == 0) {
            EXPECT_EQ(0, chown(path.c_str(), kSomebody, kSomebody));
            return command;
        }
        return "bwrap --dev-bind / / --ro-bind " + root_has + " " + path + " -- " + command;
    }
    static constexpr uid_t kSomebody = 12345;
};

TEST_F(AnothersFile, IsNotUsed) {
    Failed(RunShell(SoftKeyWhile(KeyPath(kSerial), "/etc/passwd")),
           {KeyPath(kSerial) + " belongs to user ",
            "sudo chown -R " + std::to_string(geteuid()) + " '" + KeyPath(kSerial) + "'",
            kOtherSerial + "  2     6 of 6"s});
}

TEST_F(AnothersFile, InAnothersHomeIsNotUsedEither) {
    Failed(RunShell(SoftKeyWhile(HomePath(), "/etc")), {HomePath() + " belongs to user "});
    if (geteuid() == 0) {
        EXPECT_EQ(Number(Code::kStoreUnreachable), LabelCode(kOtherSerial));
        EXPECT_EQ(Code::kStoreUnreachable, CodeOfFailure([] { CreateKey("OR00000000000003"); }));
    }
}

// What a call costs.

// Counts who opens the two files of a plugged key.
class Openings {
 public:
    Openings() : watch_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        // With the closings between them, equal events in a row are not told as one.
        constexpr uint32_t kWatched = IN_OPEN | IN_CLOSE;
        key_ = inotify_add_watch(watch_, KeyPath(kSerial).c_str(), kWatched);
        slots_ = inotify_add_watch(watch_, SlotsPath().c_str(), kWatched);
    }
    ~Openings() { close(watch_); }
    Openings(const Openings&) = delete;
    Openings& operator=(const Openings&) = delete;

    // Of the key and of the slots, since the last question.
    std::array<int, 2> Count() const {
        alignas(inotify_event) char events[4096];
        const ssize_t length = read(watch_, events, sizeof events);
        std::array<int, 2> opened{};
        for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(sizeof(inotify_event))) {
            const auto* const event = reinterpret_cast<const inotify_event*>(events + at);
            const bool opening = (event->mask & IN_OPEN) != 0;
            opened[0] += opening && event->wd == key_;
            opened[1] += opening && event->wd == slots_;
        }
        return opened;
    }

 private:
    int watch_;
    int key_;
    int slots_;
};

TEST_F(DamagedStore, ACachedSignatureOpensAFileOnlyWhenThatHasChanged) {
    using Opened = std::array<int, 2>;
    GiveDualCertificates();
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    EXPECT_FALSE(SignatureOf("order").empty());
    const Openings openings;
    EXPECT_FALSE(SignatureOf("order").empty());
    EXPECT_EQ((Opened{0, 0}), openings.Count());
    KeyStore(kSerial).SetLabel("Other");
    openings.Count();
    EXPECT_FALSE(SignatureOf("order").empty());
    EXPECT_EQ((Opened{1, 0}), openings.Count());
    Unplug(kOtherSerial);
    openings.Count();
    EXPECT_FALSE(SignatureOf("order").empty());
    EXPECT_EQ((Opened{0, 1}), openings.Count());
}

}  // namespace
}  // namespace softkey::testing
