// ukey.hpp - the C++17 face of a customer's USB cryptographic key.
//
//     ukey::Library library;                         // or ukey::Library("/path/to/the/library.so")
//     ukey::Key key = library.PluggedKey();
//     std::string request = key.GenerateCertRequest("CertType(1)KeyType(2)HashType(3)");
//
// Header-only, over the C interface of orval_unified_kpxukey.h, which holds the contract of every
// function; a function here keeps the name it has there. What this header takes care of:
//
// 1. Loading. The product is loaded with dlopen. Define UKEY_LINKED, for a whole program, to call
//    the functions that the program is linked with instead.
// 2. Lengths. Every output is a std::string. The size query, the fetch, the families' different
//    ways to count the terminator and a text that grows in between are dealt with in one place.
// 3. Codes. Every code but 0 becomes a ukey::Error, whose std::error_code is of ukey::Category().
//    So does the string-library exception that a malformed text provokes.
// 4. Secrets. Every buffer that the product fills is wiped before it is released, and a decrypted
//    text comes back as a ukey::Secret, which does the same.
// 5. Events. ukey::EventSource waits for keys on a thread of its own and can be stopped and
//    destroyed at any moment of its wait.
//
// Threads: the product is used from one thread at a time, and so are these objects. A waiting
// EventSource is such a thread: make no other call of the product while a source waits, not even
// one that only asks for a text; stop the source first. Its own members may be called meanwhile,
// from any thread.
#ifndef ORVAL_UKEY_HPP
#define ORVAL_UKEY_HPP

#include <dlfcn.h>
#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "orval_unified_kpxukey.h"

// Every exported function, once: the table below, its loading and the tests are made from this
// list.
// clang-format off
#define UKEY_FUNCTIONS(X)                                                                        \
    X(Initialize) X(Finalize) X(GetLastErrCode) X(GetErrorMsg)                                   \
    X(GetDriverVersion) X(GetDllVersion) X(GetVidAndPid) X(GetPrintNumber) X(GetVendorInfo)      \
    X(WaitForKeyEvent) X(StopDetectUKey) X(CheckDriverIntegrity)                                 \
    X(ChangePin) X(VerifyPIN) X(TestVerifyAndCachePin) X(GetPinInfo) X(RemovePinCache)           \
    X(SetCachePinFlag) X(InitUKey) X(TestInitUKey) X(GetLabel) X(SetLabel) X(GetData) X(SetData) \
    X(SetCharset) X(SetLanguage) X(Sign) X(SignHash) X(Batch_Sign) X(AsymDec)                    \
    X(GetCert) X(GetCertDN) X(GetCertInfo) X(DelCertAndTempKey)                                  \
    X(RegisterCert) X(UnregisterCert) X(RepairDriver)                                            \
    X(ImportX509Cert) X(ImportEncX509Cert) X(Batch_ImportX509Cert)                               \
    X(GenerateCertRequest) X(Batch_InitAndGenerateCertRequest)
// clang-format on

// The product's own sources have it already.
#ifndef ORVAL_QRV_EXCEPTION_H
namespace QRV {

// What the product's text handling throws: one code and nothing else. It is declared here so that
// it can be caught; nothing here makes one.
class __attribute__((visibility("default"))) CQrvException final {
 public:
    CQrvException() = delete;
    int32_t Code() const noexcept { return code_; }

 private:
    int32_t code_;
};

static_assert(sizeof(CQrvException) == sizeof(int32_t), "the code is read at offset 0");

}  // namespace QRV
#endif

