#ifndef ORVAL_LINT_PACKAGE_WALK_H
#define ORVAL_LINT_PACKAGE_WALK_H

#include <string>
#include <vector>

#include "lint/finding.h"
#include "lint/package.h"
#include "qrv/string.h"

namespace lint {

// A text as the library reads it, without commas and line breaks, and where each of its characters
// comes from.
class CleanedText final {
 public:
    explicit CleanedText(std::string_view text);

    std::string_view View() const { return cleaned_; }
    QRV::CString AsString() const;
    size_t OriginOf(size_t at) const { return at < origins_.size() ? origins_[at] : length_; }

 private:
    std::string cleaned_;
    std::vector<size_t> origins_;
    size_t length_;
};

// An item that the library finds when it looks for one name.
struct FoundItem {
    ItemKind kind;
    size_t at;    // of the name
    size_t data;  // behind the bracket
    size_t end;   // of the data
    bool is_closed;
};

// Goes through a package in the library's steps, and notes what is odd and where. What a key text
// comes to is not its affair.
class PackageWalk final {
 public:
    PackageWalk(const CleanedText& text, const Places& places, Findings& findings);

    // What is odd about the names and what stands between the items; whether all names are known.
    bool WalkNames();
    // What the library finds, in the order of import, and what is odd about it.
    std::vector<FoundItem> WalkItems();
    // What is odd about a text that is no package.
    void WalkSingle();

    Finding& Note(const Rule& rule, size_t at, size_t length, const Sentence& sentence);

 private:
    struct Item;

    size_t ClosingOf(const Item& item) const;
    void NoteMalformed(const Item& before, const Item& item);
    void NoteCase(const Item& item);
    void NoteBehind(const Item& item);
    void NoteItem(const FoundItem& item);
    void NoteLeftOut();
    void NoteNested();
    void NoteTwice();
    void NoteStrange(size_t at, size_t end);
    size_t NumberOf(size_t at) const;
    bool IsFound(size_t at) const;

    const CleanedText& cleaned_;
    std::string_view text_;
    const Places& places_;
    Findings& findings_;
    std::vector<size_t> starts_;    // of the items, as the names are read
    std::vector<FoundItem> found_;  // in the order of import
    std::vector<size_t> found_at_;  // the same, in the order of the text
};

}  // namespace lint

#endif
