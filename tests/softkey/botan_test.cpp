// Everything the key makes, judged by Botan, which the key does not use.
#include <botan/auto_rng.h>
#include <botan/ber_dec.h>
#include <botan/block_cipher.h>
#include <botan/data_src.h>
#include <botan/der_enc.h>
#include <botan/ec_group.h>
#include <botan/hash.h>
#include <botan/hex.h>
#include <botan/oids.h>
#include <botan/pk_keys.h>
#include <botan/pkix_types.h>
#include <botan/pubkey.h>
#include <botan/rsa.h>
#include <botan/sm2.h>
#include <botan/x509_crl.h>
#include <botan/x509_key.h>
#include <botan/x509cert.h>

#include "authority/authority.h"
#include "base/encoding.h"
#include "crypto/enveloped_key.h"
#include "crypto/key_pair.h"
#include "softkey_test.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

constexpr char kSm2Parameters[] = "1234567812345678,SM3";

Botan::EC_Group Sm2Group() {
    return Botan::EC_Group("sm2p256v1");
}

Botan::SM2_PublicKey PublicKeyAt(const std::vector<uint8_t>& point) {
    const Botan::EC_Group group = Sm2Group();
    return Botan::SM2_PublicKey(group, group.OS2ECP(point));
}

// The point or RSA key in a SubjectPublicKeyInfo, taken apart by hand: what it is to be used as is
// for the test to say.
std::vector<uint8_t> KeyBits(const std::vector<uint8_t>& public_key_info) {
    Botan::AlgorithmIdentifier algorithm;
    std::vector<uint8_t> bits;
    Botan::BER_Decoder(public_key_info)
        .start_cons(Botan::SEQUENCE)
        .decode(algorithm)
        .decode(bits, Botan::BIT_STRING)
        .end_cons();
    return bits;
}

bool VerifiesSm2(const std::vector<uint8_t>& point, const std::vector<uint8_t>& message,
                 const std::vector<uint8_t>& signature,
                 Botan::Signature_Format format = Botan::DER_SEQUENCE) {
    const Botan::SM2_PublicKey key = PublicKeyAt(point);
    Botan::PK_Verifier verifier(key, kSm2Parameters, format);
    return verifier.verify_message(message, signature);
}

bool VerifiesRsa(const std::vector<uint8_t>& public_key_info, const std::vector<uint8_t>& message,
                 const std::vector<uint8_t>& signature) {
    Botan::DataSource_Memory source(public_key_info);
    const std::unique_ptr<Botan::Public_Key> key(Botan::X509::load_key(source));
    Botan::PK_Verifier verifier(*key, "EMSA3(SHA-256)");
    return verifier.verify_message(message, signature);
}

// A structure of the form SEQUENCE { what is signed, algorithm, signature }: requests and
// certificates alike.
struct SignedStructure {
    std::vector<uint8_t> body;
    std::string algorithm;
    std::vector<uint8_t> signature;
};

SignedStructure TakeApart(const std::vector<uint8_t>& der) {
    SignedStructure parts;
    Botan::AlgorithmIdentifier algorithm;
    Botan::BER_Decoder decoder(der);
    Botan::BER_Decoder sequence = decoder.start_cons(Botan::SEQUENCE);
    const Botan::BER_Object body = sequence.get_next_object();
    Botan::DER_Encoder(parts.body)
        .add_object(body.type(), body.get_class(), body.bits(), body.length());
    sequence.decode(algorithm).decode(parts.signature, Botan::BIT_STRING);
    parts.algorithm = algorithm.get_oid().to_string();
    return parts;
}

std::vector<uint8_t> RequestPublicKeyInfo(const SignedStructure& request) {
    size_t version = 1;
    std::vector<uint8_t> subject;
    std::vector<uint8_t> info;
    Botan::BER_Decoder decoder(request.body);
    Botan::BER_Decoder fields = decoder.start_cons(Botan::SEQUENCE);
    fields.decode(version);
    fields.raw_bytes(subject);
    Botan::BER_Decoder all(request.body);
    Botan::BER_Decoder inner = all.start_cons(Botan::SEQUENCE);
    inner.get_next_object();
    inner.get_next_object();
    const Botan::BER_Object key = inner.get_next_object();
    Botan::DER_Encoder(info).add_object(key.type(), key.get_class(), key.bits(), key.length());
    EXPECT_EQ(0U, version);
    return info;
}

