#ifndef BUNDLE_PRIVACY_H
#define BUNDLE_PRIVACY_H

#include <string>
#include <string_view>
#include <vector>

#include "logs/masks.h"

namespace bundle {

// What of a text may be shown to others, in every file of the bundle alike. Serial numbers have the
// masks that the log's have: those that are known, and whatever looks like one. Of the computer's
// user neither name nor home are shown, nor the computer's name.
class Privacy final {
 public:
    explicit Privacy(logs::Masks& masks);

    void AddSerialNumber(const std::string& serial_number);
    std::string Masked(std::string text) const;

 private:
    struct Word {
        std::string word;
        std::string mask;
    };

    std::string WithoutUnknown(const std::string& text) const;

    logs::Masks& masks_;
    std::vector<std::string> serial_numbers_;  // the longest first
    std::string home_;
    std::vector<Word> names_;
};

}  // namespace bundle

#endif
