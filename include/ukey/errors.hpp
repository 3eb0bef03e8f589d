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

#include "codes.hpp"
#include "exception.hpp"
#include "fetch.hpp"
#include "load.hpp"
#include "waiting.hpp"

namespace ukey {

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

class ConditionCategory final : public std::error_category {
 public:
    const char* name() const noexcept override { return "ukey condition"; }

    std::string message(int condition) const override {
        switch (static_cast<Condition>(condition)) {
            case Condition::kNone:
                return "none of the conditions";
            case Condition::kNoKey:
                return "the key is not plugged in";
            case Condition::kPinWrong:
                return "the PIN is wrong";
            case Condition::kPinLocked:
                return "the PIN is locked";
            case Condition::kCancelled:
                return "the dialog was cancelled or could not be shown";
            case Condition::kTooSmall:
                return "a buffer is too small";
        }
        return "unknown condition";
    }
};

class CodeCategory final : public std::error_category {
 public:
    const char* name() const noexcept override { return "ukey"; }

    // What makes a code equal to a condition.
    std::error_condition default_error_condition(int code) const noexcept override;

    std::string message(int code) const override {
        if (code == ORVAL_OK) {
            return "success";
        }
        if (IsOfTexts(code)) {
            return OwnText(code);
        }
        // Beside a waiting source the key is not asked.
        const std::shared_ptr<const Api> api =
            IsWaitedBeside() ? nullptr : TextSource::Instance().Current();
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

// make_error_condition: found by std::error_code when it is compared with a Condition.
inline std::error_condition make_error_condition(Condition condition) noexcept {
    static const detail::ConditionCategory category;
    return {static_cast<int>(condition), category};
}

inline std::error_condition detail::CodeCategory::default_error_condition(int code) const noexcept {
    const Condition condition = ConditionOf(code);
    return condition == Condition::kNone ? std::error_condition(code, *this)
                                         : make_error_condition(condition);
}

// A function of the product gave a code other than 0.
class Error : public Exception {
 public:
    Error(const char* function, int32_t code)
        : Exception(std::error_code(code, Category()), std::string(function) + " gave " +
                                                           detail::Hexadecimal(code) + " (" +
                                                           std::to_string(code) + ")"),
          function_(function) {}

    // Function: the exported function's name.
    const char* Function() const noexcept { return function_; }

    // Code: what it gave.
    int32_t Code() const noexcept { return code().value(); }

 protected:
    Error(const char* function, int32_t code, const std::string& what)
        : Exception(std::error_code(code, Category()), what), function_(function) {}

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
template <>
struct is_error_condition_enum<ukey::Condition> : true_type {};
}  // namespace std

#endif
