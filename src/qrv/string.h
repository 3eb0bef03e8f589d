#ifndef ORVAL_QRV_STRING_H
#define ORVAL_QRV_STRING_H

#include <cctype>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "qrv/process_objects.h"
#include "qrv/scan.h"
#include "qrv/simple_buffer.h"

namespace QRV {

// What the string class asks of a character type. Characters count as unsigned, as on the target,
// so that every architecture classifies each byte alike.
template <typename T>
struct ORVAL_QRV_EXPORT ChTraitsEx {
    static bool IsSpace(T c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
    static T ToUpper(T c) { return static_cast<T>(std::toupper(static_cast<unsigned char>(c))); }
    // A null text is an empty one.
    static int32_t Length(const T* psz) {
        const size_t length = psz == nullptr ? 0 : std::strlen(psz);
        if (length > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
            QrvThrow(kInvalidArgument);
        }
        return static_cast<int32_t>(length);
    }
};

// Where the strings of one kind take their buffers from.
template <typename T, typename CharTraits>
struct ORVAL_QRV_EXPORT StrTraitQRV : CharTraits {
    static IQrvBufferMgr* DefaultManager() noexcept { return _qrvBufferManager; }
};

// Text on top of CSimpleBufferT. All text handling of the library is written in it.
//
//     CString record = description.Tokenize("|", position);
//     record.TrimSpace();
//     record.MakeUpper();
template <typename T, typename Traits>
class ORVAL_QRV_EXPORT CStringT : public CSimpleBufferT<T> {
    using Buffer = CSimpleBufferT<T>;
    using View = std::basic_string_view<T>;

 public:
    CStringT() : Buffer(Traits::DefaultManager()) {}

    // A copy of `psz`; a null or empty one gives the empty string.
    CStringT(const T* psz);  // NOLINT(google-explicit-constructor): texts are strings

    // `n` characters, which may contain NUL; the bounds are those of CSimpleBufferT.
    CStringT(const T* p, int32_t n) : Buffer(p, n, Traits::DefaultManager()) {}
    CStringT(const T* p, int32_t n, IQrvBufferMgr* mgr) : Buffer(p, n, mgr) {}

    // At most nCount characters from iFirst on, both clipped to the text. The whole text shares
    // this string's block.
    CStringT Mid(int32_t iFirst, int32_t nCount) const {
        const int32_t length = this->GetLength();
        const bool whole = iFirst <= 0 && (nCount >= length || length == 0);
        return whole ? *this : Part(iFirst, nCount);
    }

    // Replaces each occurrence of pszOld, left to right and never inside what was just put in.
    // Embedded NUL characters do not end the search. Returns the number of replacements. The
    // texts may be this string's own.
    int32_t Replace(const T* pszOld, const T* pszNew);

    // The next token from `position`, as NextToken finds it.
    static constexpr int32_t kNoToken = QRV::kNoToken;
    CStringT Tokenize(const T* pszDelimiters, int32_t& position) const;

    void TrimSpace();
    void MakeUpper();

    CStringT& operator+=(const CStringT& other) {
        this->Append(other.GetString(), other.GetLength());
        return *this;
    }
    CStringT& operator+=(const T* psz) {
        this->Append(psz, Traits::Length(psz));
        return *this;
    }

    // Index of the first `text` at or behind `start`, or -1; also -1 for a start beyond the end.
    int32_t Find(const T* text, int64_t start = 0) const;

    View AsView() const { return View(this->GetString(), static_cast<size_t>(this->GetLength())); }

    bool operator==(const CStringT& other) const { return AsView() == other.AsView(); }
    bool operator!=(const CStringT& other) const { return !(*this == other); }

