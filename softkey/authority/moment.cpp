#include "authority/moment.h"

#include <optional>

#include "base/error.h"
#include "cli/words.h"

namespace softkey {
namespace {

constexpr int64_t kEarliest = -631152000;  // 1950-01-01T00:00:00Z
constexpr int64_t kLatest = 253402300799;  // 9999-12-31T23:59:59Z
constexpr size_t kMostDigits = 12;

std::optional<int64_t> SecondsIn(char unit) {
    switch (unit) {
        case 's':
            return 1;
        case 'm':
            return 60;
        case 'h':
            return 3600;
        case 'd':
            return 86400;
        case 'y':
            return 365 * int64_t{86400};
        default:
            return std::nullopt;
    }
}

// "-30d"
std::optional<int64_t> ReadDistance(const std::string& text) {
    if (text.size() < 3 || text.size() > kMostDigits || (text[0] != '-' && text[0] != '+') ||
        text.find_first_not_of("0123456789", 1) != text.size() - 1) {
        return std::nullopt;
    }
    const std::optional<int64_t> unit = SecondsIn(text.back());
    if (!unit) {
        return std::nullopt;
    }
    const int64_t count = std::stoll(text.substr(1, text.size() - 2));
    // More than a thousand years of seconds leave the years that there are, whatever the unit.
    const int64_t seconds = count > kLatest ? kLatest : count;
    return (text[0] == '-' ? -1 : 1) *
           (seconds > 2 * kLatest / *unit ? 2 * kLatest : seconds * *unit);
}

std::optional<int64_t> ReadDate(const std::string& text) {
    for (const char* const form : {"%Y-%m-%d", "%Y-%m-%dT%H:%M:%SZ"}) {
        std::tm parts{};
        const char* const end = strptime(text.c_str(), form, &parts);
        if (end == nullptr || *end != '\0') {
            continue;
        }
        const std::tm given = parts;
        const std::time_t moment = timegm(&parts);
        // A day that the month does not have becomes another one.
        if (parts.tm_mday == given.tm_mday && parts.tm_mon == given.tm_mon) {
            return moment;
        }
    }
    return std::nullopt;
}

}  // namespace

std::time_t ReadMoment(const std::string& text, std::time_t now) {
    std::optional<int64_t> moment;
    if (text == "now") {
        moment = now;
    } else if (const std::optional<int64_t> distance = ReadDistance(text)) {
        moment = now + *distance;
    } else {
        moment = ReadDate(text);
    }
    if (!moment || *moment < kEarliest || *moment > kLatest) {
        throw Error(
            Code::kInvalidParameter, cli::Say("{1} is no moment", text),
            "Write a day or a moment in UTC, 2026-01-31 or 2026-01-31T12:00:00Z, or so long from "
            "now: -30d, +12h, +2y");
    }
    return *moment;
}

}  // namespace softkey
