// What a key keeps when the processes that use it end, well or badly, or run side by side.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <memory>
#include <vector>

#include "software_key.h"

namespace lifecycle {
namespace {

using SeveralProcesses = SoftwareKeyTest;

TEST_F(SeveralProcesses, EachStepOfALifeMayHaveAProcessOfItsOwn) {
    const std::string key = NewPluggedKey();
    InOtherProcess([&] {
        EXPECT_EQ(kOk, Checked(SetLabel(key.c_str(), "Alice")));
        EXPECT_EQ(kOk, Checked(SetData(key.c_str(), 7, "seven")));
    });
    InOtherProcess([&] { Issue(Given(BatchRequest(key, kKeep, kBothInOne))); });
    InOtherProcess([&] {
        EXPECT_EQ(kOk, Checked(Batch_ImportX509Cert(key.c_str(), ReadFile("/tmp/answer").c_str())));
    });
    InOtherProcess([&] { WriteFile("/tmp/signature", Given(Signature(key, "order"))); });
    EXPECT_EQ("Alice", Given(LabelOf(key)));
    EXPECT_EQ("seven", Given(DataOf(key, 7)));
    const Certificate certificate(Given(CertificateOf(key, kSigning)));
    EXPECT_TRUE(certificate.Verifies("order", FromBase64(ReadFile("/tmp/signature"))));
    const Certificate encryption(Given(CertificateOf(key, kEncryption)));
    EXPECT_EQ("secret", Given(Decrypted(key, ToBase64(encryption.Encrypt("secret")))));
}

TEST_F(SeveralProcesses, WhatWasAnsweredOutlivesAProcessThatIsKilled) {
    const std::string key = NewPluggedKey();
    OtherProcess doomed([&] {
        const std::string answer = Issue(Given(Request(key, kSm2Signing1)));
        Checked(ImportX509Cert(key.c_str(), answer.c_str()));
        Checked(SetLabel(key.c_str(), "Alice"));
        Checked(SetData(key.c_str(), 7, "seven"));
        raise(SIGKILL);
    });
    const int status = doomed.Join();
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    EXPECT_EQ("Alice", Given(LabelOf(key)));
    EXPECT_EQ("seven", Given(DataOf(key, 7)));
    const Certificate certificate(Given(CertificateOf(key, kSigning)));
    EXPECT_TRUE(certificate.Verifies("order", FromBase64(Given(Signature(key, "order")))));
}

TEST_F(SeveralProcesses, OneKeyServesSeveralAtOnce) {
    constexpr int kProcesses = 3;
    constexpr int kRounds = 5;
    const std::string key = NewSigningKey();
    const Certificate certificate(Given(CertificateOf(key, kSigning)));
    std::vector<std::unique_ptr<OtherProcess>> processes;
    for (int number = 0; number < kProcesses; ++number) {
        processes.push_back(std::make_unique<OtherProcess>([&, number] {
            for (int round = 0; round < kRounds; ++round) {
                const std::string text = std::to_string(number) + "-" + std::to_string(round);
                EXPECT_EQ(kOk, Checked(SetData(key.c_str(), number, text.c_str())));
                EXPECT_TRUE(certificate.Verifies(text, FromBase64(Given(Signature(key, text)))));
                EXPECT_EQ(text, Given(DataOf(key, number)));
            }
        }));
    }
    for (const auto& process : processes) {
        EXPECT_EQ(0, process->Join());
    }
}

// ------------------------------------- a client that has a key at work, and others at that key

class ChangesByOthers : public SoftwareKeyTest {
 protected:
    ChangesByOthers() : key_(NewSigningKey()) {
        EXPECT_EQ(kOk, Checked(TestVerifyAndCachePin(key_.c_str(), 0)));
        AnswerNoPin();
        ExpectSignature();
        ExpectSignature();
    }

    // With the key pair whose certificate the key shows now.
    void ExpectSignature() const {
        const Certificate certificate(Given(CertificateOf(key_, kSigning)));
        EXPECT_TRUE(certificate.Verifies("order", FromBase64(Given(Signature(key_, "order")))));
    }

    // Another process has the right PIN.
    template <typename Work>
    void Elsewhere(Work work) const {
        AnswerPin(kRightPin);
        InOtherProcess(work);
        AnswerNoPin();
    }

