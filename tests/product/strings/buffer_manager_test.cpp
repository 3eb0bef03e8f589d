#include "qrv/buffer_manager.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <type_traits>

#include "qrv_support.h"

namespace qrv_test {
namespace {

using QRV::CQrvBufferMgr;
using QRV::IQrvBufferMgr;

constexpr size_t kHeaderSize = 24;

class TracedManager final : public IQrvBufferMgr {
 public:
    ~TracedManager() override { ++destroyed; }
    static void operator delete(void* /*object*/) { ++deleted; }

    CBufferData* Allocate(int32_t /*nLength*/, int32_t /*nCharSize*/) noexcept override {
        return nullptr;
    }
    void Free(CBufferData* /*data*/) noexcept override {}
    CBufferData* Reallocate(CBufferData* /*data*/, int32_t /*nLength*/,
                            int32_t /*nCharSize*/) noexcept override {
        return nullptr;
    }
    CBufferData* GetNilBuffer() noexcept override { return nullptr; }
    IQrvBufferMgr* Clone() noexcept override { return this; }

    static inline int destroyed = 0;
    static inline int deleted = 0;
};

TEST(CBufferData, FieldsStandInTheirOrder) {
    EXPECT_EQ(sizeof(CBufferData), kHeaderSize);
    EXPECT_EQ(offsetof(CBufferData, manager), 0U);
    EXPECT_EQ(offsetof(CBufferData, length), 8U);
    EXPECT_EQ(offsetof(CBufferData, capacity), 12U);
    EXPECT_EQ(offsetof(CBufferData, references), 16U);
    EXPECT_TRUE((std::is_same_v<decltype(CBufferData::manager), IQrvBufferMgr*>));
    EXPECT_TRUE((std::is_same_v<decltype(CBufferData::length), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(CBufferData::capacity), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(CBufferData::references), int64_t>));
}

TEST(IQrvBufferMgr, OperationsFollowTheTwoDestructorsInOrder) {
    EXPECT_EQ(SlotOf(&IQrvBufferMgr::Allocate), 2U);
    EXPECT_EQ(SlotOf(&IQrvBufferMgr::Free), 3U);
    EXPECT_EQ(SlotOf(&IQrvBufferMgr::Reallocate), 4U);
    EXPECT_EQ(SlotOf(&IQrvBufferMgr::GetNilBuffer), 5U);
    EXPECT_EQ(SlotOf(&IQrvBufferMgr::Clone), 6U);
}

TEST(IQrvBufferMgr, FirstSlotDestroysAndSecondAlsoDeletes) {
    alignas(TracedManager) unsigned char storage[sizeof(TracedManager)];
    TracedManager::destroyed = TracedManager::deleted = 0;

    CallSlot(new (storage) TracedManager, 0);
    EXPECT_EQ(TracedManager::destroyed, 1);
    EXPECT_EQ(TracedManager::deleted, 0);

    CallSlot(new (storage) TracedManager, 1);
    EXPECT_EQ(TracedManager::destroyed, 2);
    EXPECT_EQ(TracedManager::deleted, 1);
}

TEST(IQrvBufferMgr, IsAnInterfaceOfOnePointer) {
    EXPECT_TRUE(std::is_abstract_v<IQrvBufferMgr>);
    EXPECT_TRUE(std::has_virtual_destructor_v<IQrvBufferMgr>);
    EXPECT_EQ(sizeof(IQrvBufferMgr), sizeof(void*));
}

TEST(IQrvBufferMgr, LengthsAndCharacterSizesAreSigned32BitNumbers) {
    using Allocate = CBufferData* (IQrvBufferMgr::*)(int32_t, int32_t);
    using Reallocate = CBufferData* (IQrvBufferMgr::*)(CBufferData*, int32_t, int32_t);
    EXPECT_TRUE((std::is_same_v<decltype(&IQrvBufferMgr::Allocate), Allocate>));
    EXPECT_TRUE((std::is_same_v<decltype(&IQrvBufferMgr::Reallocate), Reallocate>));
}

TEST(CQrvBufferMgr, TakesTheSlotsOfItsInterface) {
    EXPECT_TRUE((std::is_base_of_v<IQrvBufferMgr, CQrvBufferMgr>));
    EXPECT_EQ(SlotOf(&CQrvBufferMgr::Allocate), 2U);
    EXPECT_EQ(SlotOf(&CQrvBufferMgr::Free), 3U);
    EXPECT_EQ(SlotOf(&CQrvBufferMgr::Reallocate), 4U);
    EXPECT_EQ(SlotOf(&CQrvBufferMgr::GetNilBuffer), 5U);
    EXPECT_EQ(SlotOf(&CQrvBufferMgr::Clone), 6U);
}

TEST(CQrvBufferMgr, HoldsMemoryManagerNilBufferAndEightZeroBytes) {
    CountingMemory memory;
    CQrvBufferMgr manager(&memory);
    EXPECT_EQ(sizeof(manager), 48U);
    EXPECT_EQ(FieldAt<void*>(manager, 8), &memory);
    const auto nil = FieldAt<CBufferData>(manager, 16);
    EXPECT_EQ(nil.manager, &manager);
    EXPECT_EQ(nil.length, 0);
    EXPECT_EQ(nil.capacity, 0);
    EXPECT_EQ(nil.references, 2);
    EXPECT_EQ(FieldAt<uint64_t>(manager, 40), 0U);
}

// lengths asked for, and the capacity that results.
struct Rounding {
    int32_t length;
    int32_t capacity;
};

constexpr Rounding kRoundings[] = {
    {0, 7},       {1, 7},       {6, 7},       {7, 7},         {8, 15},        {15, 15},
    {16, 23},     {100, 103},   {1022, 1023}, {1023, 1023},   {1024, 1031},   {1031, 1031},
    {2046, 2047}, {3071, 3071}, {4096, 4103}, {65535, 65535}, {65536, 65543},
};

class CQrvBufferMgrRounding : public testing::TestWithParam<Rounding> {
 protected:
    CountingMemory memory_;
    CQrvBufferMgr manager_{&memory_};
};

TEST_P(CQrvBufferMgrRounding, AllocateLeavesRoomForTheTerminatorInMultiplesOfEight) {
    CBufferData* data = manager_.Allocate(GetParam().length, 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->capacity, GetParam().capacity);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize + static_cast<size_t>(data->capacity) + 1);
    manager_.Free(data);
}

TEST_P(CQrvBufferMgrRounding, ReallocateRoundsLikeAllocate) {
    CBufferData* data = manager_.Allocate(3, 1);
    data = manager_.Reallocate(data, GetParam().length, 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->capacity, GetParam().capacity);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize + static_cast<size_t>(data->capacity) + 1);
    manager_.Free(data);
}

