#ifndef ORVAL_TESTS_PRODUCT_API_SCARCE_MEMORY_H
#define ORVAL_TESTS_PRODUCT_API_SCARCE_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qrv/buffer_manager.h"
#include "qrv/exception.h"

// Memory that runs out when a test says so. Both kinds the product uses: array new for buffers,
// the string library's managers for texts. A program that includes this adds scarce_memory.cpp.
namespace scripted {

// The product's pointer to the manager that its strings start from.
QRV::IQrvBufferMgr** DefaultManager();

// While it lives, counts array new and delete of the whole process and lets one request fail.
class ScarceArrays {
 public:
    // The request that fails, counted from 1; 0: none.
    explicit ScarceArrays(size_t failing_request = 0);
    ScarceArrays(const ScarceArrays&) = delete;
    ScarceArrays& operator=(const ScarceArrays&) = delete;
    ~ScarceArrays();

    // The sizes requested so far.
    std::vector<size_t> Requests() const { return requests_; }
    bool Failed() const { return failing_request_ != 0 && requests_.size() >= failing_request_; }
    // Blocks not given back yet, when none is given back that was there before.
    int LiveBlocks() const { return live_blocks_; }

    bool Grants(size_t size);
    void Release() { --live_blocks_; }

 private:
    size_t failing_request_;
    int live_blocks_ = 0;
    std::vector<size_t> requests_;
};

// While it lives, the product's strings take their memory from here.
class ScarceStrings {
 public:
    // The request that fails, counted from 1; 0: none.
    explicit ScarceStrings(int failing_request = 0);
    ScarceStrings(const ScarceStrings&) = delete;
    ScarceStrings& operator=(const ScarceStrings&) = delete;
    ~ScarceStrings();

    bool Failed() const { return heap_.Failed(); }
    // Blocks not given back yet.
    int LiveBlocks() const { return heap_.live_blocks; }

 private:
    struct Heap final : QRV::IQrvMemMgr {
        void* Allocate(size_t size) noexcept override;
        void Free(void* block) noexcept override;
        void* Reallocate(void* block, size_t size) noexcept override;
        size_t GetSize(void* block) noexcept override;
        bool Failed() const { return failing_request != 0 && requests >= failing_request; }
        bool Grants() noexcept { return ++requests != failing_request; }

        int failing_request = 0;
        int requests = 0;
        int live_blocks = 0;
    };

    Heap heap_;
    QRV::CQrvBufferMgr manager_{&heap_};
    QRV::IQrvBufferMgr** default_manager_;  // the product's pointer to its manager
    QRV::IQrvBufferMgr* usual_manager_;
};

// The code of the string library's exception that leaves the call; 0 when none does.
template <typename Call>
int32_t RaisedCode(Call call) {
    try {
        call();
    } catch (const QRV::CQrvException& exception) {
        return exception.Code();
    }
    return 0;
}

}  // namespace scripted

#endif
