// A disk that is full and a store that may not be written, as a client meets them: clear codes, and
// nothing lost.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "software_key.h"

namespace lifecycle {
namespace {

namespace fs = std::filesystem;

// A disk of its own with room for a key or two; the view of the file system has it.
constexpr char kDisk[] = "/tmp/small_disk";
constexpr char kFiller[] = "/tmp/small_disk/filler";

struct Use {
    const char* name;
    std::function<Code(const std::string& key)> call;
};

// What a client sees of a key.
struct Contents {
    std::string label;
    std::string data;
    std::string certificate;
    Tries tries;

    bool operator==(const Contents& other) const {
        return label == other.label && data == other.data && certificate == other.certificate &&
               tries == other.tries;
    }
};

void PrintTo(const Contents& contents, std::ostream* output) {
    *output << contents.label << ", " << contents.data << ", " << contents.certificate << ", "
            << testing::PrintToString(contents.tries);
}

Contents ContentsOf(const std::string& key) {
    return {Given(LabelOf(key)), Given(DataOf(key, 1)), Given(CertificateOf(key, kSigning)),
            TriesOf(key)};
}

class HostileStore : public SoftwareKeyTest {
 protected:
    HostileStore() {
        setenv("ORVAL_SOFTKEY_HOME", home_.c_str(), 1);
        key_ = NewPluggedKey();
        answer_ = Issue(Given(Request(key_, kSm2Signing1)));
        EXPECT_EQ(kOk, Checked(ImportX509Cert(key_.c_str(), answer_.c_str())));
        EXPECT_EQ(kOk, Checked(SetData(key_.c_str(), 1, "customer 4711")));
        // A verified PIN would spare the calls below the try that each of them has to count.
        EXPECT_EQ(kOk, Checked(RemovePinCache()));
        AnswerPin(std::string(kRightPin) + "\n" + kOtherPin);
    }

    std::vector<Use> UsesThatWrite() const {
        return {
            {"SetLabel", [](const auto& key) { return Checked(SetLabel(key.c_str(), "Other")); }},
            {"SetData", [](const auto& key) { return Checked(SetData(key.c_str(), 1, "other")); }},
            {"VerifyPIN", [](const auto& key) { return Checked(VerifyPIN(key.c_str())); }},
            {"ChangePin", [](const auto& key) { return Checked(ChangePin(key.c_str())); }},
            {"SignHash", [](const auto& key) { return Signature(key, "order").code; }},
            {"GenerateCertRequest",
             [](const auto& key) { return Request(key, kSm2Signing1).code; }},
            {"Batch_InitAndGenerateCertRequest",
             [](const auto& key) { return BatchRequest(key, kKeep, kSm2Signing1).code; }},
            {"ImportX509Cert",
             [this](const auto& key) {
                 return Checked(ImportX509Cert(key.c_str(), answer_.c_str()));
             }},
            {"DelCertAndTempKey",
             [](const auto& key) {
                 return Checked(DelCertAndTempKey(key.c_str(), kSigning, kEverything));
             }},
            {"InitUKey", [](const auto& key) { return Checked(InitUKey(key.c_str())); }},
        };
    }

    void ExpectEveryWriteToGive(Code code) const {
        const Contents before = ContentsOf(key_);
        for (const Use& use : UsesThatWrite()) {
            EXPECT_EQ(code, use.call(key_)) << use.name;
            EXPECT_EQ(before, ContentsOf(key_)) << use.name;
        }
    }

    // The key is as it was, and goes on.
    void ExpectToWorkAgain() const {
        EXPECT_EQ(kOk, Signature(key_, "order").code);
        EXPECT_EQ(kOk, Checked(SetLabel(key_.c_str(), "Afterwards")));
        EXPECT_EQ("Afterwards", Given(LabelOf(key_)));
        EXPECT_EQ("customer 4711", Given(DataOf(key_, 1)));
    }

    std::string home_ = std::string(kDisk) + "/softkey";
    std::string key_;
    std::string answer_;
};

void FillTheDisk() {
    const std::unique_ptr<FILE, int (*)(FILE*)> filler(std::fopen(kFiller, "w"), std::fclose);
    ASSERT_NE(nullptr, filler);
    std::setbuf(filler.get(), nullptr);
    while (std::fputc('x', filler.get()) != EOF) {
    }
    EXPECT_EQ(ENOSPC, errno);
}

void SetWritable(const std::string& folder, bool writable) {
    const auto how = writable ? fs::perm_options::add : fs::perm_options::remove;
    std::vector<fs::path> paths = {folder};
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    for (const fs::path& path : paths) {
        fs::permissions(path, fs::perms::owner_write, how);
    }
}

TEST_F(HostileStore, OnAFullDiskEachWriteSaysSoAndNothingIsLost) {
    FillTheDisk();
    ExpectEveryWriteToGive(Code::kStoreFull);
    fs::remove(kFiller);
    ExpectToWorkAgain();
}

TEST_F(HostileStore, InAReadOnlyStoreEachWriteSaysSoAndNothingIsLost) {
    SetWritable(home_, false);
    ExpectEveryWriteToGive(Code::kStoreReadOnly);
    SetWritable(home_, true);
    ExpectToWorkAgain();
}

}  // namespace
}  // namespace lifecycle