INSTANTIATE_TEST_SUITE_P(Lengths, CQrvBufferMgrRounding, testing::ValuesIn(kRoundings));

class CQrvBufferMgrTest : public testing::Test {
 protected:
    CountingMemory memory_;
    CQrvBufferMgr manager_{&memory_};
};

TEST_F(CQrvBufferMgrTest, WiderCharactersTakeMoreBytesForTheSameCapacity) {
    CBufferData* data = manager_.Allocate(8, 4);
    EXPECT_EQ(data->capacity, 15);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize + 4 * 16);
    data = manager_.Reallocate(data, 20, 2);
    EXPECT_EQ(data->capacity, 23);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize + 2 * 24);
    manager_.Free(data);
}

TEST_F(CQrvBufferMgrTest, AllocatedBlockIsEmptyAndOwnedOnce) {
    CBufferData* data = manager_.Allocate(5, 1);
    EXPECT_EQ(data->manager, &manager_);
    EXPECT_EQ(data->length, 0);
    EXPECT_EQ(data->references, 1);
    manager_.Free(data);
}

TEST_F(CQrvBufferMgrTest, LengthOfMinusOneGetsABlockWithoutAnyCharacter) {
    CBufferData* data = manager_.Allocate(-1, 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize);
    EXPECT_EQ(data->length, 0);
    EXPECT_EQ(data->capacity, -1);
    EXPECT_EQ(data->references, 1);
    manager_.Free(data);
}

TEST_F(CQrvBufferMgrTest, AllocateWithoutMemoryGivesNull) {
    memory_.FailAt(1);
    EXPECT_EQ(manager_.Allocate(5, 1), nullptr);
    EXPECT_EQ(memory_.LiveBlocks(), 0U);
}

TEST_F(CQrvBufferMgrTest, ReallocateKeepsLengthReferencesAndCharacters) {
    CBufferData* data = manager_.Allocate(5, 1);
    data->length = 5;
    data->references = 3;
    std::memcpy(data->Characters(), "hello", 6);
    data = manager_.Reallocate(data, 5000, 1);
    EXPECT_EQ(data->manager, &manager_);
    EXPECT_EQ(data->length, 5);
    EXPECT_EQ(data->references, 3);
    EXPECT_STREQ(static_cast<char*>(data->Characters()), "hello");
    manager_.Free(data);
}

TEST_F(CQrvBufferMgrTest, ReallocateWithoutMemoryLeavesTheOldBlockValid) {
    CBufferData* data = manager_.Allocate(5, 1);
    data->length = 5;
    std::memcpy(data->Characters(), "hello", 6);
    memory_.FailAt(1);
    EXPECT_EQ(manager_.Reallocate(data, 5000, 1), nullptr);
    EXPECT_EQ(data->capacity, 7);
    EXPECT_EQ(data->length, 5);
    EXPECT_EQ(data->references, 1);
    EXPECT_STREQ(static_cast<char*>(data->Characters()), "hello");
    manager_.Free(data);
    EXPECT_EQ(memory_.LiveBlocks(), 0U);
}

