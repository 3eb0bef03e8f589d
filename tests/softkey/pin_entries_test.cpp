// PIN rules through the entries: tries, cache, sources, dialogs.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "key/device.h"
#include "softkey_test.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

class PinEntries : public EntriesTest {
 protected:
    // After this, another question for the PIN gives a wrong one.
    void SpoilPinFile() { WriteSecretFile(std::string("pin-") + kSerial, kOtherPin); }
    void MendPinFile() { WriteSecretFile(std::string("pin-") + kSerial, kPin); }

    void PlugAgainWithDialog() {
        Unplug();
        PlugWithDialog();
    }
};

TEST_F(PinEntries, TheRightPinIsVerified) {
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    EXPECT_EQ(kMaximumTries, TriesLeft());
}

TEST_F(PinEntries, WrongPinsCountDownAndTheTextTellsTheTries) {
    SpoilPinFile();
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
    EXPECT_EQ(5, TriesLeft());
    EXPECT_STREQ("The PIN is not correct. Tries left: 5.",
                 key_.X_ErrorConvert_UOS(Number(Code::kPinIncorrect)));
    ASSERT_EQ(kSuccess, key_.UOS_SetLanguage("zh", ""));
    EXPECT_STREQ("PIN 码错误。剩余 5 次。", key_.X_ErrorConvert_UOS(Number(Code::kPinIncorrect)));
}

TEST_F(PinEntries, ALockedKeyIsLockedForEveryUse) {
    GiveDualCertificates();
    SpoilPinFile();
    for (int i = 1; i < kMaximumTries; ++i) {
        EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
    }
    EXPECT_EQ(Number(Code::kPinLocked), key_.VerifyPIN(kSerial));
    MendPinFile();
    char buffer[4096];
    int32_t length = sizeof buffer;
    char* text = nullptr;
    const int32_t locked = Number(Code::kPinLocked);
    EXPECT_EQ(locked, key_.VerifyPIN(kSerial));
    EXPECT_EQ(locked, key_.ChangePin(kSerial));
    EXPECT_EQ(locked, key_.GMCreatePKCS10(kSerial, 1, 2, 3, &text, nullptr, 0));
    EXPECT_EQ(locked, key_.GMUsbKeyCommonSign(kSerial, 1, 0, "x", 0, buffer, &length));
    EXPECT_EQ(locked, key_.DelCertAndTempKey(kSerial, 1, 0));
    EXPECT_EQ(0, TriesLeft());
    // Reading needs no PIN, and initialising gives the key a new one.
    length = sizeof buffer;
    EXPECT_EQ(kSuccess, key_.GetCertInfo(kSerial, 1, 0, buffer, &length));
    EXPECT_EQ(kSuccess, key_.CustInitCard(kSerial, 0, nullptr, 0));
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, VerifyPinAsksEachTimeWithoutTheCache) {
    ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    SpoilPinFile();
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, AVerificationServesRequestsUntilAnotherUseTakesItAlong) {
    GiveDualCertificates();
    ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    SpoilPinFile();
    Request(1, 2);
    Request(1, 2);
    EXPECT_FALSE(SignatureOf("x").empty());
    char buffer[4096];
    int32_t length = sizeof buffer;
    EXPECT_EQ(Number(Code::kPinIncorrect),
              key_.GMUsbKeyCommonSign(kSerial, 1, 0, "x", 0, buffer, &length));
}

TEST_F(PinEntries, AWrongPinEndsAnEarlierVerification) {
    ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    SpoilPinFile();
    ASSERT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
    char* text = nullptr;
    EXPECT_EQ(Number(Code::kPinIncorrect),
              key_.GMCreatePKCS10(kSerial, 1, 2, 3, &text, nullptr, 0));
}

TEST_F(PinEntries, ACachedPinServesEveryUse) {
    GiveDualCertificates();
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    SpoilPinFile();
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    EXPECT_FALSE(SignatureOf("x").empty());
    EXPECT_FALSE(SignatureOf("y").empty());
    EXPECT_EQ(kMaximumTries, TriesLeft());
}

