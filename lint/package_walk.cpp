#include "lint/package_walk.h"

#include <algorithm>
#include <array>

#include "formats/certificate_package.h"
#include "lint/suggestion.h"

namespace lint {
namespace {

constexpr size_t kLongestShown = 20;
constexpr size_t kNone = std::string_view::npos;
constexpr const char* kNames = "SignCert, EncPriKey or EncCert";
constexpr const char* kRefuses = "refuses the package with -401, and imports nothing";
constexpr const char* kAsItIs = "hands it to the key as it is";

constexpr Rule kUnknownItem = {"unknown-item", Verdict::kRefused, kImportCall, Effect::kRefuses,
                               kNames,         kRefuses};
constexpr Rule kItemExpected = {"item-missing",   Verdict::kRefused,      kImportCall,
                                Effect::kRefuses, "an item behind the |", kRefuses};
constexpr Rule kBarInData = {"bar-inside-data", Verdict::kRefused,       kImportCall,
                             Effect::kRefuses,  "a ) before the next |", kRefuses};
constexpr Rule kFullWidth = {"full-width-character", Verdict::kRefused,        kImportCall,
                             Effect::kRefuses,       "the character of ASCII", kRefuses};
constexpr Rule kWideSeparator = {
    "full-width-separator", Verdict::kSuspicious,     kImportCall,
    Effect::kHandsOver,     "the character of ASCII", "takes it for a part of the data"};
constexpr Rule kWrongCase = {
    "name-in-other-case",          Verdict::kSuspicious, kImportCall, Effect::kPassesOver, kNames,
    "silently leaves the item out"};
constexpr Rule kSeparatorMissing = {"separator-missing",   Verdict::kSuspicious,
                                    kImportCall,           Effect::kPassesOver,
                                    "| between two items", "finds the item all the same"};
constexpr Rule kStray = {"text-between-items", Verdict::kSuspicious, kImportCall,
                         Effect::kPassesOver,  "| or the end",       "silently passes over it"};
constexpr Rule kLeftOut = {
    "item-left-out",     Verdict::kSuspicious,     kImportCall,
    Effect::kPassesOver, "| in front of the item", "silently leaves the item out"};
constexpr Rule kNested = {"item-inside-data",
                          Verdict::kSuspicious,
                          kImportCall,
                          Effect::kHandsOver,
                          "data without an item's name and (",
                          "imports it as an item of its own too"};
constexpr Rule kUnclosed = {"item-not-closed",   Verdict::kSuspicious,
                            kImportCall,         Effect::kHandsOver,
                            ") behind the data", "hands empty data to the key"};
constexpr Rule kEmptyData = {"item-empty", Verdict::kSuspicious,
                             kImportCall,  Effect::kHandsOver,
                             "data",       "hands empty data to the key"};
constexpr Rule kTwice = {"item-twice",
                         Verdict::kSuspicious,
                         kImportCall,
                         Effect::kHandsOver,
                         "each item at most once",
                         "hands both to the key, in the order of the text"};
constexpr Rule kStrangeData = {"character-in-data",
                               Verdict::kSuspicious,
                               kImportCall,
                               Effect::kHandsOver,
                               "Base64 or hexadecimal, in which no such character is",
                               kAsItIs};
constexpr Rule kNoPackage = {"no-package",
                             Verdict::kSuspicious,
                             kImportCall,
                             Effect::kHandsOver,
                             "a package, or one PKCS#7 text in Base64",
                             "takes all of it for one PKCS#7 text"};
constexpr Rule kEmptyText = {"empty-text",
                             Verdict::kSuspicious,
                             kImportCall,
                             Effect::kHandsOver,
                             "a package, or one PKCS#7 text",
                             "hands an empty text to the key"};

struct KnownItem {
    ItemKind kind;
    std::string_view name;
    const char* name_with_bracket;
};
// In the order of import.
constexpr std::array<KnownItem, 3> kItems = {{
    {ItemKind::kSignCert, "SignCert", orval::kSignCertItem},
    {ItemKind::kEncPriKey, "EncPriKey", orval::kEncPriKeyItem},
    {ItemKind::kEncCert, "EncCert", orval::kEncCertItem},
}};

bool IsRemoved(char c) {
    return c == ',' || c == '\r' || c == '\n';
}

bool IsOfBase64(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/' || c == '=';
}

// The library is asked: a package of nothing but this name.
bool IsKnown(std::string_view name) {
    const std::string package = std::string(name) + "(";
    return orval::TypeOfPackage(QRV::CString(package.c_str())) == orval::PackageType::kPackage;
}

bool IsWrittenRight(std::string_view name) {
    return std::any_of(kItems.begin(), kItems.end(),
                       [name](const KnownItem& item) { return item.name == name; });
}

std::string NearestName(std::string_view name) {
    return Nearest(name, {kItems[0].name, kItems[1].name, kItems[2].name});
}

bool BeginsWithItem(std::string_view text) {
    return std::any_of(kItems.begin(), kItems.end(), [text](const KnownItem& item) {
        return text.compare(0, item.name.size() + 1, item.name_with_bracket) == 0;
    });
}

}  // namespace

CleanedText::CleanedText(std::string_view text) : length_(text.size()) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (!IsRemoved(text[i])) {
            cleaned_ += text[i];
            origins_.push_back(i);
        }
    }
}

