// What a core file of a client would have, and what its memory has, after each kind of call: no
// PIN and no private key. The PINs are made and kept outside of this process, which reads them only
// when all clients stand still.
#include <gmock/gmock.h>

#include <memory>

#include "software_key.h"
#include "stopped_client.h"
#include "store/key_store.h"

namespace lifecycle {
namespace {

using softkey::ToSecret;
using softkey::testing::AddPieces;
using softkey::testing::Pieces;
using softkey::testing::PrivatePieces;
using softkey::testing::Search;
using softkey::testing::StoppedClient;
using testing::IsEmpty;

constexpr char kNewPinFile[] = "/tmp/new_pin";

class ClientMemory : public SoftwareKeyTest {
 protected:
    struct Client {
        std::string call;
        bool
            verified;  // and so with what opens the key's private keys, until the verification ends
        std::unique_ptr<StoppedClient> process;
    };

    ClientMemory() {
        // 16 characters each, which nothing else has.
        Shell(
            "umask 077; for pin in /tmp/pin /tmp/new_pin; do "
            "head -c 12 /dev/urandom | base64 >$pin; done");
        key_ = NewPluggedKey();
        single_ = NewPluggedKey();
        batch_ = NewPluggedKey();
        InOtherProcess([&] {
            const std::string requests = Given(BatchRequest(key_, kKeep, kBothInOne)) + "||" +
                                         Given(Request(key_, kRsaSigning1)) + "||" +
                                         Given(Request(key_, kRsaEncryption1));
            ASSERT_EQ(kOk, Checked(Batch_ImportX509Cert(key_.c_str(), Issue(requests).c_str())));
        });
    }

    static void Shell(const std::string& command) {
        ASSERT_EQ(0, std::system(command.c_str()));  // NOLINT(cert-env33-c,concurrency-mt-unsafe)
    }

    void Start(const std::string& call, const std::function<void()>& work, bool verified = false) {
        clients_.push_back({call, verified, std::make_unique<StoppedClient>(work)});
        ASSERT_TRUE(clients_.back().process->Stopped()) << call;
    }

    // As the key asks for its PIN, and once more under a cached one.
    void StartBoth(const std::string& call, const std::function<void()>& work) {
        Start(call, work);
        Start(
            call + ", PIN cached",
            [&] {
                ASSERT_EQ(kOk, Checked(TestVerifyAndCachePin(key_.c_str(), 0)));
                work();
            },
            true);
    }

    std::string CipherFor(Selector which) {
        return ToBase64(Certificate(Given(CertificateOf(key_, which))).Encrypt("a text"));
    }

    void StartUsers() {
        for (const Selector which : {kSigning, kRsaSigning}) {
            const std::string kind = which == kSigning ? "SM2 " : "RSA ";
            StartBoth(kind + "SignHash", [&] { Given(Signature(key_, "a payment", which)); });
            StartBoth(kind + "Sign",
                      [&] { Given(ConfirmedSignature(key_, "a payment", "Pay?", which)); });
        }
        StartBoth("Batch_Sign", [&] { Given(BatchSignatures(key_, "one||two")); });
        for (const Selector which : {kEncryption, kRsaEncryption}) {
            const std::string cipher = CipherFor(which);
            StartBoth(which == kEncryption ? "SM2 AsymDec" : "RSA AsymDec",
                      [this, cipher, which] { Given(Decrypted(key_, cipher, which)); });
        }
        Start("RemovePinCache", [&] {
            ASSERT_EQ(kOk, Checked(TestVerifyAndCachePin(key_.c_str(), 0)));
            Given(Signature(key_, "a payment"));
            ASSERT_EQ(kOk, Checked(RemovePinCache()));
        });
    }

    void StartAskers() {
        Start(
            "VerifyPIN", [&] { ASSERT_EQ(kOk, Checked(VerifyPIN(key_.c_str()))); }, true);
        Start("GetPinInfo", [&] { TriesOf(key_); });
        Start("SetData", [&] { ASSERT_EQ(kOk, Checked(SetData(key_.c_str(), 1, "some data"))); });
        Start("GetCert", [&] { Given(CertificateOf(key_, kSigning)); });
        Start(
            "SetCachePinFlag",
            [&] {
                ASSERT_EQ(kOk, Checked(SetCachePinFlag(key_.c_str(), 1)));
                ASSERT_EQ(kOk, Checked(VerifyPIN(key_.c_str())));
            },
            true);
    }

    // Those that change a key. Each key pair is still there when its key is looked at in the end.
    void StartChangers() {
        Start(
            "GenerateCertRequest",
            [&] { WriteFile("/tmp/r", Given(Request(single_, kSm2Signing1))); }, true);
        const std::string issued = Issue(ReadFile("/tmp/r"));
        Start("ImportX509Cert",
              [&] { ASSERT_EQ(kOk, Checked(ImportX509Cert(single_.c_str(), issued.c_str()))); });
        Start(
            "Batch_InitAndGenerateCertRequest",
            [&] { WriteFile("/tmp/r", Given(BatchRequest(batch_, kKeep, kBothInOne))); }, true);
        const std::string package = Issue(ReadFile("/tmp/r"));
        Start("Batch_ImportX509Cert", [&] {
            ASSERT_EQ(kOk, Checked(Batch_ImportX509Cert(batch_.c_str(), package.c_str())));
        });
        Shell("cat /tmp/new_pin >>/tmp/pin");
        Start("ChangePin", [&] { ASSERT_EQ(kOk, Checked(ChangePin(key_.c_str()))); });
    }

    // All that this process now learns.
    Pieces Secrets() const {
        const std::string pin = ReadFile(kPinFile).substr(0, 16);
        const std::string new_pin = ReadFile(kNewPinFile).substr(0, 16);
        Pieces pieces;
        AddPieces(pin, "PIN", &pieces);
        AddPieces(new_pin, "new PIN", &pieces);
        for (const std::string& key : {key_, single_, batch_}) {
            const auto right = ToSecret(key == key_ ? new_pin : pin);
            pieces.merge(PrivatePieces(key, right));
            AddPieces(softkey::KeyStore(key).Unlock(right).master, kMaster, &pieces);
        }
        return pieces;
    }

    static constexpr char kMaster[] = "what opens the private keys";
    std::string key_;
    std::string single_;
    std::string batch_;
    std::vector<Client> clients_;
};

TEST_F(ClientMemory, HasNoPinAndNoPrivateKeyAfterAnyCall) {
    StartUsers();
    StartAskers();
    StartChangers();
    const Pieces pieces = Secrets();
    // Two PINs, three keys to the private ones, five SM2 keys each way round, two RSA keys.
    ASSERT_EQ(2U + 3 * 2 + 5 * 2 * 2 + 2 * 2 * (16 + 5 * 8), pieces.size());
    for (const Client& client : clients_) {
        EXPECT_THAT(Search(client.process->Core(), pieces), IsEmpty()) << client.call;
        const auto master =
            client.verified ? std::set<std::string>{kMaster} : std::set<std::string>{};
        EXPECT_EQ(Search(client.process->Memory(), pieces), master) << client.call;
    }
}

}  // namespace
}  // namespace lifecycle
