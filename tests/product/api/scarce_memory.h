#ifndef ORVAL_TESTS_PRODUCT_API_SCARCE_MEMORY_H
#define ORVAL_TESTS_PRODUCT_API_SCARCE_MEMORY_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "failing_heap.h"
#include "qrv/buffer_manager.h"
#include "qrv/exception.h"

// Memory that runs out when a test says so. A program that includes this adds scarce_memory.cpp and
// tests/support/failing_heap.cpp.
namespace scripted {

using failing_heap::Failing;
using failing_heap::kAll;
using failing_heap::kArrays;
using failing_heap::kTexts;

// All that the product can be refused. Where the whole heap counts, texts come out of it, by the
// product's own manager.
inline unsigned EveryKind() {
    return failing_heap::IsWhole() ? kArrays | failing_heap::kOthers : kAll;
}

// The product's pointer to the manager that its strings start from.
QRV::IQrvBufferMgr** DefaultManager();

// While it lives, requests of these kinds are counted and fail as told, but for those of the
// scripted key: array new for buffers, the string library's managers for texts, and what the C and
// C++ libraries ask for where the heap is not a sanitizer's.
class ScarceMemory {
 public:
    explicit ScarceMemory(unsigned kinds, Failing failing = {});
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;
    ~ScarceMemory();

    // The sizes requested so far.
    std::vector<size_t> Requests() const;
    bool Failed() const { return failing_heap::HasFailed(); }
    // Blocks not given back yet.
    size_t LiveBlocks() const { return failing_heap::LiveBlocks(); }

 private:
    struct Heap final : QRV::IQrvMemMgr {
        void* Allocate(size_t size) noexcept override;
        void Free(void* block) noexcept override;
        void* Reallocate(void* block, size_t size) noexcept override;
        size_t GetSize(void* block) noexcept override;
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

// Whether the call ends in one of the two ways that lack of memory is told of.
template <typename Call>
bool RunsOutOfMemory(Call call) {
    try {
        return RaisedCode(call) == QRV::kOutOfMemory;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

// Lets the n-th request fail, alone and with all that come after it, for every n until none fails.
// The attempt gets told which, and tells whether one has failed.
template <typename Attempt>
void FailEachRequest(Attempt attempt) {
    static size_t failures = 0;
    for (const bool all_behind : {false, true}) {
        for (size_t request = 1; !testing::Test::HasFailure(); ++request) {
            SCOPED_TRACE(testing::Message()
                         << "request " << request << (all_behind ? " and all behind it" : ""));
            if (!attempt(Failing{request, all_behind})) {
                break;
            }
            ++failures;
        }
    }
    testing::Test::RecordProperty("failed_requests", std::to_string(failures));
}

}  // namespace scripted

#endif