TEST_F(PinEntries, TheFlagMakesEveryVerificationACachedOne) {
    ASSERT_EQ(kSuccess, key_.SetCachePinFlag(kSerial, 1));
    ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    SpoilPinFile();
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    // Turning it off drops what is cached.
    ASSERT_EQ(kSuccess, key_.SetCachePinFlag(kSerial, 0));
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
    EXPECT_EQ(Number(Code::kSelector), key_.SetCachePinFlag(kSerial, 2));
}

TEST_F(PinEntries, RemovingTheCacheMakesTheNextUseAsk) {
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    SpoilPinFile();
    ASSERT_EQ(kSuccess, key_.GM_RemoveUserPin());
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, ACachedPinEndsWithItsTime) {
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 4));
    const auto begin = std::chrono::steady_clock::now();
    SpoilPinFile();
    int32_t code = kSuccess;
    while (code == kSuccess && std::chrono::steady_clock::now() - begin < std::chrono::minutes(1)) {
        code = key_.VerifyPIN(kSerial);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(Number(Code::kPinIncorrect), code);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
    EXPECT_EQ(Number(Code::kSelector), key_.VerifyAndCachePin(kSerial, -1));
    EXPECT_EQ(Number(Code::kSelector), key_.VerifyAndCachePin(kSerial, 86401));
}