QRV::CString CleanedText::AsString() const {
    return QRV::CString(cleaned_.c_str());
}

// An item as the names are read: from the start or a | on.
struct PackageWalk::Item {
    size_t at = kNone;
    size_t bracket = kNone;
    size_t separator = kNone;  // the next | behind the bracket

    bool HasBracket() const { return bracket != kNone; }
};

// Where the item's data end, before the next |.
size_t PackageWalk::ClosingOf(const Item& item) const {
    return item.HasBracket() ? text_.substr(0, item.separator).find(')', item.bracket) : kNone;
}

PackageWalk::PackageWalk(const CleanedText& text, const Places& places, Findings& findings)
    : cleaned_(text), text_(text.View()), places_(places), findings_(findings) {}

Finding& PackageWalk::Note(const Rule& rule, size_t at, size_t length, const Sentence& sentence) {
    Finding finding;
    finding.rule = &rule;
    finding.record = NumberOf(at);
    const size_t first = cleaned_.OriginOf(at);
    finding.place = places_.Of(first);
    finding.length = length == 0 ? 0 : cleaned_.OriginOf(at + length - 1) + 1 - first;
    finding.Tell(sentence);
    findings_.push_back(finding);
    return findings_.back();
}

// The item, counted from 1, that the place is in or behind.
size_t PackageWalk::NumberOf(size_t at) const {
    return static_cast<size_t>(std::upper_bound(starts_.begin(), starts_.end(), at) -
                               starts_.begin());
}

bool PackageWalk::IsFound(size_t at) const {
    return std::binary_search(found_at_.begin(), found_at_.end(), at);
}

bool PackageWalk::WalkNames() {
    bool all_known = true;
    Item before;
    Item item = {0, text_.find('('), kNone};
    while (true) {
        starts_.push_back(item.at);
        item.separator = item.HasBracket() ? text_.find('|', item.bracket + 1) : kNone;
        if (!item.HasBracket() || !IsKnown(text_.substr(item.at, item.bracket - item.at))) {
            // The library stops at the first; those behind it may be as wrong.
            NoteMalformed(before, item);
            all_known = false;
        } else {
            NoteCase(item);
        }
        if (item.separator == kNone) {
            return all_known;
        }
        before = item;
        item = {before.separator + 1, text_.find('(', before.separator + 2), kNone};
    }
}

void PackageWalk::NoteMalformed(const Item& before, const Item& item) {
    if (before.HasBracket() && ClosingOf(before) == kNone) {
        // Whatever stands behind the | may be data: nothing of it is quoted.
        Note(kBarInData, before.separator, 1, "a | stands inside an item's data");
        return;
    }
    const size_t end = item.HasBracket() ? item.bracket : text_.size();
    const std::string_view name = text_.substr(item.at, end - item.at);
    const FullWidth wide = FindFullWidth(name);
    if (wide.at != kNone) {
        Note(kFullWidth, item.at + wide.at, wide.character.size(),
             Sentence("\"{1}\" is a full-width character", wide.character))
            .suggestion = wide.meant;
    } else if (!item.HasBracket()) {
        Note(kItemExpected, item.at, name.size(), "no item with a ( stands behind the |");
    } else {
        // A long one is no name, and may be a key's text.
        const bool is_short = name.size() <= kLongestShown;
        Finding& finding = Note(kUnknownItem, item.at, name.size(),
                                is_short ? Sentence("{1} is no item's name", Quoted(name))
                                         : Sentence("this is no item's name"));
        finding.found = is_short ? std::string(name) : std::string();
        finding.suggestion = NearestName(name);
    }
}

void PackageWalk::NoteCase(const Item& item) {
    const std::string_view name = text_.substr(item.at, item.bracket - item.at);
    if (!IsWrittenRight(name)) {
        Finding& finding = Note(kWrongCase, item.at, name.size(),
                                Sentence("{1} is not how the item is written", Quoted(name)));
        finding.found = std::string(name);
        finding.suggestion = NearestName(name);
    }
}

std::vector<FoundItem> PackageWalk::WalkItems() {
    for (const KnownItem& known : kItems) {
        size_t position = 0;
        bool rest_is_unclosed = false;
        for (size_t at = text_.find(known.name_with_bracket); at != kNone;
             at = text_.find(known.name_with_bracket, position)) {
            const size_t data = at + known.name.size() + 1;
            const size_t end = rest_is_unclosed ? kNone : text_.find(')', data);
            rest_is_unclosed = end == kNone;
            found_.push_back(
                {known.kind, at, data, rest_is_unclosed ? data : end, !rest_is_unclosed});
            position = rest_is_unclosed ? at + 1 : end + 2;
        }
    }
    for (const FoundItem& item : found_) {
        NoteItem(item);
        found_at_.push_back(item.at);
    }
    std::sort(found_at_.begin(), found_at_.end());
    NoteNested();
    NoteTwice();
    NoteLeftOut();
    for (size_t i = 0; i < starts_.size(); ++i) {
        const size_t bracket = text_.find('(', starts_[i]);
        const size_t next = i + 1 < starts_.size() ? starts_[i + 1] - 1 : kNone;
        NoteBehind({starts_[i], bracket, next});
    }
    return found_;
}

