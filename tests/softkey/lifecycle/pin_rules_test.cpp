// What the PIN guards: tries and the lock, who is asked, and how long an answer lasts.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "software_key.h"

namespace lifecycle {
namespace {

using testing::HasSubstr;

constexpr int32_t kMaximumTries = 6;

class PinRules : public SoftwareKeyTest {
 protected:
    static Code Verify(const std::string& key) { return Checked(VerifyPIN(key.c_str())); }
    static Code VerifyAndCache(const std::string& key, intptr_t seconds) {
        return Checked(TestVerifyAndCachePin(key.c_str(), seconds));
    }
    static Code Flag(const std::string& key, bool on) {
        return Checked(SetCachePinFlag(key.c_str(), on ? 1 : 0));
    }
    static Code Language(const std::string& key, const char* language) {
        return Checked(SetLanguage(key.c_str(), language));
    }
    static Code SignSomething(const std::string& key) { return Signature(key, "order").code; }

    static void Lock(const std::string& key) {
        AnswerPin(kWrongPin);
        for (int32_t i = 0; i < kMaximumTries; ++i) {
            Verify(key);
        }
        AnswerPin(kRightPin);
    }

    // A key that has a certificate and, in this process, a PIN in its cache.
    static std::string NewKeyWithCachedPin() {
        const std::string key = NewSigningKey();
        EXPECT_EQ(kOk, VerifyAndCache(key, 0));
        AnswerNoPin();
        EXPECT_EQ(kOk, SignSomething(key));
        return key;
    }
};

TEST_F(PinRules, SixWrongTriesLockTheKey) {
    const std::string key = NewSigningKey();
    AnswerPin(kWrongPin);
    for (int32_t left = kMaximumTries - 1; left > 0; --left) {
        EXPECT_EQ(Code::kPinIncorrect, SignSomething(key));
        EXPECT_EQ((Tries{left, kMaximumTries}), TriesOf(key));
    }
    EXPECT_EQ(Code::kPinLocked, SignSomething(key));
    EXPECT_EQ((Tries{0, kMaximumTries}), TriesOf(key));
    AnswerPin(kRightPin);
    EXPECT_EQ(Code::kPinLocked, SignSomething(key));
    EXPECT_EQ(Code::kPinLocked, Verify(key));
    EXPECT_EQ(Code::kPinLocked, Checked(ChangePin(key.c_str())));
    EXPECT_EQ(Code::kPinLocked, Request(key, kSm2Signing1).code);
}

TEST_F(PinRules, ALockLastsInOtherProcessesAndAfterPlugging) {
    const std::string key = NewPluggedKey();
    InOtherProcess([&] { Lock(key); });
    EXPECT_EQ(Code::kPinLocked, Verify(key));
    Unplug(key);
    Plug(key);
    EXPECT_EQ(Code::kPinLocked, Verify(key));
    EXPECT_EQ((Tries{0, kMaximumTries}), TriesOf(key));
}

TEST_F(PinRules, ALockedKeyStillShowsWhatIsPublic) {
    const std::string key = NewSigningKey();
    Lock(key);
    EXPECT_EQ("Test", Given(LabelOf(key)));
    EXPECT_EQ(kOk, CertificateOf(key, kSigning).code);
    EXPECT_EQ(key, Given(AskForText(GetPrintNumber)));
}

TEST_F(PinRules, AnInitialisationUnlocksAndErases) {
    const std::string key = NewSigningKey();
    Lock(key);
    AnswerPin(kOtherPin);
    EXPECT_EQ(kOk, Checked(InitUKey(key.c_str())));
    EXPECT_EQ((Tries{kMaximumTries, kMaximumTries}), TriesOf(key));
    EXPECT_EQ(kOk, Verify(key));
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key, kSigning).code);
}

TEST_F(PinRules, AnInitialisationMayGiveALabel) {
    const std::string key = NewPluggedKey();
    Lock(key);
    std::string label = "Bob";
    EXPECT_EQ(kOk, Checked(TestInitUKey(key.c_str(), label.data())));
    EXPECT_EQ("Bob", Given(LabelOf(key)));
    EXPECT_EQ(kOk, Verify(key));
}

TEST_F(PinRules, AResetUnlocksAndErases) {
    const std::string key = NewSigningKey();
    Lock(key);
    Program("softkey", "reset " + key + " --yes " + UsingPinFile());
    EXPECT_EQ(kOk, Verify(key));
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key, kSigning).code);
}

