#include "lint/finding.h"

#include <algorithm>

namespace lint {
namespace {

constexpr size_t kMostQuoted = 40;

bool Continues(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// How many bytes the character has that begins like this; 0 where none does.
size_t CharacterSize(unsigned char first) {
    return first < 0x80                     ? 1
           : first >= 0xC2 && first <= 0xDF ? 2
           : first >= 0xE0 && first <= 0xEF ? 3
           : first >= 0xF0 && first <= 0xF4 ? 4
                                            : 0;
}

// As far as columns go: characters are whole.
bool LooksLikeUtf8(std::string_view text) {
    while (!text.empty()) {
        const size_t size = CharacterSize(static_cast<unsigned char>(text.front()));
        if (size == 0 || size > text.size() ||
            !std::all_of(text.begin() + 1, text.begin() + size, Continues)) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

}  // namespace

std::string Sentence::Plain() const {
    std::string text = form;
    size_t from = 0;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string place = "{" + std::to_string(i + 1) + "}";
        const size_t at = text.find(place, from);
        if (at != text.npos) {
            text.replace(at, place.size(), words[i]);
            from = at + words[i].size();
        }
    }
    return text;
}

void Finding::Tell(const Sentence& what) {
    sentence = what;
    message = what.Plain();
}

Sentence Finding::Does() const {
    return {rule->does, value};
}

Finding TextTooLong(const Rule& rule) {
    Finding finding;
    finding.rule = &rule;
    finding.Tell("the text is longer than the library's strings can be");
    return finding;
}

Places::Places(std::string_view text)
    : text_(text), is_utf8_(LooksLikeUtf8(text)), lines_{0}, counted_{0} {
    for (size_t end = text.find('\n'); end != text.npos; end = text.find('\n', end + 1)) {
        lines_.push_back(end + 1);
    }
    for (size_t at = kCountedEvery; at <= text.size(); at += kCountedEvery) {
        counted_.push_back(counted_.back() + Count(at - kCountedEvery, at));
    }
}

// How many characters begin there; bytes, where the text is no UTF-8.
size_t Places::Count(size_t from, size_t to) const {
    const std::string_view part = text_.substr(from, to - from);
    const auto continuing = std::count_if(part.begin(), part.end(), Continues);
    return is_utf8_ ? part.size() - static_cast<size_t>(continuing) : part.size();
}

size_t Places::CharactersBefore(size_t offset) const {
    const size_t counted = offset / kCountedEvery;
    return counted_[counted] + Count(counted * kCountedEvery, offset);
}

Place Places::Of(size_t offset) const {
    const auto next = std::upper_bound(lines_.begin(), lines_.end(), offset);
    const size_t line = *(next - 1);
    return {offset, static_cast<size_t>(next - lines_.begin()),
            CharactersBefore(offset) - CharactersBefore(line) + 1, offset - line + 1};
}

void Sort(Findings& findings) {
    std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
        return a.place.offset < b.place.offset;
    });
}

bool AnyAbout(const Findings& findings, uint32_t calls) {
    return std::any_of(findings.begin(), findings.end(), [calls](const Finding& finding) {
        return (finding.rule->calls & calls) != 0;
    });
}

std::string Quoted(std::string_view text) {
    if (text.size() <= kMostQuoted) {
        return "\"" + std::string(text) + "\"";
    }
    size_t end = kMostQuoted;
    while (end > 0 && Continues(text[end])) {
        --end;
    }
    return "\"" + std::string(text.substr(0, end)) + "...\"";
}

}  // namespace lint
