// Certificates: import of answers, reading, deleting.
#include <array>

#include "authority/authority.h"
#include "base/encoding.h"
#include "base/settings.h"
#include "cli/printable.h"
#include "softkey_test.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

class CertificateEntries : public EntriesTest {
 protected:
    int32_t Read(int32_t selector) {
        char text[4096];
        int32_t length = sizeof text;
        return key_.GetCertInfo(kSerial, selector, 0, text, &length);
    }

    std::string Name(int32_t selector, int32_t which) {
        char text[1024] = {};
        EXPECT_EQ(kSuccess, key_.GM_GetCertDN(kSerial, selector, which, text));
        return text;
    }
};

std::string FromCharset(const char* charset, const char* text) {
    SelectCharset(charset);
    return FromClient(text);
}

constexpr int32_t kMissing = static_cast<int32_t>(Code::kCertificateNotFound);

TEST_F(CertificateEntries, APackageGivesSigningAndEncryptionCertificate) {
    ASSERT_EQ(kSuccess, Import(Answer(DualRequest())));
    EXPECT_EQ(kSuccess, Read(1));
    EXPECT_EQ(kSuccess, Read(2));
    EXPECT_EQ(kSuccess, Read(0x21));
    EXPECT_EQ(kSuccess, Read(0x22));
    EXPECT_EQ(kMissing, Read(0x11));
    EXPECT_NE(CertificatePem(1), CertificatePem(2));
}

TEST_F(CertificateEntries, TheEnvelopedKeyMayBeBase64) {
    EXPECT_EQ(kSuccess, Import(Answer(DualRequest(), true)));
    EXPECT_EQ(kSuccess, Read(2));
}

TEST_F(CertificateEntries, TheEncryptionKeyMayComeBeforeTheSigningCertificate) {
    const std::string answer = Answer(DualRequest());
    EXPECT_EQ(kSuccess, ImportKey(ItemsOf(answer, "EncPriKey").at(0)));
    EXPECT_EQ(kSuccess, WritePkcs7(ItemsOf(answer, "EncCert").at(0)));
    EXPECT_EQ(kSuccess, WritePkcs7(ItemsOf(answer, "SignCert").at(0)));
    EXPECT_EQ(kSuccess, Read(1));
}

TEST_F(CertificateEntries, ImportingAnAnswerTwiceChangesNothing) {
    const std::string answer = Answer(DualRequest());
    ASSERT_EQ(kSuccess, Import(answer));
    const std::string certificate = CertificatePem(2);
    EXPECT_EQ(kSuccess, Import(answer));
    EXPECT_EQ(certificate, CertificatePem(2));
    EXPECT_EQ(2U, KeyStore(kSerial).Pairs().size());
}

TEST_F(CertificateEntries, OnePkcs7AnswersSeveralRequests) {
    const std::string answer = Answer(Request(1, 2) + "||" + Request(1, 1));
    ASSERT_EQ(kSuccess, WritePkcs7(answer));
    EXPECT_EQ(kSuccess, Read(0x21));
    EXPECT_EQ(kSuccess, Read(0x11));
    // Without a word about the algorithm, SM2 is meant.
    EXPECT_EQ(CertificatePem(0x21), CertificatePem(1));
}

TEST_F(CertificateEntries, ARequestForAnEncryptionCertificateAloneIsAnswered) {
    ASSERT_EQ(kSuccess, Import(Answer(Request(2, 1))));
    EXPECT_EQ(kSuccess, Read(0x12));
    EXPECT_EQ(kMissing, Read(1));
}

TEST_F(CertificateEntries, ArmouredAndWrappedTextsAreRead) {
    const std::string answer = Answer(Request(1, 2));
    EXPECT_EQ(kSuccess, WritePkcs7(ToPem(FromBase64Text(answer), "PKCS7")));
    EXPECT_EQ(kSuccess, WritePkcs7(answer.substr(0, 64) + "\r\n" + answer.substr(64)));
}

