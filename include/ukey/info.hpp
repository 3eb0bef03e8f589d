// Part of ukey.hpp: what a key's records on PIN and certificates tell. The interface leaves them to
// the key's maker; these are the forms that are known, and the records themselves stay within
// reach.
#ifndef ORVAL_UKEY_INFO_HPP
#define ORVAL_UKEY_INFO_HPP

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ukey {

// How many wrong PINs a key still takes. Asking for that costs no try.
struct PinTries {
    uint32_t left = 0;
    uint32_t at_most = 0;
};

// ParsePinTries: a record of GetPinInfo, two 32-bit numbers with the least significant byte first.
// Nothing when it is something else: numbers that make no sense are none.
inline std::optional<PinTries> ParsePinTries(std::string_view record) {
    constexpr std::size_t kNumberSize = 4;
    if (record.size() != 2 * kNumberSize) {
        return std::nullopt;
    }
    const auto number_at = [record](std::size_t offset) {
        uint32_t number = 0;
        for (std::size_t at = offset + kNumberSize; at != offset;) {
            number = number << 8U | static_cast<unsigned char>(record[--at]);
        }
        return number;
    };
    const PinTries tries{number_at(0), number_at(kNumberSize)};
    if (tries.at_most == 0 || tries.left > tries.at_most) {
        return std::nullopt;
    }
    return tries;
}

// What GetCertInfo tells of a certificate. A member is empty where the key does not tell it.
struct CertFields {
    using Time = std::chrono::system_clock::time_point;

    std::string subject;
    std::string issuer;
    std::string serial_number;  // of the certificate, in hexadecimal
    std::optional<Time> not_before;
    std::optional<Time> not_after;
    std::vector<std::string> usages;
    std::string text;  // all of it, as the key gives it
};

namespace detail {

inline std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks(" \t\r\0", 4);
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The text up to the separator, which it is cut off with.
inline std::string_view TakeUpTo(char separator, std::string_view& text) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

// "2026-01-31 12:00:00", in UTC.
inline std::optional<CertFields::Time> ParseTime(std::string_view text) {
    const std::string terminated(text);
    std::tm parts{};
    const char* const end = strptime(terminated.c_str(), "%Y-%m-%d %H:%M:%S", &parts);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    return std::chrono::system_clock::from_time_t(timegm(&parts));
}

inline void TakeField(std::string_view name, std::string_view value, CertFields& fields) {
    if (name == "Subject") {
        fields.subject = value;
    } else if (name == "Issuer") {
        fields.issuer = value;
    } else if (name == "SerialNumber") {
        fields.serial_number = value;
    } else if (name == "NotBefore") {
        fields.not_before = ParseTime(value);
    } else if (name == "NotAfter") {
        fields.not_after = ParseTime(value);
    } else if (name == "Usage") {
        fields.usages.clear();
        while (!value.empty()) {
            fields.usages.emplace_back(Trimmed(TakeUpTo(',', value)));
        }
    }
}

}  // namespace detail

// ParseCertFields: a record of GetCertInfo, lines "Name: value" as the software key gives them,
// in any order. Lines that are something else tell nothing and do no harm.
inline CertFields ParseCertFields(std::string_view record) {
    CertFields fields;
    fields.text = detail::Trimmed(record);
    while (!record.empty()) {
        std::string_view value = detail::TakeUpTo('\n', record);
        const std::string_view name = detail::Trimmed(detail::TakeUpTo(':', value));
        detail::TakeField(name, detail::Trimmed(value), fields);
    }
    return fields;
}

}  // namespace ukey

#endif
