// Keys from a seed, end to end: by the command, and by the key's library as a client has it. The
// figures were computed elsewhere, from docs/known-keys.md alone.
#include "crypto/seeds.h"

#include "base/encoding.h"
#include "crypto/pkcs10.h"
#include "softkey_test.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

constexpr char kAlice[] = "OR8CC4EDEAFE806C";
constexpr char kPoint1[] =
    "0461AAFF7B7BC20AA3FD7A1AB7BC36D2503E9C7CEFC0321FCA9F4416BC78693E91"
    "AC8F1EE4C5E8B362003D561E83EED9865E816440BD220E083C0A321425F488E4";
constexpr char kPoint2[] =
    "04058E606A9946F641565F9BAD62D68464BE7043BE190AE59A9359BE6F94A232B9"
    "6770D26FC38CE9FBFA9D3E64D53CA21EFF3ED4A1FB70E224FA19DA5F4122A0CF";
constexpr char kModulus3Digest[] =
    "108C63E5B64E8BF84EA87B4DB1DEA22FDF1C21B574796D45F31CCB8ADDB3CBBE";

// Test case 3 of RFC 5869.
TEST(SeedsTest, TheBytesOfASeedAreThoseOfHkdf) {
    const SecretBytes seed(22, 0x0B);
    const SecretBytes bytes = BytesOfSeed(seed, "", 42);
    EXPECT_EQ(
        "8DA4E775A563C18F715F802A063C5A31B8A11F5C5EE1879EC3454E5F3C738D2D9D201395FAA4B61A96C8",
        ToHex(Bytes(bytes.begin(), bytes.end())));
}

class SeededKeys : public SoftKeyTest {
 protected:
    SeededKeys() : pin_file_(WriteSecretFile("pin", kPin)) {}

    CommandResult New(const std::string& options) const {
        return RunShell(Program("softkey") + " new --pin-file " + pin_file_ + " " + options);
    }

    void MakeAlice() {
        ASSERT_EQ(std::string(kAlice) + "\n", New("--seed alice").output);
        PlugWithPinFile(kAlice);
    }

    // The key pair that the next request makes.
    KeyPair Requested(int32_t key_type) {
        char* text = nullptr;
        EXPECT_EQ(kSuccess, key_.GMCreatePKCS10(kAlice, 1, key_type, 0, &text, nullptr, 0));
        const std::unique_ptr<char[]> owner(text);
        const Bytes der = FromBase64Text(text == nullptr ? "" : text);
        const auto request = ssl::FromDer<ssl::Request>(
            der, [](auto... arguments) { return d2i_X509_REQ(arguments...); });
        EVP_PKEY* const key = X509_REQ_get0_pubkey(request.get());
        return KeyPair::FromPublic(ssl::ToDer(key, i2d_PUBKEY, "public key"));
    }
    std::string RequestedPoint() { return ToHex(Requested(2).Sm2Point()); }

    KeyLibrary key_;
    std::string pin_file_;
};

TEST_F(SeededKeys, AreTheSameOnEveryMachineInTheOrderOfTheRequests) {
    for (int machine = 0; machine < 2; ++machine) {
        setenv("ORVAL_SOFTKEY_HOME", (Folder() + "/home" + std::to_string(machine)).c_str(), 1);
        MakeAlice();
        EXPECT_EQ(kPoint1, RequestedPoint());
        EXPECT_EQ(kPoint2, RequestedPoint());
        BIGNUM* modulus = nullptr;
        ASSERT_EQ(1, EVP_PKEY_get_bn_param(Requested(1).Get(), "n", &modulus));
        const ssl::Number owner(modulus);
        Bytes bytes(static_cast<size_t>(BN_num_bytes(modulus)));
        BN_bn2bin(modulus, bytes.data());
        Bytes digest(32);
        ASSERT_EQ(1, EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha256(),
                                nullptr));
        EXPECT_EQ(kModulus3Digest, ToHex(digest));
    }
}