// An SM2 ciphertext of GB/T 35276, encrypted for the point.
std::vector<uint8_t> EncryptForPoint(const std::vector<uint8_t>& point,
                                     const std::vector<uint8_t>& plain) {
    Botan::AutoSeeded_RNG random;
    const Botan::SM2_PublicKey key = PublicKeyAt(point);
    return Botan::PK_Encryptor_EME(key, random, "SM3").encrypt(plain, random);
}

Botan::SM2_PrivateKey PrivateKeyOf(const SecretBytes& scalar) {
    Botan::AutoSeeded_RNG random;
    return Botan::SM2_PrivateKey(random, Sm2Group(), Botan::BigInt(scalar.data(), scalar.size()));
}

struct Envelope {
    std::string algorithm;
    std::vector<uint8_t> encrypted_key;
    std::vector<uint8_t> point;
    std::vector<uint8_t> encrypted_scalar;
};

Envelope ReadEnvelope(const std::vector<uint8_t>& der) {
    Envelope envelope;
    Botan::AlgorithmIdentifier algorithm;
    Botan::BER_Decoder decoder(der);
    Botan::BER_Decoder fields = decoder.start_cons(Botan::SEQUENCE);
    fields.decode(algorithm);
    const Botan::BER_Object cipher = fields.get_next_object();
    Botan::DER_Encoder(envelope.encrypted_key)
        .add_object(cipher.type(), cipher.get_class(), cipher.bits(), cipher.length());
    fields.decode(envelope.point, Botan::BIT_STRING)
        .decode(envelope.encrypted_scalar, Botan::BIT_STRING)
        .verify_end();
    envelope.algorithm = algorithm.get_oid().to_string();
    return envelope;
}

// Opens an envelope with Botan alone: SM2, then SM4 block by block.
std::vector<uint8_t> OpenEnvelope(const Envelope& envelope, const Botan::SM2_PrivateKey& key) {
    Botan::AutoSeeded_RNG random;
    const auto sm4_key =
        Botan::PK_Decryptor_EME(key, random, "SM3").decrypt(envelope.encrypted_key);
    const auto sm4 = Botan::BlockCipher::create_or_throw("SM4");
    sm4->set_key(sm4_key);
    std::vector<uint8_t> scalar = envelope.encrypted_scalar;
    sm4->decrypt(scalar);
    return scalar;
}

std::vector<uint8_t> SealEnvelope(const Botan::SM2_PrivateKey& inside,
                                  const std::vector<uint8_t>& recipient_point) {
    Botan::AutoSeeded_RNG random;
    const std::vector<uint8_t> sm4_key = Botan::unlock(random.random_vec(16));
    const auto sm4 = Botan::BlockCipher::create_or_throw("SM4");
    sm4->set_key(sm4_key);
    std::vector<uint8_t> scalar(32);
    inside.private_value().binary_encode(scalar.data(), scalar.size());
    sm4->encrypt(scalar);
    std::vector<uint8_t> der;
    Botan::DER_Encoder encoder(der);
    encoder.start_cons(Botan::SEQUENCE)
        .start_cons(Botan::SEQUENCE)
        .encode(Botan::OID("1.2.156.10197.1.104.1"))
        .end_cons()
        .raw_bytes(EncryptForPoint(recipient_point, sm4_key))
        .encode(inside.public_point().encode(Botan::PointGFp::UNCOMPRESSED), Botan::BIT_STRING)
        .encode(scalar, Botan::BIT_STRING)
        .end_cons();
    return der;
}

Botan::RandomNumberGenerator& Random() {
    static Botan::AutoSeeded_RNG random;
    return random;
}