namespace ukey {

// The product's file name, as the loader finds it.
inline constexpr const char* kLibraryName = "liborval_unified_kpxukey.so";

// The codes that the product itself gives. Every other code is the key's own.
enum class Errc : int32_t {
    kBackendUnavailable = ORVAL_BACKEND_UNAVAILABLE,
    kNotInitialized = ORVAL_NOT_INITIALIZED,
    kUnsupported = ORVAL_UNSUPPORTED,
    kInvalidArgument = ORVAL_INVALID_ARGUMENT,
    kBufferTooSmall = ORVAL_BUFFER_TOO_SMALL,
    kTextOutOfMemory = static_cast<int32_t>(0x8007000E),
    kTextMalformed = static_cast<int32_t>(0x80070057),
};

// OwnText: the meaning of a code that the product itself gives, for when the key's library has no
// text for it or cannot be asked; null for any other code.
inline const char* OwnText(int32_t code) noexcept {
    switch (static_cast<Errc>(code)) {
        case Errc::kBackendUnavailable:
            return "the key maker's library cannot be loaded or lacks an entry point";
        case Errc::kNotInitialized:
            return "the library is not initialised";
        case Errc::kUnsupported:
            return "not supported, or the key's software is not completely installed";
        case Errc::kInvalidArgument:
            return "an argument is missing or its length is out of bounds";
        case Errc::kBufferTooSmall:
            return "the output buffer is too small";
        case Errc::kTextOutOfMemory:
            return "the library's text handling ran out of memory";
        case Errc::kTextMalformed:
            return "the library's text handling met a malformed text";
    }
    return nullptr;
}

// The product cannot be loaded, or lacks one of the functions.
class LoadError : public std::runtime_error {
 public:
    LoadError(const std::string& path, const std::string& reason)
        : std::runtime_error("cannot load " + path + ": " + reason) {}
};

namespace detail {

// Memory that is zeroed before it is given back, so that no caller has to know which texts are
// secret.
template <typename T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <typename U>
    explicit WipingAllocator(const WipingAllocator<U>& /*other*/) noexcept {}
    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* memory, std::size_t count) noexcept {
        explicit_bzero(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    template <typename U>
    bool operator==(const WipingAllocator<U>& /*other*/) const noexcept {
        return true;
    }
    template <typename U>
    bool operator!=(const WipingAllocator<U>& /*other*/) const noexcept {
        return false;
    }
};

using Bytes = std::vector<char, WipingAllocator<char>>;

// One exported function and the name that errors give it.
template <typename Function>
struct Entry {
    const char* name;
    Function function;
};

struct Functions {
#define UKEY_MEMBER(name) Entry<decltype(&::name)> name;
    UKEY_FUNCTIONS(UKEY_MEMBER)
#undef UKEY_MEMBER
};

struct Api : Functions {
    const uint8_t* init_flag;
    int32_t* last_error;
    std::shared_ptr<void> handle;
};

inline std::string LoaderReason() {
    const char* reason = dlerror();
    return reason == nullptr ? "the loader gives no reason" : reason;
}

// The one place where an untyped symbol becomes a typed pointer.
template <typename Pointer>
Pointer Resolve(void* handle, const std::string& path, const char* name) {
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr) {
        throw LoadError(path, LoaderReason());
    }
    return reinterpret_cast<Pointer>(symbol);
}

inline std::shared_ptr<const Api> LoadApi(const std::string& path) {
    void* opened = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr) {
        throw LoadError(path, LoaderReason());
    }
    const std::shared_ptr<void> handle(opened, [](void* open) { dlclose(open); });
#define UKEY_RESOLVE(name) {#name, Resolve<decltype(&::name)>(opened, path, #name)},
    return std::make_shared<const Api>(Api{{UKEY_FUNCTIONS(UKEY_RESOLVE)},
                                           Resolve<const uint8_t*>(opened, path, "g_initFlag"),
                                           Resolve<int32_t*>(opened, path, "G_LastError"),
                                           handle});
#undef UKEY_RESOLVE
}

#ifdef UKEY_LINKED
inline std::shared_ptr<const Api> DefaultApi() {
#define UKEY_ADDRESS(name) {#name, &::name},
    return std::make_shared<const Api>(
        Api{{UKEY_FUNCTIONS(UKEY_ADDRESS)}, &g_initFlag, &G_LastError, nullptr});
#undef UKEY_ADDRESS
}
#else
inline std::shared_ptr<const Api> DefaultApi() {
    return LoadApi(kLibraryName);
}
#endif

template <typename T>
T Pass(T value) {
    return value;
}

