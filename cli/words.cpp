#include "cli/words.h"

#include <iconv.h>
#include <langinfo.h>
#include <libintl.h>
#include <locale.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "cli/printable.h"

namespace cli {
namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr char kAscii[] = "ANSI_X3.4-1968";

// What a user's environment asks for.
struct Speech {
    std::string domain;
    locale_t locale = nullptr;  // none: English
    iconv_t encoder = nullptr;  // none: what is said is written as UTF-8
    iconv_t decoder = nullptr;
    int english = 0;  // how many ask for it
    bool is_for_scripts = false;
};

Speech& Own() {
    static Speech speech;
    return speech;
}

bool AsksForJson(int count, char** words) {
    char** const end = std::find_if(words, words + count,
                                    [](const char* word) { return std::strcmp(word, "--") == 0; });
    return std::any_of(words, end,
                       [](const char* word) { return std::strcmp(word, "--json") == 0; });
}

// Beside the programs where they are installed, and where they are built.
std::string CatalogueFolder() {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path commands = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* const folder : {ORVAL_LOCALE_FOLDER, "../share/locale"}) {
        const fs::path catalogues = commands / folder;
        if (fs::is_directory(catalogues, error)) {
            return catalogues.string();
        }
    }
    return {};
}

// Nothing where there is nothing to convert, or the C library lacks the set.
iconv_t Converter(const std::string& to, const std::string& from) {
    if (to == from || to == kAscii || from == kAscii) {
        return nullptr;
    }
    iconv_t converter = iconv_open(to.c_str(), from.c_str());
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the failure value is iconv_open's own
    return converter == reinterpret_cast<iconv_t>(-1) ? nullptr : converter;
}

// The calling thread is in the user's locale meanwhile, and nothing else ever is.
class InOwnLocale {
 public:
    InOwnLocale() : before_(uselocale(Own().locale)) {}
    ~InOwnLocale() { uselocale(before_); }
    InOwnLocale(const InOwnLocale&) = delete;
    InOwnLocale& operator=(const InOwnLocale&) = delete;

 private:
    locale_t before_;
};

bool IsEnglish() {
    return Own().locale == nullptr || Own().english > 0;
}

// The character in the terminal's set; nothing where it has none.
std::string EncodedCharacter(iconv_t encoder, std::string character) {
    char bytes[16];
    char* in = character.data();
    char* out = bytes;
    size_t in_left = character.size();
    size_t out_left = sizeof bytes;
    const size_t result = iconv(encoder, &in, &in_left, &out, &out_left);
    if (result != 0) {
        iconv(encoder, nullptr, nullptr, nullptr, nullptr);
        return {};
    }
    return {bytes, sizeof bytes - out_left};
}

}  // namespace

void Speak(const std::string& domain, int count, char** words) {
    Own().is_for_scripts = AsksForJson(count, words);
    const std::string folder = CatalogueFolder();
    locale_t const locale = newlocale(LC_MESSAGES_MASK | LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) {
        return;
    }
    Speech& own = Own();
    const std::string charset = nl_langinfo_l(CODESET, locale);
    own.encoder = Converter(charset, kUtf8);
    own.decoder = Converter(kUtf8, charset);
    if (own.is_for_scripts || folder.empty() ||
        bindtextdomain(domain.c_str(), folder.c_str()) == nullptr ||
        bind_textdomain_codeset(domain.c_str(), kUtf8) == nullptr) {
        freelocale(locale);
        return;
    }
    own.domain = domain;
    own.locale = locale;
}

bool IsForScripts() {
    return Own().is_for_scripts;
}

InEnglish::InEnglish() {
    ++Own().english;
}

InEnglish::~InEnglish() {
    --Own().english;
}

bool IsChinese() {
    // The language's name in itself, as each catalogue gives it.
    return Say("English") == "中文";
}

Word::Word(const char* text) : text_(Say(text)) {}

std::string Say(const std::string& text) {
    if (text.empty() || IsEnglish()) {
        return text;
    }
    const InOwnLocale meanwhile;
    return dgettext(Own().domain.c_str(), text.c_str());
}

std::string SayWith(const std::string& sentence, const std::vector<Word>& words) {
    const std::string form = Say(sentence);
    std::string said;
    for (size_t at = 0; at < form.size(); ++at) {
        const size_t number =
            at + 2 < form.size() && form[at] == '{' && form[at + 2] == '}'
                ? static_cast<size_t>(static_cast<unsigned char>(form[at + 1])) - '1'
                : words.size();
        if (number < words.size()) {
            said += words[number].Text();
            at += 2;
        } else {
            said += form[at];
        }
    }
    return said;
}

std::string SayCount(const char* one, const char* many, uint64_t count,
                     const std::vector<Word>& others) {
    std::vector<Word> words{count};
    words.insert(words.end(), others.begin(), others.end());
    std::string form = count == 1 ? one : many;
    if (!IsEnglish()) {
        const InOwnLocale meanwhile;
        form = dngettext(Own().domain.c_str(), one, many, count);
    }
    return SayWith(form, words);
}

std::string SayError(int error) {
    // Those that a user meets. The C library's own translations need not be installed.
    static constexpr const char* kUsual[] = {Mark("Operation not permitted"),
                                             Mark("No such file or directory"),
                                             Mark("Input/output error"),
                                             Mark("Bad file descriptor"),
                                             Mark("Cannot allocate memory"),
                                             Mark("Permission denied"),
                                             Mark("File exists"),
                                             Mark("Not a directory"),
                                             Mark("Is a directory"),
                                             Mark("Invalid argument"),
                                             Mark("Too many open files"),
                                             Mark("Text file busy"),
                                             Mark("File too large"),
                                             Mark("No space left on device"),
                                             Mark("Read-only file system"),
                                             Mark("Broken pipe"),
                                             Mark("File name too long"),
                                             Mark("Disk quota exceeded"),
                                             Mark("Exec format error"),
                                             Mark("Too many levels of symbolic links"),
                                             Mark("Resource temporarily unavailable")};
    static_cast<void>(kUsual);
    return Say(std::strerror(error));
}

std::string Encoded(const std::string& text) {
    iconv_t encoder = Own().encoder;
    if (encoder == nullptr) {
        return text;
    }
    std::string encoded;
    for (size_t at = 0; at < text.size();) {
        const size_t length = CharacterLength(std::string_view(text).substr(at));
        const std::string bytes = text.substr(at, std::max<size_t>(length, 1));
        const std::string own = length > 1 ? EncodedCharacter(encoder, bytes) : bytes;
        encoded += own.empty() ? "?" : own;
        at += bytes.size();
    }
    return encoded;
}

std::string Decoded(const std::string& text) {
    iconv_t decoder = Own().decoder;
    if (decoder == nullptr) {
        return text;
    }
    std::string from = text;
    std::string decoded(3 * text.size(), '\0');  // no character takes more in UTF-8
    char* in = from.data();
    char* out = decoded.data();
    size_t in_left = from.size();
    size_t out_left = decoded.size();
    const bool whole = iconv(decoder, &in, &in_left, &out, &out_left) == 0;
    iconv(decoder, nullptr, nullptr, nullptr, nullptr);
    decoded.resize(decoded.size() - out_left);
    return whole ? decoded : text;
}

}  // namespace cli
