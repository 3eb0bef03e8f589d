#include "cli/checks.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "cli/words.h"

namespace cli {
namespace {

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

}  // namespace

std::string CheckNotEmpty(const std::string& value) {
    return value.empty() ? Say("the value is empty; a shell variable may be unset") : "";
}

std::string CheckSerialNumber(const std::string& value) {
    if (value.empty()) {
        return Say("the serial number is empty; a shell variable may be unset");
    }
    return value.front() == '-'
               ? Say("{1} is no serial number; a shell variable may be unset", value)
               : "";
}

Check WholeNumber(int64_t least, int64_t most) {
    return [least, most](const std::string& given) {
        const std::optional<int64_t> number = ReadWholeNumber(given);
        if (number && *number >= least && *number <= most) {
            return std::string();
        }
        const bool bounded = most < std::numeric_limits<int64_t>::max();
        return bounded
                   ? Say("takes a whole number from {1} to {2}, not \"{3}\"", least, most, given)
                   : Say("takes a whole number from {1} on, not \"{2}\"", least, given);
    };
}

Check Seconds(int64_t most) {
    return [most](const std::string& given) {
        const std::optional<double> number = ReadNumber(given);
        return number && *number >= 0 && *number <= static_cast<double>(most)
                   ? std::string()
                   : Say("takes 0 to {1} seconds, not \"{2}\"", most, given);
    };
}

}  // namespace cli
