#ifndef ORVAL_QRV_SIMPLE_BUFFER_H
#define ORVAL_QRV_SIMPLE_BUFFER_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "qrv/buffer_manager.h"
#include "qrv/exception.h"
#include "qrv/export.h"

namespace QRV {

// Flag of GetBuffer: fill the bytes from the length up to and with the capacity with zeros.
constexpr uint32_t kZeroFill = 0x40;

// A reference-counted, copy-on-write buffer of T, always terminated. The object is one pointer, to
// the first character; the block's header stands in front of it. Not synchronised: a buffer and
// its copies stay on one thread.
//
// Growth of a private buffer: a capacity up to 1024 doubles, a larger one grows by 1024, each
// rounded as the manager does: 7, 15, 31, ... 1023, 2047, 3071, ...
template <typename T>
class ORVAL_QRV_EXPORT CSimpleBufferT {
    static_assert(sizeof(T) == 1, "lengths and bytes are used interchangeably");

 public:
    // An empty buffer, sharing the manager's nil buffer.
    explicit CSimpleBufferT(IQrvBufferMgr* mgr) { Attach(NilBufferOf(mgr)); }

    // A copy of `n` characters, which may contain NUL. Raises kInvalidArgument for a null `p` with
    // n other than 0 and for a negative n, kOutOfMemory when the manager has no block.
    CSimpleBufferT(const T* p, int32_t n, IQrvBufferMgr* mgr) { Attach(CopyOf(p, n, mgr)); }

    CSimpleBufferT(const CSimpleBufferT& other) { Attach(CloneData(other.Data())); }
    ~CSimpleBufferT() { Release(Data()); }

    // Shares the source's block where both may share, copies otherwise.
    CSimpleBufferT& operator=(const CSimpleBufferT& other);

    int32_t GetLength() const noexcept { return Data()->length; }
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    const T* GetString() const noexcept { return characters_; }

    // The character at `index`; the index equal to the length reads the terminator. Raises
    // kInvalidArgument outside of that.
    T GetAt(int32_t index) const;

    // Private characters with room for nMinLength of them; call SetLength after writing.
    T* GetBuffer(int32_t nMinLength, uint32_t flags = 0);

    // Sets the length and the terminator. Raises kInvalidArgument for a length below 0 or above
    // the capacity. The buffer must be private.
    void SetLength(int32_t length);

    // Appends `n` characters, which may lie in this buffer itself. Raises kInvalidArgument for a
    // null `p` with n other than 0, for a negative n and for one that no length can hold.
    void Append(const T* p, int32_t n) {
        // Inline where there is room, which is nearly always. A text of this buffer's own stays
        // where it is then.
        CBufferData* data = Data();
        const int32_t length = data->length;
        if (p != nullptr && n > 0 && n <= data->capacity - length && data->references <= 1) {
            T* const end = characters_ + length;
            std::memmove(end, p, static_cast<size_t>(n));
            end[n] = T{};
            data->length = length + n;
            return;
        }
        AppendGrowing(p, n);
    }

    // Makes the buffer private in a new block for nLength characters, nLength not below the length.
    void Fork(int32_t nLength);

    // The block itself with one reference more, or a copy of it where it may not be shared.
    static CBufferData* CloneData(CBufferData* src) {
        IQrvBufferMgr* manager = ClonedManager(src);
        if (src->MayBeShared() && manager == src->manager) {
            ++src->references;
            return src;
        }
        return CopyApart(src, manager);
    }

    [[noreturn]] static void ThrowMemoryException();

    // The header of the block: the one place that steps back from the characters.
    CBufferData* Data() const noexcept { return reinterpret_cast<CBufferData*>(characters_) - 1; }

 protected:
    // Whether `p` points into the text or to its terminator.
    bool Holds(const T* p) const noexcept {
        return p >= characters_ && p <= characters_ + GetLength();
    }
    // The manager for a buffer made from this one.
    static IQrvBufferMgr* ClonedManager(const CBufferData* data) {
        return Obtain(data->manager, [](auto& manager) { return manager.Clone(); });
    }

 private:
    static constexpr int32_t kCharSize = sizeof(T);
    static constexpr int32_t kDoublingLimit = 1024;
    static constexpr int32_t kGrowthStep = 1024;

    // What a manager hands out; raises kOutOfMemory when that is nothing.
    template <typename Operation>
    static auto Obtain(IQrvBufferMgr* manager, Operation operation) {
        auto* result = CallManager(manager, operation);
        if (result == nullptr) {
            ThrowMemoryException();
        }
        return result;
    }
    static CBufferData* NilBufferOf(IQrvBufferMgr* manager) {
        return Obtain(manager, [](auto& from) { return from.GetNilBuffer(); });
    }
    static CBufferData* BlockFor(int32_t length, IQrvBufferMgr* manager) {
        return Obtain(manager, [length](auto& from) { return from.Allocate(length, kCharSize); });
    }

    static T* CharactersOf(CBufferData* data) noexcept {
        return static_cast<T*>(data->Characters());
    }
    static void Release(CBufferData* data) noexcept {
        if (--data->references <= 0) {
            CallManager(data->manager, [data](auto& manager) { manager.Free(data); });
        }
    }
    static CBufferData* CopyOf(const T* p, int32_t n, IQrvBufferMgr* mgr) {
        if (p == nullptr && n != 0) {
            QrvThrow(kInvalidArgument);
        }
        CBufferData* data = BlockFor(n, mgr);
        if (n < 0 || n > data->capacity) {
            Release(data);
            QrvThrow(kInvalidArgument);
        }
        if (n > 0) {
            std::memcpy(data->Characters(), p, static_cast<size_t>(n));
        }
        data->length = n;
        CharactersOf(data)[n] = T{};
        return data;
    }
    static CBufferData* CopyApart(CBufferData* src, IQrvBufferMgr* manager);
    static int32_t GrownCapacity(int32_t capacity, int32_t needed);