inline const char* Pass(const std::string& text) {
    return text.c_str();
}

// A text that may be left out is a null pointer then.
inline const char* Pass(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

// Whether a text can be passed whole: it would end at a zero byte inside.
inline bool IsPassable(const std::string& text) {
    return text.find('\0') == std::string::npos;
}

inline bool IsPassable(const std::optional<std::string>& text) {
    return !text || IsPassable(*text);
}

template <typename T>
bool IsPassable(const T& /*value*/) {
    return true;
}

// Calls the entry and gives its code, or the code of the exception that left it.
template <typename Function, typename... Arguments>
int32_t TryCall(const Entry<Function>& entry, const Arguments&... arguments) {
    try {
        return entry.function(Pass(arguments)...);
    } catch (const QRV::CQrvException& thrown) {
        return thrown.Code();
    }
}

// What a fetch brought: `length` bytes of `buffer`.
struct Fetched {
    Bytes buffer;
    std::size_t length = 0;
};

// One fetch into a buffer of `capacity` bytes. Many calls accept a capacity equal to the text's
// length and then write the terminator behind it, so there is one byte more than they are told of.
// On -404 `capacity` becomes one that holds the length just reported, counted either way.
template <typename Function, typename... Arguments>
int32_t TryFetchOnce(const Entry<Function>& entry, int32_t& capacity, Fetched& fetched,
                     const Arguments&... arguments) {
    fetched.buffer = Bytes(static_cast<std::size_t>(capacity) + 1);
    int32_t length = capacity;
    const int32_t code = TryCall(entry, arguments..., fetched.buffer.data(), &length);
    if (code == ORVAL_BUFFER_TOO_SMALL && length < std::numeric_limits<int32_t>::max()) {
        capacity = std::max(capacity, length + 1);
    }
    fetched.length = static_cast<std::size_t>(std::clamp(length, 0, capacity));
    return code;
}

// How often a text may outgrow the size just asked for before the call is given up.
constexpr int kFetchAttempts = 8;

// The whole exchange: ask for the size, fetch, and ask again when the text has grown in between.
// Asking again, and not only enlarging the buffer, lets a certificate request be made once and
// then served. `least` is room to give whatever the size query says.
template <typename Function, typename... Arguments>
int32_t TryFetch(const Entry<Function>& entry, int32_t least, Fetched& fetched,
                 const Arguments&... arguments) {
    int32_t code = ORVAL_BUFFER_TOO_SMALL;
    char* const no_buffer = nullptr;
    for (int attempt = 0; attempt < kFetchAttempts && code == ORVAL_BUFFER_TOO_SMALL; ++attempt) {
        int32_t asked = 0;
        code = TryCall(entry, arguments..., no_buffer, &asked);
        if (code != ORVAL_OK) {
            return code;
        }
        if (asked < 0) {  // an estimate beyond 32 bits: the input is too long for this interface
            return ORVAL_INVALID_ARGUMENT;
        }
        least = std::max(asked, least);
        code = TryFetchOnce(entry, least, fetched, arguments...);
    }
    return code;
}

// The text fetched. Some calls count the terminator, some do not, some report the room that there
// was: the buffer was zeroed, so what is not text at its end are zero bytes.
inline std::string_view TextOf(const Fetched& fetched) {
    std::string_view text(fetched.buffer.data(), fetched.length);
    const std::size_t last = text.find_last_not_of('\0');
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

// The library that the error category asks for texts: the one opened last, as long as it is open.
class TextSource {
 public:
    // Never destroyed, because an error may be explained while the process ends.
    static TextSource& Instance() {
        static auto* const instance = new TextSource;
        return *instance;
    }

    void Attach(const std::shared_ptr<const Api>& api) {
        const std::lock_guard<std::mutex> lock(mutex_);
        api_ = api;
    }

    std::shared_ptr<const Api> Current() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return api_.lock();
    }

 private:
    std::mutex mutex_;
    std::weak_ptr<const Api> api_;
};

// GetErrorMsg's text, or none. The last error stays that of the call that is being explained.
inline std::string BackendText(const Api& api, int32_t code) noexcept {
    const int32_t last_error = *api.last_error;
    std::string text;
    try {
        Fetched fetched;
        if (TryFetch(api.GetErrorMsg, 0, fetched, code) == ORVAL_OK) {
            text = TextOf(fetched);
        }
    } catch (const std::exception&) {
        // Out of memory: the caller has a text of its own.
    }
    *api.last_error = last_error;
    return text;
}

// A code that the product throws and never returns: the key's library knows nothing of it, and
// would say as much.
inline bool IsOfTexts(int32_t code) noexcept {
    const Errc thrown = static_cast<Errc>(code);
    return thrown == Errc::kTextOutOfMemory || thrown == Errc::kTextMalformed;
}

class CodeCategory final : public std::error_category {
 public:
    const char* name() const noexcept override { return "ukey"; }

    std::string message(int code) const override {
        if (code == ORVAL_OK) {
            return "success";
        }
        if (IsOfTexts(code)) {
            return OwnText(code);
        }
        const std::shared_ptr<const Api> api = TextSource::Instance().Current();
        std::string text = api == nullptr ? std::string() : BackendText(*api, code);
        if (!text.empty()) {
            return text;
        }
        const char* own = OwnText(code);
        return own == nullptr ? "the key has no text for this code" : own;
    }
};

// A code as the product's log and the key's documents show it.
inline std::string Hexadecimal(int32_t code) {
    char text[sizeof "0x00000000"];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
    return text;
}

}  // namespace detail