// The parts of an SM2 ciphertext: two numbers, hash, text.
std::vector<uint8_t> CipherAsBlob(const std::vector<uint8_t>& cipher) {
    Botan::BigInt x;
    Botan::BigInt y;
    std::vector<uint8_t> hash;
    std::vector<uint8_t> text;
    Botan::BER_Decoder(cipher)
        .start_cons(Botan::SEQUENCE)
        .decode(x)
        .decode(y)
        .decode(hash, Botan::OCTET_STRING)
        .decode(text, Botan::OCTET_STRING)
        .end_cons();
    std::vector<uint8_t> blob(128);
    Botan::BigInt::encode_1363(blob.data(), 64, x);
    Botan::BigInt::encode_1363(blob.data() + 64, 64, y);
    blob.insert(blob.end(), hash.begin(), hash.end());
    blob.insert(blob.end(), {static_cast<uint8_t>(text.size()), 0, 0, 0});
    blob.insert(blob.end(), text.begin(), text.end());
    return blob;
}

// All 64 bytes of the private key's room are encrypted.
std::vector<uint8_t> SealBlob(const Botan::SM2_PrivateKey& inside,
                              const std::vector<uint8_t>& recipient_point) {
    const std::vector<uint8_t> sm4_key = Botan::unlock(Random().random_vec(16));
    const auto sm4 = Botan::BlockCipher::create_or_throw("SM4");
    sm4->set_key(sm4_key);
    std::vector<uint8_t> numbers(64);
    Botan::BigInt::encode_1363(numbers.data(), 64, inside.private_value());
    sm4->encrypt(numbers);
    const Botan::PointGFp& point = inside.public_point();
    std::vector<uint8_t> public_key(4 + 128);
    public_key[1] = 1;  // 256 bits
    Botan::BigInt::encode_1363(public_key.data() + 4, 64, point.get_affine_x());
    Botan::BigInt::encode_1363(public_key.data() + 68, 64, point.get_affine_y());
    std::vector<uint8_t> blob{1, 0, 0, 0, 1, 4, 0, 0, 0, 1, 0, 0};
    for (const auto& part :
         {numbers, public_key, CipherAsBlob(EncryptForPoint(recipient_point, sm4_key))}) {
        blob.insert(blob.end(), part.begin(), part.end());
    }
    return blob;
}

// The raw signature and the content of PKCS#7 signed data with one signer.
struct SignedDataParts {
    std::vector<uint8_t> content;
    std::vector<uint8_t> signature;
};

SignedDataParts ReadSignedData(const std::vector<uint8_t>& der) {
    SignedDataParts parts;
    Botan::OID type;
    Botan::BER_Decoder decoder(der);
    Botan::BER_Decoder info = decoder.start_cons(Botan::SEQUENCE);
    info.decode(type);
    EXPECT_EQ("1.2.840.113549.1.7.2", type.to_string());
    Botan::BER_Decoder wrapper = info.start_cons(Botan::ASN1_Tag(0), Botan::CONTEXT_SPECIFIC);
    Botan::BER_Decoder data = wrapper.start_cons(Botan::SEQUENCE);
    size_t version = 0;
    data.decode(version);
    data.get_next_object();
    Botan::BER_Decoder content = data.start_cons(Botan::SEQUENCE);
    content.decode(type);
    if (content.more_items()) {
        Botan::BER_Decoder octets = content.start_cons(Botan::ASN1_Tag(0), Botan::CONTEXT_SPECIFIC);
        octets.decode(parts.content, Botan::OCTET_STRING);
    }
    data.get_next_object();
    Botan::BER_Decoder signers = data.start_cons(Botan::SET);
    Botan::BER_Decoder signer = signers.start_cons(Botan::SEQUENCE);
    signer.decode(version);
    for (int i = 0; i < 3; ++i) signer.get_next_object();
    signer.decode(parts.signature, Botan::OCTET_STRING);
    return parts;
}

std::vector<uint8_t> Text(const std::string& text) {
    return {text.begin(), text.end()};
}

class BotanTest : public EntriesTest {
 protected:
    std::vector<uint8_t> PublicKeyInfo(int32_t selector) {
        Botan::DataSource_Memory source(CertificatePem(selector));
        return Botan::X509_Certificate(source).subject_public_key_info();
    }
    std::vector<uint8_t> Point(int32_t selector) { return KeyBits(PublicKeyInfo(selector)); }
};

