#include "bundle/privacy.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace bundle {
namespace {

// A shorter one is masked only as a word of its own: it may be a part of anything.
constexpr size_t kShortSerialNumber = 8;
// What a serial number looks like in a text that nobody has taken apart: capitals and digits.
constexpr size_t kLooksLikeOne = 12;
constexpr std::ptrdiff_t kDigitsOfOne = 4;
constexpr size_t kShortName = 3;

bool IsOfWord(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

bool IsOfSerialNumber(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z');
}

bool IsWordAt(const std::string& text, size_t at, size_t size) {
    return (at == 0 || !IsOfWord(text[at - 1])) &&
           (at + size == text.size() || !IsOfWord(text[at + size]));
}

enum class Where { kAnywhere, kAsWord };

void ReplaceAll(std::string& text, const std::string& what, const std::string& by, Where where) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos;) {
        if (where == Where::kAsWord && !IsWordAt(text, at, what.size())) {
            ++at;
        } else {
            text.replace(at, what.size(), by);
            at += by.size();
        }
    }
}

bool LooksLikeSerialNumber(const std::string& run) {
    return run.size() >= kLooksLikeOne && std::count_if(run.begin(), run.end(), [](char character) {
                                              return character >= '0' && character <= '9';
                                          }) >= kDigitsOfOne;
}

std::string HostName() {
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

}  // namespace

Privacy::Privacy(logs::Masks& masks) : masks_(masks) {
    const char* const home = std::getenv("HOME");
    const passwd* const user = getpwuid(geteuid());
    home_ = home != nullptr ? home : "";
    // Everybody's computer has the administrator, and texts speak of him.
    if (user != nullptr && user->pw_uid != 0) {
        names_.push_back({user->pw_name, "USER"});
    }
    names_.push_back({HostName(), "HOST"});
}

void Privacy::AddSerialNumber(const std::string& serial_number) {
    if (serial_number.empty()) {
        return;
    }
    serial_numbers_.push_back(serial_number);
    std::stable_sort(
        serial_numbers_.begin(), serial_numbers_.end(),
        [](const std::string& one, const std::string& other) { return one.size() > other.size(); });
}

std::string Privacy::WithoutUnknown(const std::string& text) const {
    std::string masked;
    for (size_t at = 0; at < text.size();) {
        size_t end = at;
        while (end < text.size() && IsOfSerialNumber(text[end])) {
            ++end;
        }
        const std::string run = text.substr(at, end - at);
        masked += LooksLikeSerialNumber(run) ? masks_.SerialNumber(run) : run;
        masked += end < text.size() ? text.substr(end, 1) : "";
        at = end + 1;
    }
    return masked;
}

std::string Privacy::Masked(std::string text) const {
    for (const std::string& one : serial_numbers_) {
        ReplaceAll(text, one, masks_.SerialNumber(one),
                   one.size() < kShortSerialNumber ? Where::kAsWord : Where::kAnywhere);
    }
    text = WithoutUnknown(text);
    if (home_.size() > 1) {
        ReplaceAll(text, home_, "~", Where::kAnywhere);
    }
    for (const Word& name : names_) {
        if (name.word.size() >= kShortName) {
            ReplaceAll(text, name.word, name.mask, Where::kAsWord);
        }
    }
    return text;
}

}  // namespace bundle
