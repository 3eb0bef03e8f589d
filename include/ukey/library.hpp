// Part of ukey.hpp: the product, what it tells of itself, and its wait for a key.
#ifndef ORVAL_UKEY_LIBRARY_HPP
#define ORVAL_UKEY_LIBRARY_HPP

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "call.hpp"
#include "errors.hpp"
#include "fetch.hpp"
#include "key.hpp"
#include "load.hpp"

namespace ukey {

class StopFlag;

// What happened to a key.
struct KeyEvent {
    enum class Kind : uint32_t {
        kOther = 0,
        kInserted = ORVAL_KEY_INSERTED,
        kRemoved = ORVAL_KEY_REMOVED,
        kStopped = ORVAL_WAIT_STOPPED
    };
    Kind kind = Kind::kOther;
    std::string serial_number;  // empty when it could not be read
    int32_t code = ORVAL_OK;    // why it could not be read, as far as the product tells
};

// The product, loaded. Copies share it; it is closed when the last one goes, keys included.
class Library {
 public:
    // Library: the functions that the program is linked with, where UKEY_LINKED is defined;
    // otherwise the product as the loader finds it by its name.
    Library() : Library(detail::DefaultApi()) {}
    // Library: loads the product from `path`. Throws LoadError. The key's own library is looked
    // for by the first call that needs it.
    explicit Library(const std::string& path) : Library(detail::LoadApi(path)) {}

    // KeyOf: the key with this serial number. Nothing is asked of it yet.
    Key KeyOf(std::string serial_number) const { return Key(api_, std::move(serial_number)); }
    // PluggedKey: the key that is plugged now.
    Key PluggedKey() const { return KeyOf(GetPrintNumber()); }

    void Initialize() const { detail::Call(api_->Initialize); }
    void Finalize() const {
        detail::RequireNobodyWaits(api_->Finalize.name);
        api_->Finalize.function();
    }
    bool IsInitialized() const { return detail::IsInitialized(*api_); }
    int32_t GetLastErrCode() const {
        detail::RequireNobodyWaits(api_->GetLastErrCode.name);
        int32_t code = ORVAL_OK;
        api_->GetLastErrCode.function(&code);
        return code;
    }
    std::string GetErrorMsg(int32_t code) const {
        return detail::FetchText(api_->GetErrorMsg, code);
    }

    std::string GetDriverVersion() const { return detail::FetchText(api_->GetDriverVersion); }
    std::string GetDllVersion() const { return detail::FetchText(api_->GetDllVersion); }
    std::string GetVidAndPid() const { return detail::FetchText(api_->GetVidAndPid); }
    std::string GetPrintNumber() const {
        // The fetch tests no capacity, and the key may have been changed since the size query:
        // there is always room for the longest serial number that the key's library hands over.
        constexpr int32_t kLongest = ORVAL_SERIAL_NUMBER_ROOM - 1;
        return std::string(detail::TextOf(detail::Fetch(api_->GetPrintNumber, kLongest)));
    }
    // GetVendorInfo: 0 or 1 gives the Chinese name, 2 the English one, in UTF-8.
    std::string GetVendorInfo(int32_t type) const {
        return detail::FetchText(api_->GetVendorInfo, type);
    }

    void CheckDriverIntegrity(int32_t mode = 1) const {
        detail::Call(api_->CheckDriverIntegrity, mode);
    }
    void RemovePinCache() const { detail::Call(api_->RemovePinCache); }
    void SetCharset(std::string_view first, std::string_view second) const {
        detail::Call(api_->SetCharset, first, second);
    }
    void SetLanguage(std::string_view first, std::string_view second) const {
        detail::Call(api_->SetLanguage, first, second);
    }
    void RegisterCert() const { detail::Call(api_->RegisterCert); }
    void UnregisterCert() const { detail::Call(api_->UnregisterCert); }
    void RepairDriver() const { detail::Call(api_->RepairDriver); }

    // WaitForKeyEvent: blocks until a key comes or goes, or another thread calls StopDetectUKey.
    // WARNING: a stop that comes before the wait has begun is forgotten. EventSource is the wait
    // that can be stopped at any moment.
    KeyEvent WaitForKeyEvent() const {
        char* const no_buffer = nullptr;
        uint32_t event = 0;
        uint32_t length = 0;
        detail::Call(api_->WaitForKeyEvent, &event, no_buffer, &length);
        // No capacity is tested, so there is room to spare.
        detail::Bytes serial_number(std::max<std::size_t>(length, 64) + 1);
        const int32_t code =
            detail::TryCall(api_->WaitForKeyEvent, &event, serial_number.data(), &length);
        if (event == 0) {  // without an event nothing but the code was reported
            detail::Check(api_->WaitForKeyEvent, code);
        }
        return {static_cast<KeyEvent::Kind>(event), serial_number.data(), code};
    }
    // StopDetectUKey: ends a wait that has begun. The one call that may be made beside it.
    void StopDetectUKey() const {
        detail::Check(api_->StopDetectUKey, detail::TryCall(api_->StopDetectUKey));
    }

    // WaitForKey: the key that is plugged now, or the next one within `timeout`; nothing when none
    // has come by then, or as soon as `stop` is raised. Throws ukey::Error when no waiting helps: a
    // code of the product's own, or at the end one of the key's that is not Condition::kNoKey.
    std::optional<Key> WaitForKey(std::chrono::milliseconds timeout) const;
    std::optional<Key> WaitForKey(std::chrono::milliseconds timeout, const StopFlag& stop) const;

 private:
    explicit Library(std::shared_ptr<const detail::Api> api) : api_(std::move(api)) {
        detail::TextSource::Instance().Attach(api_);
    }

    std::shared_ptr<const detail::Api> api_;
};

}  // namespace ukey

#endif