TEST_F(BotanTest, Sm2RequestsCarryARightSignature) {
    for (const std::string& text : {Request(1, 2, 3), Request(2, 2), DualRequest()}) {
        const SignedStructure request = TakeApart(FromBase64Text(text));
        EXPECT_EQ("1.2.156.10197.1.501", request.algorithm);
        const std::vector<uint8_t> point = KeyBits(RequestPublicKeyInfo(request));
        EXPECT_TRUE(VerifiesSm2(point, request.body, request.signature));
        std::vector<uint8_t> changed = request.body;
        changed.back() ^= 1;
        EXPECT_FALSE(VerifiesSm2(point, changed, request.signature));
    }
}

TEST_F(BotanTest, RsaRequestsCarryARightSignature) {
    const SignedStructure request = TakeApart(FromBase64Text(Request(1, 1)));
    EXPECT_TRUE(VerifiesRsa(RequestPublicKeyInfo(request), request.body, request.signature));
}

TEST_F(BotanTest, CertificatesOfTheAuthorityCarryARightSignature) {
    GiveDualCertificates();
    Botan::X509_Certificate root(AuthorityFolder() + "/root-sm2.pem");
    const std::vector<uint8_t> root_point = KeyBits(root.subject_public_key_info());
    for (const int32_t selector : {1, 2}) {
        const SignedStructure certificate = TakeApart(CertificateDer(CertificatePem(selector)));
        EXPECT_TRUE(VerifiesSm2(root_point, certificate.body, certificate.signature));
    }
}

TEST_F(BotanTest, IntermediatesAndRevocationListsOfTheAuthorityCarryARightSignature) {
    const std::string authority = Program("softca") + " --dir " + AuthorityFolder() + " ";
    ASSERT_EQ(0, RunShell(authority + "init").status);
    ASSERT_EQ(0, RunShell(authority + "intermediate branch").status);
    const Botan::X509_Certificate root(AuthorityFolder() + "/root-sm2.pem");
    const std::vector<uint8_t> root_point = KeyBits(root.subject_public_key_info());
    const SignedStructure branch =
        TakeApart(Botan::X509_Certificate(AuthorityFolder() + "/branch-sm2.pem").BER_encode());
    EXPECT_TRUE(VerifiesSm2(root_point, branch.body, branch.signature));
    const std::string revoked = AuthorityFolder() + "/branch-sm2.pem";
    ASSERT_EQ(0, RunShell(authority + "revoke " + revoked).status);
    ASSERT_EQ(0, RunShell(authority + "crl --out " + Folder() + "/list").status);
    const Botan::X509_CRL list(Folder() + "/list");
    EXPECT_TRUE(list.is_revoked(Botan::X509_Certificate(revoked)));
    const SignedStructure parts = TakeApart(list.BER_encode());
    EXPECT_TRUE(VerifiesSm2(root_point, parts.body, parts.signature));
}

TEST_F(BotanTest, Sm2SignaturesVerify) {
    GiveDualCertificates();
    const std::vector<uint8_t> point = Point(1);
    EXPECT_TRUE(VerifiesSm2(point, Text("hello"), FromBase64Text(SignatureOf("hello", 1, 0))));
    EXPECT_TRUE(VerifiesSm2(point, Text("hello"), FromBase64Text(SignatureOf("hello", 1, 4)),
                            Botan::IEEE_1363));
    EXPECT_FALSE(VerifiesSm2(point, Text("hellO"), FromBase64Text(SignatureOf("hello", 1, 0))));
}

TEST_F(BotanTest, ASuppliedSm2DigestIsThatOfTheMessageWithTheUserIdInFront) {
    GiveDualCertificates();
    const std::vector<uint8_t> point = Point(1);
    const Botan::EC_Group group = Sm2Group();
    const auto hash = Botan::HashFunction::create_or_throw("SM3");
    const std::vector<uint8_t> z =
        Botan::sm2_compute_za(*hash, "1234567812345678", group, group.OS2ECP(point));
    hash->update(z);
    hash->update("hello");
    const std::string digest = Botan::hex_encode(hash->final());
    EXPECT_TRUE(VerifiesSm2(point, Text("hello"), FromBase64Text(SignatureOf(digest, 1, 0, 3))));
}