TEST_F(PinRules, ARightPinGivesAllTriesBack) {
    const std::string key = NewPluggedKey();
    AnswerPin(kWrongPin);
    EXPECT_EQ(Code::kPinIncorrect, Verify(key));
    EXPECT_EQ(Code::kPinIncorrect, Verify(key));
    AnswerPin(kRightPin);
    EXPECT_EQ(kOk, Verify(key));
    EXPECT_EQ((Tries{kMaximumTries, kMaximumTries}), TriesOf(key));
}

TEST_F(PinRules, WhatCannotBeAPinCostsNoTry) {
    const std::string key = NewPluggedKey();
    AnswerPin("12345");
    EXPECT_EQ(Code::kPinLength, Verify(key));
    AnswerNoPin();
    EXPECT_EQ(Code::kPinSourceUnreadable, Verify(key));
    EXPECT_EQ((Tries{kMaximumTries, kMaximumTries}), TriesOf(key));
}

TEST_F(PinRules, TheTextsOfWrongAndLockedComeInBothLanguages) {
    const std::string key = NewPluggedKey();
    AnswerPin(kWrongPin);
    EXPECT_EQ(Code::kPinIncorrect, Verify(key));
    EXPECT_EQ("The PIN is not correct. Tries left: 5.", ErrorText(Code::kPinIncorrect));
    EXPECT_EQ(kOk, Language(key, "zh_CN"));
    EXPECT_EQ("PIN 码错误。剩余 5 次。", ErrorText(Code::kPinIncorrect));
    Lock(key);
    EXPECT_EQ("PIN 码已锁定。", ErrorText(Code::kPinLocked));
    EXPECT_EQ("操作成功。", ErrorText(kOk));
    EXPECT_EQ("库未初始化。", ErrorText(Code::kNotInitialized));
    EXPECT_EQ(kOk, Language(key, "en_US"));
    EXPECT_EQ("The PIN is locked.", ErrorText(Code::kPinLocked));
    EXPECT_EQ("Success.", ErrorText(kOk));
    EXPECT_EQ("The library is not initialised.", ErrorText(Code::kNotInitialized));
}

TEST_F(PinRules, TextsComeInTheCharacterSetThatWasChosen) {
    const std::string key = NewPluggedKey();
    EXPECT_EQ(kOk, Checked(SetLabel(key.c_str(), "密钥")));
    EXPECT_EQ(kOk, Checked(SetCharset(key.c_str(), "GB18030")));
    EXPECT_EQ("\xC3\xDC\xD4\xBF", Given(LabelOf(key)));
    EXPECT_EQ(kOk, Checked(SetLabel(key.c_str(), "\xCB\xF8")));
    EXPECT_EQ(kOk, Language(key, "zh_CN"));
    EXPECT_EQ("PIN \xC2\xEB\xD2\xD1\xCB\xF8\xB6\xA8\xA1\xA3", ErrorText(Code::kPinLocked));
    EXPECT_EQ(kOk, Checked(SetCharset("", "UTF-8")));
    EXPECT_EQ("锁", Given(LabelOf(key)));
    EXPECT_EQ(Code::kSelector, Checked(SetCharset(key.c_str(), "KOI8-R")));
    EXPECT_EQ(Code::kSelector, Language(key, "ru_RU"));
}

TEST_F(PinRules, AChangedPinReplacesTheOldOne) {
    const std::string key = NewSigningKey();
    AnswerPin(std::string(kRightPin) + "\n" + kOtherPin);
    EXPECT_EQ(kOk, Checked(ChangePin(key.c_str())));
    AnswerPin(kRightPin);
    EXPECT_EQ(Code::kPinIncorrect, Verify(key));
    AnswerPin(kOtherPin);
    EXPECT_EQ(kOk, Verify(key));
    EXPECT_EQ(kOk, SignSomething(key)) << "the private keys came along";
}

TEST_F(PinRules, AChangeNeedsOldAndNewPin) {
    const std::string key = NewPluggedKey();
    EXPECT_EQ(Code::kNewPinMissing, Checked(ChangePin(key.c_str())));
    AnswerPin(std::string(kWrongPin) + "\n" + kOtherPin);
    EXPECT_EQ(Code::kPinIncorrect, Checked(ChangePin(key.c_str())));
    AnswerPin(std::string(kRightPin) + "\n123");
    EXPECT_EQ(Code::kPinLength, Checked(ChangePin(key.c_str())));
    EXPECT_EQ((Tries{kMaximumTries - 1, kMaximumTries}), TriesOf(key));
    EXPECT_EQ(kOk, Verify(key));
}

