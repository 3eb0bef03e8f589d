// A key's whole life, recorded, and lived again by a client that has neither key nor libraries.
#include <gmock/gmock.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "key_wait.h"
#include "recorded_client.h"
#include "software_key.h"

namespace lifecycle {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char kOrder[] = "pay 100 to 4711";
constexpr char kMessage[] = "for your eyes only";
constexpr char kItem[] = "branch 0042 of nobody";
constexpr char kKeptFolder[] = "/tmp/kept";

class RecordedLife : public SoftwareKeyTest, public recorded::RecordedClient {
 protected:
    RecordedLife() : RecordedClient(SOFTWARE_KEY_LIBRARIES) {
        std::filesystem::create_directory(kKeptFolder);
    }

    // What others do: once, while there is a key. Its text is the same when the life is lived
    // again.
    static std::string Once(const std::string& name, const std::function<std::string()>& made) {
        const std::string path = std::string(kKeptFolder) + "/" + name;
        if (!std::filesystem::exists(path)) {
            WriteFile(path, made());
        }
        return ReadFile(path);
    }

    // Everything that the client was told.
    static std::string Live();
};

// Collects what calls gave. What is a secret is another text in a replay, as long.
class Diary {
 public:
    std::string Public(const Answer& answer) {
        Note(answer.code, answer.text);
        return answer.text;
    }
    void Secret(const Answer& answer) { Note(answer.code, std::to_string(answer.text.size())); }
    void Done(int32_t result) { Note(Checked(result), ""); }
    const std::string& Text() const { return text_; }

 private:
    void Note(Code code, const std::string& text) {
        text_ += std::to_string(static_cast<int32_t>(code)) + " " + text + "\n";
    }

    std::string text_;
};

using Authority = std::function<std::string(const std::string& request)>;

// The certificate to encrypt for.
std::string LiveWithCertificates(const std::string& key, Diary& diary, const Authority& issue) {
    const std::string request = diary.Public(BatchRequest(key, kKeep, kBothInOne));
    diary.Done(Batch_ImportX509Cert(key.c_str(), issue(request).c_str()));
    diary.Public(CertificateOf(key, kSigning));
    diary.Public(CertificateName(key, kSigning, kSubject));
    diary.Public(CertificateDetails(key, kSigning));
    diary.Public(ConfirmedSignature(key, kOrder, "Pay 100 to 4711?"));
    diary.Public(Signature(key, kOrder, kSigning, kPkcs7Attached));
    diary.Public(BatchSignatures(key, "one||two||three"));
    return diary.Public(CertificateOf(key, kEncryption));
}

std::string RecordedLife::Live() {
    Diary diary;
    diary.Done(Initialize());
    const Answer number = AskForText(GetPrintNumber);
    diary.Secret(number);
    const std::string& key = number.text;
    diary.Public(AskForText(GetDriverVersion));
    diary.Done(InitUKey(key.c_str()));
    diary.Done(SetLabel(key.c_str(), "Alice"));
    diary.Public(LabelOf(key));
    diary.Done(SetData(key.c_str(), 1, kItem));
    diary.Secret(DataOf(key, 1));
    diary.Public(DataOf(key, 2));
    const std::string certificate =
        LiveWithCertificates(key, diary, [](const std::string& request) {
            return Once("package", [&] { return Issue(request, "--subject CN=Alice,C=CN"); });
        });
    const std::string cipher =
        Once("cipher", [&] { return ToBase64(Certificate(certificate).Encrypt(kMessage)); });
    diary.Secret(Decrypted(key, cipher));
    diary.Done(VerifyPIN(key.c_str()));
    diary.Done(DelCertAndTempKey(key.c_str(), kSigning, kEverything));
    diary.Public(Signature(key, kOrder));
    KeyWait wait;
    Once("unplugged", [&] {
        Unplug(key);
        return std::string("yes");
    });
    const KeyEvent event = wait.Result();
    diary.Secret({event.code, event.serial});
    Finalize();
    return diary.Text();
}

TEST_F(RecordedLife, IsLivedAgainWithoutKeyAndLibraries) {
    const std::string key = NewPluggedKey();
    ASSERT_EQ(Record([&] { KeepInFile(Live()); }), 0);
    for (const std::string& secret : {key, std::string(kMessage), std::string(kItem)}) {
        EXPECT_THAT(Text(), Not(HasSubstr(secret)));
    }
    std::filesystem::remove_all("/tmp/softkey");
    Replay();
    EXPECT_EQ(Live(), recorder::ContentsOf(made_for_.Folder() + "/kept"));
    ExpectAllReplayed();
}

}  // namespace
}  // namespace lifecycle