TEST_F(BotanTest, RsaSignaturesVerify) {
    GiveRsaCertificate();
    EXPECT_TRUE(VerifiesRsa(PublicKeyInfo(0x11), Text("hello"),
                            FromBase64Text(SignatureOf("hello", 0x11, 0))));
}

TEST_F(BotanTest, SignedDataHoldsTheRawSignatureOverItsContent) {
    GiveDualCertificates();
    const SignedDataParts attached = ReadSignedData(FromBase64Text(SignatureOf("hello", 1, 1)));
    EXPECT_EQ(Text("hello"), attached.content);
    EXPECT_TRUE(VerifiesSm2(Point(1), attached.content, attached.signature));
    const SignedDataParts detached = ReadSignedData(FromBase64Text(SignatureOf("hello", 1, 2)));
    EXPECT_TRUE(detached.content.empty());
    EXPECT_TRUE(VerifiesSm2(Point(1), Text("hello"), detached.signature));
}

TEST_F(BotanTest, CiphertextsOfBotanAreDecrypted) {
    GiveDualCertificates();
    const std::string cipher = ToBase64(EncryptForPoint(Point(2), Text("secret")));
    char plain[1024];
    int32_t length = sizeof plain;
    ASSERT_EQ(kSuccess, key_.GMUSBKeyAsymDec2(kSerial, 2, 0, cipher.c_str(), plain, &length));
    EXPECT_STREQ("secret", plain);
}

TEST_F(BotanTest, BotanDecryptsWhatTheKeysCryptographyEncrypts) {
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    Botan::AutoSeeded_RNG random;
    const Botan::SM2_PrivateKey key = PrivateKeyOf(pair.Sm2Scalar());
    const Bytes cipher = pair.Sm2Encrypt(ToSecret("secret"));
    const auto plain = Botan::PK_Decryptor_EME(key, random, "SM3").decrypt(cipher);
    EXPECT_EQ(Text("secret"), Botan::unlock(plain));
}

TEST_F(BotanTest, TheAuthoritysEnvelopeOpensWithBotan) {
    const KeyPair recipient = KeyPair::Generate(KeyType::kSm2);
    const KeyPair inside = KeyPair::Generate(KeyType::kSm2);
    const Envelope envelope = ReadEnvelope(EnvelopedKey::Seal(inside, recipient));
    EXPECT_EQ("1.2.156.10197.1.104.1", envelope.algorithm);
    EXPECT_EQ(inside.Sm2Point(), envelope.point);
    const SecretBytes scalar = inside.Sm2Scalar();
    EXPECT_EQ(std::vector<uint8_t>(scalar.begin(), scalar.end()),
              OpenEnvelope(envelope, PrivateKeyOf(recipient.Sm2Scalar())));
}

// ENVELOPEDKEYBLOB of GM/T 0016, opened by Botan alone.
TEST_F(BotanTest, TheAuthoritysBlobOpensWithBotan) {
    const KeyPair recipient = KeyPair::Generate(KeyType::kSm2);
    const KeyPair inside = KeyPair::Generate(KeyType::kSm2);
    const Bytes blob = EnvelopedKey::Seal(inside, recipient, EnvelopedKey::Structure::kGmt0016);
    ASSERT_EQ(388U, blob.size());
    const auto part = [&](size_t begin, size_t length) {
        return std::vector<uint8_t>(blob.data() + begin, blob.data() + begin + length);
    };
    EXPECT_EQ((std::vector<uint8_t>{1, 0, 0, 0, 1, 4, 0, 0, 0, 1, 0, 0}), part(0, 12));
    Envelope envelope{"", {}, {4}, part(12, 64)};
    for (const size_t place : {12U + 64 + 4 + 32, 12U + 64 + 4 + 64 + 32}) {
        const std::vector<uint8_t> number = part(place, 32);
        envelope.point.insert(envelope.point.end(), number.begin(), number.end());
    }
    EXPECT_EQ(inside.Sm2Point(), envelope.point);
    Botan::DER_Encoder(envelope.encrypted_key)
        .start_cons(Botan::SEQUENCE)
        .encode(Botan::BigInt(part(208, 64)))
        .encode(Botan::BigInt(part(272, 64)))
        .encode(part(336, 32), Botan::OCTET_STRING)
        .encode(part(372, 16), Botan::OCTET_STRING)
        .end_cons();
    const SecretBytes scalar = inside.Sm2Scalar();
    std::vector<uint8_t> padded(32);
    padded.insert(padded.end(), scalar.begin(), scalar.end());
    EXPECT_EQ(padded, OpenEnvelope(envelope, PrivateKeyOf(recipient.Sm2Scalar())));
}

