#include "bundle/recording_part.h"

#include <algorithm>
#include <cctype>

namespace bundle {
namespace {

using calls::Json;

constexpr size_t kEncoded = 40;

// Base64 with or without a PEM block around it, or hexadecimal digits: long enough for a name
// inside. What is masked already is lower-case letters.
bool IsEncoded(const std::string& text) {
    const auto is_letter = [](unsigned char one) { return std::islower(one) != 0; };
    const auto may_be_code = [](unsigned char one) {
        return std::isalnum(one) != 0 || one == '+' || one == '/' || one == '=' || one == '-' ||
               std::isspace(one) != 0;
    };
    return text.size() >= kEncoded && !std::all_of(text.begin(), text.end(), is_letter) &&
           (std::all_of(text.begin(), text.end(), may_be_code) ||
            text.find("-----BEGIN") != std::string::npos);
}

class Cleaner final {
 public:
    Cleaner(const calls::Header& header, const Privacy& privacy)
        : masker_(header.salt, calls::Masker::SerialNumbers::kMasked), privacy_(privacy) {}

    void Clean(Json& value) {
        if (value.is_structured()) {
            for (Json& part : value) {
                Clean(part);
            }
        } else if (value.is_string()) {
            const auto text = value.get<std::string>();
            value = IsEncoded(text) ? masker_.Render(calls::Kind::kSecret, text)
                                    : privacy_.Masked(text);
        }
    }

 private:
    calls::Masker masker_;
    const Privacy& privacy_;
};

}  // namespace

std::string WithoutNames(const calls::Recording& recording, const Privacy& privacy) {
    Cleaner cleaner(recording.header, privacy);
    calls::Header header = recording.header;
    header.program = privacy.Masked(header.program);
    std::string text = calls::LineOf(header);
    for (calls::Call call : recording.calls) {
        cleaner.Clean(call.given);
        cleaner.Clean(call.taken);
        text += calls::LineOf(call);
    }
    return text + (recording.end.is_null() ? std::string() : calls::LineOf(recording.end));
}

}  // namespace bundle