// Category: the codes of the product and of the key behind it, with the texts of GetErrorMsg; where
// it gives none, and for what the product throws, with OwnText.
inline const std::error_category& Category() noexcept {
    static const detail::CodeCategory category;
    return category;
}

// make_error_code: found by std::error_code when it is compared with an Errc.
inline std::error_code make_error_code(Errc code) noexcept {
    return {static_cast<int>(code), Category()};
}

// A function of the product gave a code other than 0.
class Error : public std::system_error {
 public:
    Error(const char* function, int32_t code)
        : std::system_error(std::error_code(code, Category()),
                            std::string(function) + " gave " + detail::Hexadecimal(code) + " (" +
                                std::to_string(code) + ")"),
          function_(function) {}

    // Function: the exported function's name.
    const char* Function() const noexcept { return function_; }

    // Code: what it gave.
    int32_t Code() const noexcept { return code().value(); }

 protected:
    Error(const char* function, int32_t code, const std::string& what)
        : std::system_error(std::error_code(code, Category()), what), function_(function) {}

 private:
    const char* function_;
};

// A text with a zero byte inside was given for a function, which has not been called: the text
// would reach the key cut short, and what is signed would not be what was given. The code is -401.
class ZeroByteError final : public Error {
 public:
    explicit ZeroByteError(const char* function)
        : Error(function, ORVAL_INVALID_ARGUMENT,
                std::string(function) + " was not called: a text has a zero byte inside") {}
};

// Wipe: overwrites a text in a way that the compiler does not leave out, and empties it.
inline void Wipe(std::string& text) noexcept {
    explicit_bzero(text.data(), text.size());
    text.clear();
}

// A text that is wiped when its owner goes. Moves, but does not copy.
class Secret {
 public:
    explicit Secret(detail::Fetched fetched)
        : bytes_(std::move(fetched.buffer)), length_(fetched.length) {}
    Secret(Secret&&) = default;
    Secret& operator=(Secret&&) = default;
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() = default;

    // View: the text, as long as this object lives.
    std::string_view View() const { return {bytes_.data(), std::min(length_, bytes_.size())}; }

    // Text: a copy, which is the caller's to wipe.
    std::string Text() const { return std::string(View()); }

 private:
    detail::Bytes bytes_;
    std::size_t length_;
};