TEST_F(CQrvBufferMgrTest, ReallocateCountsInUnsigned32Bits) {
    CBufferData* data = manager_.Allocate(5, 1);
    // Too large for the test's memory: only the requests matter.
    EXPECT_EQ(manager_.Reallocate(data, std::numeric_limits<int32_t>::max(), 1), nullptr);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize + 0x80000000U);
    EXPECT_EQ(manager_.Reallocate(data, -16, 1), nullptr);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize + 0xFFFFFFF8U);
    manager_.Free(data);
}

TEST_F(CQrvBufferMgrTest, LargestLengthIsAskedForInFull) {
    EXPECT_EQ(manager_.Allocate(std::numeric_limits<int32_t>::max(), 1), nullptr);
    EXPECT_EQ(memory_.Requests().back(), kHeaderSize + 0x80000000U);
}

TEST_F(CQrvBufferMgrTest, FreeGivesTheBlockToTheMemoryManager) {
    CBufferData* data = manager_.Allocate(5, 1);
    manager_.Free(data);
    EXPECT_EQ(memory_.Freed(), std::vector<void*>{data});
    EXPECT_EQ(memory_.LiveBlocks(), 0U);
}

TEST_F(CQrvBufferMgrTest, EachNilBufferIsTheSameOneWithOneReferenceMore) {
    CBufferData* nil = manager_.GetNilBuffer();
    EXPECT_EQ(nil->references, 3);
    EXPECT_EQ(manager_.GetNilBuffer(), nil);
    EXPECT_EQ(nil->references, 4);
    EXPECT_EQ(nil->manager, &manager_);
    EXPECT_EQ(nil->length, 0);
    EXPECT_EQ(nil->capacity, 0);
    EXPECT_STREQ(static_cast<char*>(nil->Characters()), "");
    EXPECT_TRUE(memory_.Requests().empty());
}

TEST_F(CQrvBufferMgrTest, NilBufferIsTheOneInsideTheManager) {
    EXPECT_EQ(reinterpret_cast<char*>(manager_.GetNilBuffer()),
              reinterpret_cast<char*>(&manager_) + 16);
}

TEST_F(CQrvBufferMgrTest, CloneIsTheManagerItself) {
    EXPECT_EQ(manager_.Clone(), &manager_);
}

TEST(ProcessObjects, StringsDrawOnTheProcessHeap) {
    EXPECT_EQ(QRV::_qrvMemoryManager, &QRV::g_heapmgr);
    EXPECT_EQ(QRV::_qrvBufferManager, &QRV::g_bufmgr);
    EXPECT_EQ(FieldAt<void*>(QRV::g_bufmgr, 8), &QRV::g_heapmgr);

    CBufferData* data = QRV::g_bufmgr.Allocate(10, 1);
    EXPECT_EQ(QRV::g_heapmgr.GetSize(nullptr), kHeaderSize + 16);
    QRV::g_bufmgr.Free(data);
    EXPECT_EQ(QRV::g_heapmgr.GetSize(nullptr), 0U);
}

TEST(ProcessObjects, NilBufferStartsWithTwoReferences) {
    EXPECT_EQ(NilReferences(&QRV::g_bufmgr), 2);
    {
        CString first;
        CString second;
        EXPECT_EQ(NilReferences(&QRV::g_bufmgr), 4);
    }
    EXPECT_EQ(NilReferences(&QRV::g_bufmgr), 2);
}

TEST(ProcessObjects, TraceRecordHoldsItsTwoSettingsAndItsName) {
    EXPECT_EQ(sizeof(QRV::qrvTraceGeneral), 24U);
    EXPECT_EQ(FieldAt<uint32_t>(QRV::qrvTraceGeneral, 0), 0x11U);
    EXPECT_EQ(FieldAt<uint32_t>(QRV::qrvTraceGeneral, 4), 4U);
    EXPECT_STREQ(FieldAt<const char*>(QRV::qrvTraceGeneral, 8), "TraceGeneral");
    EXPECT_EQ(FieldAt<void*>(QRV::qrvTraceGeneral, 16), nullptr);
}

TEST(ProcessObjects, HooksLeaveStringsAlone) {
    CString text("kept");
    QRV::DoInitialization();
    QRV::DoCleanup();
    EXPECT_EQ(TextOf(text), "kept");
    EXPECT_EQ(QRV::_qrvBufferManager, &QRV::g_bufmgr);
    EXPECT_EQ(NilReferences(&QRV::g_bufmgr), 2);
}

}  // namespace
}  // namespace qrv_test
