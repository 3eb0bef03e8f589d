#include "qrv/simple_buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "qrv_support.h"

namespace qrv_test {
namespace {

using QRV::CQrvBufferMgr;
using QRV::CQrvException;

constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();

// Strings over a counting memory; the end of each test proves that every block went back and that
// the nil buffer's count is where it started.
class SimpleBuffer : public testing::Test {
 protected:
    void TearDown() override {
        EXPECT_EQ(memory_.LiveBlocks(), 0U);
        EXPECT_EQ(NilReferences(&manager_), 2);
        EXPECT_EQ(exact_.LiveBlocks(), 0U);
        EXPECT_EQ(exact_.NilReferences(), 2);
    }

    CharBuffer Make(const std::string& text) { return MakeBuffer(text, &manager_); }
    CharBuffer MakeExact(const std::string& text) { return MakeBuffer(text, &exact_); }

    CountingMemory memory_;
    CQrvBufferMgr manager_{&memory_};
    ExactManager exact_;
};

template <typename T>
int64_t References(const QRV::CSimpleBufferT<T>& buffer) {
    return buffer.Data()->references;
}

template <typename T>
int32_t Capacity(const QRV::CSimpleBufferT<T>& buffer) {
    return buffer.Data()->capacity;
}

// --- the exception ---

TEST(CQrvException, IsOneCodeAndNothingElse) {
    EXPECT_EQ(sizeof(CQrvException), 4U);
    EXPECT_FALSE(std::is_polymorphic_v<CQrvException>);
    EXPECT_EQ(FieldAt<int32_t>(CQrvException(-17), 0), -17);
}

TEST(CQrvException, IsCaughtByItsTypeAndIsNoStandardException) {
    try {
        QRV::QrvThrow(5);
        FAIL() << "QrvThrow returned";
    } catch (const std::exception&) {
        FAIL() << "caught as a standard exception";
    } catch (const CQrvException& exception) {
        EXPECT_EQ(exception.Code(), 5);
    }
}

TEST(QrvThrow, RaisesAnyCode) {
    for (const int32_t code : {0, 1, -1, kOutOfMemory, kInvalidArgument}) {
        EXPECT_THROW(QRV::QrvThrow(code), CQrvException);
        EXPECT_EQ(RaisedCode([&] { QRV::QrvThrow(code); }), code);
    }
}

TEST(ThrowMemoryException, RaisesOutOfMemoryForBothCharacterTypes) {
    constexpr auto kExpected = static_cast<int32_t>(0x8007000E);
    EXPECT_EQ(RaisedCode([] { CharBuffer::ThrowMemoryException(); }), kExpected);
    EXPECT_EQ(RaisedCode([] { ByteBuffer::ThrowMemoryException(); }), kExpected);
}

TEST(ExceptionCodes, AreTheOnesClientsKnow) {
    EXPECT_EQ(static_cast<uint32_t>(kOutOfMemory), 0x8007000EU);
    EXPECT_EQ(static_cast<uint32_t>(kInvalidArgument), 0x80070057U);
}

// --- layout ---

TEST_F(SimpleBuffer, ObjectIsOnePointerToTheFirstCharacter) {
    EXPECT_EQ(sizeof(CharBuffer), sizeof(void*));
    EXPECT_EQ(sizeof(ByteBuffer), sizeof(void*));
    const CharBuffer buffer = Make("abc");
    EXPECT_EQ(FieldAt<const char*>(buffer, 0), buffer.GetString());
}

TEST_F(SimpleBuffer, HeaderStandsDirectlyInFrontOfTheCharacters) {
    const CharBuffer buffer = Make("abc");
    EXPECT_EQ(reinterpret_cast<const char*>(buffer.Data()) + 24, buffer.GetString());
}

// --- construction from characters ---

TEST_F(SimpleBuffer, HoldsACopyOfTheCharacters) {
    char source[] = "abc";
    const CharBuffer buffer(source, 3, &manager_);
    source[0] = 'X';
    EXPECT_EQ(TextOf(buffer), "abc");
    EXPECT_EQ(buffer.GetString()[3], '\0');
    EXPECT_EQ(buffer.GetLength(), 3);
    EXPECT_EQ(Capacity(buffer), 7);
    EXPECT_EQ(References(buffer), 1);
    EXPECT_EQ(buffer.Data()->manager, &manager_);
}

TEST_F(SimpleBuffer, HoldsEmbeddedNuls) {
    const CharBuffer buffer("a\0b\0", 4, &manager_);
    EXPECT_EQ(TextOf(buffer), Literal("a\0b\0"));
    EXPECT_EQ(buffer.GetString()[4], '\0');
}

TEST_F(SimpleBuffer, TakesOnlyTheStatedNumberOfCharacters) {
    const CharBuffer buffer("abcdef", 2, &manager_);
    EXPECT_EQ(TextOf(buffer), "ab");
    EXPECT_EQ(buffer.GetString()[2], '\0');
}

TEST_F(SimpleBuffer, NullSourceOfLengthZeroIsEmpty) {
    const CharBuffer buffer(nullptr, 0, &manager_);
    EXPECT_EQ(buffer.GetLength(), 0);
    EXPECT_EQ(buffer.GetString()[0], '\0');
    // A block of its own, not the nil buffer.
    EXPECT_EQ(Capacity(buffer), 7);
    EXPECT_EQ(References(buffer), 1);
}

TEST_F(SimpleBuffer, NullSourceWithALengthIsRefusedBeforeAnyAllocation) {
    for (const int32_t length : {5, 1, -1, std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(RaisedCode([&] { CharBuffer(nullptr, length, &manager_); }), kInvalidArgument);
    }
    EXPECT_TRUE(memory_.Requests().empty());
}

TEST_F(SimpleBuffer, NegativeLengthIsRefused) {
    for (const int32_t length :
         {-1, -7, -8, -9, -32, -33, -1000, -0x40000000, std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(RaisedCode([&] { CharBuffer("abc", length, &manager_); }), kInvalidArgument)
            << length;
        EXPECT_EQ(memory_.LiveBlocks(), 0U);
    }
}

TEST_F(SimpleBuffer, MemoryIsAskedForBeforeTheLengthIsJudged) {
    memory_.FailAt(1);
    EXPECT_EQ(RaisedCode([&] { CharBuffer("abc", -1, &manager_); }), kOutOfMemory);
}

// Grants less than it was asked for.
class StingyManager final : public QRV::IQrvBufferMgr {
 public:
    CBufferData* Allocate(int32_t nLength, int32_t nCharSize) noexcept override {
        CBufferData* data = inner_.Allocate(nLength, nCharSize);
        data->manager = this;
        data->capacity = nLength - 1;
        return data;
    }
    void Free(CBufferData* data) noexcept override { inner_.Free(data); }
    CBufferData* Reallocate(CBufferData* data, int32_t nLength,
                            int32_t nCharSize) noexcept override {
        return inner_.Reallocate(data, nLength, nCharSize);
    }
    CBufferData* GetNilBuffer() noexcept override { return inner_.GetNilBuffer(); }
    QRV::IQrvBufferMgr* Clone() noexcept override { return this; }
    size_t LiveBlocks() const { return inner_.LiveBlocks(); }

 private:
    ExactManager inner_;
};

TEST_F(SimpleBuffer, LengthAboveTheGrantedCapacityIsRefusedAndTheBlockGivenBack) {
    StingyManager stingy;
    EXPECT_EQ(RaisedCode([&] { CharBuffer("abc", 3, &stingy); }), kInvalidArgument);
    EXPECT_EQ(stingy.LiveBlocks(), 0U);
}

TEST_F(SimpleBuffer, EmptyBufferSharesTheNilBuffer) {
    const CharBuffer first(&manager_);
    const CharBuffer second(&manager_);
    EXPECT_EQ(first.Data(), second.Data());
    EXPECT_EQ(References(first), 4);
    EXPECT_TRUE(first.IsEmpty());
    EXPECT_FALSE(Make("a").IsEmpty());
    EXPECT_EQ(first.GetLength(), 0);
    EXPECT_EQ(first.GetString()[0], '\0');
    EXPECT_EQ(memory_.Requests().size(), 1U);
}

TEST_F(SimpleBuffer, BytesBehaveLikeCharacters) {
    const unsigned char source[] = {0x00, 0x80, 0xFF};
    ByteBuffer buffer(source, 3, &manager_);
    const ByteBuffer shared(buffer);
    EXPECT_EQ(References(buffer), 2);
    buffer.Append(source, 3);
    EXPECT_EQ(TextOf(buffer), Literal("\x00\x80\xFF\x00\x80\xFF"));
    EXPECT_EQ(TextOf(shared), Literal("\x00\x80\xFF"));
    EXPECT_EQ(buffer.GetAt(2), 0xFF);
    EXPECT_EQ(RaisedCode([&] { ByteBuffer(nullptr, 1, &manager_); }), kInvalidArgument);
    EXPECT_EQ(RaisedCode([&] { buffer.SetLength(-1); }), kInvalidArgument);
    EXPECT_EQ(RaisedCode([&] { static_cast<void>(buffer.GetAt(7)); }), kInvalidArgument);
}

// --- sharing and release ---

TEST_F(SimpleBuffer, CopySharesTheBlock) {
    const CharBuffer original = Make("abc");
    const CharBuffer copy(original);
    EXPECT_EQ(copy.Data(), original.Data());
    EXPECT_EQ(References(original), 2);
}

TEST_F(SimpleBuffer, LastReleaseGivesTheBlockBackAndNoEarlierOne) {
    CBufferData* block;
    {
        const CharBuffer original = Make("abc");
        block = original.Data();
        { const CharBuffer copy(original); }
        EXPECT_EQ(References(original), 1);
        EXPECT_TRUE(memory_.Freed().empty());
    }
    EXPECT_EQ(memory_.Freed(), std::vector<void*>{block});
}

TEST_F(SimpleBuffer, ReleaseOfABlockThatMayNotBeSharedGivesItBack) {
    {
        CharBuffer buffer = Make("abc");
        ForbidSharing(buffer);
    }
    EXPECT_EQ(memory_.Freed().size(), 1U);
}

TEST_F(SimpleBuffer, NilBufferIsNeverGivenBack) {
    for (int round = 0; round < 10; ++round) {
        const CharBuffer empty(&manager_);
        const CharBuffer copy(empty);
    }
    EXPECT_TRUE(memory_.Freed().empty());
}

// Counts are plain numbers: threads that use strings at once lose some of them.
TEST_F(SimpleBuffer, NilBufferIsNoBlockOfTheHeapHoweverFewReferencesItSeemsToHave) {
    CBufferData* const nil = CharBuffer(&manager_).Data();
    for (const int64_t left : {-2, -1, 0, 1}) {
        SCOPED_TRACE(left);
        nil->references = left;
        {
            const CharBuffer empty(&manager_);
            const CharBuffer copy(empty);
        }
        CharBuffer appended(&manager_);
        appended.Append("abc", 3);
        CharBuffer assigned(&manager_);
        assigned = appended;
        CharBuffer written(&manager_);
        std::memcpy(written.GetBuffer(2), "de", 2);
        written.SetLength(2);
        EXPECT_EQ(TextOf(appended) + TextOf(assigned) + TextOf(written), "abcabcde");
        EXPECT_EQ(TextOf(CharBuffer(&manager_)), "");
    }
    nil->references = 2;
}

TEST_F(SimpleBuffer, WritingLeavesTheOtherSharerUnchanged) {
    const CharBuffer original = Make("abc");
    CharBuffer copy(original);
    copy.GetBuffer(3)[0] = 'X';
    copy.SetLength(3);
    EXPECT_EQ(TextOf(copy), "Xbc");
    EXPECT_EQ(TextOf(original), "abc");
    EXPECT_EQ(References(original), 1);
    EXPECT_EQ(References(copy), 1);
}

// --- CloneData ---

TEST_F(SimpleBuffer, CloneDataOfAShareableBlockIsTheBlockWithOneReferenceMore) {
    CharBuffer buffer = Make("abc");
    CBufferData* clone = CharBuffer::CloneData(buffer.Data());
    EXPECT_EQ(clone, buffer.Data());
    EXPECT_EQ(clone->references, 2);
    --clone->references;
}

TEST_F(SimpleBuffer, CloneDataOfTheNilBufferIsTheNilBuffer) {
    const CharBuffer empty(&manager_);
    CBufferData* clone = CharBuffer::CloneData(empty.Data());
    EXPECT_EQ(clone, empty.Data());
    EXPECT_EQ(clone->references, 4);
    --clone->references;
}

TEST_F(SimpleBuffer, CloneDataOfABlockThatMayNotBeSharedIsACopy) {
    CharBuffer buffer = Make(Literal("a\0c"));
    ForbidSharing(buffer);
    CBufferData* clone = CharBuffer::CloneData(buffer.Data());
    EXPECT_NE(clone, buffer.Data());
    EXPECT_EQ(clone->references, 1);
    EXPECT_EQ(clone->length, 3);
    EXPECT_EQ(clone->manager, &manager_);
    EXPECT_EQ(std::memcmp(clone->Characters(), "a\0c", 4), 0);
    EXPECT_EQ(References(buffer), -1);
    manager_.Free(clone);
}

TEST_F(SimpleBuffer, CloneDataIntoAnotherManagerIsACopyThere) {
    const CharBuffer buffer = MakeExact("abcdefghi");
    exact_.CloneNames(&manager_);
    CBufferData* clone = CharBuffer::CloneData(buffer.Data());
    EXPECT_EQ(clone->manager, &manager_);
    EXPECT_EQ(clone->references, 1);
    EXPECT_EQ(clone->length, 9);
    EXPECT_EQ(clone->capacity, 15);
    EXPECT_STREQ(static_cast<char*>(clone->Characters()), "abcdefghi");
    EXPECT_EQ(References(buffer), 1);
    manager_.Free(clone);
}

TEST_F(SimpleBuffer, CloneDataAsksForTheSourcesLengthAndNotItsCapacity) {
    CharBuffer buffer = MakeExact("abc");
    buffer.GetBuffer(100);
    ForbidSharing(buffer);
    exact_.Free(CharBuffer::CloneData(buffer.Data()));
    EXPECT_EQ(exact_.Allocated().back(), 3);
}

TEST_F(SimpleBuffer, CopyOfABufferThatMayNotBeSharedIsIndependent) {
    CharBuffer original = Make("abc");
    ForbidSharing(original);
    const CharBuffer copy(original);
    EXPECT_NE(copy.Data(), original.Data());
    EXPECT_EQ(References(copy), 1);
    EXPECT_EQ(References(original), -1);
    EXPECT_EQ(TextOf(copy), "abc");
}

// --- operator= ---

TEST_F(SimpleBuffer, AssigningTheSameBlockDoesNothing) {
    CharBuffer first = Make("abc");
    CharBuffer second(first);
    second = first;
    EXPECT_EQ(References(first), 2);

    ForbidSharing(first);
    const CharBuffer& itself = first;
    first = itself;
    EXPECT_EQ(References(first), -1);
    EXPECT_EQ(TextOf(first), "abc");
    first.Data()->references = 2;
}

TEST_F(SimpleBuffer, AssigningUnderOneManagerSharesAndReleasesTheOldBlock) {
    const CharBuffer source = Make("source");
    CharBuffer target = Make("target");
    CBufferData* old = target.Data();
    target = source;
    EXPECT_EQ(target.Data(), source.Data());
    EXPECT_EQ(References(source), 2);
    EXPECT_EQ(memory_.Freed(), std::vector<void*>{old});
}

TEST_F(SimpleBuffer, AssigningUnderOneManagerLeavesTheOldBlocksOtherSharerAlone) {
    const CharBuffer source = Make("source");
    CharBuffer target = Make("target");
    const CharBuffer sharer(target);
    target = source;
    EXPECT_EQ(References(sharer), 1);
    EXPECT_EQ(TextOf(sharer), "target");
    EXPECT_TRUE(memory_.Freed().empty());
}

TEST_F(SimpleBuffer, AssigningAnEmptySourceUnderOneManagerSharesItsBlock) {
    const CharBuffer nil(&manager_);
    const CharBuffer blank = Make("");
    CharBuffer target = Make("target");
    target = nil;
    EXPECT_EQ(target.Data(), nil.Data());
    EXPECT_EQ(References(nil), 4);
    target = blank;
    EXPECT_EQ(target.Data(), blank.Data());
    EXPECT_EQ(References(blank), 2);
}

TEST_F(SimpleBuffer, AssigningASourceThatMayNotBeSharedCopiesItIntoANewBlock) {
    CharBuffer source = Make("source");
    ForbidSharing(source);
    CharBuffer target = Make("a target with more room than needed");
    CBufferData* old = target.Data();
    target = source;
    EXPECT_NE(target.Data(), source.Data());
    EXPECT_EQ(memory_.Freed(), std::vector<void*>{old});
    EXPECT_EQ(TextOf(target), "source");
    EXPECT_EQ(Capacity(target), 7);
    EXPECT_EQ(References(target), 1);
    EXPECT_EQ(References(source), -1);
}

TEST_F(SimpleBuffer, AssigningUnderOneManagerGoesWhereItsCloneSays) {
    const CharBuffer source = MakeExact("source");
    CharBuffer target = MakeExact("target");
    exact_.CloneNames(&manager_);
    target = source;
    EXPECT_EQ(target.Data()->manager, &manager_);
    EXPECT_EQ(TextOf(target), "source");
    EXPECT_EQ(References(source), 1);
    EXPECT_EQ(exact_.LiveBlocks(), 1U);
}

TEST_F(SimpleBuffer, AssigningAcrossManagersCopiesIntoTheTargetsOwnBuffer) {
    const CharBuffer source = MakeExact("source");
    CharBuffer target = Make("target!");
    CBufferData* own = target.Data();
    target = source;
    EXPECT_EQ(target.Data(), own);
    EXPECT_EQ(own->manager, &manager_);
    EXPECT_EQ(TextOf(target), "source");
    EXPECT_EQ(target.GetString()[6], '\0');
    EXPECT_EQ(References(source), 1);
    EXPECT_EQ(References(target), 1);
}

TEST_F(SimpleBuffer, AssigningAcrossManagersCopiesEmbeddedNuls) {
    const CharBuffer source = MakeExact(Literal("a\0b"));
    CharBuffer target = Make("target");
    target = source;
    EXPECT_EQ(TextOf(target), Literal("a\0b"));
}

TEST_F(SimpleBuffer, AssigningAcrossManagersGrowsByTheRule) {
    const CharBuffer eleven = Make("hello world");
    CharBuffer target = MakeExact("ten chars.");
    target = eleven;
    EXPECT_EQ(exact_.Reallocated(), std::vector<int32_t>{20});
    EXPECT_EQ(TextOf(target), "hello world");

    const CharBuffer fifty = Make(std::string(50, 'x'));
    target = fifty;
    EXPECT_EQ(exact_.Reallocated(), (std::vector<int32_t>{20, 50}));
    EXPECT_EQ(TextOf(target), std::string(50, 'x'));
    EXPECT_EQ(target.Data()->manager, &exact_);
}

TEST_F(SimpleBuffer, AssigningAcrossManagersLeavesTheTargetsOtherSharerAlone) {
    const CharBuffer source = MakeExact("new");
    CharBuffer target = Make("target");
    const CharBuffer sharer(target);
    target = source;
    EXPECT_EQ(TextOf(target), "new");
    EXPECT_EQ(TextOf(sharer), "target");
    EXPECT_EQ(References(sharer), 1);
    EXPECT_EQ(target.Data()->manager, &manager_);
}

TEST_F(SimpleBuffer, AssigningAnEmptySourceAcrossManagersTakesTheOwnNilBuffer) {
    const CharBuffer source(&exact_);
    CharBuffer target = Make("target");
    target = source;
    EXPECT_EQ(target.Data(), CharBuffer(&manager_).Data());
    EXPECT_EQ(memory_.Freed().size(), 1U);
    EXPECT_EQ(exact_.NilReferences(), 3);
}

TEST_F(SimpleBuffer, AssigningToABlockThatMayNotBeSharedCopiesInPlace) {
    const CharBuffer source = Make("abc");
    CharBuffer target = Make("target");
    ForbidSharing(target);
    CBufferData* own = target.Data();
    target = source;
    EXPECT_EQ(target.Data(), own);
    EXPECT_EQ(TextOf(target), "abc");
    EXPECT_EQ(References(target), -1);
    EXPECT_EQ(References(source), 1);
}

TEST_F(SimpleBuffer, ABlockThatMayNotBeSharedStaysSoWhenItGrows) {
    const CharBuffer source = Make("twelve chars");
    CharBuffer target = Make("target");
    ForbidSharing(target);
    target = source;
    EXPECT_EQ(TextOf(target), "twelve chars");
    EXPECT_EQ(Capacity(target), 15);
    EXPECT_EQ(References(target), -1);
    EXPECT_EQ(References(source), 1);
}

TEST_F(SimpleBuffer, AssigningAnEmptySourceToABlockThatMayNotBeSharedKeepsItsStorage) {
    const CharBuffer same_manager(&manager_);
    const CharBuffer other_manager(&exact_);
    for (const CharBuffer* source : {&same_manager, &other_manager}) {
        CharBuffer target = Make("target");
        ForbidSharing(target);
        CBufferData* own = target.Data();
        target = *source;
        EXPECT_EQ(target.Data(), own);
        EXPECT_EQ(target.GetLength(), 0);
        EXPECT_EQ(target.GetString()[0], '\0');
        EXPECT_EQ(Capacity(target), 7);
        EXPECT_EQ(References(target), -1);
    }
}

// --- Fork ---

TEST_F(SimpleBuffer, ForkMakesTheBufferPrivate) {
    CharBuffer buffer = Make(Literal("a\0c"));
    const CharBuffer sharer(buffer);
    buffer.Fork(3);
    EXPECT_NE(buffer.Data(), sharer.Data());
    EXPECT_EQ(TextOf(buffer), Literal("a\0c"));
    EXPECT_EQ(buffer.GetString()[3], '\0');
    EXPECT_EQ(References(buffer), 1);
    EXPECT_EQ(References(sharer), 1);
    EXPECT_EQ(Capacity(buffer), 7);
}

TEST_F(SimpleBuffer, ForkKeepsTheLengthInALargerBlock) {
    CharBuffer buffer = Make("abc");
    CBufferData* old = buffer.Data();
    buffer.Fork(20);
    EXPECT_EQ(TextOf(buffer), "abc");
    EXPECT_EQ(Capacity(buffer), 23);
    EXPECT_EQ(memory_.Freed(), std::vector<void*>{old});
}

TEST_F(SimpleBuffer, ForkTakesItsBlockFromTheManagersClone) {
    CharBuffer buffer = MakeExact("abc");
    exact_.CloneNames(&manager_);
    buffer.Fork(3);
    EXPECT_EQ(buffer.Data()->manager, &manager_);
    EXPECT_EQ(TextOf(buffer), "abc");
    EXPECT_EQ(exact_.LiveBlocks(), 0U);
}

TEST_F(SimpleBuffer, ForkLeavesTheNilBuffer) {
    CharBuffer buffer(&manager_);
    EXPECT_EQ(NilReferences(&manager_), 3);
    buffer.Fork(0);
    EXPECT_EQ(NilReferences(&manager_), 2);
    EXPECT_EQ(buffer.GetLength(), 0);
    EXPECT_EQ(buffer.GetString()[0], '\0');
    EXPECT_EQ(Capacity(buffer), 7);
}

// --- GetBuffer: the writing rule ---

TEST_F(SimpleBuffer, PrivateBufferWithRoomIsWrittenInPlace) {
    CharBuffer buffer = Make("abc");
    const char* characters = buffer.GetString();
    EXPECT_EQ(buffer.GetBuffer(7), characters);
    EXPECT_EQ(buffer.GetBuffer(0), characters);
    EXPECT_EQ(memory_.Requests().size(), 1U);
    EXPECT_EQ(TextOf(buffer), "abc");
}

TEST_F(SimpleBuffer, SharedBufferIsForkedEvenWithRoom) {
    CharBuffer buffer = Make("abc");
    const CharBuffer sharer(buffer);
    EXPECT_NE(buffer.GetBuffer(3), sharer.GetString());
    EXPECT_EQ(TextOf(buffer), "abc");
}

TEST_F(SimpleBuffer, ForkedBufferIsSizedExactlyWithoutTheGrowthStep) {
    CharBuffer buffer = MakeExact("ten chars.");
    const CharBuffer sharer(buffer);
    buffer.GetBuffer(11);
    EXPECT_EQ(exact_.Allocated().back(), 11);
    EXPECT_TRUE(exact_.Reallocated().empty());
}

TEST_F(SimpleBuffer, ForkedBufferHoldsAtLeastTheText) {
    CharBuffer buffer = MakeExact("ten chars.");
    const CharBuffer sharer(buffer);
    buffer.GetBuffer(2);
    EXPECT_EQ(exact_.Allocated().back(), 10);
    EXPECT_EQ(TextOf(buffer), "ten chars.");
}

TEST_F(SimpleBuffer, EmptyStringGetsABlockOfTheSizeAskedFor) {
    CharBuffer buffer(&exact_);
    buffer.GetBuffer(5);
    EXPECT_EQ(exact_.Allocated(), std::vector<int32_t>{5});
    EXPECT_EQ(exact_.NilReferences(), 2);
}

TEST_F(SimpleBuffer, BufferThatMayNotBeSharedIsWrittenInPlaceAndGrown) {
    CharBuffer buffer = MakeExact("ten chars.");
    ForbidSharing(buffer);
    const char* characters = buffer.GetString();
    EXPECT_EQ(buffer.GetBuffer(10), characters);
    buffer.GetBuffer(11);
    EXPECT_EQ(exact_.Reallocated(), std::vector<int32_t>{20});
    EXPECT_EQ(References(buffer), -1);
    EXPECT_EQ(TextOf(buffer), "ten chars.");
}

// The capacity of a private buffer, the length needed, and the capacity asked for.
struct Growth {
    int32_t capacity;
    int32_t needed;
    int32_t requested;
};

class SimpleBufferGrowth : public testing::TestWithParam<Growth> {};

TEST_P(SimpleBufferGrowth, DoublesUpToACapacityOf1024AndThenAdds1024) {
    ExactManager exact;
    const std::string text(static_cast<size_t>(GetParam().capacity), 'x');
    CharBuffer buffer = MakeBuffer(text, &exact);
    ASSERT_EQ(Capacity(buffer), GetParam().capacity);
    buffer.GetBuffer(GetParam().needed);
    EXPECT_EQ(exact.Reallocated(), std::vector<int32_t>{GetParam().requested});
    EXPECT_EQ(exact.Allocated().size(), 1U);
    EXPECT_EQ(TextOf(buffer), text);
}

INSTANTIATE_TEST_SUITE_P(Steps, SimpleBufferGrowth,
                         testing::Values(Growth{0, 1, 1}, Growth{1, 2, 2}, Growth{10, 11, 20},
                                         Growth{10, 20, 20}, Growth{10, 21, 21},
                                         Growth{512, 513, 1024}, Growth{1023, 1024, 2046},
                                         Growth{1024, 1025, 2048}, Growth{1025, 1026, 2049},
                                         Growth{1025, 2049, 2049}, Growth{1025, 2050, 2050},
                                         Growth{5000, 5001, 6024}, Growth{5000, 90000, 90000}));

TEST_F(SimpleBuffer, GrowthLooksAtTheCapacityAndNotAtTheLength) {
    CharBuffer buffer = MakeExact(std::string(2000, 'x'));
    buffer.SetLength(3);
    buffer.GetBuffer(2001);
    EXPECT_EQ(exact_.Reallocated(), std::vector<int32_t>{3024});
}

TEST_F(SimpleBuffer, GrowthNeverOverflows) {
    CharBuffer buffer = MakeExact("abc");
    // As large as a capacity can be without the memory behind it: nothing is written there.
    buffer.Data()->capacity = kLargest - 10;
    EXPECT_EQ(RaisedCode([&] { buffer.GetBuffer(kLargest - 5); }), kOutOfMemory);
    EXPECT_EQ(exact_.Reallocated(), std::vector<int32_t>{kLargest - 5});
    EXPECT_EQ(TextOf(buffer), "abc");
}

TEST_F(SimpleBuffer, AppendingCharacterByCharacterWalksTheCapacities) {
    CharBuffer buffer = Make("");
    std::vector<int32_t> capacities = {Capacity(buffer)};
    while (buffer.GetLength() < 4095) {
        buffer.Append("x", 1);
        if (Capacity(buffer) != capacities.back()) {
            EXPECT_EQ(buffer.GetLength(), capacities.back() + 1);
            capacities.push_back(Capacity(buffer));
        }
    }
    EXPECT_EQ(capacities,
              (std::vector<int32_t>{7, 15, 31, 63, 127, 255, 511, 1023, 2047, 3071, 4095}));
    EXPECT_EQ(TextOf(buffer), std::string(4095, 'x'));
}

// --- GetBuffer: the zero fill ---

CharBuffer BufferWithDirtyRoom(QRV::IQrvBufferMgr* manager) {
    CharBuffer buffer("abc", 3, manager);
    std::memset(buffer.GetBuffer(7) + 4, '#', 4);
    return buffer;
}

TEST_F(SimpleBuffer, ZeroFillCoversTheRoomBehindTheText) {
    for (const uint32_t flags : {0x40U, 0x41U, 0xFFFFFFFFU}) {
        CharBuffer buffer = BufferWithDirtyRoom(&manager_);
        EXPECT_EQ(std::memcmp(buffer.GetBuffer(5, flags), "abc\0\0\0\0\0", 8), 0);
        EXPECT_EQ(buffer.GetLength(), 3);
    }
}

TEST_F(SimpleBuffer, OtherFlagsLeaveTheRoomAlone) {
    for (const uint32_t flags : {0U, 0x01U, 0x3FU, 0x80U}) {
        CharBuffer buffer = BufferWithDirtyRoom(&manager_);
        EXPECT_EQ(std::memcmp(buffer.GetBuffer(5, flags), "abc\0####", 8), 0);
    }
}

TEST_F(SimpleBuffer, ZeroFillCoversForkedAndGrownRoom) {
    CharBuffer forked = Make("abc");
    const CharBuffer sharer(forked);
    EXPECT_EQ(std::string(forked.GetBuffer(20, 0x40) + 3, 20), std::string(20, '\0'));

    CharBuffer grown = Make("abc");
    EXPECT_EQ(std::string(grown.GetBuffer(20, 0x40) + 3, 20), std::string(20, '\0'));
    EXPECT_EQ(TextOf(grown), "abc");
}

TEST_F(SimpleBuffer, ZeroFillOfAFullBufferWritesNothingButTheTerminator) {
    CharBuffer buffer = Make("seven77");
    EXPECT_EQ(std::memcmp(buffer.GetBuffer(7, 0x40), "seven77", 8), 0);
}

// --- the length ---

TEST_F(SimpleBuffer, SetLengthWritesTheTerminator) {
    CharBuffer buffer = BufferWithDirtyRoom(&manager_);
    buffer.SetLength(5);
    EXPECT_EQ(TextOf(buffer), Literal("abc\0#"));
    EXPECT_EQ(buffer.GetString()[5], '\0');
    buffer.SetLength(0);
    EXPECT_EQ(buffer.GetLength(), 0);
    EXPECT_EQ(buffer.GetString()[0], '\0');
    buffer.SetLength(7);
    EXPECT_EQ(buffer.GetLength(), 7);
    EXPECT_EQ(buffer.GetString()[7], '\0');
}

TEST_F(SimpleBuffer, SetLengthOutsideTheCapacityIsRefusedAndChangesNothing) {
    CharBuffer buffer = Make("abc");
    for (const int32_t length :
         {-1, 8, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        EXPECT_EQ(RaisedCode([&] { buffer.SetLength(length); }), kInvalidArgument);
        EXPECT_EQ(TextOf(buffer), "abc");
    }
}

TEST_F(SimpleBuffer, SetLengthOfAnEmptyStringHasNoRoom) {
    CharBuffer buffer(&manager_);
    EXPECT_EQ(RaisedCode([&] { buffer.SetLength(1); }), kInvalidArgument);
    EXPECT_EQ(buffer.GetLength(), 0);
}

// --- reading one character ---

TEST_F(SimpleBuffer, GetAtReadsUpToAndWithTheTerminator) {
    const CharBuffer buffer = Make(Literal("a\0\xE4"));
    EXPECT_EQ(buffer.GetAt(0), 'a');
    EXPECT_EQ(buffer.GetAt(1), '\0');
    EXPECT_EQ(buffer.GetAt(2), static_cast<char>(0xE4));
    EXPECT_EQ(buffer.GetAt(3), '\0');
}

TEST_F(SimpleBuffer, GetAtOutsideIsRefused) {
    const CharBuffer buffer = Make("abc");
    for (const int32_t index :
         {-1, 4, 7, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        EXPECT_EQ(RaisedCode([&] { static_cast<void>(buffer.GetAt(index)); }), kInvalidArgument);
    }
    const CharBuffer empty(&manager_);
    EXPECT_EQ(empty.GetAt(0), '\0');
    EXPECT_EQ(RaisedCode([&] { static_cast<void>(empty.GetAt(1)); }), kInvalidArgument);
}

// --- appending ---

TEST_F(SimpleBuffer, AppendTakesEmbeddedNuls) {
    CharBuffer buffer = Make("ab");
    buffer.Append("\0c\0", 3);
    EXPECT_EQ(TextOf(buffer), Literal("ab\0c\0"));
    EXPECT_EQ(buffer.GetString()[5], '\0');
}

TEST_F(SimpleBuffer, AppendToASharedBufferIsSizedExactly) {
    CharBuffer buffer = MakeExact("ten chars.");
    const CharBuffer sharer(buffer);
    buffer.Append("xyz", 3);
    EXPECT_EQ(exact_.Allocated().back(), 13);
    EXPECT_EQ(TextOf(buffer), "ten chars.xyz");
    EXPECT_EQ(TextOf(sharer), "ten chars.");
}

TEST_F(SimpleBuffer, AppendToAPrivateBufferGrowsByTheRule) {
    CharBuffer buffer = MakeExact("ten chars.");
    buffer.Append("xyz", 3);
    EXPECT_EQ(exact_.Reallocated(), std::vector<int32_t>{20});
    EXPECT_EQ(TextOf(buffer), "ten chars.xyz");
}

// Its block is its own: one that is shared with all empty strings is another matter.
TEST_F(SimpleBuffer, AppendToAnEmptiedPrivateBufferGrowsByTheRule) {
    CharBuffer buffer = MakeBuffer("ten chars.", &QRV::g_bufmgr);
    const int32_t capacity = Capacity(buffer);
    buffer.SetLength(0);
    const std::string longer(static_cast<size_t>(capacity) + 1, 'x');
    buffer.Append(longer.data(), capacity + 1);
    EXPECT_GE(Capacity(buffer), 2 * capacity);
    EXPECT_EQ(TextOf(buffer), longer);
}

TEST_F(SimpleBuffer, AppendOfItsOwnTextSurvivesTheMove) {
    CharBuffer grown = Make("abcdefg");
    grown.Append(grown.GetString(), grown.GetLength());
    EXPECT_EQ(TextOf(grown), "abcdefgabcdefg");
    grown.Append(grown.GetString() + 3, 2);
    EXPECT_EQ(TextOf(grown), "abcdefgabcdefgde");

    CharBuffer forked = Make("abc");
    const CharBuffer sharer(forked);
    forked.Append(forked.GetString() + 1, 2);
    EXPECT_EQ(TextOf(forked), "abcbc");
    EXPECT_EQ(TextOf(sharer), "abc");
}

TEST_F(SimpleBuffer, AppendOfNothingChangesNothing) {
    CharBuffer buffer = Make("abc");
    buffer.Append("x", 0);
    buffer.Append(nullptr, 0);
    EXPECT_EQ(TextOf(buffer), "abc");
}

TEST_F(SimpleBuffer, AppendOfANullSourceWithALengthIsRefused) {
    CharBuffer buffer = Make("abc");
    EXPECT_EQ(RaisedCode([&] { buffer.Append(nullptr, 5); }), kInvalidArgument);
    EXPECT_EQ(TextOf(buffer), "abc");
    EXPECT_EQ(Capacity(buffer), 7);
}

TEST_F(SimpleBuffer, AppendOfANegativeLengthIsRefused) {
    CharBuffer buffer = Make("abc");
    EXPECT_EQ(RaisedCode([&] { buffer.Append("x", -1); }), kInvalidArgument);
    EXPECT_EQ(TextOf(buffer), "abc");
}

TEST_F(SimpleBuffer, AppendBeyondTheLargestLengthIsRefused) {
    CharBuffer buffer = Make("abc");
    const int32_t length = kLargest - 2;
    EXPECT_EQ(RaisedCode([&] { buffer.Append("x", length); }), kInvalidArgument);
    EXPECT_EQ(TextOf(buffer), "abc");
    EXPECT_EQ(Capacity(buffer), 7);
}

}  // namespace
}  // namespace qrv_test
