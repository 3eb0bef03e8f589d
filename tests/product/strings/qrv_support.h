#ifndef ORVAL_TESTS_PRODUCT_STRINGS_QRV_SUPPORT_H
#define ORVAL_TESTS_PRODUCT_STRINGS_QRV_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "qrv/buffer_manager.h"
#include "qrv/exception.h"
#include "qrv/memory_manager.h"
#include "qrv/process_objects.h"
#include "qrv/simple_buffer.h"
#include "qrv/string.h"

namespace qrv_test {

using CharBuffer = QRV::CSimpleBufferT<char>;
using ByteBuffer = QRV::CSimpleBufferT<unsigned char>;
using QRV::CBufferData;
using QRV::CString;
using QRV::kInvalidArgument;
using QRV::kOutOfMemory;

// The code of the exception that `action` raises, 0 when it returns.
template <typename Action>
int32_t RaisedCode(Action&& action) {
    try {
        action();
    } catch (const QRV::CQrvException& exception) {
        return exception.Code();
    }
    return 0;
}

// Lets the n-th request fail, once.
class FailureCountdown final {
 public:
    void FailAt(int request) { remaining_ = request; }
    bool FailsNow() { return remaining_ > 0 && --remaining_ == 0; }

 private:
    int remaining_ = 0;
};

// Heap memory that notes every request, knows its live blocks, refuses what is unreasonably large
// and fails on demand. A block given back twice, or never handed out, fails the test.
class CountingMemory final : public QRV::IQrvMemMgr {
 public:
    static constexpr size_t kLargestRequest = size_t{64} << 20;

    void* Allocate(size_t size) noexcept override;
    void Free(void* block) noexcept override;
    void* Reallocate(void* block, size_t size) noexcept override;
    size_t GetSize(void* block) noexcept override;

    void FailAt(int request) { countdown_.FailAt(request); }
    size_t LiveBlocks() const { return live_.size(); }
    const std::vector<size_t>& Requests() const { return requests_; }
    const std::vector<void*>& Freed() const { return freed_; }

 private:
    bool Refuses(size_t size);

    FailureCountdown countdown_;
    std::set<void*> live_;
    std::vector<size_t> requests_;
    std::vector<void*> freed_;
};

// A buffer manager that rounds nothing, so that a test sees exactly what the strings ask for. It
// notes the lengths asked for, fails on demand, and its Clone() can name another manager.
class ExactManager final : public QRV::IQrvBufferMgr {
 public:
    ExactManager();

    CBufferData* Allocate(int32_t nLength, int32_t nCharSize) noexcept override;
    void Free(CBufferData* data) noexcept override;
    CBufferData* Reallocate(CBufferData* data, int32_t nLength,
                            int32_t nCharSize) noexcept override;
    CBufferData* GetNilBuffer() noexcept override;
    QRV::IQrvBufferMgr* Clone() noexcept override;

    void CloneNames(QRV::IQrvBufferMgr* manager) { clone_ = manager; }
    void FailAt(int request) { countdown_.FailAt(request); }
    size_t LiveBlocks() const { return memory_.LiveBlocks(); }
    int64_t NilReferences() const { return nil_.header.references; }
    const std::vector<int32_t>& Allocated() const { return allocated_; }
    const std::vector<int32_t>& Reallocated() const { return reallocated_; }

 private:
    FailureCountdown countdown_;
    CountingMemory memory_;
    QRV::IQrvBufferMgr* clone_ = this;
    struct {
        CBufferData header;
        char characters[8];
    } nil_;
    std::vector<int32_t> allocated_;
    std::vector<int32_t> reallocated_;
};

// Makes `manager` the one that strings start from, for as long as this object lives.
class DefaultManagerScope final {
 public:
    explicit DefaultManagerScope(QRV::IQrvBufferMgr* manager) : former_(QRV::_qrvBufferManager) {
        QRV::_qrvBufferManager = manager;
    }
    ~DefaultManagerScope() { QRV::_qrvBufferManager = former_; }
    DefaultManagerScope(const DefaultManagerScope&) = delete;
    DefaultManagerScope& operator=(const DefaultManagerScope&) = delete;

 private:
    QRV::IQrvBufferMgr* former_;
};

// References of a manager's nil buffer, without leaving one more behind.
int64_t NilReferences(QRV::IQrvBufferMgr* manager);

// The characters of a buffer, embedded NULs included.
template <typename T>
std::string TextOf(const QRV::CSimpleBufferT<T>& buffer) {
    const auto length = static_cast<size_t>(buffer.GetLength());
    std::string text(length, '\0');
    std::memcpy(text.data(), buffer.GetString(), length);
    return text;
}

// A text written as a literal with embedded NULs, without the literal's own terminator.
template <size_t Size>
std::string Literal(const char (&text)[Size]) {
    return std::string(text, Size - 1);
}

CharBuffer MakeBuffer(const std::string& text, QRV::IQrvBufferMgr* manager);
CString MakeString(const std::string& text);

// From here on the buffer's block is one that is copied instead of shared.
template <typename T>
void ForbidSharing(QRV::CSimpleBufferT<T>& buffer) {
    buffer.Data()->references = -1;
}

// An object's own bytes at `offset`, for what is laid down in memory and has no accessor.
template <typename Field, typename Object>
Field FieldAt(const Object& object, size_t offset) {
    Field field;
    std::memcpy(&field, reinterpret_cast<const char*>(&object) + offset, sizeof(field));
    return field;
}

// The slot that a virtual operation takes in its class's table. A pointer to a virtual member
// holds the slot's byte offset; some architectures mark that in the lowest bit of it.
template <typename Member>
size_t SlotOf(Member member) {
    static_assert(sizeof(member) == 2 * sizeof(void*), "a pointer to a member is two words");
    uintptr_t words[2];
    std::memcpy(words, &member, sizeof(words));
    return (words[0] & ~uintptr_t{1}) / sizeof(void*);
}

// Calls the operation without arguments in `slot` of the object's table.
void CallSlot(void* object, size_t slot);

}  // namespace qrv_test

#endif
