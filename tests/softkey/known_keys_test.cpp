// What makes keys known: imports, which the openssl command has made and judges, clones, tries,
// and how keys come and go in scripts.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "base/encoding.h"
#include "key/backup.h"
#include "slots/slots.h"
#include "softkey_test.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

using Json = nlohmann::json;

class KnownKeys : public EntriesTest {
 protected:
    KnownKeys() {
        pin_file_ = WriteSecretFile("pin", kPin);
        passphrase_file_ = WriteSecretFile("passphrase", "open sesame");
    }

    CommandResult SoftKey(const std::string& arguments) const {
        return RunShell("cd " + Folder() + "; " + Program("softkey") + " " + arguments +
                        " </dev/null");
    }
    Json Good(const std::string& arguments) const {
        const CommandResult result = SoftKey(arguments + " --json");
        EXPECT_EQ(0, result.status) << arguments << '\n' << result.output;
        return Json::parse(result.output, nullptr, false);
    }
    void ExpectFailure(int status, const std::string& arguments, const std::string& words) const {
        const CommandResult result = SoftKey(arguments);
        EXPECT_EQ(status, result.status) << arguments << '\n' << result.output;
        EXPECT_NE(std::string::npos, result.output.find(words)) << result.output;
    }

    void Openssl(const std::string& arguments) const {
        const CommandResult result = RunShell("cd " + Folder() + "; openssl " + arguments);
        ASSERT_EQ(0, result.status) << arguments << '\n' << result.output;
    }

    // A private key NAME.pem, and an X.509 certificate NAME.crt of its own.
    void MakeMaterial(const std::string& name, bool sm2, const std::string& usage) const {
        Openssl(std::string("genpkey ") +
                (sm2 ? "-algorithm SM2" : "-algorithm RSA -pkeyopt rsa_keygen_bits:2048") +
                " -out " + name + ".pem");
        Openssl("req -x509 -new -key " + name + ".pem -subj /CN=" + name + " -out " + name +
                ".crt -addext keyUsage=" + usage +
                (sm2 ? " -sm3 -sigopt distid:1234567812345678" : " -sha256"));
    }
    std::string PublicKey(const std::string& name) const {
        return RunShell("openssl pkey -pubout -in " + Folder() + "/" + name + ".pem").output;
    }

    Json Import(const std::string& files, const std::string& key = kSerial) const {
        return Good("import " + key + " " + files + " --pin-file pin --passphrase-file passphrase");
    }

    // What the key signs with that certificate is what openssl verifies with it.
    void ExpectToSign(const std::string& name, int32_t selector, bool sm2) {
        WriteFile(Folder() + "/message", "pay 100 to 4711");
        const Bytes signature = FromBase64Text(SignatureOf("pay 100 to 4711", selector));
        WriteFile(Folder() + "/signature", AsText(signature));
        Openssl("pkeyutl -verify -certin -inkey " + name +
                ".crt -rawin -in message -sigfile signature " +
                (sm2 ? "-digest sm3 -pkeyopt distid:1234567812345678" : "-digest sha256"));
    }

    std::string pin_file_, passphrase_file_;
};

struct Form {
    const char* file;
    const char* made_by;  // of key.pem and key.crt
};
constexpr Form kForms[] = {
    {"pkcs8.der", "pkey -in key.pem -outform DER -out pkcs8.der"},
    {"old.pem", "pkey -in key.pem -traditional -out old.pem"},
    {"sealed.pem", "pkcs8 -topk8 -in key.pem -passout file:passphrase -out sealed.pem"},
    {"sealed.der",
     "pkcs8 -topk8 -in key.pem -passout file:passphrase -outform DER -out sealed.der"},
    {"key.p12", "pkcs12 -export -inkey key.pem -in key.crt -passout file:passphrase -out key.p12"},
    {"old.p12",
     "pkcs12 -export -legacy -inkey key.pem -in key.crt -passout file:passphrase -out old.p12"},
    {"open.p12", "pkcs12 -export -inkey key.pem -in key.crt -passout pass: -out open.p12"},
    {"key.pem", "version"},
};