namespace detail {

template <typename Function>
void Check(const Entry<Function>& entry, int32_t code) {
    if (code != ORVAL_OK) {
        throw Error(entry.name, code);
    }
}

template <typename Function, typename... Arguments>
void CheckTexts(const Entry<Function>& entry, const Arguments&... arguments) {
    if (!(IsPassable(arguments) && ...)) {
        throw ZeroByteError(entry.name);
    }
}

template <typename Function, typename... Arguments>
void Call(const Entry<Function>& entry, const Arguments&... arguments) {
    CheckTexts(entry, arguments...);
    Check(entry, TryCall(entry, arguments...));
}

template <typename Function, typename... Arguments>
Fetched Fetch(const Entry<Function>& entry, int32_t least, const Arguments&... arguments) {
    CheckTexts(entry, arguments...);
    Fetched fetched;
    Check(entry, TryFetch(entry, least, fetched, arguments...));
    return fetched;
}

template <typename Function, typename... Arguments>
std::string FetchText(const Entry<Function>& entry, const Arguments&... arguments) {
    return std::string(TextOf(Fetch(entry, 0, arguments...)));
}

// A record: every byte counts, zero bytes at its end as well.
template <typename Function, typename... Arguments>
std::string FetchRecord(const Entry<Function>& entry, const Arguments&... arguments) {
    const Fetched fetched = Fetch(entry, 0, arguments...);
    return std::string(fetched.buffer.data(), fetched.length);
}

inline bool IsInitialized(const Api& api) {
    return __atomic_load_n(api.init_flag, __ATOMIC_ACQUIRE) != 0;
}

// Two functions do not bind the key's library on their own as all others do.
inline void EnsureInitialized(const Api& api) {
    if (!IsInitialized(api)) {
        Call(api.Initialize);
    }
}

}  // namespace detail

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

    void InitUKey() const {
        detail::EnsureInitialized(*api_);
        detail::Call(api_->InitUKey, serial_number_);
    }
    void TestInitUKey(void* param) const {
        detail::Call(api_->TestInitUKey, serial_number_, param);
    }
    std::string GetLabel() const { return detail::FetchText(api_->GetLabel, serial_number_); }
    void SetLabel(const std::string& label) const {
        detail::Call(api_->SetLabel, serial_number_, label);
    }
    std::string GetData(int32_t index) const {
        return detail::FetchText(api_->GetData, serial_number_, index);
    }
    void SetData(int32_t index, const std::string& data) const {
        detail::Call(api_->SetData, serial_number_, index, data);
    }

    std::string Sign(int32_t param1, int32_t param2, const std::string& data,
                     const std::string& warning) const {
        return detail::FetchText(api_->Sign, serial_number_, param1, param2, data, warning);
    }
    std::string SignHash(int32_t param1, int32_t param2, const std::string& data,
                         int32_t param3) const {
        return detail::FetchText(api_->SignHash, serial_number_, param1, param2, data, param3);
    }
    std::string Batch_Sign(const BatchSignInput& input) const {
        return std::string(detail::TextOf(
            detail::Fetch(api_->Batch_Sign, detail::BatchSignRoom(input), input.flags,
                          serial_number_, input.param3, input.param4, input.text, input.param6,
                          input.param7, input.param8, input.param9, input.batch, input.param11)));
    }
    Secret AsymDec(int32_t param1, uint32_t param2, const std::string& cipher) const {
        detail::Fetched plain =
            detail::Fetch(api_->AsymDec, 0, serial_number_, param1, param2, cipher);
        plain.length = detail::TextOf(plain).size();
        return Secret(std::move(plain));
    }

    std::string GetCert(int32_t param1, int32_t param2) const {
        return detail::FetchText(api_->GetCert, serial_number_, param1, param2);
    }
    std::string GetCertDN(int32_t param1, int32_t param2) const {
        return detail::FetchText(api_->GetCertDN, serial_number_, param1, param2);
    }
    // GetCertInfo: the key's record or text on a certificate, up to 1280 bytes.
    std::string GetCertInfo(intptr_t selector) const {
        return detail::FetchRecord(api_->GetCertInfo, serial_number_, selector);
    }
    void DelCertAndTempKey(int32_t param1, int32_t param2) const {
        detail::Call(api_->DelCertAndTempKey, serial_number_, param1, param2);
    }
    void ImportX509Cert(const std::string& pkcs7) const {
        detail::Call(api_->ImportX509Cert, serial_number_, pkcs7);
    }
    void ImportEncX509Cert(const std::string& pkcs7, const std::string& enveloped_key) const {
        detail::Call(api_->ImportEncX509Cert, serial_number_, pkcs7, enveloped_key);
    }
    void Batch_ImportX509Cert(const std::string& package) const {
        detail::Call(api_->Batch_ImportX509Cert, serial_number_, package);
    }

    std::string GenerateCertRequest(const std::string& description) const {
        return detail::FetchText(api_->GenerateCertRequest, serial_number_, description);
    }
    // WARNING: mode 1 initialises the key first.
    std::string Batch_InitAndGenerateCertRequest(uint32_t mode,
                                                 const std::string& description) const {
        return detail::FetchText(api_->Batch_InitAndGenerateCertRequest, serial_number_, mode,
                                 description);
    }

 private:
    std::shared_ptr<const detail::Api> api_;
    std::string serial_number_;
};

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
    void Finalize() const { api_->Finalize.function(); }
    bool IsInitialized() const { return detail::IsInitialized(*api_); }
    int32_t GetLastErrCode() const {
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
    void SetCharset(const std::string& first, const std::string& second) const {
        detail::Call(api_->SetCharset, first, second);
    }
    void SetLanguage(const std::string& first, const std::string& second) const {
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
    // StopDetectUKey: ends a wait that has begun.
    void StopDetectUKey() const { detail::Call(api_->StopDetectUKey); }

 private:
    explicit Library(std::shared_ptr<const detail::Api> api) : api_(std::move(api)) {
        detail::TextSource::Instance().Attach(api_);
    }

    std::shared_ptr<const detail::Api> api_;
};

namespace detail {

// The right to wait: the product supports one wait at a time.
class WaitPermit {
 public:
    WaitPermit() {
        if (Taken().exchange(true)) {
            throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy),
                                    "another event source is waiting");
        }
    }
    WaitPermit(WaitPermit&& other) noexcept : held_(std::exchange(other.held_, false)) {}
    WaitPermit(const WaitPermit&) = delete;
    WaitPermit& operator=(const WaitPermit&) = delete;
    WaitPermit& operator=(WaitPermit&&) = delete;
    ~WaitPermit() {
        if (held_) {
            Taken() = false;
        }
    }

 private:
    static std::atomic<bool>& Taken() {
        static std::atomic<bool> taken{false};
        return taken;
    }
    bool held_ = true;
};