// ------------------------------------------------------------------ how long an answer lasts

TEST_F(PinRules, AVerificationServesOneSignature) {
    const std::string key = NewSigningKey();
    EXPECT_EQ(kOk, Verify(key));
    AnswerNoPin();
    EXPECT_EQ(kOk, SignSomething(key));
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(key));
}

TEST_F(PinRules, TheFlagTurnsEachVerificationIntoACachedOne) {
    const std::string key = NewSigningKey();
    EXPECT_EQ(kOk, Flag(key, true));
    EXPECT_EQ(kOk, Verify(key));
    AnswerNoPin();
    EXPECT_EQ(kOk, SignSomething(key));
    EXPECT_EQ(kOk, SignSomething(key));
    EXPECT_EQ(kOk, Verify(key));
    EXPECT_EQ(kOk, Request(key, kSm2Signing1).code);
    EXPECT_EQ(kOk, Flag(key, false));
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(key));
}

TEST_F(PinRules, FlagAndInitialisationWaitForTheLibrary) {
    EXPECT_EQ(Code::kBackendUnavailable, Flag("OR00000000000000", true));
    EXPECT_EQ(ORVAL_NOT_INITIALIZED, InitUKey("OR00000000000000"));
    EXPECT_EQ(kOk, Checked(Initialize()));
    EXPECT_EQ(Code::kDeviceRemoved, Flag("OR00000000000000", true));
    EXPECT_EQ(Code::kDeviceRemoved, Checked(InitUKey("OR00000000000000")));
}

TEST_F(PinRules, ACachedPinServesUntilItIsRemoved) {
    const std::string key = NewKeyWithCachedPin();
    EXPECT_EQ(kOk, SignSomething(key));
    EXPECT_EQ(kOk, Verify(key));
    EXPECT_EQ(kOk, Checked(RemovePinCache()));
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(key));
}

TEST_F(PinRules, ACachedPinServesForTheSecondsThatWereAskedFor) {
    const std::string key = NewSigningKey();
    EXPECT_EQ(kOk, VerifyAndCache(key, 3600));
    AnswerNoPin();
    EXPECT_EQ(kOk, SignSomething(key));
    EXPECT_EQ(kOk, Checked(RemovePinCache()));
    AnswerPin(kRightPin);
    EXPECT_EQ(kOk, VerifyAndCache(key, 1));
    AnswerNoPin();
    EXPECT_TRUE(Eventually([&] { return SignSomething(key) == Code::kPinSourceUnreadable; }));
    EXPECT_EQ(Code::kSelector, VerifyAndCache(key, 86401));
}

TEST_F(PinRules, ACachedPinIsOfOneKey) {
    const std::string other = NewSigningKey();
    const std::string key = NewKeyWithCachedPin();
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(other));
    EXPECT_EQ(kOk, SignSomething(key));
}

TEST_F(PinRules, ACachedPinIsOfOneProcess) {
    const std::string key = NewSigningKey();
    InOtherProcess([&] {
        EXPECT_EQ(kOk, VerifyAndCache(key, 0));
        EXPECT_EQ(kOk, SignSomething(key));
    });
    AnswerNoPin();
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(key));
}

TEST_F(PinRules, ACachedPinEndsWithThePlug) {
    const std::string key = NewKeyWithCachedPin();
    Unplug(key);
    Plug(key);
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(key));
}

TEST_F(PinRules, ACachedPinEndsWhenAnotherProcessChangesThePin) {
    const std::string key = NewKeyWithCachedPin();
    AnswerPin(std::string(kRightPin) + "\n" + kOtherPin);
    Program("softkey", "pin " + key + " " + UsingPinFile());
    AnswerNoPin();
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(key));
}

TEST_F(PinRules, ACachedPinEndsWhenAnotherProcessLocksTheKey) {
    const std::string key = NewKeyWithCachedPin();
    InOtherProcess([&] {
        Checked(RemovePinCache());
        Lock(key);
    });
    EXPECT_EQ(Code::kPinLocked, SignSomething(key));
}

// --------------------------------------------------------------------------- who is asked

