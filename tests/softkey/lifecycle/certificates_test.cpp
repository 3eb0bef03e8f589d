// Requests, certificates and what is done with them, beyond the one path of the whole life.
#include <gmock/gmock.h>
#include <openssl/asn1.h>

#include "software_key.h"

namespace lifecycle {
namespace {

using Certificates = SoftwareKeyTest;

constexpr char kOrder[] = "pay 100 to 4711";

// As a file of an authority shows it.
std::string Armoured(const std::string& base64) {
    constexpr size_t kLine = 64;
    std::string text = "-----BEGIN PKCS7-----\n";
    for (size_t begin = 0; begin < base64.size(); begin += kLine) {
        text += base64.substr(begin, kLine) + "\n";
    }
    return text + "-----END PKCS7-----\n";
}

std::string WithoutLineEnd(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

TEST_F(Certificates, AFormattedKeyAnswersWithRequestsForTheNextOwner) {
    const std::string key = NewSigningKey();
    const std::string requests =
        Given(BatchRequest(key, kFormat, std::string(kSm2Signing1) + "|KeyType(1)HashType(1)"));
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key, kSigning).code);
    const std::vector<std::string> each = Split(requests, "||");
    ASSERT_EQ(2U, each.size());
    EXPECT_TRUE(RequestHolds(each[0]));
    EXPECT_TRUE(RequestHolds(each[1]));
    EXPECT_EQ(kOk, Checked(Batch_ImportX509Cert(key.c_str(), Issue(requests).c_str())));
    EXPECT_TRUE(Certificate(Given(CertificateOf(key, kSm2Signing))).IsIssuedBy(Sm2Root()));
    EXPECT_TRUE(Certificate(Given(CertificateOf(key, kRsaSigning))).IsIssuedBy(RsaRoot()));
}

TEST_F(Certificates, AnRsaKeySignsAndDecrypts) {
    const std::string key = NewPluggedKey();
    const std::string requests =
        Given(Request(key, std::string(kRsaSigning1) + "|" + kRsaEncryption1));
    EXPECT_EQ(kOk, Checked(ImportX509Cert(key.c_str(), Issue(requests).c_str())));
    const Certificate signing(Given(CertificateOf(key, kRsaSigning)));
    EXPECT_TRUE(signing.Verifies(kOrder, FromBase64(Given(Signature(key, kOrder, kRsaSigning)))));
    EXPECT_TRUE(signing.Verifies(
        kOrder, FromHex(Given(ConfirmedSignature(key, kOrder, "Pay?", kRsaSigning, kHexValue)))));
    const std::string pkcs7 = Given(Signature(key, kOrder, kSigning, kPkcs7Attached));
    EXPECT_TRUE(signing.VerifiesPkcs7(FromBase64(pkcs7), kOrder));
    const Certificate encryption(Given(CertificateOf(key, kRsaEncryption)));
    EXPECT_EQ("secret", Given(Decrypted(key, ToBase64(encryption.Encrypt("secret")))));
    EXPECT_EQ("secret",
              Given(Decrypted(key, ToBase64(encryption.Encrypt("secret")), kRsaEncryption)));
}

TEST_F(Certificates, AnArmouredPackageIsImportedPieceByPiece) {
    const std::string key = NewPluggedKey();
    const std::string package = WithoutLineEnd(Issue(Given(BatchRequest(key, kKeep, kBothInOne))));
    const std::string signing = Armoured(PackageItems(package, "SignCert").at(0));
    const std::string encryption = Armoured(PackageItems(package, "EncCert").at(0));
    const std::string envelope = PackageItems(package, "EncPriKey").at(0);
    EXPECT_EQ(kOk, Checked(ImportX509Cert(key.c_str(), signing.c_str())));
    EXPECT_EQ(kOk, Checked(ImportEncX509Cert(key.c_str(), encryption.c_str(), envelope.c_str())));
    const Certificate certificate(Given(CertificateOf(key, kEncryption)));
    EXPECT_EQ("secret", Given(Decrypted(key, ToBase64(certificate.Encrypt("secret")))));
}

TEST_F(Certificates, AnEnvelopeInBase64IsImportedToo) {
    const std::string key = NewPluggedKey();
    const std::string package =
        Issue(Given(BatchRequest(key, kKeep, kBothInOne)), "--envelope base64");
    EXPECT_EQ(kOk, Checked(Batch_ImportX509Cert(key.c_str(), package.c_str())));
    const Certificate certificate(Given(CertificateOf(key, kEncryption)));
    EXPECT_EQ("secret", Given(Decrypted(key, ToBase64(certificate.Encrypt("secret")))));
}

// The contents of a sequence's elements; of those that are sequences, the whole.
std::vector<std::string> ElementsOf(const std::string& der) {
    const auto* at = reinterpret_cast<const unsigned char*>(der.data());
    ASN1_SEQUENCE_ANY* const sequence =
        d2i_ASN1_SEQUENCE_ANY(nullptr, &at, static_cast<long>(der.size()));
    std::vector<std::string> contents;
    for (int i = 0; i < sk_ASN1_TYPE_num(sequence); ++i) {
        const ASN1_STRING* const content = sk_ASN1_TYPE_value(sequence, i)->value.asn1_string;
        contents.emplace_back(reinterpret_cast<const char*>(content->data),
                              static_cast<size_t>(content->length));
    }
    sk_ASN1_TYPE_pop_free(sequence, ASN1_TYPE_free);
    return contents;
}

// An SM2EnvelopedKey as the ENVELOPEDKEYBLOB of GM/T 0016.
std::string AsBlob(const std::string& envelope) {
    const std::vector<std::string> fields = ElementsOf(envelope);
    const std::vector<std::string> cipher = ElementsOf(fields.at(1));
    const auto padded = [](const std::string& number) {
        return std::string(64 - number.size(), '\0') + number;
    };
    const auto word = [](char low, char next) { return std::string{low, next, 0, 0}; };
    return word(1, 0) + word(1, 4) + word(0, 1) + padded(fields.at(3)) + word(0, 1) +
           padded(fields.at(2).substr(1, 32)) + padded(fields.at(2).substr(33)) +
           padded(cipher.at(0)) + padded(cipher.at(1)) + cipher.at(2) + word(16, 0) + cipher.at(3);
}

std::string ToHex(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

TEST_F(Certificates, ABlobOfTheKeyInterfaceIsImportedWithAndWithoutThePrefix) {
    constexpr char kPrefix[] =
        "00000000000000010000000000000001000000000000000000000000000000000000000000000273";
    for (const bool hexadecimal : {true, false}) {
        for (const std::string& prefix : {std::string(), std::string(kPrefix)}) {
            const std::string key = NewPluggedKey();
            const std::string package =
                WithoutLineEnd(Issue(Given(BatchRequest(key, kKeep, kBothInOne))));
            const std::string blob = AsBlob(FromHex(PackageItems(package, "EncPriKey").at(0)));
            ASSERT_EQ(388U, blob.size());
            const std::string text = "SignCert(" + PackageItems(package, "SignCert").at(0) +
                                     ")|EncPriKey(" + prefix +
                                     (hexadecimal ? ToHex(blob) : ToBase64(blob)) + ")|EncCert(" +
                                     PackageItems(package, "EncCert").at(0) + ")";
            EXPECT_EQ(kOk, Checked(Batch_ImportX509Cert(key.c_str(), text.c_str())));
            const Certificate certificate(Given(CertificateOf(key, kEncryption)));
            EXPECT_EQ("secret", Given(Decrypted(key, ToBase64(certificate.Encrypt("secret")))));
            Unplug(key);
        }
    }
}

TEST_F(Certificates, ARenewalReplacesCertificateAndKeyPair) {
    const std::string key = NewSigningKey();
    const std::string old_certificate = Given(CertificateOf(key, kSigning));
    const std::string renewal = Issue(Given(Request(key, kSm2Signing1)));
    EXPECT_TRUE(
        Certificate(old_certificate).Verifies(kOrder, FromBase64(Given(Signature(key, kOrder)))))
        << "a request alone changes nothing";
    EXPECT_EQ(kOk, Checked(ImportX509Cert(key.c_str(), renewal.c_str())));
    const Certificate renewed(Given(CertificateOf(key, kSigning)));
    const std::string signature = FromBase64(Given(Signature(key, kOrder)));
    EXPECT_TRUE(renewed.Verifies(kOrder, signature));
    EXPECT_FALSE(Certificate(old_certificate).Verifies(kOrder, signature));
}

TEST_F(Certificates, ABatchBeginsWithTheTextThatWasConfirmed) {
    const std::string key = NewSigningKey();
    const Answer answer = AskForText([&](char* buffer, int32_t* length) {
        return Batch_Sign(1, key.c_str(), kSigning, kBase64Value, kOrder, "Pay 100 to 4711?",
                          kAsItIs, kSigning, kBase64Value, "616263||646566", kInHex, buffer,
                          length);
    });
    const std::vector<std::string> signatures = Split(Given(answer), "||");
    ASSERT_EQ(3U, signatures.size());
    const Certificate certificate(Given(CertificateOf(key, kSigning)));
    EXPECT_TRUE(certificate.Verifies(kOrder, FromBase64(signatures[0])));
    EXPECT_TRUE(certificate.Verifies("abc", FromBase64(signatures[1])));
    EXPECT_TRUE(certificate.Verifies("def", FromBase64(signatures[2])));
}

#ifdef ORVAL_BOTAN_VERDICT
TEST_F(Certificates, BotanVerifiesASignature) {
    const std::string key = NewSigningKey();
    const std::string certificate = Given(CertificateOf(key, kSigning));
    const std::string signature = FromBase64(Given(ConfirmedSignature(key, kOrder, "Pay?")));
    EXPECT_TRUE(BotanVerifies(certificate, kOrder, signature));
    EXPECT_FALSE(BotanVerifies(certificate, "pay 900 to 4711", signature));
}
#endif

TEST_F(Certificates, TheCertificateOfAnotherKeyIsRefused) {
    const std::string key = NewPluggedKey();
    const std::string other = NewPluggedKey();
    const std::string request = Given(Request(key, kSm2Signing1));
    const std::string foreign = Issue(Given(Request(other, kSm2Signing1)));
    EXPECT_EQ(Code::kCertificateNotOurs, Checked(ImportX509Cert(key.c_str(), foreign.c_str())));
    EXPECT_EQ("No key pair on the key belongs to the certificate.",
              ErrorText(Code::kCertificateNotOurs));
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key, kSigning).code);
    EXPECT_EQ(kOk, Checked(ImportX509Cert(key.c_str(), Issue(request).c_str())))
        << "the refusal took the key pair that waits for its certificate";
}