TEST_F(PinEntries, ACachedPinEndsWhenTheKeyIsUnplugged) {
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    Unplug();
    PlugWithPinFile(kSerial, kOtherPin);
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, ACachedPinEndsWhenAnotherProgramChangesThePin) {
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    KeyStore(kSerial).ChangePin(ToSecret(kPin), ToSecret(kOtherPin));
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, ACachedPinEndsWhenAnotherProgramLocksTheKey) {
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    for (int i = 0; i < kMaximumTries; ++i) {
        EXPECT_THROW(KeyStore(kSerial).Unlock(ToSecret(kOtherPin)), Error);
    }
    EXPECT_EQ(Number(Code::kPinLocked), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, ChangePinTakesTheNewPinFromTheSecondLine) {
    WriteSecretFile(std::string("pin-") + kSerial, std::string(kPin) + "\n" + kOtherPin + "\n");
    ASSERT_EQ(kSuccess, key_.ChangePin(kSerial));
    EXPECT_NO_THROW(KeyStore(kSerial).Unlock(ToSecret(kOtherPin)));
}

TEST_F(PinEntries, ChangePinWithoutASecondLineChangesNothing) {
    EXPECT_EQ(Number(Code::kNewPinMissing), key_.ChangePin(kSerial));
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, ChangePinRefusesANewPinOfAnotherForm) {
    WriteSecretFile(std::string("pin-") + kSerial, std::string(kPin) + "\n123\n");
    EXPECT_EQ(Number(Code::kPinLength), key_.ChangePin(kSerial));
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, APinFileThatOthersCanReachIsRefused) {
    const std::string path = Folder() + "/pin-" + kSerial;
    for (const mode_t mode : {0640U, 0604U, 0660U, 0610U}) {
        chmod(path.c_str(), mode);
        EXPECT_EQ(Number(Code::kPinSourceRefused), key_.VerifyPIN(kSerial)) << mode;
    }
    chmod(path.c_str(), 0400);
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    unlink(path.c_str());
    EXPECT_EQ(Number(Code::kPinSourceUnreadable), key_.VerifyPIN(kSerial));
    EXPECT_EQ(kMaximumTries, TriesLeft());
}

TEST_F(PinEntries, ADescriptorServesAsOftenAsItIsAFile) {
    const int opened = open((Folder() + "/pin-" + kSerial).c_str(), O_RDONLY);
    // A number that nothing else takes once it is closed.
    const int file = fcntl(opened, F_DUPFD, 200);
    ASSERT_GE(file, 200);
    close(opened);
    Unplug();
    PinSource source;
    source.descriptor = file;
    Slots::OpenOrCreate().Plug(kSerial, source);
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    close(file);
    EXPECT_EQ(Number(Code::kPinSourceUnreadable), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, APipeGivesOneLineForEachQuestion) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const std::string lines = std::string(kPin) + "\n" + kOtherPin + "\n";
    ASSERT_EQ(static_cast<ssize_t>(lines.size()), write(ends[1], lines.data(), lines.size()));
    close(ends[1]);
    Unplug();
    PinSource source;
    source.descriptor = ends[0];
    Slots::OpenOrCreate().Plug(kSerial, source);
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
    EXPECT_EQ(Number(Code::kPinSourceUnreadable), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, GetPinInfoKeepsToItsEightBytes) {
    int32_t info[3] = {0, 0, 77};
    int32_t length = 100;
    ASSERT_EQ(kSuccess, key_.GetPinInfo(kSerial, info, &length));
    EXPECT_EQ(kMaximumTries, info[0]);
    EXPECT_EQ(kMaximumTries, info[1]);
    EXPECT_EQ(77, info[2]);
    EXPECT_EQ(8, length);
    length = 7;
    EXPECT_EQ(Number(Code::kBufferTooSmall), key_.GetPinInfo(kSerial, info, &length));
    EXPECT_EQ(8, length);
    length = 0;
    EXPECT_EQ(kSuccess, key_.GetPinInfo(kSerial, nullptr, &length));
    EXPECT_EQ(8, length);
}

TEST_F(PinEntries, TheDialogNamesTheKeyAndTheTriesThatAreLeft) {
    PlugAgainWithDialog();
    ASSERT_EQ(kSuccess, key_.SetLabel(kSerial, "Alice 100%"));
    UseScriptedPinentry("D 87654321\\nOK");
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
    EXPECT_EQ(std::string::npos, PinentryRecord().find("Tries left"));
    UseScriptedPinentry("D 123%%34567%%38\\nOK");
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    const std::string record = PinentryRecord();
    EXPECT_NE(std::string::npos, record.find("SETDESC Enter the PIN.%0AKey: Alice 100%25 (" +
                                             std::string(kSerial) + ")%0ATries left: 5\n"))
        << record;
}

TEST_F(PinEntries, TheDialogSpeaksTheChosenLanguage) {
    PlugAgainWithDialog();
    UseScriptedPinentry("D 12345678\\nOK");
    ASSERT_EQ(kSuccess, key_.UOS_SetLanguage("zh_CN", ""));
    ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    EXPECT_NE(std::string::npos, PinentryRecord().find("请输入 PIN 码。"));
}

TEST_F(PinEntries, ACancelledDialogCostsNoTry) {
    PlugAgainWithDialog();
    UseScriptedPinentry("ERR 83886179 Operation cancelled <Pinentry>");
    EXPECT_EQ(Number(Code::kCancelled), key_.VerifyPIN(kSerial));
    EXPECT_EQ(kMaximumTries, TriesLeft());
}

TEST_F(PinEntries, WithoutAPinentryThereIsACode) {
    PlugAgainWithDialog();
    EXPECT_EQ(Number(Code::kNoDialog), key_.VerifyPIN(kSerial));
    UseScriptedPinentry("ERR 83918950 Inappropriate ioctl for device <Pinentry>");
    EXPECT_EQ(Number(Code::kNoDialog), key_.VerifyPIN(kSerial));
}

TEST_F(PinEntries, TheDialogAsksForANewPinTwice) {
    PlugAgainWithDialog();
    UseScriptedPinentry("D 12345678\\nOK");
    ASSERT_EQ(kSuccess, key_.ChangePin(kSerial));
    const std::string record = PinentryRecord();
    size_t questions = 0;
    for (size_t at = record.find("GETPIN"); at != std::string::npos;
         at = record.find("GETPIN", at + 1)) {
        ++questions;
    }
    EXPECT_EQ(3U, questions);
    EXPECT_NE(std::string::npos, record.find("SETPROMPT Repeat:"));
}

TEST_F(PinEntries, InitializationThroughTheDialogSaysThatItErases) {
    PlugAgainWithDialog();
    UseScriptedPinentry("D 87654321\\nOK");
    ASSERT_EQ(kSuccess, key_.CustInitCard(kSerial, 1, nullptr, 0));
    EXPECT_NE(std::string::npos, PinentryRecord().find("The key will be erased."));
    EXPECT_NO_THROW(KeyStore(kSerial).Unlock(ToSecret(kOtherPin)));
    // Initialised for requests: the first needs no PIN.
    UseScriptedPinentry("ERR 83886179 cancelled");
    EXPECT_FALSE(Request(1, 2).empty());
}

}  // namespace
}  // namespace softkey::testing
