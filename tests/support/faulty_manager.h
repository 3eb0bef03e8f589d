#ifndef ORVAL_TESTS_SUPPORT_FAULTY_MANAGER_H
#define ORVAL_TESTS_SUPPORT_FAULTY_MANAGER_H

#include <sys/resource.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "qrv/buffer_manager.h"

namespace scripted {

// A buffer manager as a client writes its own: nothing in it is declared noexcept. It works until a
// test chooses the operation that fails, and how.
class FaultyManager final : public QRV::IQrvBufferMgr {
 public:
    enum Operation { kAllocate, kFree, kReallocate, kGetNilBuffer, kClone };
    enum Fault { kNone, kThrows, kYieldsNothing };

    FaultyManager() : nil_{{this, 0, 0, 2}, {}} {}

    void Fails(Operation operation, Fault fault) {
        failing_ = operation;
        fault_ = fault;
    }
    int LiveBlocks() const { return live_blocks_; }

    QRV::CBufferData* Allocate(int32_t nLength, int32_t nCharSize) override {
        if (FailsNow(kAllocate)) {
            return nullptr;
        }
        auto* data = static_cast<QRV::CBufferData*>(std::malloc(BlockSize(nLength, nCharSize)));
        *data = QRV::CBufferData{this, 0, nLength, 1};
        ++live_blocks_;
        return data;
    }
    void Free(QRV::CBufferData* data) override {
        FailsNow(kFree);
        --live_blocks_;
        std::free(data);
    }
    QRV::CBufferData* Reallocate(QRV::CBufferData* data, int32_t nLength,
                                 int32_t nCharSize) override {
        if (FailsNow(kReallocate)) {
            return nullptr;
        }
        data = static_cast<QRV::CBufferData*>(std::realloc(data, BlockSize(nLength, nCharSize)));
        data->capacity = nLength;
        return data;
    }
    QRV::CBufferData* GetNilBuffer() override {
        if (FailsNow(kGetNilBuffer)) {
            return nullptr;
        }
        ++nil_.header.references;
        return &nil_.header;
    }
    QRV::IQrvBufferMgr* Clone() override { return FailsNow(kClone) ? nullptr : this; }

 private:
    static size_t BlockSize(int32_t length, int32_t char_size) {
        return sizeof(QRV::CBufferData) +
               static_cast<size_t>(char_size) * (static_cast<size_t>(length) + 1);
    }

    bool FailsNow(Operation operation) const {
        if (fault_ == kNone || operation != failing_) {
            return false;
        }
        if (fault_ == kThrows) {
            throw std::runtime_error("out of a manager");
        }
        return true;
    }

    Operation failing_ = kAllocate;
    Fault fault_ = kNone;
    int live_blocks_ = 0;
    struct {
        QRV::CBufferData header;
        char characters[8];
    } nil_;
};

// For a death test: runs what is to end the process, without a core file, and ends the process
// successfully when an exception comes out instead.
template <typename Action>
void ExpectNoExceptionOutOf(Action action) {
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    try {
        action();
    } catch (...) {
        std::fputs("the exception came out\n", stderr);
        std::_Exit(0);
    }
}

}  // namespace scripted

#endif
