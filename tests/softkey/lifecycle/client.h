#ifndef ORVAL_TESTS_SOFTKEY_LIFECYCLE_CLIENT_H
#define ORVAL_TESTS_SOFTKEY_LIFECYCLE_CLIENT_H

// The exported functions as a client calls them that asks for the length, allocates one byte more,
// clears the buffer and then fetches.

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "orval_unified_kpxukey.h"
#include "ukey/codes.hpp"

// Where the test framework looks for it.
namespace ukey {
void PrintTo(Errc code, std::ostream* output);
}  // namespace ukey

namespace lifecycle {

// What a call returned.
using Code = ukey::Errc;
constexpr Code kOk{};

// A result as a code, once GetLastErrCode has been seen to say the same.
Code Checked(int32_t result);

struct Answer {
    Code code;
    std::string text;
};

// The text of a call that must succeed.
std::string Given(const Answer& answer);

using TextCall = std::function<int32_t(char* buffer, int32_t* length)>;
Answer AskForText(const TextCall& call);

// Certificate selectors and other numbers of the software key.
enum Selector : int32_t {
    kSigning = 1,
    kEncryption = 2,
    kRsaSigning = 0x11,
    kRsaEncryption = 0x12,
    kSm2Signing = 0x21,
};
enum CertificateForm : int32_t { kBase64Der = 0, kPem = 1 };
enum NameOf : int32_t { kSubject = 0, kIssuer = 1 };
enum SignatureForm : int32_t { kBase64Value = 0, kPkcs7Attached = 1, kHexValue = 3 };
enum DataKind : int32_t { kAsItIs = 0, kInHex = 1 };
enum DeleteScope : int32_t { kEverything = 0, kUnanswered = 1 };

// All that is below takes the key's serial number first.
Answer LabelOf(const std::string& key);
Answer DataOf(const std::string& key, int32_t index);
Answer CertificateOf(const std::string& key, Selector which, CertificateForm form = kPem);
Answer CertificateName(const std::string& key, Selector which, NameOf whose);
Answer CertificateDetails(const std::string& key, Selector which);

Answer Request(const std::string& key, const std::string& description);
enum InitMode : uint32_t { kKeep = 0, kFormat = 1 };
Answer BatchRequest(const std::string& key, InitMode mode, const std::string& description);

// Descriptions of requests.
constexpr char kSm2Signing1[] = "CertType(1)KeyType(2)HashType(3)";
constexpr char kRsaSigning1[] = "CertType(1)KeyType(1)HashType(1)";
constexpr char kRsaEncryption1[] = "CertType(2)KeyType(1)HashType(1)";
constexpr char kBothInOne[] = "CertType(1)KeyType(2)HashType(3)|CertType(3)";

Answer ConfirmedSignature(const std::string& key, const std::string& data,
                          const std::string& warning, Selector which = kSigning,
                          SignatureForm form = kBase64Value);
Answer Signature(const std::string& key, const std::string& data, Selector which = kSigning,
                 SignatureForm form = kBase64Value, DataKind kind = kAsItIs);
Answer BatchSignatures(const std::string& key, const std::string& batch);
Answer Decrypted(const std::string& key, const std::string& cipher, Selector which = kEncryption);

struct Tries {
    int32_t left;
    int32_t maximum;
    bool operator==(const Tries& other) const {
        return left == other.left && maximum == other.maximum;
    }
};
void PrintTo(const Tries& tries, std::ostream* output);
Tries TriesOf(const std::string& key);

// The text of a code.
std::string ErrorText(Code code);

std::vector<std::string> Split(const std::string& text, const std::string& separator);

// The data of the items with this name in a certificate package.
std::vector<std::string> PackageItems(const std::string& package, const std::string& name);

}  // namespace lifecycle

#endif
