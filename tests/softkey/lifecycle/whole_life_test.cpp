// A key's life from initialisation to deletion, each step on what the one before left.
#include <gmock/gmock.h>
#include <openssl/x509v3.h>

#include "software_key.h"

namespace lifecycle {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char kLabel[] = "Alice's key";
constexpr char kOrder[] = "pay 100 to 4711";
constexpr char kMessage[] = "for your eyes only";

class WholeLife : public SoftwareKeyTest {
 protected:
    const std::string key_ = NewPluggedKey();

    std::string SigningCertificate() const { return Given(CertificateOf(key_, kSigning)); }

    void Introduce() const;
    void InitialiseAndLabel() const;
    void RequestAndImport() const;
    void ReadBack() const;
    void SignOrders() const;
    void DecryptMessage() const;
    void UnplugAndPlug() const;
    void DeleteCertificates() const;
    void DeleteKey() const;
};

void WholeLife::Introduce() const {
    EXPECT_EQ(kOk, Checked(Initialize()));
    EXPECT_EQ(1, g_initFlag);
    EXPECT_EQ(key_, Given(AskForText(GetPrintNumber)));
    EXPECT_EQ("9.2025.0731.3", Given(AskForText(GetDriverVersion)));
    EXPECT_EQ("9.2025.0731.3", Given(AskForText(GetDllVersion)));
    EXPECT_EQ("1780&0301", Given(AskForText(GetVidAndPid)));
    EXPECT_EQ("Marlowen Corporation", Given(AskForText([](char* buffer, int32_t* length) {
                  return GetVendorInfo(2, buffer, length);
              })));
    EXPECT_EQ(kOk, Checked(CheckDriverIntegrity(1)));
}

void WholeLife::InitialiseAndLabel() const {
    EXPECT_EQ(kOk, Checked(SetData(key_.c_str(), 1, "of the owner before")));
    EXPECT_EQ(kOk, Checked(InitUKey(key_.c_str())));
    EXPECT_EQ(Code::kDataItemNotFound, DataOf(key_, 1).code);
    EXPECT_EQ("Test", Given(LabelOf(key_)));
    EXPECT_EQ(kOk, Checked(SetLabel(key_.c_str(), kLabel)));
    EXPECT_EQ(kLabel, Given(LabelOf(key_)));
    EXPECT_EQ(kOk, Checked(SetData(key_.c_str(), 63, "branch 0042")));
    EXPECT_EQ("branch 0042", Given(DataOf(key_, 63)));
}

void WholeLife::RequestAndImport() const {
    const std::string request = Given(BatchRequest(key_, kKeep, kBothInOne));
    EXPECT_TRUE(RequestHolds(request));
    const std::string package = Issue(request, "--subject CN=Alice,O=Example,C=CN");
    EXPECT_EQ(1U, PackageItems(package, "SignCert").size());
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key_, kSigning).code);
    EXPECT_EQ(kOk, Checked(Batch_ImportX509Cert(key_.c_str(), package.c_str())));
}

void WholeLife::ReadBack() const {
    const Certificate signing(SigningCertificate());
    const Certificate encryption(Given(CertificateOf(key_, kEncryption)));
    EXPECT_TRUE(signing.IsIssuedBy(Sm2Root()));
    EXPECT_TRUE(encryption.IsIssuedBy(Sm2Root()));
    EXPECT_TRUE(signing.Has(KU_DIGITAL_SIGNATURE));
    EXPECT_FALSE(signing.Has(KU_KEY_ENCIPHERMENT));
    EXPECT_TRUE(encryption.Has(KU_KEY_ENCIPHERMENT));
    EXPECT_FALSE(encryption.Has(KU_DIGITAL_SIGNATURE));
    EXPECT_EQ(signing.Der(), FromBase64(Given(CertificateOf(key_, kSigning, kBase64Der))));
    EXPECT_EQ("CN=Alice,O=Example,C=CN", signing.Subject());
    EXPECT_EQ(signing.Subject(), Given(CertificateName(key_, kSigning, kSubject)));
    EXPECT_EQ(Sm2Root().Subject(), Given(CertificateName(key_, kEncryption, kIssuer)));
    EXPECT_THAT(Given(CertificateDetails(key_, kSigning)),
                testing::AllOf(HasSubstr("Subject: CN=Alice,O=Example,C=CN\n"),
                               HasSubstr("Usage: digitalSignature")));
}