TEST_F(KnownKeys, EveryFormOfAPrivateKeyIsImported) {
    for (const bool sm2 : {true, false}) {
        MakeMaterial("key", sm2, "digitalSignature");
        for (const Form& form : kForms) {
            Openssl(sm2 && form.file == std::string("old.pem")
                        ? "ecparam -name SM2 -genkey -out old.pem"
                        : form.made_by);
            KeyStore(kSerial).Initialize("", ToSecret(kPin));
            const Json imported = Import(form.file);
            ASSERT_EQ(1U, imported["key_pairs"].size()) << form.file;
            const Json& pair = imported["key_pairs"][0];
            EXPECT_EQ(PublicKey(form.file == std::string("old.pem") ? "old" : "key"),
                      pair["public_key"])
                << form.file;
            EXPECT_EQ("signing", pair["usage"]) << form.file;
            EXPECT_EQ(sm2 ? "SM2" : "RSA-2048", pair["type"]) << form.file;
            const bool with_certificate = std::string(form.file).find("p12") != std::string::npos;
            EXPECT_EQ(with_certificate, pair["certificate"].is_string()) << form.file;
            EXPECT_EQ(with_certificate ? 1 : 0, imported["imported_certificates"]) << form.file;
        }
    }
}

TEST_F(KnownKeys, AnImportedKeySignsAndDecrypts) {
    MakeMaterial("sign", true, "digitalSignature");
    MakeMaterial("encrypt", true, "keyEncipherment");
    MakeMaterial("rsa", false, "digitalSignature");
    MakeMaterial("authority", true, "keyCertSign");
    const Json imported =
        Import("sign.pem sign.crt encrypt.pem encrypt.crt rsa.pem rsa.crt authority.crt");
    EXPECT_EQ(3, imported["imported_pairs"]);
    EXPECT_EQ(3, imported["imported_certificates"]);
    EXPECT_EQ(1, imported["passed_over"]);
    EXPECT_EQ("encryption", imported["key_pairs"][1]["usage"]);
    ExpectToSign("sign", 0x21, true);
    ExpectToSign("rsa", 0x11, false);
    WriteFile(Folder() + "/plain", "secret");
    Openssl("pkeyutl -encrypt -certin -inkey encrypt.crt -in plain -out cipher");
    const std::string cipher = ToBase64(ToBytes(ReadFile(Folder() + "/cipher")));
    char plain[1024];
    int32_t length = sizeof plain;
    ASSERT_EQ(kSuccess, key_.GMUSBKeyAsymDec2(kSerial, 2, 0, cipher.c_str(), plain, &length));
    EXPECT_STREQ("secret", plain);
}

TEST_F(KnownKeys, ACertificateAloneGoesToThePairThatTheKeyHas) {
    MakeMaterial("key", true, "digitalSignature");
    EXPECT_TRUE(Import("key.pem")["key_pairs"][0]["certificate"].is_null());
    const Json imported = Import("key.crt");
    ASSERT_EQ(1U, imported["key_pairs"].size());
    EXPECT_TRUE(imported["key_pairs"][0]["certificate"].is_string());
    ExpectToSign("key", 1, true);
    MakeMaterial("key", true, "keyEncipherment");
    EXPECT_EQ("signing", Import("key.pem --usage signing")["key_pairs"][1]["usage"]);
    ExpectFailure(1, "import " + std::string(kSerial) + " key.crt --pin-file pin",
                  "for the other use");
    EXPECT_EQ("encryption", Import("key.pem key.crt", [&] {
                  CreateKey(kOtherSerial);
                  return std::string(kOtherSerial);
              }())["key_pairs"][0]["usage"]);
}

