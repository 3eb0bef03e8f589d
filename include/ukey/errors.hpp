// Part of ukey.hpp: the codes, their texts, and the exceptions that carry them.
#ifndef ORVAL_UKEY_ERRORS_HPP
#define ORVAL_UKEY_ERRORS_HPP

#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>

#include "fetch.hpp"
#include "load.hpp"

namespace ukey {

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

namespace detail {

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

}  // namespace ukey

namespace std {
template <>
struct is_error_code_enum<ukey::Errc> : true_type {};
}  // namespace std

#endif