TEST_F(Certificates, ThePackageOfAnotherKeyIsRefusedAndWritesNothing) {
    const std::string key = NewDualKey();
    const std::string signing = Given(CertificateOf(key, kSigning));
    const std::string encryption = Given(CertificateOf(key, kEncryption));
    const std::string other = NewPluggedKey();
    const std::string package =
        WithoutLineEnd(Issue(Given(BatchRequest(other, kKeep, kBothInOne))));
    EXPECT_EQ(Code::kCertificateNotOurs,
              Checked(Batch_ImportX509Cert(key.c_str(), package.c_str())));
    EXPECT_EQ(Code::kEnvelopeNotOurs,
              Checked(ImportEncX509Cert(key.c_str(), PackageItems(package, "EncCert").at(0).c_str(),
                                        PackageItems(package, "EncPriKey").at(0).c_str())));
    EXPECT_EQ(signing, Given(CertificateOf(key, kSigning)));
    EXPECT_EQ(encryption, Given(CertificateOf(key, kEncryption)));
    EXPECT_EQ("secret", Given(Decrypted(key, ToBase64(Certificate(encryption).Encrypt("secret")))));
}

TEST_F(Certificates, WhatIsNoCertificateOrKeyIsRefused) {
    const std::string key = NewPluggedKey();
    Given(Request(key, kSm2Signing1));
    EXPECT_EQ(Code::kPkcs7Malformed, Checked(ImportX509Cert(key.c_str(), "AAAA")));
    EXPECT_EQ(Code::kPkcs7Malformed, Checked(Batch_ImportX509Cert(key.c_str(), "no certificate")));
    EXPECT_EQ(Code::kEnvelopeMalformed, Checked(ImportEncX509Cert(key.c_str(), "AAAA", "0042")));
}

