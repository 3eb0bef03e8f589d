// Signatures and decryption, judged by the openssl command.
#include <array>
#include <map>
#include <thread>

#include "base/encoding.h"
#include "crypto/key_pair.h"
#include "slots/slots.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

class SigningEntries : public EntriesTest {
 protected:
    SigningEntries() {
        GiveDualCertificates();
        GiveRsaCertificate();
    }

    std::string Saved(const std::string& name, std::string_view content) {
        WriteFile(Folder() + "/" + name, content);
        return Folder() + "/" + name;
    }

    std::string PublicKeyFile(int32_t selector) {
        const std::string certificate = Saved("certificate.pem", CertificatePem(selector));
        const CommandResult key = RunShell("openssl x509 -noout -pubkey -in " + certificate);
        EXPECT_EQ(0, key.status) << key.output;
        return Saved("public.pem", key.output);
    }

    bool OpensslVerifies(int32_t selector, std::string_view message, const Bytes& signature) {
        const bool sm2 = selector != 0x11;
        const CommandResult result =
            RunShell(std::string("openssl dgst ") +
                     (sm2 ? "-sm3 -sigopt distid:1234567812345678" : "-sha256") + " -verify " +
                     PublicKeyFile(selector) + " -signature " +
                     Saved("signature", AsText(signature)) + " " + Saved("message", message));
        return result.status == 0;
    }

    KeyPair PublicKey(int32_t selector) {
        const Bytes der = CertificateDer(CertificatePem(selector));
        const auto certificate = ssl::FromDer<ssl::Certificate>(der, d2i_X509);
        return KeyPair::FromPublic(
            ssl::ToDer(X509_get0_pubkey(certificate.get()), i2d_PUBKEY, "public key"));
    }

    int32_t Refused(int32_t selector, int32_t format, int32_t kind, const char* data = "x") {
        char text[16384];
        int32_t length = sizeof text;
        return key_.GMUsbKeyCommonSign(kSerial, selector, format, data, kind, text, &length);
    }

    int32_t SignCritically(const char* data, int64_t format_and_kind = 0) {
        char text[16384];
        int32_t length = sizeof text;
        const int32_t code =
            key_.GMUsbKeyCriticalSign(kSerial, 1, format_and_kind, data, text, &length);
        if (code == kSuccess) signature_ = text;
        return code;
    }

    int32_t Decrypted(int32_t selector, uint32_t encodings, const std::string& cipher) {
        char text[16384] = {};
        int32_t length = sizeof text;
        const int32_t code =
            key_.GMUSBKeyAsymDec2(kSerial, selector, encodings, cipher.c_str(), text, &length);
        plain_ = code == kSuccess ? std::string(text, static_cast<size_t>(length)) : "";
        return code;
    }

    Bytes EncryptedByOpenssl(int32_t selector, std::string_view plain,
                             const std::string& options = "") {
        const std::string output = Folder() + "/cipher";
        const CommandResult result =
            RunShell("openssl pkeyutl -encrypt -pubin -inkey " + PublicKeyFile(selector) + " -in " +
                     Saved("plain", plain) + " -out " + output + options);
        EXPECT_EQ(0, result.status) << result.output;
        return ToBytes(ReadFile(output));
    }

    void PlugAgainWithDialog() {
        Unplug();
        PlugWithDialog();
    }

    std::string signature_;
    std::string plain_;
};

TEST_F(SigningEntries, RawSignaturesVerify) {
    EXPECT_TRUE(OpensslVerifies(1, "hello", FromBase64Text(SignatureOf("hello", 1))));
    EXPECT_TRUE(OpensslVerifies(0x11, "hello", FromBase64Text(SignatureOf("hello", 0x11))));
    EXPECT_TRUE(OpensslVerifies(1, "", FromBase64Text(SignatureOf("", 1))));
    EXPECT_FALSE(OpensslVerifies(1, "hellO", FromBase64Text(SignatureOf("hello", 1))));
}

TEST_F(SigningEntries, HexadecimalHoldsTheSameSignatureForm) {
    EXPECT_TRUE(OpensslVerifies(1, "hello", FromHex(SignatureOf("hello", 1, 3)).value()));
}