// A descriptor that is readable while something is to be had.
class Signal {
 public:
    Signal() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
        if (descriptor_ < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal() { close(descriptor_); }

    int Descriptor() const noexcept { return descriptor_; }
    void Raise() noexcept { eventfd_write(descriptor_, 1); }
    void Lower() noexcept {
        eventfd_t one = 0;
        eventfd_read(descriptor_, &one);
    }

 private:
    int descriptor_;
};

// What the waiting thread and the event source share. The thread may outlast neither the library
// nor this, so both are held here.
class EventQueue {
 public:
    explicit EventQueue(Library library) : library_(std::move(library)) {}

    int Descriptor() const noexcept { return available_.Descriptor(); }
    bool IsFinished() const noexcept { return finished_; }
    void RequestStop() noexcept { stopping_ = true; }
    const Library& Product() const noexcept { return library_; }

    // The waiting thread: events into the queue until a stop or a failure.
    void Run() noexcept {
        try {
            while (!stopping_) {
                Deliver(library_.WaitForKeyEvent());
            }
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex_);
            failure_ = std::current_exception();
        }
        finished_ = true;
        available_.Raise();  // and it stays raised: whoever comes later need not wait
    }

    // The next event if there is one. Throws what ended the wait, once no event is left.
    std::optional<KeyEvent> Take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!events_.empty()) {
            KeyEvent event = std::move(events_.front());
            events_.pop_front();
            available_.Lower();
            return event;
        }
        if (failure_ && !stopping_) {
            std::rethrow_exception(failure_);
        }
        return std::nullopt;
    }

 private:
    // A stop that somebody else asked for, or an event that concerns no key, is no event.
    void Deliver(KeyEvent event) {
        if (event.kind == KeyEvent::Kind::kInserted || event.kind == KeyEvent::Kind::kRemoved) {
            const std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(std::move(event));
            available_.Raise();
        }
    }

    Library library_;
    Signal available_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> finished_{false};
    std::mutex mutex_;
    std::deque<KeyEvent> events_;
    std::exception_ptr failure_;
};

}  // namespace detail

