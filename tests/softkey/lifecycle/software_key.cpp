#include "software_key.h"

#include <cstdlib>

namespace lifecycle {
namespace {

constexpr char kAuthority[] = "/tmp/softca";

void MakeAuthority() {
    if (ReadFile(std::string(kAuthority) + "/root-sm2.pem").empty()) {
        Program("softca", "init");
    }
}

}  // namespace

SoftwareKeyTest::SoftwareKeyTest() {
    setenv("ORVAL_SOFTKEY_HOME", "/tmp/softkey", 1);
    setenv("ORVAL_SOFTCA_HOME", kAuthority, 1);
    // No dialog of the machine's own may ever appear.
    setenv("ORVAL_SOFTKEY_PINENTRY", "/nonexistent/pinentry", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    AnswerPin(kRightPin);
}

std::string SoftwareKeyTest::NewKey(const std::string& label) {
    return Program("softkey", "new --fixture --label " + label + " " + UsingPinFile());
}

std::string SoftwareKeyTest::NewPluggedKey(const std::string& label) {
    const std::string key = NewKey(label);
    Plug(key);
    return key;
}

void SoftwareKeyTest::Plug(const std::string& key, const std::string& options) {
    Program("softkey", "plug " + key + " " + options);
}

void SoftwareKeyTest::Unplug(const std::string& key) {
    Program("softkey", "unplug " + key);
}

std::string SoftwareKeyTest::Issue(const std::string& requests, const std::string& options) {
    MakeAuthority();
    WriteFile("/tmp/request", requests);
    Program("softca", "issue --in /tmp/request --out /tmp/answer " + options);
    return ReadFile("/tmp/answer");
}

Certificate SoftwareKeyTest::Sm2Root() {
    return Certificate(ReadFile(std::string(kAuthority) + "/root-sm2.pem"));
}

Certificate SoftwareKeyTest::RsaRoot() {
    return Certificate(ReadFile(std::string(kAuthority) + "/root-rsa.pem"));
}

std::string SoftwareKeyTest::NewSigningKey() {
    const std::string key = NewPluggedKey();
    const std::string answer = Issue(Given(Request(key, kSm2Signing1)));
    EXPECT_EQ(kOk, Checked(ImportX509Cert(key.c_str(), answer.c_str())));
    // The request's verification would serve the test's first signature.
    EXPECT_EQ(kOk, Checked(RemovePinCache()));
    return key;
}

std::string SoftwareKeyTest::NewDualKey() {
    const std::string key = NewPluggedKey();
    const std::string answer = Issue(Given(BatchRequest(key, kKeep, kBothInOne)));
    EXPECT_EQ(kOk, Checked(Batch_ImportX509Cert(key.c_str(), answer.c_str())));
    return key;
}

}  // namespace lifecycle
