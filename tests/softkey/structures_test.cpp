// The encoded structures: the enveloped key, the certificate container, private keys.
#include <gtest/gtest.h>

#include <algorithm>

#include "base/encoding.h"
#include "base/error.h"
#include "crypto/certificate_texts.h"
#include "crypto/enveloped_key.h"
#include "crypto/pkcs7.h"
#include "crypto/sealing.h"
#include "softkey_test.h"

namespace softkey {
namespace {

using testing::CodeOfFailure;

// What OpenSSL itself writes.
SecretBytes Pkcs8Of(const KeyPair& pair) {
    const ssl::Owner<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free> info(
        EVP_PKEY2PKCS8(pair.Get()));
    return ssl::ToDer<SecretBytes>(info.get(), i2d_PKCS8_PRIV_KEY_INFO, "private key");
}

TEST(CertificateTexts, AreShortenedToTheLimitBetweenCharacters) {
    EXPECT_EQ("abcdef", Shortened("abcdef", 6));
    EXPECT_EQ("abc…", Shortened("abcdefg", 6));
    EXPECT_EQ("…", Shortened("abcdefg", 3));
    EXPECT_EQ("测…", Shortened("测试试", 8));
    EXPECT_EQ("测…", Shortened("测试试", 6));
    EXPECT_EQ("…", Shortened("测试试", 5));
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

// Zero bytes at the end of a bit string are a part of it.
TEST_F(EnvelopedKeyTest, KeysThatEndInZerosStayWhole) {
    const auto ends_in_zero = [](const Bytes& bytes) { return bytes.back() == 0; };
    KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    while (!ends_in_zero(pair.Sm2Point())) {
        pair = KeyPair::Generate(KeyType::kSm2);
    }
    EXPECT_EQ(pair.Private(), Pkcs8Of(pair));
    EXPECT_EQ(pair.Public(), KeyPair::FromPrivate(pair.Private()).Public());
    const Bytes envelope = EnvelopedKey::Seal(pair, recipient_);
    EXPECT_TRUE(EnvelopedKey::Parse(ToHex(envelope)).Open(recipient_).has_value());
}

// ENVELOPEDKEYBLOB of GM/T 0016, made from a structure of the other kind.
class EnvelopedKeyBlob : public EnvelopedKeyTest {
 protected:
    static constexpr size_t kLength = 388;
    static constexpr size_t kAlgorithm = 4;
    static constexpr size_t kPrivate = 12;

    static void Append(Bytes* bytes, const Bytes& more) {
        bytes->insert(bytes->end(), more.begin(), more.end());
    }
    // The contents of a sequence's elements; of those that are sequences, the whole.
    static std::vector<Bytes> ElementsOf(const Bytes& der) {
        const unsigned char* at = der.data();
        ASN1_SEQUENCE_ANY* const sequence =
            d2i_ASN1_SEQUENCE_ANY(nullptr, &at, static_cast<long>(der.size()));
        std::vector<Bytes> contents;
        for (int i = 0; i < sk_ASN1_TYPE_num(sequence); ++i) {
            contents.push_back(ssl::BytesOf(sk_ASN1_TYPE_value(sequence, i)->value.asn1_string));
        }
        sk_ASN1_TYPE_pop_free(sequence, ASN1_TYPE_free);
        return contents;
    }
    static Bytes Padded(const Bytes& number) {
        Bytes padded(64 - number.size());
        Append(&padded, number);
        return padded;
    }

    Bytes Blob() {
        const std::vector<Bytes> fields = ElementsOf(envelope_);
        const std::vector<Bytes> cipher = ElementsOf(fields.at(1));
        const Bytes& point = fields.at(2);
        Bytes blob{1, 0, 0, 0, 1, 4, 0, 0, 0, 1, 0, 0};
        Append(&blob, Padded(fields.at(3)));
        Append(&blob, {0, 1, 0, 0});
        Append(&blob, Padded(Bytes(point.begin() + 1, point.begin() + 33)));
        Append(&blob, Padded(Bytes(point.begin() + 33, point.end())));
        Append(&blob, Padded(cipher.at(0)));
        Append(&blob, Padded(cipher.at(1)));
        Append(&blob, cipher.at(2));
        Append(&blob, {16, 0, 0, 0});
        Append(&blob, cipher.at(3));
        return blob;
    }

    void ExpectOpens(const Bytes& blob) {
        for (const std::string& text : {ToHex(blob), ToBase64(blob)}) {
            // What the product lets through unchanged.
            EXPECT_LE(text.size(), 1023U);
            const std::optional<KeyPair> pair = EnvelopedKey::Parse(text).Open(recipient_);
            ASSERT_TRUE(pair.has_value());
            EXPECT_EQ(sealed_.Sm2Scalar(), pair->Sm2Scalar());
        }
    }
};

TEST_F(EnvelopedKeyBlob, OpensForItsRecipientFromHexAndBase64) {
    ASSERT_EQ(kLength, Blob().size());
    ExpectOpens(Blob());
    EXPECT_FALSE(
        EnvelopedKey::Parse(ToHex(Blob())).Open(KeyPair::Generate(KeyType::kSm2)).has_value());
}

TEST_F(EnvelopedKeyBlob, WhatIsSealedAsOneOpensForItsRecipient) {
    const Bytes blob = EnvelopedKey::Seal(sealed_, recipient_, EnvelopedKey::Structure::kGmt0016);
    ASSERT_EQ(kLength, blob.size());
    ExpectOpens(blob);
    // All but what is drawn for it: the sealed key and the cipher's numbers.
    const Bytes known = Blob();
    const auto is_same = [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
        return std::equal(blob.begin() + begin, blob.begin() + end, known.begin() + begin);
    };
    EXPECT_TRUE(is_same(0, 12));
    EXPECT_TRUE(is_same(76, 208)) << "the length and the point";
    EXPECT_TRUE(is_same(368, 372)) << "the length of what is sealed";
}

TEST_F(EnvelopedKeyBlob, ThePrivateKeyMayStandInFrontOfItsRoom) {
    Bytes blob = Blob();
    std::rotate(blob.begin() + kPrivate, blob.begin() + kPrivate + 32,
                blob.begin() + kPrivate + 64);
    ExpectOpens(blob);
}

TEST_F(EnvelopedKeyBlob, AChangedByteIsNeverTakenForAKey) {
    const Bytes blob = Blob();
    for (size_t i = 0; i < blob.size(); ++i) {
        if (i >= kPrivate && i < kPrivate + 32) continue;  // room that the key does not use
        Bytes changed = blob;
        changed[i] ^= 0x01;
        std::optional<KeyPair> pair;
        const Code code =
            CodeOfFailure([&] { pair = EnvelopedKey::Parse(ToHex(changed)).Open(recipient_); });
        EXPECT_FALSE(code == Code::kOk && pair.has_value()) << "byte " << i;
    }
}

TEST_F(EnvelopedKeyBlob, OtherLengthsAreMalformed) {
    const Bytes blob = Blob();
    Bytes longer = blob;
    longer.push_back(0);
    EXPECT_EQ(Code::kEnvelopeMalformed, CodeOfFailure([&] { EnvelopedKey::Parse(ToHex(longer)); }));
    for (size_t length = 1; length < blob.size(); ++length) {
        const Bytes part(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(Code::kEnvelopeMalformed,
                  CodeOfFailure([&] { EnvelopedKey::Parse(ToHex(part)); }))
            << length;
    }
}

TEST_F(EnvelopedKeyBlob, AnotherCipherThanSm4EcbIsNotSupported) {
    Bytes blob = Blob();
    for (const Bytes& algorithm : {Bytes{1, 1}, Bytes{1, 2}, Bytes{2, 4}}) {  // SM1, SSF33, SM4-CBC
        std::copy(algorithm.begin(), algorithm.end(), blob.begin() + kAlgorithm);
        EXPECT_EQ(Code::kNotSupported, CodeOfFailure([&] { EnvelopedKey::Parse(ToHex(blob)); }));
    }
    std::string text = ToHex(envelope_);
    const std::string sm4_ecb = "2A811CCF55016801";  // 1.2.156.10197.1.104.1
    const std::string sm1_ecb = "2A811CCF55016601";
    text.replace(text.find(sm4_ecb), sm4_ecb.size(), sm1_ecb);
    EXPECT_EQ(Code::kNotSupported, CodeOfFailure([&] { EnvelopedKey::Parse(text); }));
}

TEST(CertificatesOf, TextsThatAreNoPkcs7AreMalformed) {
    const Bytes empty = CertificatesOnly({});
    for (const std::string& bad : {std::string(), std::string("AAAA"), std::string("?"),
                                   ToBase64(empty), std::string("MAA=")}) {
        EXPECT_EQ(Code::kPkcs7Malformed, CodeOfFailure([&] { CertificatesOf(bad); })) << bad;
    }
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