// Keys coming and going. A thread of its own waits from construction on and queues what happens,
// so that nothing is missed between two calls of Next. One source can wait at a time; a second one
// fails with std::errc::device_or_resource_busy.
//
// WARNING: while it waits, this is the one thread that uses the product. Stop or destroy it before
// anything else is asked of the product or of a key, and start another one afterwards.
//
// Any thread may call any member, and Stop brings those back that are inside Next, with no event.
// Destroying is for the owner, at any moment of the wait, but as with any object only when no other
// thread is inside a member: stop it and let them come back first.
class EventSource {
 public:
    explicit EventSource(Library library)
        : queue_(std::make_shared<detail::EventQueue>(std::move(library))),
          waiter_([queue = queue_, permit = detail::WaitPermit()] { queue->Run(); }) {}
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    ~EventSource() { Stop(); }

    // Next: the next event, waiting for it. Nothing after a stop. Throws ukey::Error when the
    // wait itself has failed; the source is then at its end.
    std::optional<KeyEvent> Next() { return Await(std::nullopt); }

    // NextFor: the same, waiting no longer than `timeout`, and then nothing.
    std::optional<KeyEvent> NextFor(std::chrono::milliseconds timeout) {
        return Await(std::chrono::steady_clock::now() + timeout);
    }

    // IsFinished: no further event will come.
    bool IsFinished() const noexcept { return queue_->IsFinished(); }

    // Descriptor: readable while Next has something to say, for a poll loop. Not to be read.
    int Descriptor() const noexcept { return queue_->Descriptor(); }

    // Stop: ends the wait for good and returns when it has ended, which takes as long as one wait
    // of the token library and 20 ms more. Events already queued can still be taken.
    void Stop() noexcept {
        // The product forgets a stop that comes before its wait has begun, and the waiting thread
        // may be anywhere, so the stop is repeated until the thread says that it is through.
        queue_->RequestStop();
        while (!queue_->IsFinished()) {
            StopOnce();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::lock_guard<std::mutex> lock(join_);
        if (waiter_.joinable()) {
            waiter_.join();
        }
    }

 private:
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    void StopOnce() noexcept {
        try {
            queue_->Product().StopDetectUKey();
        } catch (const std::exception&) {
            // The next repetition may succeed; there is nobody to tell.
        }
    }

    static int PollTimeout(const Deadline& deadline) {
        if (!deadline) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            *deadline - std::chrono::steady_clock::now());
        return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(
            left.count(), 0, std::numeric_limits<int>::max()));
    }

    std::optional<KeyEvent> Await(const Deadline& deadline) {
        const std::shared_ptr<detail::EventQueue> queue = queue_;
        for (;;) {
            // Read before the queue is looked at: an end seen first means that the queue was full.
            const bool finished = queue->IsFinished();
            std::optional<KeyEvent> event = queue->Take();
            const int timeout = PollTimeout(deadline);
            if (event || finished || timeout == 0) {
                return event;
            }
            pollfd available{queue->Descriptor(), POLLIN, 0};
            poll(&available, 1, timeout);
        }
    }

    std::shared_ptr<detail::EventQueue> queue_;
    std::mutex join_;
    std::thread waiter_;
};

}  // namespace ukey

namespace std {
template <>
struct is_error_code_enum<ukey::Errc> : true_type {};
}  // namespace std

#endif