    void Attach(CBufferData* data) noexcept { characters_ = CharactersOf(data); }
    void ReplaceBlock(CBufferData* data) noexcept;
    void AppendGrowing(const T* p, int32_t n);
    void MakeWritable(int32_t needed);
    void Empty();

    T* characters_;
};

template <typename T>
void CSimpleBufferT<T>::ReplaceBlock(CBufferData* data) noexcept {
    CBufferData* old = Data();
    Attach(data);
    Release(old);
}

// Out of line: a copy that is not shared is rare, and copies are made everywhere.
template <typename T>
CBufferData* CSimpleBufferT<T>::CopyApart(CBufferData* src, IQrvBufferMgr* manager) {
    return CopyOf(CharactersOf(src), src->length, manager);
}

template <typename T>
CSimpleBufferT<T>& CSimpleBufferT<T>::operator=(const CSimpleBufferT& other) {
    CBufferData* own = Data();
    CBufferData* source = other.Data();
    if (own == source) {
        return *this;
    }
    if (own->MayBeShared() && own->manager == source->manager) {
        ReplaceBlock(CloneData(source));
    } else if (source->length == 0) {
        Empty();
    } else {
        std::memcpy(GetBuffer(source->length), other.characters_,
                    static_cast<size_t>(source->length));
        SetLength(source->length);
    }
    return *this;
}

template <typename T>
void CSimpleBufferT<T>::Empty() {
    CBufferData* own = Data();
    if (own->MayBeShared()) {
        ReplaceBlock(NilBufferOf(own->manager));
        return;
    }
    own->length = 0;
    characters_[0] = T{};
}

template <typename T>
T CSimpleBufferT<T>::GetAt(int32_t index) const {
    if (index < 0 || index > GetLength()) {
        QrvThrow(kInvalidArgument);
    }
    return characters_[index];
}

template <typename T>
T* CSimpleBufferT<T>::GetBuffer(int32_t nMinLength, uint32_t flags) {
    MakeWritable(nMinLength);
    if ((flags & kZeroFill) != 0) {
        const CBufferData* data = Data();
        std::memset(characters_ + data->length, 0,
                    static_cast<size_t>(data->capacity - data->length) + 1);
    }
    return characters_;
}

template <typename T>
void CSimpleBufferT<T>::SetLength(int32_t length) {
    CBufferData* data = Data();
    if (length < 0 || length > data->capacity) {
        QrvThrow(kInvalidArgument);
    }
    data->length = length;
    characters_[length] = T{};
}

template <typename T>
void CSimpleBufferT<T>::AppendGrowing(const T* p, int32_t n) {
    const int32_t length = GetLength();
    if ((p == nullptr && n != 0) || n < 0 || n > std::numeric_limits<int32_t>::max() - length) {
        QrvThrow(kInvalidArgument);
    }
    if (n == 0) {
        return;
    }
    CBufferData* const data = Data();
    if (data->length == 0 && data->references > 1 && data->manager == &g_bufmgr) {
        // Straight into its block, of the size that a private copy would have. Another manager is
        // asked for its clone first.
        ReplaceBlock(CopyOf(p, n, data->manager));
        return;
    }
    // The text may be this buffer's own, which moves when it grows.
    const bool own = Holds(p);
    const ptrdiff_t offset = own ? p - characters_ : 0;
    T* target = GetBuffer(length + n);
    std::memmove(target + length, own ? target + offset : p, static_cast<size_t>(n));
    SetLength(length + n);
}

template <typename T>
void CSimpleBufferT<T>::Fork(int32_t nLength) {
    CBufferData* old = Data();
    CBufferData* forked = BlockFor(nLength, ClonedManager(old));
    const size_t copied = static_cast<size_t>(std::min(old->length, nLength)) + 1;
    std::memcpy(forked->Characters(), old->Characters(), copied);
    forked->length = old->length;
    ReplaceBlock(forked);
}

template <typename T>
int32_t CSimpleBufferT<T>::GrownCapacity(int32_t capacity, int32_t needed) {
    if (capacity > std::numeric_limits<int32_t>::max() - kGrowthStep) {
        return needed;
    }
    const int32_t stepped = capacity <= kDoublingLimit ? 2 * capacity : capacity + kGrowthStep;
    return std::max(stepped, needed);
}

// Every write goes through here: in place, in a private copy, or in a grown block.
template <typename T>
void CSimpleBufferT<T>::MakeWritable(int32_t needed) {
    CBufferData* data = Data();
    if (data->references > 1) {
        // Sized exactly: the copy may never grow again.
        Fork(std::max(data->length, needed));
        return;
    }
    if (data->capacity >= needed) {
        return;
    }
    const int32_t grown = GrownCapacity(data->capacity, needed);
    Attach(Obtain(data->manager, [data, grown](auto& manager) {
        return manager.Reallocate(data, grown, kCharSize);
    }));
}

template <typename T>
void CSimpleBufferT<T>::ThrowMemoryException() {
    QrvThrow(kOutOfMemory);
}

extern template class CSimpleBufferT<char>;
extern template class CSimpleBufferT<unsigned char>;

}  // namespace QRV

#endif
