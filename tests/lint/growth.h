#ifndef ORVAL_TESTS_LINT_GROWTH_H
#define ORVAL_TESTS_LINT_GROWTH_H

#include <ctime>
#include <string>

namespace growth {

// The processor time that `read` takes for a text of so many bytes, which is the part over and
// over.
template <typename Read>
double SecondsToRead(const Read& read, const std::string& part, size_t size) {
    std::string text;
    while (text.size() < size) {
        text += part;
    }
    const std::clock_t start = std::clock();
    read(text);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Whether an eightfold text takes about eight times as long; quadratic work takes 64 times. Another
// program can spoil a measurement, and the next ones as well only by a rare chance.
template <typename Read>
bool IsLinear(const Read& read, const std::string& part) {
    constexpr size_t kSmall = 1U << 15U;
    for (int attempt = 0; attempt < 5; ++attempt) {
        const double small = SecondsToRead(read, part, kSmall);
        if (SecondsToRead(read, part, 8 * kSmall) < 16 * small + 0.01) {
            return true;
        }
    }
    return false;
}

}  // namespace growth

#endif
