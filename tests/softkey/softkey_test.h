#ifndef ORVAL_TESTS_SOFTKEY_SOFTKEY_TEST_H
#define ORVAL_TESTS_SOFTKEY_SOFTKEY_TEST_H

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "base/secret.h"
#include "maker/entries.h"
#include "maker/token.h"
#include "store/key_store.h"

namespace softkey::testing {

constexpr char kPin[] = "12345678";
constexpr char kOtherPin[] = "87654321";
constexpr char kSerial[] = "OR00000000000001";
constexpr char kOtherSerial[] = "OR00000000000002";

constexpr int32_t kSuccess = 0;

// The key's library as a client has it: loaded by path, entries found by name.
struct KeyLibrary {
    KeyLibrary();
#define SOFTKEY_MEMBER(slot, name, result, arguments) result(*name) arguments = nullptr;
    ORVAL_BACKEND_ENTRIES(SOFTKEY_MEMBER)
#undef SOFTKEY_MEMBER
};

struct TokenLibrary {
    TokenLibrary();
#define SOFTKEY_MEMBER(name, arguments) uint32_t(*name) arguments = nullptr;
    ORVAL_TOKEN_FUNCTIONS(SOFTKEY_MEMBER)
#undef SOFTKEY_MEMBER
};

// The code with which the work fails; kOk when it does not.
template <typename Work>
Code CodeOfFailure(Work work) {
    try {
        work();
    } catch (const Error& error) {
        return error.code();
    }
    return Code::kOk;
}

// A test with a home for keys of its own.
class SoftKeyTest : public ::testing::Test {
 protected:
    SoftKeyTest();
    ~SoftKeyTest() override;

    const std::string& Folder() const { return folder_; }

    // A file with these lines that only its owner can read; its path.
    std::string WriteSecretFile(const std::string& name, const std::string& text) const;

    // A fixture unless the derivation of its PIN matters.
    static void CreateKey(const std::string& serial = kSerial, const std::string& label = "",
                          Kind kind = Kind::kFixture);
    void PlugWithPinFile(const std::string& serial = kSerial, const std::string& lines = kPin);
    static void PlugWithDialog(const std::string& serial = kSerial);
    static void Unplug(const std::string& serial = kSerial);

    // Makes a script that answers as pinentry does and records what it is told. `habit` is shell
    // that it runs for each "$line" before it answers.
    void UseScriptedPinentry(const std::string& getpin_answer,
                             const std::string& confirm_answer = "OK",
                             const std::string& habit = ":") const;
    std::string PinentryRecord() const;

 private:
    std::string folder_;
};

// A plugged key with an unattended PIN, the key's library, and steps of a certificate's life.
class EntriesTest : public SoftKeyTest {
 protected:
    EntriesTest();

    KeyLibrary key_;

    std::string Request(int32_t cert_type, int32_t key_type, int32_t hash_type = 0);
    std::string DualRequest();

    // What an authority of this test's own answers.
    std::string Answer(const std::string& requests, bool envelope_as_base64 = false);
    std::string AuthorityFolder() const { return Folder() + "/authority"; }

    // Writes what the answer holds, in the order in which the product does.
    int32_t Import(const std::string& answer);
    int32_t WritePkcs7(const std::string& text);
    int32_t ImportKey(const std::string& text);

    void GiveDualCertificates();
    void GiveRsaCertificate();

    std::string CertificatePem(int32_t selector);
    std::string SignatureOf(const std::string& data, int32_t selector = 1, int32_t format = 0,
                            int32_t kind = 0);
    int32_t TriesLeft(const char* serial = kSerial);
};

// The data of the package's items with this name.
std::vector<std::string> ItemsOf(const std::string& package, const std::string& name);

Bytes FromBase64Text(const std::string& text);
Bytes CertificateDer(const std::string& pem);

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, std::string_view text);

// Runs a command line by the shell; what it wrote to both outputs, and its status.
struct CommandResult {
    int status;
    std::string output;
};
CommandResult RunShell(const std::string& command_line);

// A command that lists what one of the key's two libraries exports, a name at the end of each line.
std::string ExportsCommand(const std::string& library);

// The command line of a program of the build, with what is needed to run it on this machine.
std::string Program(const std::string& name);

}  // namespace softkey::testing

#endif