TEST_F(CertificateEntries, ACertificateForAnotherKeyIsRefused) {
    const std::string answer = Answer(Request(1, 2));
    ASSERT_EQ(kSuccess, key_.CustInitCard(kSerial, 0, nullptr, 0));
    EXPECT_EQ(Number(Code::kCertificateNotOurs), WritePkcs7(answer));
    EXPECT_EQ(kMissing, Read(1));
}

TEST_F(CertificateEntries, AnEnvelopedKeyForAnotherKeyIsRefused) {
    const std::string answer = Answer(DualRequest());
    ASSERT_EQ(kSuccess, key_.CustInitCard(kSerial, 0, nullptr, 0));
    const std::string envelope = ItemsOf(answer, "EncPriKey").at(0);
    EXPECT_EQ(Number(Code::kEnvelopeNotOurs), ImportKey(envelope));
    Request(1, 2);
    EXPECT_EQ(Number(Code::kEnvelopeNotOurs), ImportKey(envelope));
}

TEST_F(CertificateEntries, MalformedTextsAreRefusedWithTheirOwnCodes) {
    EXPECT_EQ(Number(Code::kPkcs7Malformed), WritePkcs7(""));
    EXPECT_EQ(Number(Code::kPkcs7Malformed), WritePkcs7("not a PKCS#7"));
    EXPECT_EQ(Number(Code::kEnvelopeMalformed), ImportKey(""));
    EXPECT_EQ(Number(Code::kEnvelopeMalformed), ImportKey(std::string(1023, 'z')));
    EXPECT_EQ(Number(Code::kDataLength), ImportKey(std::string(1024, '0')));
}

// Streaming encoders do not know a length before its content: they write the indefinite form.
TEST_F(CertificateEntries, StreamedPkcs7IsRead) {
    const Bytes answer = FromBase64Text(Answer(Request(1, 2)));
    WriteFile(Folder() + "/answer", AsText(answer));
    const std::string prepare = "cd " + Folder() +
                                " && openssl pkcs7 -inform DER -in answer -print_certs -out chain"
                                " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
                                "-nodes -subj /CN=Signer -keyout key -out signer"
                                " && ";
    for (const char* const command :
         {"openssl smime -sign", "openssl cms -sign", "openssl cms -sign -keyid"}) {
        const CommandResult result = RunShell(
            prepare + command +
            " -stream -nodetach -binary -in chain -signer signer -inkey key -certfile chain"
            " -outform DER -out streamed");
        ASSERT_EQ(0, result.status) << result.output;
        const Bytes streamed = ToBytes(ReadFile(Folder() + "/streamed"));
        ASSERT_EQ((Bytes{0x30, 0x80}), Bytes(streamed.begin(), streamed.begin() + 2)) << command;
        EXPECT_EQ(kSuccess, WritePkcs7(ToBase64(streamed))) << command;
        EXPECT_EQ(kSuccess, WritePkcs7(ToPem(streamed, "CMS"))) << command;
        EXPECT_EQ(Number(Code::kPkcs7Malformed),
                  WritePkcs7(ToBase64(Bytes(streamed.begin(), streamed.end() - 2))));
    }
    EXPECT_EQ(kSuccess, Read(1));
}

TEST_F(CertificateEntries, AnswersWithTheGmIdentifiersAreRead) {
    WriteFile(Folder() + "/request", DualRequest());
    Answer(Request(1, 2));  // makes the authority
    const CommandResult result = RunShell(Program("softca") + " --dir " + AuthorityFolder() +
                                          " issue --pkcs7 gm --in " + Folder() + "/request");
    ASSERT_EQ(0, result.status) << result.output;
    WriteFile(Folder() + "/signing", AsText(FromBase64Text(ItemsOf(result.output, "SignCert")[0])));
    const CommandResult parsed =
        RunShell("openssl asn1parse -inform DER -in " + Folder() + "/signing");
    EXPECT_EQ(0, parsed.status);
    for (const char* const name : {"1.2.156.10197.6.1.4.2.2", "1.2.156.10197.6.1.4.2.1"}) {
        EXPECT_NE(std::string::npos, parsed.output.find(name)) << parsed.output;
    }
    EXPECT_EQ(std::string::npos, parsed.output.find("pkcs7"));
    ASSERT_EQ(kSuccess, Import(result.output));
    EXPECT_EQ(kSuccess, Read(1));
    EXPECT_EQ(kSuccess, Read(2));
}