TEST_F(SigningEntries, PlainSm2SignaturesHaveTwoHalvesOf32Bytes) {
    EXPECT_EQ(64U, FromBase64Text(SignatureOf("hello", 1, 4)).size());
    EXPECT_EQ(Number(Code::kSelector), Refused(0x11, 4, 0));
}

TEST_F(SigningEntries, BinaryMessagesComeAsHexadecimalOrBase64) {
    const std::string message("\0\1\2|", 4);
    const Bytes bytes = ToBytes(message);
    EXPECT_TRUE(OpensslVerifies(1, message, FromBase64Text(SignatureOf(ToHex(bytes), 1, 0, 1))));
    EXPECT_TRUE(OpensslVerifies(1, message, FromBase64Text(SignatureOf(ToBase64(bytes), 1, 0, 2))));
}

TEST_F(SigningEntries, SuppliedDigestsAreSignedAsTheyAre) {
    // SHA-256 of "hello", as sha256sum shows it.
    const std::string digest = "2cf24dba5fb0a30e26e83b2ac5b9e29e1b161e5c1fa7425e73043362938b9824";
    EXPECT_TRUE(OpensslVerifies(0x11, "hello", FromBase64Text(SignatureOf(digest, 0x11, 0, 3))));
    const std::string base64 = ToBase64(FromHex(digest).value());
    EXPECT_TRUE(OpensslVerifies(0x11, "hello", FromBase64Text(SignatureOf(base64, 0x11, 0, 4))));
    EXPECT_EQ(Number(Code::kDataLength), Refused(1, 0, 3, "00"));
    EXPECT_EQ(Number(Code::kSelector), Refused(1, 1, 3, digest.c_str()));
}

TEST_F(SigningEntries, RsaPkcs7IsVerifiedByOpenssl) {
    const std::string root = AuthorityFolder() + "/root-rsa.pem";
    const std::string attached =
        Saved("attached", AsText(FromBase64Text(SignatureOf("hello", 0x11, 1))));
    const std::string check =
        "openssl smime -verify -binary -inform DER -purpose any -CAfile " + root + " -in ";
    CommandResult result = RunShell(check + attached);
    EXPECT_EQ(0, result.status) << result.output;
    EXPECT_NE(std::string::npos, result.output.find("hello"));
    const std::string detached =
        Saved("detached", AsText(FromBase64Text(SignatureOf("hello", 0x11, 2))));
    result = RunShell(check + detached + " -content " + Saved("content", "hello"));
    EXPECT_EQ(0, result.status) << result.output;
    result = RunShell(check + detached + " -content " + Saved("content", "hellO"));
    EXPECT_NE(0, result.status) << result.output;
}

TEST_F(SigningEntries, Sm2Pkcs7HasTheStructureThatOpensslReads) {
    const std::string path = Saved("signed", AsText(FromBase64Text(SignatureOf("hello", 1, 1))));
    const CommandResult result = RunShell("openssl cms -cmsout -print -inform DER -in " + path);
    EXPECT_EQ(0, result.status) << result.output;
    for (const char* const part : {"sm3 (1.2.156.10197.1.401)", "68 65 6c 6c 6f",
                                   "1.2.156.10197.1.301.1", "d.issuerAndSerialNumber"}) {
        EXPECT_NE(std::string::npos, result.output.find(part)) << part;
    }
}

TEST_F(SigningEntries, Sm2Pkcs7BearsTheGmIdentifiersWhereTheyAreSelected) {
    for (const int32_t format : {5, 6}) {
        const std::string path =
            Saved("gm", AsText(FromBase64Text(SignatureOf("hello", 1, format))));
        const CommandResult result = RunShell("openssl asn1parse -inform DER -in " + path);
        EXPECT_EQ(0, result.status) << result.output;
        EXPECT_NE(std::string::npos, result.output.find("1.2.156.10197.6.1.4.2.2"));
        EXPECT_NE(std::string::npos, result.output.find("1.2.156.10197.6.1.4.2.1"));
        EXPECT_EQ(std::string::npos, result.output.find("pkcs7-")) << result.output;
        // Of the content, "hello", only the attached form has anything.
        EXPECT_EQ(format == 5,
                  AsText(FromBase64Text(SignatureOf("hello", 1, format))).find("hello") !=
                      std::string::npos);
    }
    const std::string digest = "2cf24dba5fb0a30e26e83b2ac5b9e29e1b161e5c1fa7425e73043362938b9824";
    EXPECT_EQ(Number(Code::kSelector), Refused(1, 5, 3, digest.c_str()));
}

