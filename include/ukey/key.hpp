// Part of ukey.hpp: a key and what it can do.
#ifndef ORVAL_UKEY_KEY_HPP
#define ORVAL_UKEY_KEY_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "call.hpp"
#include "fetch.hpp"
#include "info.hpp"
#include "load.hpp"

namespace ukey {

// What Batch_Sign is given besides the key. The key interprets all of it.
struct BatchSignInput {
    int32_t flags = 0;  // bit 0: text and param6 are required
    int32_t param3 = 0;
    int32_t param4 = 0;
    std::optional<std::string> text;
    const void* param6 = nullptr;
    int64_t param7 = 0;
    int32_t param8 = 0;
    int32_t param9 = 0;
    std::optional<std::string> batch;  // the items, separated by "||"
    int32_t param11 = 0;
};

namespace detail {

// The product's own estimate counts separators and not items, so a batch of one item gets no room
// at all for it. This is the same sum with the items counted.
inline int32_t BatchSignRoom(const BatchSignInput& input) {
    constexpr std::size_t kPerText = 2048;
    constexpr std::string_view kSeparator = "||";
    std::size_t room = input.text ? 2 * (input.text->size() + kPerText) : 0;
    if (input.batch) {
        std::size_t items = 1;
        for (std::size_t at = input.batch->find(kSeparator); at != std::string::npos;
             at = input.batch->find(kSeparator, at + kSeparator.size())) {
            ++items;
        }
        room += 2 * (input.batch->size() + kPerText) * items;
    }
    // Beyond this the product's estimate is all there is to go by.
    constexpr std::size_t kMost = std::size_t{1} << 28;
    return static_cast<int32_t>(std::min(room, kMost));
}

}  // namespace detail

// One key, named by its serial number. Copies share the library.
class Key {
 public:
    Key(std::shared_ptr<const detail::Api> api, std::string serial_number)
        : api_(std::move(api)), serial_number_(std::move(serial_number)) {}

    const std::string& SerialNumber() const noexcept { return serial_number_; }

    void ChangePin() const { detail::Call(api_->ChangePin, serial_number_); }
    void VerifyPIN() const { detail::Call(api_->VerifyPIN, serial_number_); }
    void TestVerifyAndCachePin(intptr_t param) const {
        detail::Call(api_->TestVerifyAndCachePin, serial_number_, param);
    }
    void SetCachePinFlag(intptr_t flag) const {
        detail::EnsureInitialized(*api_);
        detail::Call(api_->SetCachePinFlag, serial_number_, flag);
    }
    // GetPinInfo: the key's record on the PIN, up to 8 bytes.
    std::string GetPinInfo() const { return detail::FetchRecord(api_->GetPinInfo, serial_number_); }
    // ReadPinTries: what it tells; nothing where it is of another form.
    std::optional<PinTries> ReadPinTries() const { return ParsePinTries(GetPinInfo()); }

    void InitUKey() const {
        detail::EnsureInitialized(*api_);
        detail::Call(api_->InitUKey, serial_number_);
    }
    void TestInitUKey(void* param) const {
        detail::Call(api_->TestInitUKey, serial_number_, param);
    }
    std::string GetLabel() const { return detail::FetchText(api_->GetLabel, serial_number_); }
    void SetLabel(std::string_view label) const {
        detail::Call(api_->SetLabel, serial_number_, label);
    }
    std::string GetData(int32_t index) const {
        return detail::FetchText(api_->GetData, serial_number_, index);
    }
    void SetData(int32_t index, std::string_view data) const {
        detail::Call(api_->SetData, serial_number_, index, data);
    }

    std::string Sign(int32_t param1, int32_t param2, std::string_view data,
                     std::string_view warning) const {
        return detail::FetchText(api_->Sign, serial_number_, param1, param2, data, warning);
    }
    std::string SignHash(int32_t param1, int32_t param2, std::string_view data,
                         int32_t param3) const {
        return detail::FetchText(api_->SignHash, serial_number_, param1, param2, data, param3);
    }
    std::string Batch_Sign(const BatchSignInput& input) const {
        return std::string(detail::TextOf(
            detail::Fetch(api_->Batch_Sign, detail::BatchSignRoom(input), input.flags,
                          serial_number_, input.param3, input.param4, input.text, input.param6,
                          input.param7, input.param8, input.param9, input.batch, input.param11)));
    }
    Secret AsymDec(int32_t param1, uint32_t param2, std::string_view cipher) const {
        detail::Fetched plain =
            detail::Fetch(api_->AsymDec, 0, serial_number_, param1, param2, cipher);
        plain.length = detail::TextOf(plain).size();
        return Secret(std::move(plain));
    }

    std::string GetCert(int32_t param1, int32_t param2) const {
        // The text is written whole, whatever length the key's library reported of it: there is
        // always room for the longest that it hands over.
        constexpr int32_t kLongest = 4096;
        return std::string(
            detail::TextOf(detail::Fetch(api_->GetCert, kLongest, serial_number_, param1, param2)));
    }
    std::string GetCertDN(int32_t param1, int32_t param2) const {
        return detail::FetchText(api_->GetCertDN, serial_number_, param1, param2);
    }
    // GetCertInfo: the key's record or text on a certificate, up to 1280 bytes.
    std::string GetCertInfo(intptr_t selector) const {
        return detail::FetchRecord(api_->GetCertInfo, serial_number_, selector);
    }
    // ReadCertFields: what it tells, as far as it is of the form that is known.
    CertFields ReadCertFields(intptr_t selector) const {
        return ParseCertFields(GetCertInfo(selector));
    }
    void DelCertAndTempKey(int32_t param1, int32_t param2) const {
        detail::Call(api_->DelCertAndTempKey, serial_number_, param1, param2);
    }
    void ImportX509Cert(std::string_view pkcs7) const {
        detail::Call(api_->ImportX509Cert, serial_number_, pkcs7);
    }
    void ImportEncX509Cert(std::string_view pkcs7, std::string_view enveloped_key) const {
        detail::Call(api_->ImportEncX509Cert, serial_number_, pkcs7, enveloped_key);
    }
    void Batch_ImportX509Cert(std::string_view package) const {
        detail::Call(api_->Batch_ImportX509Cert, serial_number_, package);
    }

    std::string GenerateCertRequest(std::string_view description) const {
        return detail::FetchText(api_->GenerateCertRequest, serial_number_, description);
    }
    // WARNING: mode 1 initialises the key first.
    std::string Batch_InitAndGenerateCertRequest(uint32_t mode,
                                                 std::string_view description) const {
        return detail::FetchText(api_->Batch_InitAndGenerateCertRequest, serial_number_, mode,
                                 description);
    }

 private:
    std::shared_ptr<const detail::Api> api_;
    std::string serial_number_;
};

}  // namespace ukey

#endif
