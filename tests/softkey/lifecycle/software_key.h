#ifndef ORVAL_TESTS_SOFTKEY_LIFECYCLE_SOFTWARE_KEY_H
#define ORVAL_TESTS_SOFTKEY_LIFECYCLE_SOFTWARE_KEY_H

#include <gtest/gtest.h>

#include <string>

#include "client.h"
#include "outside.h"
#include "processes.h"

namespace lifecycle {

constexpr char kPinFile[] = "/tmp/pin";
constexpr char kRightPin[] = "12345678";
constexpr char kOtherPin[] = "87654321";
constexpr char kWrongPin[] = "00000000";

// A test with software keys and an issuing authority of its own, all under the private /tmp. Keys
// are worked from outside by the commands, as a person would.
class SoftwareKeyTest : public testing::Test {
 protected:
    SoftwareKeyTest();

    // Makes a fixture whose PIN is kRightPin; its serial number.
    static std::string NewKey(const std::string& label = "Test");
    static std::string NewPluggedKey(const std::string& label = "Test");
    static void Plug(const std::string& key, const std::string& options = UsingPinFile());
    static void Unplug(const std::string& key);
    static std::string UsingPinFile() { return std::string("--pin-file ") + kPinFile; }

    // What the key is told when it asks for a PIN; a second line is the new one.
    static void AnswerPin(const std::string& lines) { WriteSecretFile(kPinFile, lines + "\n"); }
    // Asking for a PIN then fails with kPinSourceUnreadable and costs no try.
    static void AnswerNoPin() { WriteSecretFile(kPinFile, ""); }

    static void OrderFault(const std::string& entry, const std::string& rest) {
        Program("softkey", "fault " + entry + " " + rest);
    }

    // What the authority answers to requests.
    static std::string Issue(const std::string& requests, const std::string& options = "");
    static Certificate Sm2Root();
    static Certificate RsaRoot();

    // A key with an SM2 certificate for signing, or with one for encryption as well. This process
    // has no verification of its PIN.
    static std::string NewSigningKey();
    static std::string NewDualKey();
};

}  // namespace lifecycle

#endif