TEST_F(SigningEntries, SelectorsOutsideTheirTablesAreRefused) {
    EXPECT_EQ(Number(Code::kSelector), Refused(0, 0, 0));
    EXPECT_EQ(Number(Code::kSelector), Refused(1, 7, 0));
    EXPECT_EQ(Number(Code::kSelector), Refused(0x11, 5, 0));
    EXPECT_EQ(Number(Code::kSelector), Refused(0x11, 6, 0));
    EXPECT_EQ(Number(Code::kSelector), Refused(1, 0, 5));
    EXPECT_EQ(Number(Code::kKeyUsage), Refused(2, 0, 0));
    EXPECT_EQ(Number(Code::kData), Refused(1, 0, 1, "xyz"));
    EXPECT_EQ(Number(Code::kData), Refused(1, 0, 2, "?"));
}

TEST_F(SigningEntries, ASizeQueryIsABoundAndAsksForNothing) {
    WriteSecretFile(std::string("pin-") + kSerial, kOtherPin);
    int32_t length = 0;
    ASSERT_EQ(kSuccess, key_.GMUsbKeyCommonSign(kSerial, 1, 1, "hello", 0, nullptr, &length));
    EXPECT_EQ(2 * (5 + 4096), length);
    EXPECT_EQ(6, TriesLeft());
}

TEST_F(SigningEntries, TooSmallABufferIsNotWrittenTo) {
    std::array<char, 20> text;
    text.fill('#');
    int32_t length = 10;
    EXPECT_EQ(Number(Code::kBufferTooSmall),
              key_.GMUsbKeyCommonSign(kSerial, 1, 0, "x", 0, text.data(), &length));
    EXPECT_GT(length, 80);
    EXPECT_EQ(std::string(20, '#'), std::string(text.data(), text.size()));
}

TEST_F(SigningEntries, CriticalSignaturesShowWarningAndDigestBeforeTheySign) {
    PlugAgainWithDialog();
    UseScriptedPinentry("D 12345678\\nOK");
    ASSERT_EQ(kSuccess, key_.SetWarningMsg(kSerial, "Pay 100 to Bob?"));
    ASSERT_EQ(kSuccess, SignCritically("abc"));
    EXPECT_TRUE(OpensslVerifies(1, "abc", FromBase64Text(signature_)));
    const std::string record = PinentryRecord();
    EXPECT_NE(std::string::npos,
              record.find("SETDESC Digest: "
                          "66C7F0F462EEEDD9D1F2D46BDC10E4E24167C4875CF2F7A2297DA02B8F4BA8E0%0A"
                          "Key: (" +
                          std::string(kSerial) + ")%0ASign this?%0A%0APay 100 to Bob?\n"))
        << record;
    EXPECT_LT(record.find("CONFIRM"), record.find("GETPIN"));
}

TEST_F(SigningEntries, ARefusedConfirmationSignsNothing) {
    PlugAgainWithDialog();
    UseScriptedPinentry("D 12345678\\nOK", "ERR 83886194 Not confirmed <Pinentry>");
    EXPECT_EQ(Number(Code::kNotConfirmed), SignCritically("abc"));
    UseScriptedPinentry("D 12345678\\nOK", "ERR 83886179 Operation cancelled <Pinentry>");
    EXPECT_EQ(Number(Code::kNotConfirmed), SignCritically("abc"));
    EXPECT_EQ(std::string::npos, PinentryRecord().find("GETPIN"));
}