TEST_F(CertificateEntries, ARenewedCertificateReplacesTheOneBefore) {
    ASSERT_EQ(kSuccess, Import(Answer(Request(1, 2))));
    const std::string before = CertificatePem(1);
    ASSERT_EQ(kSuccess, Import(Answer(Request(1, 2))));
    EXPECT_NE(before, CertificatePem(1));
    EXPECT_EQ(1U, KeyStore(kSerial).Pairs().size());
}

TEST_F(CertificateEntries, CertificatesComeAsBase64OrPemWithinTheBuffer) {
    GiveDualCertificates();
    std::array<char, 4096> text;
    int32_t length = 4096;
    ASSERT_EQ(kSuccess, key_.GetCertInfo(kSerial, 1, 0, text.data(), &length));
    EXPECT_EQ(static_cast<size_t>(length), std::string(text.data()).size());
    EXPECT_EQ(CertificateDer(CertificatePem(1)), FromBase64Text(text.data()));
    length = 100;
    EXPECT_EQ(Number(Code::kBufferTooSmall), key_.GetCertInfo(kSerial, 1, 0, text.data(), &length));
    EXPECT_GT(length, 100);
    EXPECT_EQ(Number(Code::kSelector), key_.GetCertInfo(kSerial, 1, 2, text.data(), &length));
    EXPECT_EQ(Number(Code::kSelector), key_.GetCertInfo(kSerial, 3, 0, text.data(), &length));
    EXPECT_EQ(Number(Code::kSelector), key_.GetCertInfo(kSerial, 0x31, 0, text.data(), &length));
}

TEST_F(CertificateEntries, NamesAreThoseOfSubjectAndIssuer) {
    GiveDualCertificates();
    EXPECT_EQ("CN=" + std::string(kSerial) + ",O=Software Key,C=CN", Name(1, 0));
    EXPECT_EQ("CN=Test Root,O=Software Key,C=CN", Name(1, 1));
    char text[1024];
    EXPECT_EQ(Number(Code::kSelector), key_.GM_GetCertDN(kSerial, 1, 2, text));
}

TEST_F(CertificateEntries, InformationFitsItsBoundAndTellsTheUsage) {
    GiveDualCertificates();
    std::array<char, 1281> info;
    info.fill('#');
    int32_t length = 1280;
    ASSERT_EQ(kSuccess, key_.GetCertInfo_UOS(kSerial, 2, info.data(), &length));
    const std::string text = info.data();
    EXPECT_EQ(static_cast<size_t>(length), text.size());
    for (const char* const field :
         {"Subject: CN=", "\nIssuer: CN=Test Root,", "\nSerialNumber: ", "\nNotBefore: 20",
          "\nNotAfter: 20", "\nUsage: keyEncipherment,dataEncipherment,keyAgreement"}) {
        EXPECT_NE(std::string::npos, text.find(field)) << field << " in " << text;
    }
    EXPECT_EQ('#', info[1280]);
    length = 10;
    EXPECT_EQ(Number(Code::kBufferTooSmall),
              key_.GetCertInfo_UOS(kSerial, 2, info.data(), &length));
}

