#ifndef CALLS_MASKING_H
#define CALLS_MASKING_H

#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "functions.h"

namespace calls {

// Sixteen bytes in hexadecimal.
std::string NewSalt();
// What recordings that are to be compared have in common.
std::string CommonSalt();

// Puts lower-case letters in the place of texts, as many: equal texts give equal letters as long as
// the salt is the same, and whoever has the salt can only guess texts and try. Texts that agree in
// their first 16 characters agree so masked too, because the device record holds no more of a
// serial number. Any thread may use one.
class Masker {
 public:
    enum class SerialNumbers { kMasked, kShown };

    // longest: of a longer text only the beginning is written down.
    Masker(const std::string& salt, SerialNumbers serial_numbers, size_t longest = SIZE_MAX);

    size_t Longest() const { return longest_; }

    // The text as it may be written down. A serial number is also masked wherever a text shows it,
    // once it has been met as an argument.
    std::string Render(Kind kind, std::string_view text);

 private:
    std::string Mask(std::string_view text) const;
    std::string WithoutSerialNumbers(std::string text) const;

    uint64_t key_[2] = {0, 0};
    SerialNumbers serial_numbers_;
    size_t longest_;
    std::mutex mutex_;
    std::set<std::string> met_;
};

}  // namespace calls

#endif
