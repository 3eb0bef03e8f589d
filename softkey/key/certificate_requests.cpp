#include "key/certificate_requests.h"

#include "base/encoding.h"
#include "base/error.h"
#include "crypto/pkcs10.h"

namespace softkey {
namespace {

constexpr int64_t kDefaultHash = 0;
constexpr int64_t kSha256 = 1;
constexpr int64_t kSm3 = 3;

KeyType ReadKeyType(int64_t number) {
    Require(number == static_cast<int64_t>(KeyType::kRsa2048) ||
                number == static_cast<int64_t>(KeyType::kSm2),
            Code::kSelector, "KeyType is 1 (RSA-2048) or 2 (SM2)");
    return static_cast<KeyType>(number);
}

RequestKind ReadKind(const RequestOrder& order) {
    Require(order.cert_type >= 1 && order.cert_type <= 3, Code::kSelector,
            "CertType is 1 (signing), 2 (encryption) or 3 (both)");
    return order.merged ? RequestKind::kDual : static_cast<RequestKind>(order.cert_type);
}

void CheckHash(int64_t hash, KeyType type) {
    Require(hash == kDefaultHash || hash == kSha256 || hash == kSm3, Code::kSelector,
            "HashType is 0 (the key type's own), 1 (SHA-256) or 3 (SM3)");
    const int64_t fitting = type == KeyType::kSm2 ? kSm3 : kSha256;
    Require(hash == kDefaultHash || hash == fitting, Code::kKeyTypeHash,
            "SM2 goes with SM3 and RSA with SHA-256");
}

}  // namespace

std::string CreateRequest(Device& device, const RequestOrder& order) {
    const RequestKind kind = ReadKind(order);
    const KeyType type = ReadKeyType(order.key_type);
    CheckHash(order.hash_type, type);
    const bool dual = kind == RequestKind::kDual;
    Require(!dual || type == KeyType::kSm2, Code::kSelector,
            "signing and encryption certificates in one request need KeyType 2 (SM2)");
    const Unlocked& unlocked = device.Authorize(Device::Use::kRequest);
    const KeyPair pair = device.Store().NewPair(type);
    const Bytes request = MakeRequest(pair, device.Key().serial, kind);
    const Usage usage = kind == RequestKind::kEncryption ? Usage::kEncryption : Usage::kSigning;
    device.Store().AddPair(unlocked, usage, dual, pair);
    return ToBase64(request);
}

}  // namespace softkey