TEST_F(Certificates, ACertificateIsRefusedOnceItsKeyPairIsDeleted) {
    const std::string key = NewPluggedKey();
    const std::string answer = Issue(Given(Request(key, kSm2Signing1)));
    EXPECT_EQ(kOk, Checked(DelCertAndTempKey(key.c_str(), kSigning, kUnanswered)));
    EXPECT_EQ(Code::kCertificateNotOurs, Checked(ImportX509Cert(key.c_str(), answer.c_str())));
}

TEST_F(Certificates, AKeyIsUsedForItsPurposeOnly) {
    const std::string key = NewDualKey();
    EXPECT_EQ(Code::kKeyUsage, Signature(key, kOrder, kEncryption).code);
    EXPECT_EQ(Code::kKeyUsage, Decrypted(key, "AAAA", kSigning).code);
    EXPECT_EQ(Code::kCertificateNotFound, Signature(key, kOrder, kRsaSigning).code);
    EXPECT_EQ(Code::kSelector, Signature(key, kOrder, static_cast<Selector>(7)).code);
    EXPECT_EQ(Code::kKeyTypeHash, Request(key, "CertType(1)KeyType(2)HashType(1)").code);
}

TEST_F(Certificates, FunctionsThatAreNotOfferedSaySo) {
    Initialize();
    EXPECT_EQ(ORVAL_UNSUPPORTED, RegisterCert());
    EXPECT_EQ(ORVAL_UNSUPPORTED, UnregisterCert());
    EXPECT_EQ(ORVAL_UNSUPPORTED, RepairDriver());
    EXPECT_EQ(Code::kUnsupported, Checked(CheckDriverIntegrity(0)));
}

}  // namespace
}  // namespace lifecycle
