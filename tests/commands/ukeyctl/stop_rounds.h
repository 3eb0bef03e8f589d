#ifndef ORVAL_TESTS_COMMANDS_UKEYCTL_STOP_ROUNDS_H
#define ORVAL_TESTS_COMMANDS_UKEYCTL_STOP_ROUNDS_H

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>

// The rounds that the text asks for; nothing when it is not a positive number. A test without a
// single round would prove nothing.
inline std::optional<int> ParseStopRounds(std::string_view text) {
    int rounds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rounds);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && rounds > 0 ? std::optional<int>(rounds) : std::nullopt;
}

// What UKEY_STOP_ROUNDS asks for; without it, the usual number.
inline std::optional<int> StopRounds(int usual) {
    const char* wanted = std::getenv("UKEY_STOP_ROUNDS");
    return wanted == nullptr ? usual : ParseStopRounds(wanted);
}

#endif