    std::string key_;
};

TEST_F(ChangesByOthers, OfPublicThingsAreSeenAtOnce) {
    for (int i = 0; i < 10; ++i) {
        const std::string text = std::to_string(i);
        Elsewhere([&] {
            EXPECT_EQ(kOk, Checked(SetLabel(key_.c_str(), text.c_str())));
            EXPECT_EQ(kOk, Checked(SetData(key_.c_str(), 0, text.c_str())));
        });
        EXPECT_EQ(text, Given(LabelOf(key_)));
        EXPECT_EQ(text, Given(DataOf(key_, 0)));
        ExpectSignature();
    }
}

TEST_F(ChangesByOthers, OfTheTriesAreSeenAtOnce) {
    InOtherProcess([&] {
        Checked(RemovePinCache());
        AnswerPin(kWrongPin);
        EXPECT_EQ(Code::kPinIncorrect, Checked(VerifyPIN(key_.c_str())));
        AnswerNoPin();
    });
    EXPECT_EQ((Tries{5, 6}), TriesOf(key_));
    ExpectSignature();
}

TEST_F(ChangesByOthers, ReplaceTheKeyPairWithWhichIsSigned) {
    const std::string before = Given(CertificateOf(key_, kSigning));
    Elsewhere([&] {
        const std::string answer = Issue(Given(Request(key_, kSm2Signing1)));
        EXPECT_EQ(kOk, Checked(ImportX509Cert(key_.c_str(), answer.c_str())));
    });
    EXPECT_NE(before, Given(CertificateOf(key_, kSigning)));
    ExpectSignature();
}

TEST_F(ChangesByOthers, TakeTheKeyPairWithWhichIsSigned) {
    Elsewhere(
        [&] { EXPECT_EQ(kOk, Checked(DelCertAndTempKey(key_.c_str(), kSigning, kEverything))); });
    EXPECT_EQ(Code::kCertificateNotFound, Signature(key_, "order").code);
}

TEST_F(ChangesByOthers, EraseTheKey) {
    AnswerPin(kRightPin);
    Program("softkey", "reset " + key_ + " --yes " + UsingPinFile());
    AnswerNoPin();
    EXPECT_EQ(Code::kCertificateNotFound, Signature(key_, "order").code);
    EXPECT_EQ(Code::kPinSourceUnreadable, Checked(VerifyPIN(key_.c_str())));
}

TEST_F(ChangesByOthers, UnplugTheKey) {
    Unplug(key_);
    EXPECT_EQ(Code::kDeviceRemoved, Signature(key_, "order").code);
    EXPECT_EQ(Code::kDeviceRemoved, LabelOf(key_).code);
    Plug(key_);
    EXPECT_EQ(Code::kPinSourceUnreadable, Signature(key_, "order").code);
}

TEST_F(ChangesByOthers, PutACopyInTheKeysPlace) {
    Program("softkey", "backup " + key_ + " /tmp/copy");
    Elsewhere([&] { EXPECT_EQ(kOk, Checked(SetLabel(key_.c_str(), "Later"))); });
    EXPECT_EQ("Later", Given(LabelOf(key_)));
    Unplug(key_);
    Program("softkey", "delete " + key_ + " --yes");
    Program("softkey", "restore /tmp/copy");
    Plug(key_);
    EXPECT_EQ("Test", Given(LabelOf(key_)));
    EXPECT_EQ(Code::kPinSourceUnreadable, Signature(key_, "order").code);
    AnswerPin(kRightPin);
    ExpectSignature();
}

TEST_F(ChangesByOthers, LeaveAForkedClientAndItsParentAtWork) {
    for (int i = 0; i < 5; ++i) {
        InOtherProcess([&] {
            ExpectSignature();
            EXPECT_EQ(kOk, Checked(SetLabel(key_.c_str(), std::to_string(i).c_str())));
            ExpectSignature();
        });
        EXPECT_EQ(std::to_string(i), Given(LabelOf(key_)));
        ExpectSignature();
    }
}

TEST_F(SeveralProcesses, ABackupBringsADeletedKeyBack) {
    const std::string key = NewSigningKey();
    const std::string certificate = Given(CertificateOf(key, kSigning));
    Program("softkey", "backup " + key + " /tmp/copy");
    Unplug(key);
    Program("softkey", "delete " + key + " --yes");
    EXPECT_EQ(key, Program("softkey", "restore /tmp/copy"));
    EXPECT_EQ(Code::kDeviceRemoved, LabelOf(key).code);
    Plug(key);
    EXPECT_EQ(certificate, Given(CertificateOf(key, kSigning)));
    EXPECT_TRUE(
        Certificate(certificate).Verifies("order", FromBase64(Given(Signature(key, "order")))));
}

}  // namespace
}  // namespace lifecycle