TEST_F(SeededKeys, ThatAreEnrolledHaveTheFirstPairAndGoOnWithTheSecond) {
    setenv("ORVAL_SOFTCA_HOME", (Folder() + "/authority").c_str(), 1);
    ASSERT_EQ(std::string(kAlice) + "\n", New("--seed alice --enroll").output);
    PlugWithPinFile(kAlice);
    const StoredPair signing = KeyStore(kAlice).Pairs().at(0);
    EXPECT_EQ(kPoint1, ToHex(KeyPair::FromPublic(signing.public_key).Sm2Point()));
    EXPECT_FALSE(signing.IsTemporary());
    EXPECT_EQ(kPoint2, RequestedPoint());
}

// As a key does: a pair is never made twice, whatever was erased.
TEST_F(SeededKeys, GoOnInTheirOrderAfterAnInitialisation) {
    MakeAlice();
    EXPECT_EQ(kPoint1, RequestedPoint());
    ASSERT_EQ(kSuccess, key_.CustInitCard(kAlice, 0, nullptr, 0));
    EXPECT_EQ(Kind::kSeeded, KeyStore(kAlice).WhatKind());
    EXPECT_EQ(kPoint2, RequestedPoint());
}

TEST_F(SeededKeys, HavePrivateKeysThatOpensslFindsSound) {
    for (const KeyType type : {KeyType::kSm2, KeyType::kRsa2048}) {
        const SecretBytes seed = ToSecret("seed");
        const KeyPair pair = PairOfSeed(seed, type, 1);
        EXPECT_EQ(pair.Public(), PairOfSeed(seed, type, 1).Public());
        EXPECT_NE(pair.Public(), PairOfSeed(seed, type, 2).Public());
        EXPECT_NE(pair.Public(), PairOfSeed(ToSecret("other"), type, 1).Public());
        const Bytes message = ToBytes("message");
        EXPECT_TRUE(
            KeyPair::FromPublic(pair.Public()).VerifyMessage(message, pair.SignMessage(message)));
        const SecretBytes der = pair.Private();
        WriteFile(Folder() + "/key.pem", ToPem(Bytes(der.begin(), der.end()), "PRIVATE KEY"));
        const CommandResult checked =
            RunShell("openssl pkey -check -noout -in " + Folder() + "/key.pem");
        EXPECT_EQ(0, checked.status) << checked.output;
        EXPECT_NE(std::string::npos, checked.output.find("Key is valid")) << checked.output;
    }
}

TEST_F(SeededKeys, ASeedIsUsedOnceInAHome) {
    MakeAlice();
    const CommandResult again = New("--seed alice");
    EXPECT_EQ(1, again.status);
    EXPECT_NE(std::string::npos, again.output.find(kAlice)) << again.output;
    EXPECT_EQ(0, New("--seed bob").status);
    EXPECT_EQ(0, New("--fixture").status);
    EXPECT_EQ(3U, AllSerials().size());
}

TEST_F(SeededKeys, AndRealOnesKeepApart) {
    MakeAlice();
    const CommandResult refused = New("");
    EXPECT_EQ(1, refused.status);
    EXPECT_NE(std::string::npos, refused.output.find("--real")) << refused.output;
    EXPECT_EQ(2, New("--real --seed bob").status);
    EXPECT_EQ(0, New("--real --serial " + std::string(kSerial)).status);
    EXPECT_EQ(Kind::kReal, KeyStore(kSerial).WhatKind());
    const CommandResult beside = New("--seed bob");
    EXPECT_EQ(1, beside.status);
    EXPECT_NE(std::string::npos, beside.output.find(kSerial)) << beside.output;
}

TEST_F(SeededKeys, AreNotRestoredBesideARealOne) {
    MakeAlice();
    Unplug(kAlice);
    const std::string softkey = Program("softkey") + " ";
    ASSERT_EQ(0, RunShell(softkey + "backup " + kAlice + " " + Folder() + "/copy").status);
    ASSERT_EQ(0, RunShell(softkey + "delete --yes " + kAlice).status);
    CreateKey(kSerial, "", Kind::kReal);
    const CommandResult refused = RunShell(softkey + "restore " + Folder() + "/copy");
    EXPECT_EQ(1, refused.status) << refused.output;
    EXPECT_NE(std::string::npos, refused.output.find(kSerial)) << refused.output;
    EXPECT_FALSE(Exists(KeyPath(kAlice)));
}

}  // namespace
}  // namespace softkey::testing