 private:
    CStringT Part(int32_t iFirst, int32_t nCount) const;
    // The length with each `from` replaced by a longer `to`.
    static int32_t GrownLength(View text, View from, View to);
    struct Rewritten {
        T* end;
        int32_t count;
    };
    // Copies `text` to `target` with each `from` replaced.
    static Rewritten Rewrite(View text, View from, View to, T* target);
};

template <typename T, typename Traits>
CStringT<T, Traits>::CStringT(const T* psz) : Buffer(Traits::DefaultManager()) {
    this->Append(psz, Traits::Length(psz));
}

template <typename T, typename Traits>
CStringT<T, Traits> CStringT<T, Traits>::Part(int32_t iFirst, int32_t nCount) const {
    const int32_t length = this->GetLength();
    const int32_t first = std::min(std::max(iFirst, 0), length);
    const int32_t count = std::min(std::max(nCount, 0), length - first);
    return CStringT(this->GetString() + first, count, Buffer::ClonedManager(this->Data()));
}

template <typename T, typename Traits>
int32_t CStringT<T, Traits>::GrownLength(View text, View from, View to) {
    size_t length = text.size();
    const T* const end = text.data() + text.size();
    for (const T* at = FirstIn(text.data(), end, from); at != nullptr;
         at = FirstIn(at + from.size(), end, from)) {
        // One occurrence is at least one character, so the sum stays within 64 bits.
        length += to.size() - from.size();
    }
    if (length > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        QrvThrow(kInvalidArgument);
    }
    return static_cast<int32_t>(length);
}

template <typename T, typename Traits>
auto CStringT<T, Traits>::Rewrite(View text, View from, View to, T* target) -> Rewritten {
    int32_t count = 0;
    const T* rest = text.data();
    const T* const end = rest + text.size();
    while (const T* const at = FirstIn(rest, end, from)) {
        const auto kept = static_cast<size_t>(at - rest);
        std::memmove(target, rest, kept);
        target = std::copy(to.begin(), to.end(), target + kept);
        rest = at + from.size();
        ++count;
    }
    const auto kept = static_cast<size_t>(end - rest);
    std::memmove(target, rest, kept);
    return {target + kept, count};
}

template <typename T, typename Traits>
int32_t CStringT<T, Traits>::Replace(const T* pszOld, const T* pszNew) {
    if (pszOld == nullptr || *pszOld == T{}) {
        return 0;
    }
    const View from(pszOld);
    const View to = pszNew == nullptr ? View() : View(pszNew);
    const T* const found = FirstIn(this->GetString(), this->GetString() + this->GetLength(), from);
    if (found == nullptr) {
        return 0;
    }
    if (this->Holds(pszOld) || this->Holds(pszNew)) {
        // They would be overwritten before they have been read.
        return Replace(CStringT(pszOld).GetString(), CStringT(pszNew).GetString());
    }
    const auto first = static_cast<size_t>(found - this->GetString());
    const int32_t length = this->GetLength();
    const int32_t room = to.size() > from.size() ? GrownLength(AsView(), from, to) : length;
    T* const text = this->GetBuffer(room);

    // What changes moves to the end of the room, and is then written from the front in one pass
    // that never overtakes it: the work stays linear in the length.
    T* const changed = text + first;
    const View rest(changed + (room - length), static_cast<size_t>(length) - first);
    if (room != length) {
        std::memmove(changed + (room - length), changed, rest.size());
    }
    const Rewritten rewritten = Rewrite(rest, from, to, changed);
    this->SetLength(static_cast<int32_t>(rewritten.end - text));
    return rewritten.count;
}

template <typename T, typename Traits>
CStringT<T, Traits> CStringT<T, Traits>::Tokenize(const T* pszDelimiters, int32_t& position) const {
    const View token = NextToken(AsView(), View(pszDelimiters), position);
    if (token.empty()) {
        return CStringT();
    }
    return Mid(static_cast<int32_t>(token.data() - this->GetString()),
               static_cast<int32_t>(token.size()));
}

template <typename T, typename Traits>
void CStringT<T, Traits>::TrimSpace() {
    const T* text = this->GetString();
    int32_t first = 0;
    int32_t end = this->GetLength();
    while (first < end && Traits::IsSpace(text[first])) {
        ++first;
    }
    while (end > first && Traits::IsSpace(text[end - 1])) {
        --end;
    }
    if (end - first == this->GetLength()) {
        return;
    }
    T* target = this->GetBuffer(this->GetLength());
    std::memmove(target, target + first, static_cast<size_t>(end - first));
    this->SetLength(end - first);
}

template <typename T, typename Traits>
void CStringT<T, Traits>::MakeUpper() {
    const int32_t length = this->GetLength();
    T* text = this->GetBuffer(length);
    std::transform(text, text + length, text, Traits::ToUpper);
}

template <typename T, typename Traits>
int32_t CStringT<T, Traits>::Find(const T* text, int64_t start) const {
    if (start < 0 || start > this->GetLength()) {
        return -1;
    }
    const T* const own = this->GetString();
    const T* const found = FirstIn(own + start, own + this->GetLength(), View(text));
    return found == nullptr ? -1 : static_cast<int32_t>(found - own);
}

using CString = CStringT<char, StrTraitQRV<char, ChTraitsEx<char>>>;

static_assert(sizeof(CString) == sizeof(void*), "a string object is one pointer");

extern template class CStringT<char, StrTraitQRV<char, ChTraitsEx<char>>>;

}  // namespace QRV

#endif
