// softca, and what it issues, judged by the openssl command. tests/softkey/botan_test.cpp has
// Botan's opinion of the same.
#include "authority/authority.h"

#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "authority/moment.h"
#include "authority/subject.h"
#include "base/encoding.h"
#include "crypto/certificate_texts.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

using Json = nlohmann::json;

class AuthorityTest : public EntriesTest {
 protected:
    AuthorityTest() { setenv("ORVAL_SOFTCA_HOME", AuthorityFolder().c_str(), 1); }

    static CommandResult SoftCa(const std::string& arguments) {
        return RunShell(Program("softca") + " " + arguments + " </dev/null");
    }

    static std::string Good(const std::string& arguments) {
        const CommandResult result = SoftCa(arguments);
        EXPECT_EQ(0, result.status) << arguments << '\n' << result.output;
        return result.output;
    }

    static void ExpectFailure(int status, const std::string& arguments, const std::string& words) {
        const CommandResult result = SoftCa(arguments);
        EXPECT_EQ(status, result.status) << result.output;
        EXPECT_NE(std::string::npos, result.output.find(words)) << result.output;
        EXPECT_NE(std::string::npos, result.output.find("\n  next: ")) << result.output;
    }

    // Has a request of the key answered; the first certificate is in the file that this names.
    std::string Issued(const std::string& options, int32_t key_type = 2) {
        WriteFile(Folder() + "/request", Request(1, key_type));
        Good("issue --in " + Folder() + "/request --out " + Folder() + "/answer " + options);
        return FirstOf(Folder() + "/answer");
    }

    // The first certificate of a PKCS#7 in Base64.
    std::string FirstOf(const std::string& answer) {
        const std::string path = Folder() + "/certificate";
        const CommandResult result =
            RunShell("base64 -d " + answer + " | openssl pkcs7 -inform DER -print_certs | " +
                     "openssl x509 -out " + path);
        EXPECT_EQ(0, result.status) << result.output;
        return path;
    }

    static std::string Told(const std::string& certificate, const std::string& what) {
        const CommandResult result =
            RunShell("openssl x509 -noout -in " + certificate + " " + what);
        EXPECT_EQ(0, result.status) << result.output;
        return result.output;
    }

    // openssl's verdict on a certificate under its issuer alone; the user id of SM2 is asked for of
    // the certificate and not of those above, so that each is judged by itself.
    static CommandResult Verify(const std::string& certificate, const std::string& issuer,
                                const std::string& options = "") {
        const bool is_sm2 = issuer.find("-sm2.pem") != std::string::npos;
        return RunShell("openssl verify -partial_chain " + options +
                        (is_sm2 ? " -vfyopt distid:1234567812345678" : "") + " -trusted " + issuer +
                        " " + certificate);
    }

    std::string TextOfInfo(int32_t selector) {
        char info[1280] = {};
        int32_t length = sizeof info;
        EXPECT_EQ(kSuccess, key_.GetCertInfo_UOS(kSerial, selector, info, &length));
        return info;
    }

    std::string CertificateOf(const std::string& issuer, const std::string& type) const {
        return AuthorityFolder() + "/" + issuer + "-" + type + ".pem";
    }
};

struct KindOfKey {
    const char* word;
    int32_t number;
};
constexpr KindOfKey kBoth[] = {{"sm2", 2}, {"rsa", 1}};

// Half an authority could neither be used nor be made again.
TEST_F(AuthorityTest, OneThatCannotBeMadeWholeLeavesNoFile) {
    const std::string folder = Folder() + "/half";
    std::filesystem::create_directory(folder);
    WriteFile(folder + "/root-rsa.pem", "somebody's");
    ExpectFailure(1, "--dir " + folder + " init", "exists");
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        EXPECT_EQ("root-rsa.pem", entry.path().filename());
    }
    std::filesystem::remove(folder + "/root-rsa.pem");
    Good("--dir " + folder + " init");
}