TEST_F(KnownKeys, WhatCannotBeImportedIsNamedAndChangesNothing) {
    MakeMaterial("key", true, "digitalSignature");
    MakeMaterial("other", true, "digitalSignature");
    Openssl("genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out p256.pem");
    Openssl("genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out short.pem");
    Openssl("pkcs8 -topk8 -in key.pem -passout pass:another -out sealed.pem");
    WriteFile(Folder() + "/text", "no key");
    WriteFile(Folder() + "/half.pem", ReadFile(Folder() + "/key.pem").substr(0, 120));
    const std::string import = "import " + std::string(kSerial) + " ";
    const std::string with = " --pin-file pin --passphrase-file passphrase";
    ExpectFailure(4, import + "nowhere" + with, "there is no file nowhere");
    ExpectFailure(4, import + "text" + with, "no private key and no certificate");
    ExpectFailure(4, import + "half.pem" + with, "half.pem");
    ExpectFailure(4, import + "key.pem sealed.pem" + with, "the passphrase is wrong");
    ExpectFailure(1, import + "key.pem p256.pem" + with, "neither SM2 nor RSA-2048");
    ExpectFailure(1, import + "key.pem short.pem" + with, "neither SM2 nor RSA-2048");
    ExpectFailure(1, import + "other.crt" + with, "no certificate that belongs");
    ExpectFailure(6, "import OR99999999999999 key.pem" + with, "no key");
    ExpectFailure(13, import + "key.pem", "--pin-file");
    WriteSecretFile("pin", kOtherPin);
    ExpectFailure(7, import + "key.pem" + with, "tries left: 5");
    EXPECT_TRUE(KeyStore(kSerial).Pairs().empty());
}

TEST_F(KnownKeys, ACloneHoldsTheSameUnderAnotherNumber) {
    GiveDualCertificates();
    ASSERT_EQ(kSuccess, key_.SetData(kSerial, 3, "customer 4711"));
    const std::string clone = std::string("clone ") + kSerial + " --pin-file pin ";
    EXPECT_EQ(kOtherSerial, Good(clone + "--as " + kOtherSerial)["serial_number"]);
    KeyStore original(kSerial);
    KeyStore copy(kOtherSerial);
    EXPECT_EQ(original.Label(), copy.Label());
    EXPECT_EQ("customer 4711", copy.Data(3));
    EXPECT_EQ(Kind::kFixture, copy.WhatKind());
    ASSERT_EQ(original.Pairs().size(), copy.Pairs().size());
    const Unlocked unlocked = copy.Unlock(ToSecret(kPin));
    const Unlocked of_original = original.Unlock(ToSecret(kPin));
    for (size_t i = 0; i < copy.Pairs().size(); ++i) {
        EXPECT_EQ(original.Pairs()[i].certificate, copy.Pairs()[i].certificate);
        EXPECT_EQ(original.Open(of_original, original.Pairs()[i]).Sm2Scalar(),
                  copy.Open(unlocked, copy.Pairs()[i]).Sm2Scalar());
    }
    // What happens to one is nothing to the other.
    copy.ChangePin(ToSecret(kPin), ToSecret(kOtherPin));
    EXPECT_NO_THROW(original.Unlock(ToSecret(kPin)));
    EXPECT_EQ(16U, Good(clone)["serial_number"].get<std::string>().size());
    ExpectFailure(1, clone + "--as " + kOtherSerial, "exists");
    EXPECT_EQ(3U, AllSerials().size());
    WriteSecretFile("pin", kOtherPin);
    ExpectFailure(7, clone, "tries left: 5");
    EXPECT_EQ(3U, AllSerials().size());
}

TEST_F(KnownKeys, ACloneOfARealKeyIsReal) {
    CreateKey(kOtherSerial, "", Kind::kReal);
    const Json clone = Good(std::string("clone ") + kOtherSerial + " --pin-file pin");
    EXPECT_EQ(false, clone["fixture"]);
    EXPECT_EQ(kOtherSerial, clone["original"]);
}

TEST_F(KnownKeys, TheNumberOfTriesStaysWhatItWasMadeWith) {
    const std::string key =
        Good("new --fixture --tries 2 --pin-file pin")["serial_number"].get<std::string>();
    KeyStore store(key);
    const auto try_wrong = [&] {
        return CodeOfFailure([&] { store.Unlock(ToSecret(kOtherPin)); });
    };
    EXPECT_EQ(Code::kPinIncorrect, try_wrong());
    store.ChangePin(ToSecret(kPin), ToSecret(kPin));
    EXPECT_EQ(2, store.Pin().tries_left);
    store.Initialize("", ToSecret(kPin));
    EXPECT_EQ(2, store.Pin().tries_maximum);
    PlugWithPinFile(key);
    int32_t info[2] = {};
    int32_t length = sizeof info;
    EXPECT_EQ(kSuccess, key_.GetPinInfo(key.c_str(), info, &length));
    EXPECT_EQ(2, info[1]);
    EXPECT_EQ(Code::kPinIncorrect, try_wrong());
    EXPECT_EQ(Code::kPinLocked, try_wrong());
    ExpectFailure(2, "new --tries 0 --pin-file pin", "--tries takes a whole number");
}