TEST_F(BotanTest, AnEnvelopeMadeByBotanIsImportedAndItsKeyDecrypts) {
    GiveDualCertificates();
    Botan::AutoSeeded_RNG random;
    const Botan::SM2_PrivateKey inside(random, Sm2Group());
    const std::vector<uint8_t> envelope = SealEnvelope(inside, Point(1));
    ASSERT_EQ(kSuccess, ImportKey(ToHex(envelope)));
    const std::vector<uint8_t> point = inside.public_point().encode(Botan::PointGFp::UNCOMPRESSED);
    const KeyPair imported = KeyPair::Sm2FromPoint(point);
    bool found = false;
    for (const StoredPair& pair : KeyStore(kSerial).Pairs()) {
        found = found || (pair.IsTemporary() && pair.public_key == imported.Public());
    }
    EXPECT_TRUE(found);
}

// ENVELOPEDKEYBLOB of GM/T 0016, by Botan.
TEST_F(BotanTest, ABlobMadeByBotanIsImported) {
    const std::string package = Answer(DualRequest());
    ASSERT_EQ(kSuccess, WritePkcs7(ItemsOf(package, "SignCert").at(0)));
    const Botan::SM2_PrivateKey inside(Random(), Sm2Group());
    ASSERT_EQ(kSuccess, ImportKey(ToBase64(SealBlob(inside, Point(1)))));
    const KeyPair imported =
        KeyPair::Sm2FromPoint(inside.public_point().encode(Botan::PointGFp::UNCOMPRESSED));
    bool found = false;
    for (const StoredPair& pair : KeyStore(kSerial).Pairs()) {
        found = found || (pair.IsTemporary() && pair.public_key == imported.Public());
    }
    EXPECT_TRUE(found);
}

// GB/T 35275, read by Botan.
TEST_F(BotanTest, AnAnswerWithTheGmIdentifiersHoldsItsCertificates) {
    Answer(Request(1, 2));  // makes the authority
    Authority::Terms terms;
    terms.names = Pkcs7Names::kGm;
    const Bytes answer = FromBase64Text(Authority(AuthorityFolder()).Answer(Request(1, 2), terms));
    Botan::OID type;
    Botan::OID content_type;
    size_t version = 0;
    Botan::BER_Decoder decoder(answer);
    Botan::BER_Decoder info = decoder.start_cons(Botan::SEQUENCE);
    info.decode(type);
    Botan::BER_Decoder wrapper = info.start_cons(Botan::ASN1_Tag(0), Botan::CONTEXT_SPECIFIC);
    Botan::BER_Decoder data = wrapper.start_cons(Botan::SEQUENCE);
    data.decode(version);
    data.get_next_object();
    data.start_cons(Botan::SEQUENCE).decode(content_type).end_cons();
    EXPECT_EQ("1.2.156.10197.6.1.4.2.2", type.to_string());
    EXPECT_EQ("1.2.156.10197.6.1.4.2.1", content_type.to_string());
    EXPECT_EQ(1U, version);
    Botan::BER_Decoder chain = data.start_cons(Botan::ASN1_Tag(0), Botan::CONTEXT_SPECIFIC);
    Botan::X509_Certificate certificate;
    Botan::X509_Certificate root;
    certificate.decode_from(chain);
    root.decode_from(chain);
    EXPECT_FALSE(chain.more_items());
    EXPECT_EQ(std::string(kSerial), certificate.subject_dn().get_first_attribute("CN"));
    EXPECT_TRUE(root.subject_dn() == certificate.issuer_dn());
}

}  // namespace
}  // namespace softkey::testing