TEST_F(CertificateEntries, LongNamesAreShortenedBetweenCharactersAndNoFieldIsMissing) {
    std::string subject = "CN=Alice";
    for (int i = 0; i < 20; ++i) {
        subject +=
            ",OU=测试测试测试测试测试测试测试测试测试测试测试测试测试测试测é" + std::to_string(i);
    }
    Answer(Request(1, 2));  // makes the authority
    Authority::Terms terms;
    terms.subject = subject;
    ASSERT_EQ(kSuccess, Import(Authority(AuthorityFolder()).Answer(DualRequest(), terms)));
    for (const char* const charset : {"UTF-8", "GB18030"}) {
        ASSERT_EQ(kSuccess, key_.UOS_SetCharset(charset, ""));
        char info[1280];
        int32_t length = sizeof info;
        ASSERT_EQ(kSuccess, key_.GetCertInfo_UOS(kSerial, 1, info, &length));
        const std::string text = FromCharset(charset, info);
        EXPECT_GT(length, 1000) << "shortened more than is needed";
        for (const char* const field : {"Subject: CN=Alice,OU=", "…\nIssuer: CN=Test Root,",
                                        "\nSerialNumber: ", "\nNotAfter: 20", "\nUsage: "}) {
            EXPECT_NE(std::string::npos, text.find(field)) << field << " in " << text;
        }
        char name[1024];
        ASSERT_EQ(kSuccess, key_.GM_GetCertDN(kSerial, 1, 0, name));
        const std::string whole = FromCharset(charset, name);
        EXPECT_EQ(0U, whole.find("CN=Alice,OU="));
        EXPECT_EQ(whole.size() - 3, whole.rfind("…"));
        EXPECT_TRUE(cli::IsPrintable(whole));
    }
}

TEST_F(CertificateEntries, DeletingTakesTheCertificateItsPairAndUnansweredOnes) {
    GiveDualCertificates();
    Request(1, 2);
    Request(2, 2);
    ASSERT_EQ(kSuccess, key_.DelCertAndTempKey(kSerial, 1, 0));
    EXPECT_EQ(kMissing, Read(1));
    EXPECT_EQ(kSuccess, Read(2));
    EXPECT_EQ(2U, KeyStore(kSerial).Pairs().size());
    EXPECT_EQ(kMissing, key_.DelCertAndTempKey(kSerial, 1, 0));
}

TEST_F(CertificateEntries, DeletingCanBeNarrowedToOneSide) {
    GiveDualCertificates();
    Request(1, 2);
    ASSERT_EQ(kSuccess, key_.DelCertAndTempKey(kSerial, 0x21, 1));
    EXPECT_EQ(kSuccess, Read(1));
    EXPECT_EQ(kMissing, key_.DelCertAndTempKey(kSerial, 0x21, 1));
    ASSERT_EQ(kSuccess, key_.DelCertAndTempKey(kSerial, 1, 2));
    EXPECT_EQ(kMissing, Read(1));
    EXPECT_EQ(Number(Code::kSelector), key_.DelCertAndTempKey(kSerial, 1, 3));
    EXPECT_EQ(Number(Code::kSelector), key_.DelCertAndTempKey(kSerial, 0, 0));
}

TEST_F(CertificateEntries, DeletingNeedsThePin) {
    GiveDualCertificates();
    WriteSecretFile(std::string("pin-") + kSerial, kOtherPin);
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.DelCertAndTempKey(kSerial, 1, 0));
    EXPECT_EQ(kSuccess, Read(1));
}

TEST_F(CertificateEntries, ChainsVerifyWithOpenssl) {
    GiveDualCertificates();
    GiveRsaCertificate();
    const std::string certificate = Folder() + "/certificate.pem";
    for (const int32_t selector : {1, 2, 0x11}) {
        WriteFile(certificate, CertificatePem(selector));
        const bool sm2 = selector != 0x11;
        const CommandResult result =
            RunShell(std::string("openssl verify ") +
                     (sm2 ? "-vfyopt distid:1234567812345678 " : "") + "-CAfile " +
                     AuthorityFolder() + (sm2 ? "/root-sm2.pem " : "/root-rsa.pem ") + certificate);
        EXPECT_EQ(0, result.status) << result.output;
    }
}