TEST_F(SigningEntries, AWarningServesOneSignature) {
    PlugAgainWithDialog();
    UseScriptedPinentry("D 12345678\\nOK");
    ASSERT_EQ(kSuccess, key_.SetWarningMsg(kSerial, "once"));
    ASSERT_EQ(kSuccess, SignCritically("abc"));
    ASSERT_EQ(kSuccess, SignCritically("abc"));
    const std::string record = PinentryRecord();
    const size_t shown = record.find("once\n");
    ASSERT_NE(std::string::npos, shown);
    EXPECT_EQ(shown, record.rfind("once\n"));
}

TEST_F(SigningEntries, AnUnattendedKeyCanRefuseConfirmations) {
    Unplug();
    PinSource source;
    source.file = WriteSecretFile("pin", kPin);
    source.confirmation = Confirmation::kNever;
    Slots::OpenOrCreate().Plug(kSerial, source);
    EXPECT_EQ(Number(Code::kNotConfirmed), SignCritically("abc"));
    EXPECT_FALSE(SignatureOf("abc").empty());
}

TEST_F(SigningEntries, TheSecondDigitOfACriticalSignatureIsTheKindOfData) {
    ASSERT_EQ(kSuccess, SignCritically("616263", 0x13));
    EXPECT_TRUE(OpensslVerifies(1, "abc", FromHex(signature_).value()));
}

TEST_F(SigningEntries, ABatchHasOneSignatureForEachItem) {
    char text[65536];
    int32_t length = sizeof text;
    for (const char* const batch : {"one||two", "one||two||"}) {
        length = sizeof text;
        ASSERT_EQ(kSuccess, key_.Batch_Sign(0, kSerial, 0, 0, nullptr, nullptr, 0, 1, 0, batch, 0,
                                            text, &length));
        const std::vector<std::string> signatures = Split(text, "||");
        ASSERT_EQ(2U, signatures.size());
        EXPECT_TRUE(OpensslVerifies(1, "one", FromBase64Text(signatures[0])));
        EXPECT_TRUE(OpensslVerifies(1, "two", FromBase64Text(signatures[1])));
    }
}

TEST_F(SigningEntries, ABatchMayBeginWithACriticalText) {
    char text[65536];
    int32_t length = sizeof text;
    ASSERT_EQ(kSuccess, key_.Batch_Sign(1, kSerial, 1, 0, "head", "warning", 0, 0x11, 0, "a||b", 0,
                                        text, &length));
    const std::vector<std::string> signatures = Split(text, "||");
    ASSERT_EQ(3U, signatures.size());
    EXPECT_TRUE(OpensslVerifies(1, "head", FromBase64Text(signatures[0])));
    EXPECT_TRUE(OpensslVerifies(0x11, "b", FromBase64Text(signatures[2])));
    length = sizeof text;
    ASSERT_EQ(kSuccess, key_.Batch_Sign(1, kSerial, 1, 0, "head", "warning", 0, 0, 0, nullptr, 0,
                                        text, &length));
    EXPECT_TRUE(OpensslVerifies(1, "head", FromBase64Text(text)));
}

TEST_F(SigningEntries, ABatchIsSignedWholeOrNotAtAll) {
    char text[65536];
    int32_t length = sizeof text;
    const auto sign = [&](int32_t flags, const char* batch, int32_t kind) {
        length = sizeof text;
        return key_.Batch_Sign(flags, kSerial, 1, 0, nullptr, nullptr, 0, 1, 0, batch, kind, text,
                               &length);
    };
    EXPECT_EQ(Number(Code::kData), sign(0, "a||||b", 0));
    EXPECT_EQ(Number(Code::kData), sign(0, "00||zz", 1));
    EXPECT_EQ(Number(Code::kData), sign(0, "", 0));
    EXPECT_EQ(Number(Code::kInvalidParameter), sign(0, nullptr, 0));
    EXPECT_EQ(Number(Code::kInvalidParameter), sign(1, "a", 0));
    EXPECT_EQ(Number(Code::kSelector), sign(2, "a", 0));
}

