// The encoded structures: the element cursor, the enveloped key, the certificate container.
#include <gtest/gtest.h>

#include "core/der.h"
#include "core/encoding.h"
#include "core/enveloped_key.h"
#include "core/error.h"
#include "core/pkcs7.h"
#include "core/sealing.h"
#include "softkey_test.h"

namespace softkey {
namespace {

using der::Cursor;
using testing::CodeOfFailure;

TEST(DerCursor, TakesElementsOfEveryLengthForm) {
    for (const size_t length : {0U, 1U, 127U, 128U, 255U, 256U, 70000U}) {
        const Bytes element = der::Element(der::kOctetString, Bytes(length, 9));
        Cursor cursor(element);
        Bytes whole;
        ASSERT_TRUE(cursor.TakeWhole(&whole)) << length;
        EXPECT_EQ(element, whole);
        EXPECT_TRUE(cursor.AtEnd());
    }
}

TEST(DerCursor, RefusesEveryCutOffElement) {
    const Bytes element = der::Element(der::kSequence, Bytes(300, 1));
    for (size_t length = 0; length < element.size(); ++length) {
        Cursor cursor(element.data(), length);
        Bytes whole;
        EXPECT_FALSE(cursor.TakeWhole(&whole)) << length;
    }
}

TEST(DerCursor, RefusesTheIndefiniteFormAndAnotherTag) {
    const Bytes indefinite{0x30, 0x80, 0x00, 0x00};
    Cursor cursor(indefinite);
    EXPECT_FALSE(cursor.Skip(der::kSequence));
    const Bytes null{0x05, 0x00};
    Cursor other(null);
    EXPECT_FALSE(other.Skip(der::kSequence));
    EXPECT_TRUE(other.Skip(der::kNull));
}

TEST(DerCursor, RefusesBitStringsWithUnusedBits) {
    const Bytes odd{0x03, 0x02, 0x01, 0x80};
    Cursor cursor(odd);
    Bytes bits;
    EXPECT_FALSE(cursor.TakeBits(&bits));
}

class EnvelopedKeyTest : public ::testing::Test {
 protected:
    KeyPair recipient_ = KeyPair::Generate(KeyType::kSm2);
    KeyPair sealed_ = KeyPair::Generate(KeyType::kSm2);
    Bytes envelope_ = EnvelopedKey::Seal(sealed_, recipient_);
};

TEST_F(EnvelopedKeyTest, OpensForItsRecipientFromHexAndBase64) {
    for (const std::string& text : {ToHex(envelope_), ToBase64(envelope_)}) {
        EXPECT_LE(text.size(), 1023U);
        const std::optional<KeyPair> pair = EnvelopedKey::Parse(text).Open(recipient_);
        ASSERT_TRUE(pair.has_value());
        EXPECT_EQ(sealed_.Sm2Scalar(), pair->Sm2Scalar());
    }
}

TEST_F(EnvelopedKeyTest, StaysClosedForAnotherRecipient) {
    const KeyPair other = KeyPair::Generate(KeyType::kSm2);
    EXPECT_FALSE(EnvelopedKey::Parse(ToHex(envelope_)).Open(other).has_value());
}

TEST_F(EnvelopedKeyTest, AChangedByteIsNeverTakenForAKey) {
    for (size_t i = 0; i < envelope_.size(); ++i) {
        Bytes changed = envelope_;
        changed[i] ^= 0x01;
        std::optional<KeyPair> pair;
        const Code code =
            CodeOfFailure([&] { pair = EnvelopedKey::Parse(ToHex(changed)).Open(recipient_); });
        EXPECT_FALSE(code == Code::kOk && pair.has_value()) << "byte " << i;
    }
}

TEST_F(EnvelopedKeyTest, CutOffAndForeignTextsAreMalformed) {
    const std::string text = ToHex(envelope_);
    for (const std::string& bad :
         {std::string(), std::string("30"), text.substr(0, text.size() - 2), text + "00",
          std::string("not hexadecimal"), ToBase64(Bytes(200, 0x30))}) {
        EXPECT_EQ(Code::kEnvelopeMalformed, CodeOfFailure([&] { EnvelopedKey::Parse(bad); }))
            << bad;
    }
}

TEST(CertificatesOf, TextsThatAreNoPkcs7AreMalformed) {
    const Bytes empty = CertificatesOnly({});
    for (const std::string& bad : {std::string(), std::string("AAAA"), std::string("?"),
                                   ToBase64(empty), ToBase64(der::Element(der::kSequence, Bytes())),
                                   ToBase64(CertificatesOnly({Bytes{0x30, 0x00}}))}) {
        EXPECT_EQ(Code::kPkcs7Malformed, CodeOfFailure([&] { CertificatesOf(bad); })) << bad;
    }
}

// What OpenSSL itself writes.
SecretBytes Pkcs8Of(const KeyPair& pair) {
    const ssl::Owner<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free> info(
        EVP_PKEY2PKCS8(pair.Get()));
    return ssl::ToDer<SecretBytes>(info.get(), i2d_PKCS8_PRIV_KEY_INFO, "private key");
}

TEST(PrivateKeys, AreWrittenAsOpensslWritesThemAndReadBack) {
    for (const KeyType type : {KeyType::kSm2, KeyType::kRsa2048}) {
        const KeyPair pair = KeyPair::Generate(type);
        EXPECT_EQ(Pkcs8Of(pair), pair.Private());
        const KeyPair again = KeyPair::FromPrivate(pair.Private());
        EXPECT_EQ(type, again.Type());
        EXPECT_EQ(pair.Public(), again.Public());
        EXPECT_EQ(pair.Private(), again.Private());
        EXPECT_TRUE(pair.VerifyMessage(ToBytes("hello"), again.SignMessage(ToBytes("hello"))));
    }
}

TEST(PrivateKeys, CutOffOnesAreDamaged) {
    for (const KeyType type : {KeyType::kSm2, KeyType::kRsa2048}) {
        const SecretBytes whole = KeyPair::Generate(type).Private();
        for (size_t length = 0; length < whole.size(); ++length) {
            const SecretBytes part(whole.begin(), whole.begin() + static_cast<long>(length));
            EXPECT_EQ(Code::kStoreDamaged, CodeOfFailure([&] { KeyPair::FromPrivate(part); }));
        }
    }
}

TEST(Sealing, OnlyTheSameKeyAndContextOpenUnchangedBytes) {
    const SecretBytes key = RandomSecret(kSealKeyLength);
    const SecretBytes plain = ToSecret("secret");
    const Bytes sealed = Seal(key, plain, ToBytes("here"));
    EXPECT_EQ(plain, Unseal(key, sealed, ToBytes("here")));
    EXPECT_FALSE(Unseal(RandomSecret(kSealKeyLength), sealed, ToBytes("here")).has_value());
    EXPECT_FALSE(Unseal(key, sealed, ToBytes("there")).has_value());
    for (size_t i = 0; i < sealed.size(); ++i) {
        Bytes changed = sealed;
        changed[i] ^= 0x80;
        EXPECT_FALSE(Unseal(key, changed, ToBytes("here")).has_value()) << i;
    }
    EXPECT_FALSE(Unseal(key, Bytes(5), ToBytes("here")).has_value());
}

}  // namespace
}  // namespace softkey
