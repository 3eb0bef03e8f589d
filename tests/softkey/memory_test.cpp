// What a client's memory holds once it is done with its keys: the memory of a stopped process,
// searched for the private numbers of every key pair.
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "softkey_test.h"
#include "stopped_client.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

class MemoryTest : public EntriesTest {
 protected:
    static constexpr int32_t kSm2Signing = 0x21;
    static constexpr int32_t kRsaSigning = 0x11;

    // The authority works in processes of its own: it makes private keys, too.
    void RunAuthority(const std::string& arguments) {
        const CommandResult result = RunShell("cd " + Folder() + " && " + Program("softca") +
                                              " --dir authority " + arguments);
        ASSERT_EQ(0, result.status) << result.output;
    }

    void AskAuthority(const std::string& requests) {
        WriteFile(Folder() + "/requests", requests);
        RunAuthority("issue --in requests --out answer");
        ASSERT_EQ(kSuccess, Import(ReadFile(Folder() + "/answer")));
    }

    std::string Encrypted(int32_t selector) {
        WriteFile(Folder() + "/certificate", CertificatePem(selector));
        const CommandResult result = RunShell(
            "cd " + Folder() +
            " && printf secret > plain && openssl x509 -noout -pubkey -in "
            "certificate > public && openssl pkeyutl -encrypt -pubin -inkey public -in plain | "
            "openssl base64 -A");
        EXPECT_EQ(0, result.status) << result.output;
        return result.output;
    }

    void Decrypt(int32_t selector) {
        const std::string cipher = Encrypted(selector);
        char plain[1024] = {};
        int32_t length = sizeof plain;
        ASSERT_EQ(kSuccess,
                  key_.GMUSBKeyAsymDec2(kSerial, selector, 0, cipher.c_str(), plain, &length));
        EXPECT_STREQ("secret", plain);
    }

    void SignConfirmed(int32_t selector) {
        char text[8192];
        int32_t length = sizeof text;
        ASSERT_EQ(kSuccess,
                  key_.GMUsbKeyCriticalSign(kSerial, selector, 0, "a payment", text, &length));
    }

    void SignBatch(int32_t selector) {
        char text[8192];
        int32_t length = sizeof text;
        ASSERT_EQ(kSuccess, key_.Batch_Sign(1, kSerial, selector, 0, "one", "Pay?", 0, selector, 0,
                                            "two||three", 0, text, &length));
    }

    void GetCertificates() {
        RunAuthority("init");
        AskAuthority(DualRequest());
        AskAuthority(Request(1, 1) + "||" + Request(2, 1));
    }

    void Start(const std::string& name, const std::function<void()>& work) {
        clients_.emplace_back(name, std::make_unique<StoppedClient>(work));
        ASSERT_TRUE(clients_.back().second->Stopped());
    }

    // A client that caches its PIN, does some work with its keys and forgets the PIN.
    void StartClient(const std::string& name, const std::function<void()>& work) {
        Start(name, [&] {
            ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
            work();
            ASSERT_EQ(kSuccess, key_.GM_RemoveUserPin());
        });
    }

    std::vector<std::pair<std::string, std::unique_ptr<StoppedClient>>> clients_;
};

TEST_F(MemoryTest, NothingOfAPrivateKeyIsLeftInAClient) {
    StartClient("requests and imports", [&] { GetCertificates(); });
    for (const int32_t selector : {1, 0x11}) {
        const std::string key = selector == 1 ? "SM2 " : "RSA ";
        StartClient(key + "SignHash", [&] { SignatureOf("a payment", selector); });
        StartClient(key + "Sign", [&] { SignConfirmed(selector); });
        StartClient(key + "Batch_Sign", [&] { SignBatch(selector); });
        StartClient(key + "AsymDec", [&] { Decrypt(selector + 1); });
    }
    // Seen by this process only now, so that no client can have it from here.
    const Pieces pieces = PrivatePieces(kSerial, ToSecret(kPin));
    ASSERT_EQ(2 * (2 * 2U + 2 * (16 + 5 * 8)), pieces.size());
    for (const auto& [name, client] : clients_) {
        EXPECT_EQ(std::set<std::string>(), Search(client->Memory(), pieces)) << name;
    }
}

// The PIN's verification keeps what unseals the key, which is not written out: the private key
// itself lives for one call.
TEST_F(MemoryTest, UnderACachedPinNothingOfAPrivateKeyIsLeftEither) {
    StartClient("certificates", [&] { GetCertificates(); });
    Start("signer", [&] {
        ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
        SignatureOf("a payment", kSm2Signing);
        SignatureOf("a payment", kRsaSigning);
    });
    const Pieces pieces = PrivatePieces(kSerial, ToSecret(kPin));
    EXPECT_EQ(std::set<std::string>(), Search(clients_.back().second->Memory(), pieces));
}

TEST_F(MemoryTest, ASearchFindsWhatAClientHolds) {
    Bytes held;
    StartClient("holder", [&] {
        Request(1, 2);
        KeyStore store(kSerial);
        const SecretBytes scalar =
            store.Open(store.Unlock(ToSecret(kPin)), store.Pairs().at(0)).Sm2Scalar();
        held.assign(scalar.begin(), scalar.end());
    });
    EXPECT_EQ(1U, Search(clients_.at(0).second->Memory(), PrivatePieces(kSerial, ToSecret(kPin)))
                      .count("pair 1 priv as it is written"));
}

}  // namespace
}  // namespace softkey::testing