void WholeLife::SignOrders() const {
    const Certificate certificate(SigningCertificate());
    const std::string confirmed =
        FromBase64(Given(ConfirmedSignature(key_, kOrder, "Pay 100 to 4711?")));
    EXPECT_TRUE(certificate.Verifies(kOrder, confirmed));
    EXPECT_FALSE(certificate.Verifies("pay 900 to 4711", confirmed));
    EXPECT_TRUE(certificate.Verifies(kOrder, FromBase64(Given(Signature(key_, kOrder)))));
    const std::vector<std::string> signatures =
        Split(Given(BatchSignatures(key_, "one||two||three")), "||");
    ASSERT_EQ(3U, signatures.size());
    EXPECT_TRUE(certificate.Verifies("one", FromBase64(signatures[0])));
    EXPECT_TRUE(certificate.Verifies("two", FromBase64(signatures[1])));
    EXPECT_TRUE(certificate.Verifies("three", FromBase64(signatures[2])));
}

void WholeLife::DecryptMessage() const {
    const Certificate certificate(Given(CertificateOf(key_, kEncryption)));
    std::string cipher = ToBase64(certificate.Encrypt(kMessage));
    EXPECT_EQ(kMessage, Given(Decrypted(key_, cipher)));
    cipher.insert(cipher.size() / 2, "\r\n");
    EXPECT_EQ(kMessage, Given(Decrypted(key_, cipher)));
    const Certificate other(SigningCertificate());
    EXPECT_EQ(Code::kDecryption, Decrypted(key_, ToBase64(other.Encrypt(kMessage))).code);
}

void WholeLife::UnplugAndPlug() const {
    Unplug(key_);
    EXPECT_EQ(Code::kDeviceRemoved, AskForText(GetPrintNumber).code);
    EXPECT_EQ(Code::kDeviceRemoved, LabelOf(key_).code);
    EXPECT_EQ(Code::kDeviceRemoved, Signature(key_, kOrder).code);
    EXPECT_EQ(Code::kDeviceRemoved, CertificateOf(key_, kSigning).code);
    Plug(key_);
    EXPECT_EQ(kLabel, Given(LabelOf(key_)));
    EXPECT_EQ("branch 0042", Given(DataOf(key_, 63)));
    SignOrders();
    DecryptMessage();
}

void WholeLife::DeleteCertificates() const {
    EXPECT_EQ(kOk, Checked(DelCertAndTempKey(key_.c_str(), kSigning, kEverything)));
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key_, kSigning).code);
    EXPECT_EQ(Code::kCertificateNotFound, Signature(key_, kOrder).code);
    EXPECT_EQ(kOk, Checked(DelCertAndTempKey(key_.c_str(), kEncryption, kEverything)));
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key_, kEncryption).code);
}

void WholeLife::DeleteKey() const {
    EXPECT_NE(0, RunProgram("softkey", "delete " + key_ + " --yes").status) << "while plugged";
    Unplug(key_);
    Program("softkey", "delete " + key_ + " --yes");
    EXPECT_EQ(Code::kDeviceRemoved, AskForText(GetPrintNumber).code);
    EXPECT_EQ("No software keys.", Program("softkey", "list").substr(0, 17));
    Finalize();
    EXPECT_EQ(0, g_initFlag);
}

TEST_F(WholeLife, GoesFromInitialisationToDeletion) {
    Introduce();
    InitialiseAndLabel();
    RequestAndImport();
    ReadBack();
    SignOrders();
    DecryptMessage();
    UnplugAndPlug();
    DeleteCertificates();
    DeleteKey();
    EXPECT_THAT(ReadFile("/tmp/VexaPinpad_ORVAL.log"), Not(HasSubstr(kRightPin)));
}

}  // namespace
}  // namespace lifecycle
