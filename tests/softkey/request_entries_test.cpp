// Certificate requests, judged by the openssl command.
#include "base/encoding.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

class RequestEntries : public EntriesTest {
 protected:
    // What `openssl req` says about a request, its signature verified.
    std::string Describe(const std::string& request, bool sm2) {
        const std::string path = Folder() + "/request.pem";
        WriteFile(path, ToPem(FromBase64Text(request), "CERTIFICATE REQUEST"));
        const CommandResult result = RunShell("openssl req -verify -noout -text -in " + path +
                                              (sm2 ? " -vfyopt distid:1234567812345678" : ""));
        EXPECT_EQ(0, result.status) << result.output;
        EXPECT_NE(std::string::npos, result.output.find("verify OK")) << result.output;
        return result.output;
    }

    int32_t Refused(int32_t cert_type, int32_t key_type, int32_t hash_type) {
        char* text = nullptr;
        const int32_t code =
            key_.GMCreatePKCS10(kSerial, cert_type, key_type, hash_type, &text, nullptr, 0);
        EXPECT_EQ(nullptr, text);
        return code;
    }
};

TEST_F(RequestEntries, AnSm2RequestIsSignedWithSm2AndSm3) {
    const std::string text = Describe(Request(1, 2, 3), true);
    EXPECT_NE(std::string::npos, text.find("Signature Algorithm: SM2-with-SM3"));
    EXPECT_NE(std::string::npos, text.find("CN = " + std::string(kSerial)));
    EXPECT_NE(std::string::npos, text.find("Digital Signature, Non Repudiation\n"));
}

TEST_F(RequestEntries, AnRsaRequestIsSignedWithSha256) {
    const std::string text = Describe(Request(1, 1, 1), false);
    EXPECT_NE(std::string::npos, text.find("Signature Algorithm: sha256WithRSAEncryption"));
    EXPECT_NE(std::string::npos, text.find("(2048 bit)"));
}

TEST_F(RequestEntries, TheKindOfCertificateStandsInTheKeyUsage) {
    EXPECT_NE(
        std::string::npos,
        Describe(Request(2, 2), true).find("Key Encipherment, Data Encipherment, Key Agreement"));
    const std::string both =
        "Digital Signature, Non Repudiation, Key Encipherment, Data Encipherment, Key Agreement";
    EXPECT_NE(std::string::npos, Describe(Request(3, 2), true).find(both));
    EXPECT_NE(std::string::npos, Describe(DualRequest(), true).find(both));
}

TEST_F(RequestEntries, TheMergedFlagDecidesInTheEntry) {
    RequestEntry entry{1, 2, 0, 0, {}};
    char* text = nullptr;
    ASSERT_EQ(kSuccess, key_.GMCreatePKCS10Ex(kSerial, &entry, &text, 1, nullptr, 0));
    EXPECT_EQ(std::string::npos, Describe(text, true).find("Key Encipherment"));
    delete[] text;
}

TEST_F(RequestEntries, EachRequestHasAKeyPairOfItsOwn) {
    EXPECT_NE(Request(1, 2), Request(1, 2));
}

TEST_F(RequestEntries, NumbersOutsideTheTablesAreRefused) {
    for (const int32_t cert_type : {0, 4, -1}) {
        EXPECT_EQ(Number(Code::kSelector), Refused(cert_type, 2, 3)) << cert_type;
    }
    for (const int32_t key_type : {0, 3, -1}) {
        EXPECT_EQ(Number(Code::kSelector), Refused(1, key_type, 0)) << key_type;
    }
    for (const int32_t hash_type : {2, 4, -48}) {
        EXPECT_EQ(Number(Code::kSelector), Refused(1, 2, hash_type)) << hash_type;
    }
    EXPECT_EQ(Number(Code::kKeyTypeHash), Refused(1, 2, 1));
    EXPECT_EQ(Number(Code::kKeyTypeHash), Refused(1, 1, 3));
    EXPECT_EQ(Number(Code::kSelector), Refused(3, 1, 1));
    RequestEntry entry{1, 2, 3, 2, {}};
    char* text = nullptr;
    EXPECT_EQ(Number(Code::kSelector),
              key_.GMCreatePKCS10Ex(kSerial, &entry, &text, 1, nullptr, 0));
    entry.merged = 1;
    EXPECT_EQ(Number(Code::kSelector),
              key_.GMCreatePKCS10Ex(kSerial, &entry, &text, 0, nullptr, 0));
    EXPECT_EQ(nullptr, text);
}

TEST_F(RequestEntries, RequestsSurviveTheProcessThatMadeThem) {
    const std::string request = DualRequest();
    // Another process answers it: the key pair must have reached the disk.
    EXPECT_EQ(kSuccess, Import(Answer(request)));
}

}  // namespace
}  // namespace softkey::testing