void PackageWalk::NoteItem(const FoundItem& item) {
    const std::string name = NameOf(item.kind);
    if (!item.is_closed) {
        Note(kUnclosed, item.at, item.data - item.at,
             Sentence("no ) closes the data of {1}", name));
    } else if (item.data == item.end) {
        Note(kEmptyData, item.at, item.end + 1 - item.at, Sentence("{1} has no data", name));
    } else {
        NoteStrange(item.data, item.end);
    }
}

// The first character that is none of Base64's.
void PackageWalk::NoteStrange(size_t at, size_t end) {
    const auto first = text_.begin() + static_cast<std::ptrdiff_t>(at);
    const auto last = text_.begin() + static_cast<std::ptrdiff_t>(end);
    const auto strange = std::find_if_not(first, last, IsOfBase64);
    if (strange == last) {
        return;
    }
    const auto where = static_cast<size_t>(strange - text_.begin());
    const FullWidth wide = FindFullWidth(text_.substr(where, end - where));
    if (wide.at == 0) {
        Note(kWideSeparator, where, wide.character.size(),
             Sentence("\"{1}\" is a full-width character", wide.character))
            .suggestion = wide.meant;
        return;
    }
    const auto code = static_cast<unsigned>(static_cast<unsigned char>(*strange));
    constexpr const char* kDigits = "0123456789ABCDEF";
    Note(kStrangeData, where, 1,
         Sentence("the byte 0x{1} stands in the data",
                  std::string{kDigits[code >> 4U], kDigits[code & 15U]}));
}

// What stands between an item's ) and the next |, or the end.
void PackageWalk::NoteBehind(const Item& item) {
    const size_t closing = ClosingOf(item);
    const size_t end = item.separator == kNone ? text_.size() : item.separator;
    if (closing == kNone || closing + 1 >= end) {
        return;
    }
    const size_t at = closing + 1;
    const std::string_view rest = text_.substr(at, end - at);
    if (!BeginsWithItem(rest)) {
        Note(kStray, at, rest.size(), "text stands behind an item's )");
    } else if (IsFound(at)) {
        Note(kSeparatorMissing, at, 0, "no | stands between two items");
    }
}

// Items that are written as they should be, and that no search comes upon: it goes on two behind a
// ).
void PackageWalk::NoteLeftOut() {
    for (const KnownItem& known : kItems) {
        size_t covered = 0;  // up to where the last item that was found reaches
        auto next = std::find_if(found_.begin(), found_.end(), [&known](const FoundItem& item) {
            return item.kind == known.kind;
        });
        for (size_t at = text_.find(known.name_with_bracket); at != kNone;
             at = text_.find(known.name_with_bracket, at + 1)) {
            if (IsFound(at)) {
                covered = next->end;
                ++next;
            } else if (at >= covered) {
                Note(kLeftOut, at, known.name.size() + 1,
                     Sentence("this {1} follows a ) at once", known.name));
            }
        }
    }
}

void PackageWalk::NoteNested() {
    std::vector<FoundItem> items = found_;
    std::sort(items.begin(), items.end(),
              [](const FoundItem& a, const FoundItem& b) { return a.at < b.at; });
    FoundItem outer = {};
    for (const FoundItem& item : items) {
        if (item.at < outer.end) {
            Note(kNested, item.at, item.data - item.at,
                 Sentence("{1}( stands inside the data of {2}", NameOf(item.kind),
                          NameOf(outer.kind)));
        }
        outer = item.end > outer.end ? item : outer;
    }
}

void PackageWalk::NoteTwice() {
    for (size_t i = 1; i < found_.size(); ++i) {
        if (found_[i].kind == found_[i - 1].kind) {
            Note(kTwice, found_[i].at, found_[i].data - found_[i].at,
                 Sentence("another {1}", NameOf(found_[i].kind)));
        }
    }
}

void PackageWalk::WalkSingle() {
    const bool has_bar = text_.find('|') != kNone;
    const FullWidth wide = FindFullWidth(text_);
    const bool names_an_item = std::any_of(kItems.begin(), kItems.end(), [this](const auto& item) {
        return text_.find(item.name) != kNone;
    });
    if (text_.empty()) {
        Note(kEmptyText, 0, 0, "there is no text");
    } else if (text_.front() == '(') {
        Note(kNoPackage, 0, 1, "a ( as the first character has no item's name in front");
    } else if (wide.at != kNone) {
        Note(kNoPackage, wide.at, wide.character.size(),
             Sentence("\"{1}\" is a full-width character", wide.character))
            .suggestion = wide.meant;
    } else if (has_bar || names_an_item) {
        Note(kNoPackage, 0, 0, "the text looks like a package and has no (");
    } else {
        NoteStrange(0, text_.size());
    }
}

}  // namespace lint
