#include "qrv/memory_manager.h"

#include <gtest/gtest.h>

#include <new>
#include <type_traits>

#include "qrv_support.h"

namespace qrv_test {
namespace {

using QRV::CCRTHeap;
using QRV::IQrvMemMgr;

constexpr size_t kDestructorSlot = 0;
constexpr size_t kDeletingDestructorSlot = 1;

// Tells which of the two destructors ran.
class TracedMemory final : public IQrvMemMgr {
 public:
    ~TracedMemory() override { ++destroyed; }
    static void operator delete(void* /*object*/) { ++deleted; }

    void* Allocate(size_t /*size*/) noexcept override { return nullptr; }
    void Free(void* /*block*/) noexcept override {}
    void* Reallocate(void* /*block*/, size_t /*size*/) noexcept override { return nullptr; }
    size_t GetSize(void* /*block*/) noexcept override { return 0; }

    static inline int destroyed = 0;
    static inline int deleted = 0;
};

TEST(IQrvMemMgr, OperationsFollowTheTwoDestructorsInOrder) {
    EXPECT_EQ(SlotOf(&IQrvMemMgr::Allocate), 2U);
    EXPECT_EQ(SlotOf(&IQrvMemMgr::Free), 3U);
    EXPECT_EQ(SlotOf(&IQrvMemMgr::Reallocate), 4U);
    EXPECT_EQ(SlotOf(&IQrvMemMgr::GetSize), 5U);
}

TEST(IQrvMemMgr, FirstSlotDestroysAndSecondAlsoDeletes) {
    alignas(TracedMemory) unsigned char storage[sizeof(TracedMemory)];
    TracedMemory::destroyed = TracedMemory::deleted = 0;

    CallSlot(new (storage) TracedMemory, kDestructorSlot);
    EXPECT_EQ(TracedMemory::destroyed, 1);
    EXPECT_EQ(TracedMemory::deleted, 0);

    CallSlot(new (storage) TracedMemory, kDeletingDestructorSlot);
    EXPECT_EQ(TracedMemory::destroyed, 2);
    EXPECT_EQ(TracedMemory::deleted, 1);
}

TEST(IQrvMemMgr, IsAnInterfaceOfOnePointer) {
    EXPECT_TRUE(std::is_abstract_v<IQrvMemMgr>);
    EXPECT_TRUE(std::has_virtual_destructor_v<IQrvMemMgr>);
    EXPECT_EQ(sizeof(IQrvMemMgr), sizeof(void*));
}

TEST(IQrvMemMgr, SizesAreUnsigned64BitNumbers) {
    using Allocate = void* (IQrvMemMgr::*)(uint64_t);
    using Reallocate = void* (IQrvMemMgr::*)(void*, uint64_t);
    using GetSize = uint64_t (IQrvMemMgr::*)(void*);
    EXPECT_TRUE((std::is_same_v<decltype(&IQrvMemMgr::Allocate), Allocate>));
    EXPECT_TRUE((std::is_same_v<decltype(&IQrvMemMgr::Reallocate), Reallocate>));
    EXPECT_TRUE((std::is_same_v<decltype(&IQrvMemMgr::GetSize), GetSize>));
}

TEST(CCRTHeap, TakesTheSlotsOfItsInterface) {
    EXPECT_TRUE((std::is_base_of_v<IQrvMemMgr, CCRTHeap>));
    EXPECT_EQ(SlotOf(&CCRTHeap::Allocate), 2U);
    EXPECT_EQ(SlotOf(&CCRTHeap::Free), 3U);
    EXPECT_EQ(SlotOf(&CCRTHeap::Reallocate), 4U);
    EXPECT_EQ(SlotOf(&CCRTHeap::GetSize), 5U);
}

TEST(CCRTHeap, HoldsOnlyTheLastSize) {
    CCRTHeap heap;
    EXPECT_EQ(sizeof(heap), sizeof(void*) + sizeof(uint64_t));
    EXPECT_EQ(FieldAt<uint64_t>(heap, sizeof(void*)), 0U);
    void* block = heap.Allocate(40);
    EXPECT_EQ(FieldAt<uint64_t>(heap, sizeof(void*)), 40U);
    heap.Free(block);
    EXPECT_EQ(FieldAt<uint64_t>(heap, sizeof(void*)), 0U);
}

TEST(CCRTHeap, StartsWithSizeZero) {
    CCRTHeap heap;
    EXPECT_EQ(heap.GetSize(nullptr), 0U);
}

TEST(CCRTHeap, GetSizeAnswersForTheLatestRequestWhateverTheArgument) {
    CCRTHeap heap;
    void* first = heap.Allocate(40);
    void* second = heap.Allocate(100);
    EXPECT_EQ(heap.GetSize(first), 100U);
    EXPECT_EQ(heap.GetSize(second), 100U);
    EXPECT_EQ(heap.GetSize(nullptr), 100U);
    first = heap.Reallocate(first, 60);
    EXPECT_EQ(heap.GetSize(second), 60U);
    heap.Free(first);
    EXPECT_EQ(heap.GetSize(second), 0U);
    heap.Free(second);
}

TEST(CCRTHeap, GetSizeIsZeroAfterFree) {
    CCRTHeap heap;
    void* freed = heap.Allocate(40);
    void* kept = heap.Allocate(40);
    heap.Free(freed);
    EXPECT_EQ(heap.GetSize(kept), 0U);
    EXPECT_EQ(heap.GetSize(nullptr), 0U);
    heap.Free(kept);
}

TEST(CCRTHeap, ReallocateKeepsTheContents) {
    CCRTHeap heap;
    auto* block = static_cast<char*>(heap.Allocate(4));
    std::memcpy(block, "abc", 4);
    block = static_cast<char*>(heap.Reallocate(block, 100000));
    EXPECT_STREQ(block, "abc");
    heap.Free(block);
}

TEST(CCRTHeap, ReallocateOfNothingAllocates) {
    CCRTHeap heap;
    void* block = heap.Reallocate(nullptr, 24);
    ASSERT_NE(block, nullptr);
    std::memset(block, 1, 24);
    EXPECT_EQ(heap.GetSize(block), 24U);
    heap.Free(block);
}

TEST(CCRTHeap, FreeOfNothingForgetsTheSize) {
    CCRTHeap heap;
    void* block = heap.Allocate(9);
    heap.Free(nullptr);
    EXPECT_EQ(heap.GetSize(block), 0U);
    heap.Free(block);
}

TEST(CCRTHeap, FailedRequestsAreRecordedToo) {
    constexpr size_t kTooLarge = size_t{1} << 62;
    CCRTHeap heap;
    EXPECT_EQ(heap.Allocate(kTooLarge), nullptr);
    EXPECT_EQ(heap.GetSize(nullptr), kTooLarge);

    void* block = heap.Allocate(8);
    EXPECT_EQ(heap.Reallocate(block, kTooLarge + 1), nullptr);
    EXPECT_EQ(heap.GetSize(block), kTooLarge + 1);
    heap.Free(block);
}

}  // namespace
}  // namespace qrv_test