TEST_F(KnownKeys, UnlockGivesTheTriesBackAndErasesNothing) {
    GiveDualCertificates();
    KeyStore store(kSerial);
    const auto lock = [&] {
        while (store.Pin().tries_left > 0) {
            EXPECT_NE(Code::kOk, CodeOfFailure([&] { store.Unlock(ToSecret(kOtherPin)); }));
        }
    };
    lock();
    EXPECT_EQ(Number(Code::kPinLocked), key_.VerifyPIN(kSerial));
    const Json unlocked = Good(std::string("unlock ") + kSerial);
    EXPECT_EQ(kMaximumTries, unlocked["tries_left"]);
    EXPECT_EQ(kMaximumTries, unlocked["tries_at_most"]);
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    EXPECT_FALSE(SignatureOf("message").empty());
    ExpectFailure(6, "unlock OR99999999999999", "no key");
    // What a client had cached ended with the lock, although it did not look meanwhile.
    ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    lock();
    Good(std::string("unlock ") + kSerial);
    WriteSecretFile(std::string("pin-") + kSerial, kOtherPin);
    EXPECT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
}

TEST_F(KnownKeys, EnrolledKeysHaveBothCertificatesOfTheAuthorityAndSignAtOnce) {
    setenv("ORVAL_SOFTCA_HOME", AuthorityFolder().c_str(), 1);
    const Json made = Good("new --fixture --enroll --count 2 --pin-file " + pin_file_)["keys"];
    ASSERT_EQ(2U, made.size());
    for (const Json& key : made) {
        const std::string serial = key["serial_number"];
        const Json pairs = Good("show " + serial)["key_pairs"];
        ASSERT_EQ(2U, pairs.size());
        for (const Json& pair : pairs) {
            WriteFile(Folder() + "/certificate", pair["certificate"].get<std::string>());
            Openssl("verify -vfyopt distid:1234567812345678 -CAfile " + AuthorityFolder() +
                    "/root-sm2.pem certificate");
            EXPECT_EQ(
                pair["public_key"],
                RunShell("openssl x509 -pubkey -noout -in " + Folder() + "/certificate").output);
        }
        KeyStore store(serial);
        const Unlocked unlocked = store.Unlock(ToSecret(kPin));
        const StoredPair signing = store.Pairs().at(0);
        EXPECT_EQ(Usage::kSigning, signing.usage);
        const Bytes message = ToBytes("message");
        EXPECT_TRUE(
            KeyPair::FromPublic(signing.public_key)
                .VerifyMessage(message, store.Open(unlocked, signing).SignMessage(message)));
    }
}

TEST_F(KnownKeys, UnplugAllLeavesNothingPlugged) {
    CreateKey(kOtherSerial);
    PlugWithDialog(kOtherSerial);
    EXPECT_EQ(2U, Good("unplug --all")["keys"].size());
    EXPECT_TRUE(Slots::Present().plugged.empty());
    EXPECT_TRUE(Good("unplug --all")["keys"].empty());
    EXPECT_EQ("No key is plugged in.\n", SoftKey("unplug --all").output);
    ExpectFailure(2, "unplug", "--all");
    ExpectFailure(2, std::string("unplug --all ") + kSerial, "--all");
}

TEST_F(KnownKeys, APlugForAWhileEndsByItself) {
    Unplug();
    const auto begin = std::chrono::steady_clock::now();
    const Json plugged = Good(std::string("plug --for 0.5 ") + kSerial);
    EXPECT_EQ(1, plugged["slot"]);
    EXPECT_LE(std::chrono::milliseconds(500), std::chrono::steady_clock::now() - begin);
    EXPECT_TRUE(Slots::Present().plugged.empty());
    ExpectFailure(2, std::string("plug --for -1 ") + kSerial, "--for");
}

