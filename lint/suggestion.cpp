#include "lint/suggestion.h"

#include <algorithm>

namespace lint {
namespace {

constexpr size_t kLeastBeginning = 3;
// Longer ones are no misspelt name, and would take their time.
constexpr size_t kLongestName = 40;

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Letters(std::string_view text) {
    std::string letters;
    for (const char c : text) {
        if (static_cast<unsigned char>(c) > ' ') {
            letters += Lower(c);
        }
    }
    return letters;
}

}  // namespace

size_t Distance(std::string_view a, std::string_view b) {
    using Row = std::vector<size_t>;
    Row before(b.size() + 1);
    Row above(b.size() + 1);
    Row row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        above[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = Lower(a[i - 1]) == Lower(b[j - 1]) ? 0 : 1;
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + changed});
            const bool swapped = i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) &&
                                 Lower(a[i - 2]) == Lower(b[j - 1]);
            row[j] = swapped ? std::min(row[j], before[j - 2] + 1) : row[j];
        }
        before.swap(above);
        above.swap(row);
    }
    return above[b.size()];
}

std::string Nearest(std::string_view name, const std::vector<std::string_view>& known) {
    const std::string letters = Letters(name);
    if (letters.empty() || letters.size() > kLongestName) {
        return {};
    }
    std::string_view nearest;
    size_t least = letters.size();
    for (const std::string_view candidate : known) {
        const bool begins = letters.size() >= kLeastBeginning &&
                            Letters(candidate).compare(0, letters.size(), letters) == 0;
        const size_t distance = begins ? 1 : Distance(letters, candidate);
        if (distance < least && distance <= candidate.size() / 3 + 1) {
            least = distance;
            nearest = candidate;
        }
    }
    return std::string(nearest);
}

FullWidth FindFullWidth(std::string_view text) {
    // U+FF01 to U+FF5E are ASCII's '!' to '~', in three bytes of UTF-8.
    constexpr std::string_view kMeant = "()|0123456789,";
    for (size_t at = text.find('\xEF'); at != text.npos; at = text.find('\xEF', at + 1)) {
        if (at + 2 >= text.size()) {
            break;
        }
        const auto second = static_cast<unsigned char>(text[at + 1]);
        const auto third = static_cast<unsigned char>(text[at + 2]);
        if (second < 0xBC || second > 0xBD || third < 0x80 || third > 0xBF) {
            continue;
        }
        const unsigned point = ((second & 0x3FU) << 6U) | (third & 0x3FU);
        const auto meant = static_cast<char>(point - 0xF00U + 0x20U);
        if (kMeant.find(meant) != kMeant.npos) {
            return {at, std::string(text.substr(at, 3)), std::string(1, meant)};
        }
    }
    return {};
}

}  // namespace lint
