// The examples of the published standards: GB/T 32905 (SM3), GB/T 32907 (SM4), GB/T 32918.5 (SM2).
#include <gtest/gtest.h>

#include "base/encoding.h"
#include "crypto/enveloped_key.h"
#include "crypto/key_pair.h"

namespace softkey {
namespace {

constexpr char kPrivate[] = "3945208F7B2144B13F36E38AC6D39F95889393692860B51A42FB81EF4DF7C5B8";
constexpr char kPublicX[] = "09F9DF311E5421A150DD7D161E4BC5C672179FAD1833FC076BB08FF356F35020";
constexpr char kPublicY[] = "CCEA490CE26775A52DC6EA718CC1AA600AED05FBF35E084A6632F6072DA9AD13";
constexpr char kDigest[] = "F0B43E94BA45ACCAACE692ED534382EB17E6AB5A19CE7B31F4486FDFC0D28640";
constexpr char kSignatureR[] = "F5A03B0648D2C4630EEAC513E1BB81A15944DA3827D5B74143AC7EACEEE720B3";
constexpr char kSignatureS[] = "B1B6AA29DF212FD8763182BC0D421CA1BB9038FD1F7F42D4840B69C485BBC1AA";
constexpr char kCipherX[] = "04EBFC718E8D1798620432268E77FEB6415E2EDE0E073C0F4F640ECD2E149A73";
constexpr char kCipherY[] = "E858F9D81E5430A57B36DAAB8F950A3C64E6EE6A63094D99283AFF767E124DF0";
constexpr char kCipherHash[] = "59983C18F809E262923C53AEC295D30383B54E39D609D160AFCB1908D0BD8766";
constexpr char kCipherText[] = "21886CA989CA9C7D58087307CA93092D651EFA";

Bytes Hex(const std::string& text) {
    return FromHex(text).value();
}

SecretBytes SecretHex(const std::string& text) {
    const Bytes bytes = Hex(text);
    return SecretBytes(bytes.begin(), bytes.end());
}

KeyPair ExampleKey() {
    return KeyPair::Sm2FromScalar(SecretHex(kPrivate));
}

// SEQUENCE { INTEGER r, INTEGER s }
Bytes ExampleSignature() {
    return Hex(std::string("3046") + "022100" + kSignatureR + "022100" + kSignatureS);
}

// SEQUENCE { INTEGER x, INTEGER y, OCTET STRING hash, OCTET STRING text }
Bytes ExampleCipher() {
    return Hex(std::string("307C") + "0220" + kCipherX + "022100" + kCipherY + "0420" +
               kCipherHash + "0413" + kCipherText);
}

TEST(Sm3, GivesTheDigestsOfTheStandard) {
    const KeyPair key = ExampleKey();
    EXPECT_EQ("66C7F0F462EEEDD9D1F2D46BDC10E4E24167C4875CF2F7A2297DA02B8F4BA8E0",
              ToHex(key.DigestOf(ToBytes("abc"))));
    std::string repeated;
    for (int i = 0; i < 16; ++i) repeated += "abcd";
    EXPECT_EQ("DEBE9FF92275B8A138604889C18E5A4D6FDB70E5387E5765293DCBA39C0C5732",
              ToHex(key.DigestOf(ToBytes(repeated))));
}

TEST(Sm4, GivesTheCiphertextOfTheStandard) {
    const Bytes block = Hex("0123456789ABCDEFFEDCBA9876543210");
    const ssl::CipherContext context(EVP_CIPHER_CTX_new());
    ASSERT_EQ(1, EVP_EncryptInit_ex2(context.get(), EVP_sm4_ecb(), block.data(), nullptr, nullptr));
    Bytes output = block;
    int length = 0;
    ASSERT_EQ(1, EVP_EncryptUpdate(context.get(), output.data(), &length, block.data(), 16));
    EXPECT_EQ("681EDF34D206965E86B3E94F536E4246", ToHex(output));
    for (int i = 1; i < 1000000; ++i) {
        ASSERT_EQ(1, EVP_EncryptUpdate(context.get(), output.data(), &length, output.data(), 16));
    }
    EXPECT_EQ("595298C7C6FD271F0402F804C33D3F66", ToHex(output));
}

TEST(Sm2, APrivateKeyGivesThePublicKeyOfTheStandard) {
    EXPECT_EQ(std::string("04") + kPublicX + kPublicY, ToHex(ExampleKey().Sm2Point()));
}

TEST(Sm2, TheSignatureOfTheStandardVerifiesWithTheDefaultUserId) {
    const KeyPair key = KeyPair::Sm2FromPoint(Hex(std::string("04") + kPublicX + kPublicY));
    EXPECT_TRUE(key.VerifyMessage(ToBytes("message digest"), ExampleSignature()));
    EXPECT_FALSE(key.VerifyMessage(ToBytes("message digesT"), ExampleSignature()));
}

TEST(Sm2, SigningTheDigestOfTheStandardSignsItsMessage) {
    const KeyPair key = ExampleKey();
    EXPECT_TRUE(key.VerifyMessage(ToBytes("message digest"), key.SignDigest(Hex(kDigest))));
}

TEST(Sm2, TheCiphertextOfTheStandardDecrypts) {
    const SecretBytes plain = ExampleKey().Sm2Decrypt(ExampleCipher());
    EXPECT_EQ("encryption standard", std::string(plain.begin(), plain.end()));
}

TEST(Sm2, AChangedCiphertextIsRefused) {
    Bytes cipher = ExampleCipher();
    cipher.back() ^= 1;
    try {
        ExampleKey().Sm2Decrypt(cipher);
        FAIL() << "decrypted";
    } catch (const Error& error) {
        EXPECT_EQ(Code::kDecryption, error.code());
    }
}

TEST(Sm2, PrivateKeysOutsideTheirRangeAreRefused) {
    // n - 1, n and zero; n - 2 is the last that is allowed.
    for (const char* const scalar :
         {"FFFFFFFEFFFFFFFFFFFFFFFFFFFFFFFF7203DF6B21C6052B53BBF40939D54122",
          "FFFFFFFEFFFFFFFFFFFFFFFFFFFFFFFF7203DF6B21C6052B53BBF40939D54123",
          "0000000000000000000000000000000000000000000000000000000000000000"}) {
        EXPECT_THROW(KeyPair::Sm2FromScalar(SecretHex(scalar)), Error) << scalar;
    }
    EXPECT_NO_THROW(KeyPair::Sm2FromScalar(
        SecretHex("FFFFFFFEFFFFFFFFFFFFFFFFFFFFFFFF7203DF6B21C6052B53BBF40939D54121")));
}

TEST(Sm2, PointsThatAreNotOnTheCurveAreRefused) {
    Bytes point = Hex(std::string("04") + kPublicX + kPublicY);
    point.back() ^= 1;
    EXPECT_THROW(KeyPair::Sm2FromPoint(point), Error);
}

}  // namespace
}  // namespace softkey