TEST_F(KnownKeys, APlugForAWhileEndsWithASignalOrWithAnotherUnplug) {
    Unplug();
    // The shell has the command's own process behind exec; an emulator stands in front of it.
    for (const auto& [ending, status] :
         {std::pair("kill -INT $!", 130), {"kill -TERM $!", 130}, {"softkey_unplug", 0}}) {
        const std::string line =
            "softkey_unplug() { " + Program("softkey") + " unplug " + kSerial + "; }; set -m; " +
            Program("softkey") + " plug --for 100 " + kSerial +
            " >plugged & for i in $(seq 200); do grep -q Plugged plugged && break; sleep 0.05; "
            "done; " +
            ending + "; wait $!";
        const CommandResult result = RunShell("cd " + Folder() + "; rm -f plugged; " + line);
        EXPECT_EQ(status, result.status) << ending << result.output;
        EXPECT_TRUE(Slots::Present().plugged.empty()) << ending;
    }
}

// Plugged anew meanwhile, it is another's to unplug.
TEST_F(KnownKeys, APlugForAWhileLeavesALaterPlugAlone) {
    Unplug();
    std::thread other([&] {
        while (Slots::Present().plugged.empty()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        Unplug();
        PlugWithDialog();
    });
    Good(std::string("plug --for 100 ") + kSerial);
    other.join();
    EXPECT_EQ(1U, Slots::Present().plugged.size());
}

// Each object is held against its schema as well: see RunShell.
TEST_F(KnownKeys, EveryCommandAnswersInJson) {
    Unplug();
    WriteSecretFile("pin", std::string(kPin) + "\n" + kOtherPin + "\n");
    const std::string sn = kSerial;
    for (const std::string& command :
         {"plug " + sn, "unplug " + sn, "pin " + sn + " --check --pin-file pin",
          "pin " + sn + " --pin-file pin", "unlock " + sn, "backup " + sn + " copy",
          "reset " + sn + " --yes --label Alice --pin-file pin", "delete " + sn + " --yes",
          std::string("restore copy"), std::string("fault VerifyPIN 0x0A000024 --always"),
          std::string("fault --list"), std::string("fault --clear"), "show " + sn,
          std::string("list")}) {
        const Json object = Good(command);
        EXPECT_EQ(true, object["ok"]) << command;
        EXPECT_EQ(command.substr(0, command.find(' ')), object["verb"]);
    }
    EXPECT_EQ(0x0A000024, Good("fault GetData 0x0A000024")["faults"][0]["code"]);
}

TEST_F(KnownKeys, AFailureIsAnObjectToo) {
    for (const auto& [command, verb, word, status] :
         {std::tuple("unplug OR99999999999999", "unplug", "no_key", 6),
          {"pin --check OR00000000000001 --pin-file wrong", "pin", "pin_wrong", 7},
          {"restore nowhere", "restore", "file", 4},
          {"new --count x", "new", "usage", 2},
          {"delete OR00000000000001", "delete", "declined", 13},
          {"nonsense", "", "usage", 2}}) {
        WriteSecretFile("wrong", kOtherPin);
        const CommandResult result = SoftKey(std::string(command) + " --json 2>/dev/null");
        EXPECT_EQ(status, result.status) << command;
        const Json object = Json::parse(result.output, nullptr, false);
        ASSERT_TRUE(object.is_object()) << command << result.output;
        EXPECT_EQ(false, object["ok"]) << command;
        EXPECT_EQ(verb, object["verb"]) << command;
        EXPECT_EQ(word, object["error"]["class"]) << command;
        EXPECT_EQ(status, object["error"]["status"]) << command;
    }
    const Json wrong = Json::parse(
        SoftKey(std::string("pin --check ") + kSerial + " --pin-file wrong --json 2>/dev/null")
            .output);
    EXPECT_EQ("0x0A000024", wrong["error"]["hex"]);
}

}  // namespace
}  // namespace softkey::testing