TEST_F(CertificateEntries, AnswersAreReadByOpenssl) {
    const std::string path = Folder() + "/answer.p7b";
    WriteFile(path, ToPem(FromBase64Text(Answer(Request(1, 2))), "PKCS7"));
    const CommandResult result = RunShell("openssl pkcs7 -print_certs -noout -in " + path);
    EXPECT_EQ(0, result.status) << result.output;
    EXPECT_NE(std::string::npos, result.output.find("CN = " + std::string(kSerial)));
}

// Certificates for the key's own pairs with a keyUsage of the test's choice.
class CertificateUsage : public CertificateEntries {
 protected:
    // A PKCS#7 with a certificate for each keyUsage, all for the key of the request.
    std::string Issued(const std::string& request, const std::vector<std::string>& usages) {
        WriteFile(Folder() + "/request", ToPem(FromBase64Text(request), "CERTIFICATE REQUEST"));
        std::string command =
            "cd " + Folder() +
            " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "
            "-subj /CN=Root -keyout key -out root && : > extensions";
        std::string certificates;
        for (const std::string& usage : usages) {
            const std::string name = "certificate" + std::to_string(certificates.size());
            command += " && echo '" + (usage.empty() ? "" : "keyUsage=" + usage) +
                       "' > extensions && openssl x509 -req -in request -CA root -CAkey key "
                       "-vfyopt distid:1234567812345678 -CAcreateserial -extfile extensions -out " +
                       name;
            certificates += " -certfile " + name;
        }
        command += " && openssl crl2pkcs7 -nocrl -outform DER -out answer" + certificates;
        const CommandResult result = RunShell(command);
        EXPECT_EQ(0, result.status) << result.output;
        return ToBase64(ToBytes(ReadFile(Folder() + "/answer")));
    }

    static constexpr char kEncrypts[] = "keyEncipherment,dataEncipherment,keyAgreement";
    static constexpr char kSigns[] = "digitalSignature,nonRepudiation";
};

TEST_F(CertificateUsage, AnEncryptionCertificateDoesNotReplaceTheSigningCertificate) {
    GiveDualCertificates();
    const std::string before = CertificatePem(1);
    for (const char* const usage : {kEncrypts, "keyEncipherment", "keyAgreement"}) {
        EXPECT_EQ(Number(Code::kCertificateUsage), WritePkcs7(Issued(Request(1, 2), {usage})));
        EXPECT_EQ(before, CertificatePem(1)) << usage;
    }
    SignatureOf("signs as before");
}

TEST_F(CertificateUsage, ASigningCertificateDoesNotReplaceTheEncryptionCertificate) {
    GiveDualCertificates();
    const std::string before = CertificatePem(2);
    for (const char* const usage : {kSigns, "digitalSignature", "nonRepudiation"}) {
        EXPECT_EQ(Number(Code::kCertificateUsage), WritePkcs7(Issued(Request(2, 2), {usage})));
        EXPECT_EQ(before, CertificatePem(2)) << usage;
    }
}

TEST_F(CertificateUsage, WithBothUsesOrNoneACertificateFitsAnyPair) {
    for (const int32_t type : {1, 2}) {
        for (const std::string& usage :
             {std::string(), std::string("keyCertSign"), std::string(kSigns) + "," + kEncrypts}) {
            EXPECT_EQ(kSuccess, WritePkcs7(Issued(Request(type, 2), {usage}))) << type << usage;
            EXPECT_EQ(kSuccess, Read(type));
        }
    }
}

TEST_F(CertificateUsage, BesideACertificateThatFitsTheOtherIsPassedOver) {
    for (const std::vector<std::string>& usages :
         {std::vector<std::string>{kSigns, kEncrypts}, {kEncrypts, kSigns}}) {
        ASSERT_EQ(kSuccess, WritePkcs7(Issued(Request(1, 2), usages)));
        char info[1280];
        int32_t length = sizeof info;
        ASSERT_EQ(kSuccess, key_.GetCertInfo_UOS(kSerial, 1, info, &length));
        EXPECT_NE(std::string::npos, std::string(info).find("\nUsage: digitalSignature"));
    }
}

}  // namespace
}  // namespace softkey::testing
