#include "doctor/certificate_dates.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "cli/encoding.h"

namespace doctor {
namespace {

constexpr unsigned kSequence = 0x30;
constexpr unsigned kVersion = 0xA0;
constexpr unsigned kUtcTime = 0x17;
constexpr unsigned kGeneralizedTime = 0x18;

// Stops at what is no digit of Base64 (RFC 4648).
std::string FromBase64(std::string_view text) {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        const size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) {
            break;
        }
        bits = bits << 6U | static_cast<uint32_t>(digit);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> static_cast<unsigned>(count) & 0xFFU);
        }
    }
    return bytes;
}

// The elements of a DER text, one behind the other (X.690).
class Der {
 public:
    explicit Der(std::string_view bytes) : rest_(bytes) {}

    unsigned Tag() const { return rest_.empty() ? 0 : static_cast<unsigned char>(rest_[0]); }

    // The contents of the next element; nothing where it does not fit.
    std::string_view Next() {
        const size_t head = HeadSize();
        const size_t length = head == 0 ? 0 : Length(head);
        if (head == 0 || length > rest_.size() - head) {
            rest_ = {};
            return {};
        }
        const std::string_view contents = rest_.substr(head, length);
        rest_.remove_prefix(head + length);
        return contents;
    }

 private:
    unsigned At(size_t place) const { return static_cast<unsigned char>(rest_[place]); }

    // 0: there is none, or it is longer than a certificate's.
    size_t HeadSize() const {
        if (rest_.size() < 2) {
            return 0;
        }
        const size_t more = At(1) < 0x80U ? 0 : At(1) - 0x80U;
        return more > 4 || rest_.size() < 2 + more ? 0 : 2 + more;
    }

    size_t Length(size_t head) const {
        size_t length = head == 2 ? At(1) : 0;
        for (size_t i = 2; i < head; ++i) {
            length = length << 8U | At(i);
        }
        return length;
    }

    std::string_view rest_;
};

std::optional<std::time_t> ReadTime(unsigned tag, std::string_view text) {
    const size_t year_digits = tag == kUtcTime ? 2 : 4;
    if ((tag != kUtcTime && tag != kGeneralizedTime) || text.size() < year_digits + 10 ||
        !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(year_digits) + 10,
                     [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    const auto number = [&](size_t at, size_t digits) {
        return static_cast<int>(
            std::strtol(std::string(text.substr(at, digits)).c_str(), nullptr, 10));
    };
    const int year = number(0, year_digits);
    std::tm time{};
    time.tm_year = tag == kGeneralizedTime ? year - 1900 : year + (year < 50 ? 100 : 0);
    time.tm_mon = number(year_digits, 2) - 1;
    time.tm_mday = number(year_digits + 2, 2);
    time.tm_hour = number(year_digits + 4, 2);
    time.tm_min = number(year_digits + 6, 2);
    time.tm_sec = number(year_digits + 8, 2);
    return timegm(&time);
}

std::optional<std::time_t> NextTime(Der& validity) {
    const unsigned tag = validity.Tag();
    return ReadTime(tag, validity.Next());
}

}  // namespace

std::optional<Validity> ReadValidity(const std::string& text) {
    const std::string bytes = FromBase64(cli::WithoutBlanks(cli::CertificateText(text)));
    Der certificate(Der(bytes).Next());
    if (certificate.Tag() != kSequence) {
        return std::nullopt;
    }
    Der fields(certificate.Next());
    if (fields.Tag() == kVersion) {
        fields.Next();
    }
    fields.Next();  // serial number
    fields.Next();  // algorithm of the signature
    fields.Next();  // issuer
    if (fields.Tag() != kSequence) {
        return std::nullopt;
    }
    Der validity(fields.Next());
    const std::optional<std::time_t> from = NextTime(validity);
    const std::optional<std::time_t> until = NextTime(validity);
    return from && until ? std::optional<Validity>({*from, *until}) : std::nullopt;
}

std::string DayOf(std::time_t time) {
    std::tm parts{};
    char text[32];
    gmtime_r(&time, &parts);
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d", &parts)};
}

}  // namespace doctor