TEST_F(AuthorityTest, KeysAreTheOwnersAloneAndWhatIsWrongIsNamed) {
    ExpectFailure(1, "issue", "softca issue: there is no authority");
    EXPECT_EQ("No authority. Make one with: softca init\n", Good("list"));
    Good("init --name 'My Root'");
    ExpectFailure(1, "init", "softca init: there is an authority already");
    struct stat status {};
    ASSERT_EQ(0, stat((AuthorityFolder() + "/root-sm2.key").c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777U);
    ExpectFailure(1, "issue --in " + WriteSecretFile("bad", "AAAA"), "no PKCS#10");
    ExpectFailure(4, "issue --in /nonexistent", "/nonexistent");
    ExpectFailure(2, "issue --days 0", "--days");
    ExpectFailure(1, "issue --issuer branch", "there is no issuer branch");
    ExpectFailure(2, "intermediate ../branch", "../branch is no name for an issuer");
}

TEST_F(AuthorityTest, AnIntermediatesAnswerHoldsAllCertificatesUpToTheRoot) {
    Good("init");
    Good("intermediate branch --common-name 'My Branch' --path-length 1");
    Good("intermediate counter --under branch --path-length 0");
    for (const KindOfKey& kind : kBoth) {
        const std::string certificate = Issued("--issuer counter", kind.number);
        const std::string type = kind.word;
        EXPECT_EQ(0, Verify(certificate, CertificateOf("counter", type)).status);
        EXPECT_NE(0, Verify(certificate, CertificateOf("branch", type)).status);
        EXPECT_EQ(0, Verify(CertificateOf("counter", type), CertificateOf("branch", type)).status);
        EXPECT_EQ(0, Verify(CertificateOf("branch", type), CertificateOf("root", type)).status);
        EXPECT_EQ("4\n",
                  RunShell("base64 -d " + Folder() +
                           "/answer | openssl pkcs7 -inform DER -print_certs -noout | grep -c "
                           "subject")
                      .output);
        EXPECT_NE(std::string::npos, Told(CertificateOf("counter", type), "-ext basicConstraints")
                                         .find("CA:TRUE, pathlen:0"));
        ASSERT_EQ(kSuccess, WritePkcs7(ReadFile(Folder() + "/answer")));
    }
    // RSA needs no user id, so that openssl can judge a chain as a whole.
    EXPECT_EQ(0, RunShell("cat " + CertificateOf("counter", "rsa") + " >" + Folder() +
                          "/chain; openssl verify -CAfile " + CertificateOf("root", "rsa") +
                          " -untrusted " + Folder() + "/chain " + Folder() + "/certificate")
                     .status);
}

TEST_F(AuthorityTest, TheListShowsEachIssuerTheRootFirst) {
    Good("init");
    Good("intermediate alpha");
    const Json list = Json::parse(Good("list --json"));
    std::vector<std::string> names;
    for (const Json& issuer : list["issuers"]) {
        names.push_back(issuer["issuer"].get<std::string>() + " " +
                        issuer["type"].get<std::string>());
        EXPECT_TRUE(std::filesystem::exists(issuer["certificate"].get<std::string>()));
    }
    EXPECT_EQ((std::vector<std::string>{"root sm2", "root rsa", "alpha sm2", "alpha rsa"}), names);
    EXPECT_EQ("CN=alpha,O=Software Key,C=CN", list["issuers"][2]["subject"]);
    EXPECT_NE(std::string::npos, Good("list").find("alpha   sm2 "));
}

TEST_F(AuthorityTest, ACertificateIsValidFromWhenUntilWhenItIsTold) {
    Good("init --not-before 2020-01-01 --not-after 2045-06-30T12:00:00Z");
    EXPECT_EQ("notBefore=Jan  1 00:00:00 2020 GMT\nnotAfter=Jun 30 12:00:00 2045 GMT\n",
              Told(CertificateOf("root", "sm2"), "-dates"));
    const std::string past = Issued("--not-before 2021-02-28T23:59:59Z --days 1");
    EXPECT_EQ("notBefore=Feb 28 23:59:59 2021 GMT\nnotAfter=Mar  1 23:59:59 2021 GMT\n",
              Told(past, "-dates"));
    const CommandResult expired = Verify(past, CertificateOf("root", "sm2"));
    EXPECT_NE(std::string::npos, expired.output.find("certificate has expired")) << expired.output;
    EXPECT_EQ(0, Verify(past, CertificateOf("root", "sm2"), "-attime 1614600000").status);
    const std::string future = Issued("--not-before +2d --not-after +3d", 1);
    const CommandResult early = Verify(future, CertificateOf("root", "rsa"));
    EXPECT_NE(std::string::npos, early.output.find("not yet valid")) << early.output;
    ExpectFailure(
        1, "issue --not-before 2026-02-01 --not-after 2026-01-01 --in " + Folder() + "/request",
        "it would end before it begins");
    ExpectFailure(1, "issue --not-after tomorrow --in " + Folder() + "/request",
                  "tomorrow is no moment");
}

TEST(Moment, IsADayAMomentOrADistanceFromNow) {
    constexpr std::time_t kNow = 1000000000;
    EXPECT_EQ(kNow, ReadMoment("now", kNow));
    EXPECT_EQ(kNow - 30 * 86400, ReadMoment("-30d", kNow));
    EXPECT_EQ(kNow + 5, ReadMoment("+5s", kNow));
    EXPECT_EQ(kNow + 2 * 3600, ReadMoment("+2h", kNow));
    EXPECT_EQ(kNow - 60, ReadMoment("-1m", kNow));
    EXPECT_EQ(kNow + 365 * 86400, ReadMoment("+1y", kNow));
    EXPECT_EQ(951782400, ReadMoment("2000-02-29", kNow));
    EXPECT_EQ(951782401, ReadMoment("2000-02-29T00:00:01Z", kNow));
    EXPECT_EQ(-631152000, ReadMoment("1950-01-01", kNow));
    EXPECT_EQ(253402300799, ReadMoment("9999-12-31T23:59:59Z", kNow));
    for (const char* const text :
         {"", "30d", "-d", "+5", "-5w", "2001-02-29", "2000-01-01 00:00:00", "1949-12-31", "+9000y",
          "+99999999999y", "2000-01-01T00:00:00", "now "}) {
        EXPECT_EQ(Code::kInvalidParameter, CodeOfFailure([&] { ReadMoment(text, kNow); })) << text;
    }
}

TEST_F(AuthorityTest, UsagesAndExtensionsTakeThePlaceOfTheUsualOnes) {
    Good("init");
    const std::string certificate = Issued(
        "--usage digitalSignature --extension extendedKeyUsage=critical,clientAuth "
        "--extension certificatePolicies=1.2.3.4 --extension 1.2.3.5=DER:0500 "
        "--extension basicConstraints=CA:FALSE,pathlen:3");
    const std::string extensions = Told(certificate, "-text");
    EXPECT_NE(std::string::npos,
              extensions.find("X509v3 Key Usage: \n                Digital Signature\n"))
        << extensions;
    EXPECT_NE(std::string::npos, extensions.find("X509v3 Extended Key Usage: critical"));
    EXPECT_NE(std::string::npos, extensions.find("Policy: 1.2.3.4"));
    EXPECT_NE(std::string::npos, extensions.find("1.2.3.5: "));
    EXPECT_NE(std::string::npos, extensions.find("CA:FALSE, pathlen:3"));
    EXPECT_EQ(extensions.find("Basic Constraints"), extensions.rfind("Basic Constraints"));
    EXPECT_EQ(0, Verify(certificate, CertificateOf("root", "sm2")).status);
    for (const char* const option :
         {"--extension nonsense=1", "--extension extendedKeyUsage=nonsense",
          "--extension basicConstraints=@section", "--usage nonsense"}) {
        ExpectFailure(1, "issue --in " + Folder() + "/request " + option,
                      "is no extension of a certificate");
    }
}

TEST_F(AuthorityTest, TheEncryptionCertificatesUsageIsChosenByItself) {
    Good("init");
    WriteFile(Folder() + "/request", DualRequest());
    ASSERT_EQ(kSuccess,
              Import(Good("issue --encryption-usage keyAgreement --in " + Folder() + "/request")));
    EXPECT_EQ(std::string::npos, TextOfInfo(1).find("keyAgreement"));
    EXPECT_NE(std::string::npos, TextOfInfo(2).find("Usage: keyAgreement"));
}

TEST_F(AuthorityTest, ASubjectOfAnyCharactersReachesTheClientAsRfc2253WritesIt) {
    Good("init");
    for (const auto& [given, shown] :
         {std::pair<const char*, const char*>{R"(CN=王\, 小明\+\"x\",O=C\C3\A9\\,C=CN)",
                                              R"(CN=王\, 小明\+\"x\",O=Cé\\,C=CN)"},
          {R"(CN=a+serialNumber=1 , O=\ b\20,C=CN)", R"(serialNumber=1+CN=a,O=\ b\ ,C=CN)"},
          {R"(2.5.4.12=t,CN=\#x;y<z>,DC=bank)", R"(title=t,CN=\#x\;y\<z\>,DC=bank)"},
          {"CN==", "CN=="}}) {
        const ssl::Name name = ReadSubject(given);
        const ssl::Certificate certificate(X509_new());
        X509_set_subject_name(certificate.get(), name.get());
        EXPECT_EQ(shown, SubjectText(certificate.get())) << given;
    }
    const std::string certificate = Issued(R"(--subject 'CN=王\, 小明,O=C\C3\A9,C=CN')");
    EXPECT_EQ("subject=C=CN,O=Cé,CN=王\\, 小明\n",
              Told(certificate, "-subject -nameopt utf8,sep_comma_plus,esc_2253,sname"));
    for (const char* const text : {"", "CN", "CN=a,", "CN=a\\", "CN=a\\x,C=CN", "X=a", "=a"}) {
        EXPECT_EQ(Code::kInvalidParameter, CodeOfFailure([&] { ReadSubject(text); })) << text;
    }
}

TEST_F(AuthorityTest, EnvelopesInBothStructuresAndBothTextFormsAreImported) {
    Good("init");
    WriteFile(Folder() + "/request", DualRequest());
    for (const char* const structure : {"gbt35276", "gmt0016"}) {
        for (const char* const form : {"hex", "base64"}) {
            const std::string answer = Good("issue --in " + Folder() + "/request --envelope " +
                                            form + " --envelope-structure " + structure);
            EXPECT_EQ(kSuccess, Import(answer)) << structure << ' ' << form;
        }
    }
    const std::string blob =
        Good("issue --in " + Folder() + "/request --envelope-structure gmt0016");
    EXPECT_EQ(388U * 2, ItemsOf(blob, "EncPriKey").at(0).size());
}

TEST_F(AuthorityTest, OpensslRefusesWhatARevocationListNames) {
    Good("init");
    Good("intermediate branch");
    const std::string kept = Folder() + "/kept";
    std::filesystem::copy(Issued("--issuer branch", 1), kept);
    const std::string certificate = Issued("--issuer branch", 1);
    const std::string told =
        Good("revoke " + certificate + " --reason keyCompromise --at 2026-02-03");
    const std::string serial = Told(certificate, "-serial").substr(7, 32);
    EXPECT_EQ("Revoked " + serial + ", issued by branch (rsa).\n", told);
    Good("crl --issuer branch --type rsa --out " + Folder() + "/list");
    const std::string options = "-crl_check -CRLfile " + Folder() + "/list";
    const CommandResult refused = Verify(certificate, CertificateOf("branch", "rsa"), options);
    EXPECT_NE(std::string::npos, refused.output.find("certificate revoked")) << refused.output;
    EXPECT_EQ(0, Verify(kept, CertificateOf("branch", "rsa"), options).status);
    const CommandResult text = RunShell("openssl crl -noout -text -in " + Folder() + "/list");
    EXPECT_NE(std::string::npos, text.output.find("Key Compromise"));
    EXPECT_NE(std::string::npos, text.output.find("Revocation Date: Feb  3 00:00:00 2026 GMT"));
    EXPECT_EQ(1, Json::parse(Good("list --json"))["issuers"][3]["revoked_count"]);
}

// openssl's crl command cannot be told the user id with which SM2 signs; its pkeyutl can.
TEST_F(AuthorityTest, AnSm2RevocationListIsSignedWithTheUsualUserId) {
    Good("init");
    Good("revoke " + Issued("") + " --reason certificateHold");
    Good("crl --der --out " + Folder() + "/list");
    const std::string at = "cd " + Folder() + " && ";
    const CommandResult verified = RunShell(
        at +
        "openssl asn1parse -inform DER -in list -strparse 4 -noout -out body && "
        "offset=$(openssl asn1parse -inform DER -in list | grep 'd=1 .*BIT STRING' | cut -d: -f1) "
        "&& "
        "openssl asn1parse -inform DER -in list -strparse $offset -noout -out signature && "
        "openssl x509 -in " +
        CertificateOf("root", "sm2") +
        " -pubkey -noout >key && openssl pkeyutl -verify -pubin -inkey key -rawin -digest sm3 "
        "-pkeyopt distid:1234567812345678 -in body -sigfile signature");
    EXPECT_EQ("Signature Verified Successfully\n", verified.output);
    EXPECT_NE(std::string::npos, RunShell(at + "openssl crl -inform DER -in list -noout -text")
                                     .output.find("Certificate Hold"));
}

TEST_F(AuthorityTest, RevokingAgainChangesReasonAndMomentAndLaterListsHaveGreaterNumbers) {
    Good("init");
    const std::string certificate = Issued("");
    Good("revoke " + certificate + " --reason certificateHold");
    const auto number = [&] {
        const std::string text =
            RunShell(Program("softca") + " crl | openssl crl -noout -crlnumber").output;
        return std::stoll(text.substr(text.find('=') + 1), nullptr, 0);
    };
    const long long first = number();
    Good("revoke " + certificate + " --reason superseded");
    EXPECT_LT(first, number());
    EXPECT_EQ(1, Json::parse(Good("list --json"))["issuers"][0]["revoked_count"]);
    const std::string list = RunShell(Program("softca") + " crl | openssl crl -noout -text").output;
    EXPECT_NE(std::string::npos, list.find("Superseded")) << list;
    EXPECT_EQ(std::string::npos, list.find("Certificate Hold"));
}

TEST_F(AuthorityTest, OnlyACertificateOfThisAuthorityIsRevokedAndADamagedRecordIsNamed) {
    Good("init");
    const std::string certificate = Issued("");
    Good("--dir " + Folder() + "/other init");
    ExpectFailure(1, "--dir " + Folder() + "/other revoke " + certificate,
                  "no issuer in this folder has issued the certificate");
    ExpectFailure(1, "revoke " + WriteSecretFile("bad", "text"), "no certificate");
    ExpectFailure(2, "revoke " + certificate + " --reason bored", "bored");
    WriteFile(AuthorityFolder() + "/root-sm2.revoked", "00 yesterday unspecified\n");
    ExpectFailure(4, "revoke " + certificate, "root-sm2.revoked");
}

TEST_F(AuthorityTest, EachFileOfAFolderIsAnsweredByOneOfItsName) {
    Good("init");
    std::filesystem::create_directory(Folder() + "/requests");
    WriteFile(Folder() + "/requests/a", Request(1, 2));
    WriteFile(Folder() + "/requests/b", DualRequest());
    EXPECT_EQ("2 files answered.\n",
              Good("issue --in " + Folder() + "/requests --out " + Folder() + "/answers"));
    for (const char* const name : {"/a", "/b"}) {
        EXPECT_EQ(kSuccess, Import(ReadFile(Folder() + "/answers" + name)));
    }
    ExpectFailure(2, "issue --in " + Folder() + "/requests", "need a folder as well");
    WriteFile(Folder() + "/requests/c", "nothing");
    ExpectFailure(1, "issue --in " + Folder() + "/requests --out " + Folder() + "/answers",
                  "/requests/c: ");
}

TEST_F(AuthorityTest, TheCommandLineIssuesForEverySeparatedRequest) {
    Good("init");
    // The separator in front is what a batch whose first entry is unused begins with.
    WriteFile(Folder() + "/request", "||" + DualRequest() + "||" + Request(1, 1) + "\n");
    const CommandResult result =
        RunShell(Program("softca") + " issue --subject 'CN=Alice,O=Example,C=CN' --days 10 --in " +
                 Folder() + "/request --out " + Folder() + "/answer");
    ASSERT_EQ(0, result.status) << result.output;
    ASSERT_EQ(kSuccess, Import(ReadFile(Folder() + "/answer")));
    char name[1024];
    for (const int32_t selector : {0x21, 0x22, 0x11}) {
        ASSERT_EQ(kSuccess, key_.GM_GetCertDN(kSerial, selector, 0, name));
        EXPECT_STREQ("CN=Alice,O=Example,C=CN", name);
    }
    const Json shown = Json::parse(RunShell(Program("softkey") + " show --json " + kSerial).output);
    EXPECT_EQ(3U, shown["key_pairs"].size());
    EXPECT_NE(std::string::npos,
              RunShell(Program("softkey") + " show " + kSerial).output.find("CN=Alice"));
}

TEST_F(AuthorityTest, PemBlocksInARowAreAllAnswered) {
    const auto pem = [](const std::string& request) {
        return ToPem(FromBase64Text(request), "CERTIFICATE REQUEST");
    };
    ASSERT_EQ(kSuccess, Import(Answer(pem(Request(1, 2)) + pem(Request(2, 1)))));
    for (const int32_t selector : {0x21, 0x12}) {
        EXPECT_NE("", CertificatePem(selector));
    }
}

TEST_F(AuthorityTest, WhatIsNoRequestIsRefusedAndNotLeftOut) {
    const std::string request = Request(1, 2);
    const Bytes der = FromBase64Text(request);
    const std::string pem = ToPem(der, "CERTIFICATE REQUEST");
    Bytes longer = der;
    longer.push_back(0);
    for (const std::string& text :
         {pem + "trailing", "leading\n" + pem, pem + request, pem + "-----BEGIN X-----\n",
          ToBase64(longer), request + "||x"}) {
        EXPECT_EQ(Code::kData, CodeOfFailure([&] { Answer(text); })) << text;
    }
}

TEST_F(AuthorityTest, RequestsOfBothTypesGetBothRoots) {
    const std::string answer = Answer(Request(1, 2) + "||" + Request(1, 1));
    WriteFile(Folder() + "/answer", answer);
    const CommandResult shown =
        RunShell("base64 -d " + Folder() +
                 "/answer | openssl pkcs7 -inform DER -print_certs -noout | grep -c subject");
    EXPECT_EQ("4\n", shown.output);
}

TEST_F(AuthorityTest, ASubjectsValueThatIsNotAcceptedIsNamedWithItsField) {
    Good("init");
    WriteFile(Folder() + "/request", DualRequest());
    const CommandResult result =
        RunShell(Program("softca") + " issue --subject 'CN=Alice,C=China' --in " + Folder() +
                 "/request 2>&1");
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.output.find("\"China\" as the name's field C: "))
        << result.output;
}

TEST_F(AuthorityTest, ARequestWithAWrongSignatureIsRefused) {
    Bytes request = FromBase64Text(Request(1, 2));
    // The last byte of the first public-key coordinate's neighbourhood: anything signed will do.
    request[request.size() / 2] ^= 1;
    EXPECT_THROW(Answer(ToBase64(request)), Error);
}

}  // namespace
}  // namespace softkey::testing
