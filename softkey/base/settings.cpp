#include "base/settings.h"

#include <iconv.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "base/error.h"
#include "base/process_lock.h"

namespace softkey {
namespace {

constexpr size_t kLongestCharacter = 4;

Language LocaleLanguage() {
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const value = std::getenv(name);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        return std::string_view(value).substr(0, 2) == "zh" ? Language::kChinese
                                                            : Language::kEnglish;
    }
    return Language::kEnglish;
}

std::atomic<Language>& LanguageSetting() {
    static std::atomic<Language> setting(LocaleLanguage());
    return setting;
}

std::atomic<Charset>& CharsetSetting() {
    static std::atomic<Charset> setting(Charset::kUtf8);
    return setting;
}

std::string Normalized(std::string_view name) {
    std::string result;
    for (const char c : name) {
        result += c == '-' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return result;
}

// NOLINTNEXTLINE(performance-no-int-to-ptr): the failure value is iconv_open's own
const auto kNoConversion = reinterpret_cast<iconv_t>(-1);

// The C library tells of memory that it had not as of a character set that it has not, which it
// says again.
iconv_t Conversion(const char* to, const char* from) {
    iconv_t conversion = iconv_open(to, from);
    if (conversion == kNoConversion) {
        conversion = iconv_open(to, from);
    }
    return conversion;
}

// Under the process's lock: opening and closing take a lock of the C library's, which a child that
// was forked meanwhile would find held for ever.
class Converter {
 public:
    Converter(const char* to, const char* from) : handle_(Conversion(to, from)) {
        Require(handle_ != kNoConversion, errno == ENOMEM ? Code::kMemory : Code::kNotSupported,
                "the C library lacks the character set");
    }
    ~Converter() { iconv_close(handle_); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    std::string Convert(std::string_view text) {
        std::string input(text);
        std::string output(text.size() * kLongestCharacter, '\0');
        char* from = input.data();
        char* to = output.data();
        size_t from_left = input.size();
        size_t to_left = output.size();
        Require(iconv(handle_, &from, &from_left, &to, &to_left) != static_cast<size_t>(-1),
                Code::kData, "the text is not in the selected character set");
        output.resize(output.size() - to_left);
        return output;
    }

 private:
    ProcessLock lock_;
    iconv_t handle_;
};

}  // namespace

Language CurrentLanguage() {
    return LanguageSetting();
}
Charset CurrentCharset() {
    return CharsetSetting();
}

void SelectLanguage(std::string_view name) {
    const std::string wanted = Normalized(name);
    const bool chinese = wanted == "zh" || wanted == "zh_cn";
    const bool english = wanted == "en" || wanted == "en_us";
    Require(chinese || english, Code::kSelector, "languages are zh_CN and en_US");
    LanguageSetting() = chinese ? Language::kChinese : Language::kEnglish;
}

void SelectCharset(std::string_view name) {
    const std::string wanted = Normalized(name);
    const bool utf8 = wanted == "utf_8" || wanted == "utf8";
    Require(utf8 || wanted == "gb18030", Code::kSelector, "character sets are UTF-8 and GB18030");
    CharsetSetting() = utf8 ? Charset::kUtf8 : Charset::kGb18030;
}

std::string ToClient(std::string_view utf8) {
    if (CurrentCharset() == Charset::kUtf8) {
        return std::string(utf8);
    }
    return Converter("GB18030", "UTF-8").Convert(utf8);
}

std::string FromClient(std::string_view text) {
    // Converting UTF-8 to itself refuses what is not UTF-8.
    const char* const from = CurrentCharset() == Charset::kUtf8 ? "UTF-8" : "GB18030";
    return Converter("UTF-8", from).Convert(text);
}

}  // namespace softkey