TEST_F(SigningEntries, Sm2CiphertextsOfOpensslAreDecrypted) {
    const Bytes cipher = EncryptedByOpenssl(2, "秘密");
    ASSERT_EQ(kSuccess, Decrypted(2, 0, ToBase64(cipher)));
    EXPECT_EQ("秘密", plain_);
    ASSERT_EQ(kSuccess, Decrypted(0x22, 0x11, ToHex(cipher)));
    EXPECT_EQ(ToHex(ToBytes("秘密")), plain_);
    ASSERT_EQ(kSuccess, Decrypted(2, 0x20, ToBase64(cipher)));
    EXPECT_EQ(ToBase64(ToBytes("秘密")), plain_);
}

TEST_F(SigningEntries, RsaCiphertextsOfOpensslAreDecryptedWithBothPaddings) {
    ASSERT_EQ(kSuccess, Import(Answer(Request(2, 1))));
    ASSERT_EQ(kSuccess, Decrypted(0x12, 0, ToBase64(EncryptedByOpenssl(0x12, "secret"))));
    EXPECT_EQ("secret", plain_);
    const Bytes oaep =
        EncryptedByOpenssl(0x12, "secret",
                           " -pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha256"
                           " -pkeyopt rsa_mgf1_md:sha256");
    ASSERT_EQ(kSuccess, Decrypted(0x12, 0x100, ToBase64(oaep)));
    EXPECT_EQ("secret", plain_);
}

TEST_F(SigningEntries, BinaryPlaintextIsNotHandedOutAsText) {
    const Bytes cipher = EncryptedByOpenssl(2, std::string("a\0b", 3));
    EXPECT_EQ(Number(Code::kData), Decrypted(2, 0, ToBase64(cipher)));
    ASSERT_EQ(kSuccess, Decrypted(2, 0x10, ToBase64(cipher)));
    EXPECT_EQ("610062", plain_);
}

TEST_F(SigningEntries, CiphertextsThatDoNotFitAreRefused) {
    Bytes cipher = EncryptedByOpenssl(2, "secret");
    cipher.back() ^= 1;
    EXPECT_EQ(Number(Code::kDecryption), Decrypted(2, 0, ToBase64(cipher)));
    EXPECT_EQ(Number(Code::kDecryption), Decrypted(2, 0, "AAAA"));
    EXPECT_EQ(Number(Code::kData), Decrypted(2, 0, "?"));
    EXPECT_EQ(Number(Code::kKeyUsage), Decrypted(1, 0, "AAAA"));
    EXPECT_EQ(Number(Code::kCertificateNotFound), Decrypted(0x12, 0, "AAAA"));
    for (const uint32_t encodings : {0x2U, 0x30U, 0x100U, 0x200U, 0xFFFFFFFFU}) {
        EXPECT_EQ(Number(Code::kSelector), Decrypted(2, encodings, "AAAA")) << encodings;
    }
}

TEST_F(SigningEntries, ThreadsShareAnOpenKeyWhileItsPinComesAndGoes) {
    constexpr size_t kSignatures = 6;
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    std::vector<std::thread> threads;
    std::map<int32_t, std::vector<std::string>> signatures;
    for (const int32_t selector : {0x21, 0x11}) {
        signatures[selector].resize(2 * kSignatures);
        for (const size_t first : {size_t{0}, kSignatures}) {
            std::string* const text = &signatures[selector][first];
            threads.emplace_back([this, selector, text] {
                for (size_t i = 0; i < kSignatures; ++i) text[i] = SignatureOf("order", selector);
            });
        }
    }
    for (size_t i = 0; i < kSignatures; ++i) {
        EXPECT_EQ(kSuccess, key_.GM_RemoveUserPin());
        EXPECT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    }
    for (std::thread& thread : threads) thread.join();
    for (const auto& [selector, texts] : signatures) {
        const KeyPair key = PublicKey(selector);
        for (const std::string& text : texts) {
            EXPECT_TRUE(key.VerifyMessage(ToBytes("order"), FromBase64Text(text)));
        }
    }
}

}  // namespace
}  // namespace softkey::testing