TEST_F(PinRules, APinFileThatOthersMayReadIsRefused) {
    const std::string key = NewKey();
    chmod(kPinFile, 0640);
    const ProgramResult refusal = RunProgram("softkey", "plug " + key + " " + UsingPinFile());
    EXPECT_EQ(4, refusal.status);
    EXPECT_THAT(refusal.output, HasSubstr("0600"));
    chmod(kPinFile, 0600);
    Plug(key);
    EXPECT_EQ(kOk, Verify(key));
    chmod(kPinFile, 0604);
    EXPECT_EQ(Code::kPinSourceRefused, Verify(key));
    EXPECT_EQ((Tries{kMaximumTries, kMaximumTries}), TriesOf(key));
}

TEST_F(PinRules, WithoutASourceADialogIsNeeded) {
    const std::string key = NewKey();
    Plug(key, "");
    EXPECT_EQ(Code::kNoDialog, Verify(key));
    EXPECT_EQ((Tries{kMaximumTries, kMaximumTries}), TriesOf(key));
}

TEST_F(PinRules, ABatchAsksOnce) {
    const std::string key = NewSigningKey();
    Unplug(key);
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const std::string line = std::string(kRightPin) + "\n";
    ASSERT_EQ(static_cast<ssize_t>(line.size()), write(ends[1], line.data(), line.size()));
    close(ends[1]);
    Plug(key, "--pin-fd " + std::to_string(ends[0]));
    EXPECT_EQ(3U, Split(Given(BatchSignatures(key, "one||two||three||")), "||").size());
    EXPECT_EQ(Code::kPinSourceUnreadable, SignSomething(key)) << "there is no second line";
    close(ends[0]);
}

TEST_F(PinRules, AConfirmationThatIsRefusedSignsNothing) {
    const std::string key = NewSigningKey();
    Unplug(key);
    Plug(key, UsingPinFile() + " --confirm never");
    EXPECT_EQ(Code::kNotConfirmed, ConfirmedSignature(key, "order", "Pay?").code);
    EXPECT_EQ("The user did not confirm the signature.", ErrorText(Code::kNotConfirmed));
    EXPECT_EQ(kOk, SignSomething(key));
}

// Stands in for a person: a program that answers as pinentry does and keeps what it was told.
void Sit(const std::string& pin_answer, const std::string& confirmation) {
    WriteFile("/tmp/pinentry",
              "#!/bin/sh\necho OK ready\nwhile read -r line; do\n"
              "printf '%s\\n' \"$line\" >>/tmp/told\ncase $line in\nGETPIN) printf '" +
                  pin_answer + "\\n' ;;\nCONFIRM) printf '" + confirmation +
                  "\\n' ;;\n*) echo OK ;;\nesac\ndone\n");
    chmod("/tmp/pinentry", 0700);
    setenv("ORVAL_SOFTKEY_PINENTRY", "/tmp/pinentry", 1);
}

TEST_F(PinRules, ADialogShowsWarningAndDigestAndThenAsks) {
    const std::string key = NewSigningKey();
    Unplug(key);
    Plug(key, "");
    Sit(std::string("D ") + kRightPin + "\\nOK", "OK");
    const std::string signature = FromBase64(Given(ConfirmedSignature(key, "abc", "Pay 100?")));
    EXPECT_TRUE(Certificate(Given(CertificateOf(key, kSigning))).Verifies("abc", signature));
    EXPECT_THAT(ReadFile("/tmp/told"), testing::AllOf(HasSubstr("Pay 100?"), HasSubstr("Digest: "),
                                                      HasSubstr(key), HasSubstr("GETPIN")));
    EXPECT_EQ(kOk, Checked(SetLanguage(key.c_str(), "zh_CN")));
    EXPECT_EQ(kOk, ConfirmedSignature(key, "abc", "付款 100？").code);
    EXPECT_THAT(ReadFile("/tmp/told"),
                testing::AllOf(HasSubstr("付款 100？"), HasSubstr("杂凑值：")));
}

TEST_F(PinRules, ADialogThatIsCancelledIsToldApartFromAWrongPin) {
    const std::string key = NewSigningKey();
    Unplug(key);
    Plug(key, "");
    Sit("ERR 83886179 Operation cancelled", "ERR 83886194 Not confirmed");
    EXPECT_EQ(Code::kCancelled, Verify(key));
    EXPECT_EQ(Code::kNotConfirmed, ConfirmedSignature(key, "abc", "Pay 100?").code);
    EXPECT_EQ((Tries{kMaximumTries, kMaximumTries}), TriesOf(key));
}

}  // namespace
}  // namespace lifecycle
