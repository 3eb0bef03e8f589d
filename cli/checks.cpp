#include "cli/checks.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace cli {
namespace {

constexpr const char* kTakes = "takes ";

std::optional<int64_t> ReadWholeNumber(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 0);
    const bool whole = !text.empty() && *end == '\0' && errno == 0;
    return whole ? std::optional<int64_t>(number) : std::nullopt;
}

std::optional<double> ReadNumber(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const bool finite = !text.empty() && *end == '\0' && std::isfinite(number);
    return finite ? std::optional<double>(number) : std::nullopt;
}

std::string Instead(const std::string& given) {
    return ", not \"" + given + "\"";
}

}  // namespace

std::string CheckNotEmpty(const std::string& value) {
    return value.empty() ? "the value is empty; a shell variable may be unset" : "";
}

std::string CheckSerialNumber(const std::string& value) {
    if (value.empty()) {
        return "the serial number is empty; a shell variable may be unset";
    }
    return value.front() == '-' ? value + " is no serial number; a shell variable may be unset"
                                : "";
}

Check WholeNumber(int64_t least, int64_t most) {
    return [least, most](const std::string& given) {
        const std::optional<int64_t> number = ReadWholeNumber(given);
        if (number && *number >= least && *number <= most) {
            return std::string();
        }
        const bool bounded = most < std::numeric_limits<int64_t>::max();
        return kTakes + ("a whole number from " + std::to_string(least)) +
               (bounded ? " to " + std::to_string(most) : " on") + Instead(given);
    };
}

Check Seconds(int64_t most) {
    return [most](const std::string& given) {
        const std::optional<double> number = ReadNumber(given);
        return number && *number >= 0 && *number <= static_cast<double>(most)
                   ? std::string()
                   : kTakes + ("0 to " + std::to_string(most)) + " seconds" + Instead(given);
    };
}

}  // namespace cli
