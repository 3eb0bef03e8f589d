#ifndef CLI_WORDS_H
#define CLI_WORDS_H

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

// What the commands say to people, in their language and their terminal's character set. The
// sources are in English; po/ holds the other languages, and gettext finds them.
//
// The process keeps the C locale: only the words of the commands are looked up in the user's. A
// library that is loaded, the log and all numbers are as they are without a locale.
namespace cli {

// Before anything is said: the language of the environment (LC_ALL, LC_MESSAGES, LANG, LANGUAGE).
// domain: the name of the catalogues. With --json among the words of the command line all is said
// in English: it is for scripts, and for who supports others.
void Speak(const std::string& domain, int count, char** words);

// Whether --json was among those words.
bool IsForScripts();

// As long as it lives, all is said in English: for what goes to others.
class InEnglish {
 public:
    InEnglish();
    ~InEnglish();
    InEnglish(const InEnglish&) = delete;
    InEnglish& operator=(const InEnglish&) = delete;
};

// Whether what is said is said in Chinese.
bool IsChinese();

// Marks a text that is said elsewhere.
constexpr const char* Mark(const char* text) {
    return text;
}

// What stands for "{1}" in a sentence. A text in a constant is one of our own words and is said in
// the language of the sentence; a string is data.
class Word {
 public:
    Word(const std::string& text) : text_(text) {}  // NOLINT: every argument becomes one
    Word(const char* text);                         // NOLINT
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number> &&
                                                           !std::is_same_v<Number, char>>>
    Word(Number number) : text_(std::to_string(number)) {}  // NOLINT
    const std::string& Text() const { return text_; }

 private:
    std::string text_;
};

// The text in the user's language, as UTF-8; as it is where the catalogue has none.
std::string Say(const std::string& text);

// A whole sentence: "{1}" stands for the first argument, and may stand anywhere in a translation.
std::string SayWith(const std::string& sentence, const std::vector<Word>& words);

template <typename... Others>
std::string Say(const char* sentence, const Word& first, const Others&... others) {
    return SayWith(sentence, {first, Word(others)...});
}

// A sentence about so many things: {1} is the number. one: what is said of one in English.
std::string SayCount(const char* one, const char* many, uint64_t count,
                     const std::vector<Word>& others = {});

// Why a call of the system failed, as strerror tells it.
std::string SayError(int error);

// UTF-8 for the user's terminal. What its character set lacks becomes "?", and bytes that are no
// UTF-8 stay as they are.
std::string Encoded(const std::string& text);

// The other way round: what another command said.
std::string Decoded(const std::string& text);

}  // namespace cli

#endif
