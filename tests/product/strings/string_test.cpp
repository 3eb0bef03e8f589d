#include "qrv/string.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <chrono>
#include <limits>
#include <type_traits>

#include "huge_text.h"
#include "qrv_support.h"

namespace qrv_test {
namespace {

using QRV::CQrvBufferMgr;
using scripted::FoldedMemory;
using scripted::HugeText;
using scripted::kOneGibibyte;
using scripted::kThreadSanitizer;
using std::literals::string_literals::operator""s;

constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();
constexpr int32_t kSmallest = std::numeric_limits<int32_t>::min();

// Strings whose default manager draws on a counting memory; the end of each test proves that every
// block went back and that the nil buffer's count is where it started.
class String : public testing::Test {
 protected:
    void TearDown() override {
        EXPECT_EQ(memory_.LiveBlocks(), 0U);
        EXPECT_EQ(NilReferences(&manager_), 2);
    }

    CountingMemory memory_;
    CQrvBufferMgr manager_{&memory_};
    DefaultManagerScope scope_{&manager_};
};

bool SharesBlock(const CString& one, const CString& other) {
    return one.Data() == other.Data();
}

// --- construction ---

TEST_F(String, IsACharBufferOfOnePointer) {
    EXPECT_TRUE(
        (std::is_same_v<CString,
                        QRV::CStringT<char, QRV::StrTraitQRV<char, QRV::ChTraitsEx<char>>>>));
    EXPECT_TRUE((std::is_base_of_v<CharBuffer, CString>));
    EXPECT_EQ(sizeof(CString), sizeof(void*));
    EXPECT_FALSE(std::is_polymorphic_v<CString>);
}

TEST_F(String, NullAndEmptyTextsStayInTheNilBuffer) {
    const CString by_default;
    const CString from_null(static_cast<const char*>(nullptr));
    const CString from_empty("");
    for (const CString* text : {&by_default, &from_null, &from_empty}) {
        EXPECT_EQ(text->GetLength(), 0);
        EXPECT_STREQ(text->GetString(), "");
        EXPECT_EQ(text->Data(), by_default.Data());
    }
    EXPECT_EQ(by_default.Data()->references, 5);
    EXPECT_EQ(by_default.Data()->manager, &manager_);
    EXPECT_TRUE(memory_.Requests().empty());
}

TEST_F(String, IsACopyOfTheTextUpToItsTerminator) {
    char source[] = "abc\0def";
    const CString text(source);
    source[0] = 'X';
    EXPECT_EQ(TextOf(text), "abc");
    EXPECT_EQ(text.GetString()[3], '\0');
    EXPECT_EQ(text.Data()->capacity, 7);
    EXPECT_EQ(text.Data()->references, 1);
    EXPECT_EQ(text.Data()->manager, &manager_);
    EXPECT_EQ(NilReferences(&manager_), 2);
}

TEST_F(String, IsSizedExactlyForItsText) {
    ExactManager exact;
    const DefaultManagerScope scope(&exact);
    const CString text("thirteen char");
    EXPECT_EQ(exact.Allocated(), std::vector<int32_t>{13});
    EXPECT_TRUE(exact.Reallocated().empty());
}

TEST_F(String, FromCharactersFollowsTheBuffersBounds) {
    EXPECT_EQ(TextOf(CString("a\0b", 3)), Literal("a\0b"));
    EXPECT_EQ(CString(nullptr, 0).GetLength(), 0);
    EXPECT_EQ(RaisedCode([] { CString(nullptr, 5); }), kInvalidArgument);
    EXPECT_EQ(RaisedCode([] { CString("abc", -1); }), kInvalidArgument);
}

TEST_F(String, TextLongerThanAnyLengthIsRefused) {
    if (kThreadSanitizer) {
        GTEST_SKIP() << "the thread sanitizer would record every byte of the text";
    }
    const HugeText huge(2 * kOneGibibyte);
    EXPECT_EQ(RaisedCode([&] { CString text(huge.Text()); }), kInvalidArgument);
    CString text("abc");
    EXPECT_EQ(RaisedCode([&] { text += huge.Text(); }), kInvalidArgument);
    EXPECT_EQ(TextOf(text), "abc");
}

// The low 32 bits of its length alone would pass for a small one.
TEST_F(String, TextOfFourGibibytesAndMoreIsRefused) {
    if (kThreadSanitizer) {
        GTEST_SKIP() << "the thread sanitizer would record every byte of the text";
    }
    const HugeText huge(4 * kOneGibibyte + FoldedMemory::kPiece);
    EXPECT_EQ(RaisedCode([&] { CString text(huge.Text()); }), kInvalidArgument);
}

TEST_F(String, CopiesAndAssignmentsShare) {
    const CString original("abc");
    const CString copy(original);
    CString assigned("other");
    assigned = original;
    EXPECT_TRUE(SharesBlock(original, copy));
    EXPECT_TRUE(SharesBlock(original, assigned));
    EXPECT_EQ(original.Data()->references, 3);
}

// --- Mid ---

struct Range {
    int32_t first;
    int32_t count;
    const char* expected;
};

class StringMid : public String, public testing::WithParamInterface<Range> {};

TEST_P(StringMid, ClipsBothArgumentsToTheText) {
    const CString text("hello");
    const CString mid = text.Mid(GetParam().first, GetParam().count);
    EXPECT_EQ(TextOf(mid), GetParam().expected);
    EXPECT_EQ(mid.GetString()[mid.GetLength()], '\0');
    EXPECT_EQ(TextOf(text), "hello");
}

INSTANTIATE_TEST_SUITE_P(Ranges, StringMid,
                         testing::Values(Range{0, 5, "hello"}, Range{-3, 5, "hello"},
                                         Range{0, 2, "he"}, Range{-3, 2, "he"}, Range{1, 3, "ell"},
                                         Range{2, 3, "llo"}, Range{2, 100, "llo"},
                                         Range{2, kLargest, "llo"}, Range{0, kLargest, "hello"},
                                         Range{kSmallest, kLargest, "hello"}, Range{4, 1, "o"},
                                         Range{5, 0, ""}, Range{5, 1, ""}, Range{6, 1, ""},
                                         Range{9, 1, ""}, Range{kLargest, kLargest, ""},
                                         Range{0, 0, ""}, Range{0, -1, ""}, Range{2, -5, ""},
                                         Range{kSmallest, kSmallest, ""}));

TEST_F(String, MidOfTheWholeTextSharesTheBlock) {
    const CString text("hello");
    for (const int32_t first : {0, -1, -3, kSmallest}) {
        for (const int32_t count : {5, 6, kLargest}) {
            EXPECT_TRUE(SharesBlock(text, text.Mid(first, count)));
        }
    }
    EXPECT_EQ(text.Data()->references, 1);
}

TEST_F(String, MidOfAPartIsANewBlockOfItsOwn) {
    const CString text("hello");
    for (const int32_t first : {0, 1, 5, 9}) {
        const CString mid = text.Mid(first, 4);
        EXPECT_FALSE(SharesBlock(text, mid));
        EXPECT_EQ(mid.Data()->references, 1);
        EXPECT_EQ(mid.Data()->capacity, 7);
    }
}

TEST_F(String, MidOfAnEmptyTextSharesOnlyFromTheStart) {
    const CString empty;
    EXPECT_TRUE(SharesBlock(empty, empty.Mid(0, 0)));
    EXPECT_TRUE(SharesBlock(empty, empty.Mid(-1, -1)));
    EXPECT_TRUE(SharesBlock(empty, empty.Mid(0, 10)));
    const CString behind = empty.Mid(1, 0);
    EXPECT_FALSE(SharesBlock(empty, behind));
    EXPECT_EQ(behind.GetLength(), 0);
    EXPECT_EQ(behind.Data()->references, 1);
}

TEST_F(String, MidOfTheWholeTextIsACopyWhereTheBlockMayNotBeShared) {
    CString text("hello");
    ForbidSharing(text);
    const CString mid = text.Mid(0, 5);
    EXPECT_FALSE(SharesBlock(text, mid));
    EXPECT_EQ(TextOf(mid), "hello");
    EXPECT_EQ(mid.Data()->references, 1);
    EXPECT_EQ(text.Data()->references, -1);
}

TEST_F(String, MidTakesItsBlockFromTheManagersClone) {
    ExactManager exact;
    const CString text("hello", 5, &exact);
    EXPECT_EQ(text.Mid(1, 3).Data()->manager, &exact);
    exact.CloneNames(&manager_);
    EXPECT_EQ(text.Mid(1, 3).Data()->manager, &manager_);
    const CString whole = text.Mid(0, 5);
    EXPECT_EQ(whole.Data()->manager, &manager_);
    EXPECT_EQ(TextOf(whole), "hello");
}

TEST_F(String, MidTakesEmbeddedNuls) {
    const CString text("a\0b\0c", 5);
    EXPECT_EQ(TextOf(text.Mid(1, 3)), Literal("\0b\0"));
}

// --- Replace ---

struct Replacement {
    std::string text;
    const char* from;
    const char* to;
    int32_t count;
    std::string expected;
};

class StringReplace : public String, public testing::WithParamInterface<Replacement> {};

TEST_P(StringReplace, GivesCountAndText) {
    const Replacement& given = GetParam();
    CString text = MakeString(given.text);
    const CString sharer(text);
    EXPECT_EQ(text.Replace(given.from, given.to), given.count);
    EXPECT_EQ(TextOf(text), given.expected);
    EXPECT_EQ(text.GetString()[text.GetLength()], '\0');
    EXPECT_EQ(TextOf(sharer), given.text);
    EXPECT_EQ(SharesBlock(text, sharer), given.count == 0);
}

TEST_P(StringReplace, GivesTheSameInAPrivateBuffer) {
    const Replacement& given = GetParam();
    CString text = MakeString(given.text);
    EXPECT_EQ(text.Replace(given.from, given.to), given.count);
    EXPECT_EQ(TextOf(text), given.expected);
    EXPECT_EQ(text.GetString()[text.GetLength()], '\0');
}

INSTANTIATE_TEST_SUITE_P(NothingToReplace, StringReplace,
                         testing::Values(Replacement{"abc", nullptr, "x", 0, "abc"},
                                         Replacement{"abc", "", "x", 0, "abc"},
                                         Replacement{"abc", nullptr, nullptr, 0, "abc"},
                                         Replacement{"abc", "d", "x", 0, "abc"},
                                         Replacement{"abc", "abcd", "", 0, "abc"},
                                         Replacement{"", "a", "b", 0, ""},
                                         Replacement{"", "", "b", 0, ""},
                                         Replacement{"abc", "B", "x", 0, "abc"}));

INSTANTIATE_TEST_SUITE_P(EqualLengths, StringReplace,
                         testing::Values(Replacement{"abcabc", "b", "x", 2, "axcaxc"},
                                         Replacement{"abcabc", "abc", "xyz", 2, "xyzxyz"},
                                         Replacement{"aaa", "a", "a", 3, "aaa"},
                                         Replacement{"aba", "a", "b", 2, "bbb"}));

INSTANTIATE_TEST_SUITE_P(Shrinking, StringReplace,
                         testing::Values(Replacement{"aaaa", "aa", "b", 2, "bb"},
                                         Replacement{"aaaaa", "aa", "b", 2, "bba"},
                                         Replacement{"a,b,,c,", ",", "", 4, "abc"},
                                         Replacement{"a,b", ",", nullptr, 1, "ab"},
                                         Replacement{",,,", ",", "", 3, ""},
                                         Replacement{"xabx", "ab", "", 1, "xx"},
                                         // What remains is not looked at again.
                                         Replacement{"aabb", "ab", "", 1, "ab"}));

INSTANTIATE_TEST_SUITE_P(Growing, StringReplace,
                         testing::Values(Replacement{"aa", "a", "aa", 2, "aaaa"},
                                         Replacement{"a|b|c", "|", "||", 2, "a||b||c"},
                                         Replacement{"xx", "x", "xyx", 2, "xyxxyx"},
                                         Replacement{"1234567", "7", "7890", 1, "1234567890"},
                                         Replacement{std::string(500, 'a'), "a", "bcd", 500, [] {
                                                         std::string text;
                                                         for (int i = 0; i < 500; ++i) {
                                                             text += "bcd";
                                                         }
                                                         return text;
                                                     }()}));

INSTANTIATE_TEST_SUITE_P(
    EmbeddedNuls, StringReplace,
    testing::Values(Replacement{Literal("a\0a"), "a", "b", 2, Literal("b\0b")},
                    Replacement{Literal("\0\0a"), "a", "bb", 1, Literal("\0\0bb")},
                    Replacement{Literal("a\0\0"), "a", "", 1, Literal("\0\0")},
                    Replacement{Literal("ab\0ab\0ab"), "ab", "x", 3, Literal("x\0x\0x")},
                    // A match does not reach across a NUL.
                    Replacement{Literal("a\0b"), "ab", "x", 0, Literal("a\0b")},
                    Replacement{Literal("x\0"), "x", "longer than before", 1,
                                Literal("longer than before\0")}));

INSTANTIATE_TEST_SUITE_P(HighBytes, StringReplace,
                         testing::Values(Replacement{"\xE4\xB8\xAD", "\xB8", "\xFF\x80", 1,
                                                     "\xE4\xFF\x80\xAD"}));

// Every pair of places in the text, its end included, as what is looked for and what is put in.
TEST_F(String, ReplaceTakesItsOwnTextLikeAnIndependentCopy) {
    for (const std::string& original :
         {""s, "a"s, "aaaa"s, "abcab"s, "ab,ab,abc"s, Literal("b\0ab\0ab"),
          std::string(30, 'x') + "y" + std::string(30, 'x')}) {
        for (size_t from = 0; from <= original.size(); ++from) {
            for (size_t to = 0; to <= original.size(); ++to) {
                CString expected = MakeString(original);
                const int32_t count =
                    expected.Replace(original.c_str() + from, original.c_str() + to);
                CString text = MakeString(original);
                EXPECT_EQ(text.Replace(text.GetString() + from, text.GetString() + to), count);
                EXPECT_EQ(TextOf(text), TextOf(expected)) << original << " " << from << " " << to;
            }
        }
    }
}

TEST_F(String, ReplaceTakesItsOwnTextForEitherArgument) {
    CString text("ab,ab");
    EXPECT_EQ(text.Replace(",", text.GetString()), 1);
    EXPECT_EQ(TextOf(text), "abab,abab");
    EXPECT_EQ(text.Replace(text.GetString() + 4, "-"), 1);
    EXPECT_EQ(TextOf(text), "abab-");
    EXPECT_EQ(text.Replace(text.GetString(), nullptr), 1);
    EXPECT_EQ(TextOf(text), "");
}

// The text moves within its block to make room.
TEST_F(String, ReplaceFindsItsOwnTextWhileTheTextMoves) {
    CString text("ab,ab,ab");
    text.GetBuffer(20);
    EXPECT_EQ(text.Replace(text.GetString() + 6, "1234"), 3);
    EXPECT_EQ(TextOf(text), "1234,1234,1234");
}

TEST_F(String, ReplaceTakesItsOwnTextOutOfASharedBuffer) {
    CString text("ab,ab");
    const CString sharer(text);
    EXPECT_EQ(text.Replace(sharer.GetString() + 3, sharer.GetString() + 2), 2);
    EXPECT_EQ(TextOf(text), ",ab,,ab");
    EXPECT_EQ(TextOf(sharer), "ab,ab");
}

TEST_F(String, ReplaceInPlaceKeepsTheBlock) {
    CString text("a,b,c");
    const CBufferData* block = text.Data();
    EXPECT_EQ(text.Replace(",", ";"), 2);
    EXPECT_EQ(text.Data(), block);
    EXPECT_EQ(text.Replace(";", ""), 2);
    EXPECT_EQ(text.Data(), block);
    EXPECT_EQ(text.Data()->capacity, 7);
    EXPECT_EQ(memory_.Requests().size(), 1U);
}

TEST_F(String, ReplaceMakesRoomForTheLargerOfBothLengths) {
    ExactManager exact;
    {
        CString shrinking("ten,chars.", 10, &exact);
        const CString sharer(shrinking);
        shrinking.Replace(",", "");
        EXPECT_EQ(exact.Allocated().back(), 10);
        EXPECT_EQ(TextOf(shrinking), "tenchars.");

        CString growing(sharer);
        growing.Replace(",", " more ");
        EXPECT_EQ(exact.Allocated().back(), 15);
        EXPECT_EQ(TextOf(growing), "ten more chars.");
    }
    CString private_buffer("ten,chars.", 10, &exact);
    private_buffer.Replace(",", ", ");
    EXPECT_EQ(exact.Reallocated(), std::vector<int32_t>{20});
}

TEST_F(String, ReplaceOfNothingKeepsTheSharing) {
    CString text("abc");
    const CString sharer(text);
    EXPECT_EQ(text.Replace("x", "y"), 0);
    EXPECT_EQ(text.Replace("", "y"), 0);
    EXPECT_EQ(text.Replace(nullptr, "y"), 0);
    EXPECT_TRUE(SharesBlock(text, sharer));
    EXPECT_EQ(memory_.Requests().size(), 1U);
}

TEST_F(String, ReplaceBeyondTheLargestLengthIsRefused) {
    CString text = MakeString(std::string(70000, 'a'));
    const CBufferData* block = text.Data();
    const std::string long_text(40000, 'b');
    EXPECT_EQ(RaisedCode([&] { text.Replace("a", long_text.c_str()); }), kInvalidArgument);
    EXPECT_EQ(text.Data(), block);
    EXPECT_EQ(TextOf(text), std::string(70000, 'a'));
}

// The memory refuses what is as large, and is asked for what is a length.
TEST_F(String, ReplaceMayReachTheLargestLengthAndNotOneMore) {
    const std::string long_text(0x8000, 'c');
    const std::string short_text = std::string(0xFFFF, 'a') + std::string(0x7FFF, 'b');
    CString largest = MakeString(short_text);
    EXPECT_EQ(RaisedCode([&] { largest.Replace("a", long_text.c_str()); }), kOutOfMemory);
    CString longer = MakeString(short_text + 'b');
    EXPECT_EQ(RaisedCode([&] { longer.Replace("a", long_text.c_str()); }), kInvalidArgument);
    EXPECT_EQ(TextOf(largest) + 'b', TextOf(longer));
}

double SecondsToReplace(int32_t length, const char* from, const char* to) {
    std::string source;
    while (static_cast<int32_t>(source.size()) < length) {
        source += "x,";
    }
    CString text = MakeString(source);
    const auto start = std::chrono::steady_clock::now();
    text.Replace(from, to);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(String, ReplaceTakesTimeInProportionToTheText) {
    // Quadratic work would take 64 times as long for the eightfold text, and hundreds of seconds.
    constexpr int32_t kSmall = 1 << 20;
    constexpr int32_t kLarge = 8 << 20;
    for (const char* to : {"", ";", ",,"}) {
        const double small = SecondsToReplace(kSmall, ",", to);
        const double large = SecondsToReplace(kLarge, ",", to);
        EXPECT_LT(large, 40 * small + 0.2) << "replacing by \"" << to << '"';
    }
}

// --- Tokenize ---

// Every token with the position behind it, until nothing is left.
std::vector<std::pair<std::string, int32_t>> Tokens(const CString& text, const char* delimiters) {
    std::vector<std::pair<std::string, int32_t>> tokens;
    int32_t position = 0;
    while (position >= 0) {
        const std::string token = TextOf(text.Tokenize(delimiters, position));
        tokens.emplace_back(token, position);
    }
    return tokens;
}

using TokenList = std::vector<std::pair<std::string, int32_t>>;

TEST_F(String, TokenizeMovesOneBehindTheDelimiter) {
    EXPECT_EQ(Tokens("a|bc|d", "|"), (TokenList{{"a", 2}, {"bc", 5}, {"d", 7}, {"", -1}}));
}

TEST_F(String, TokenizeSkipsDelimitersInFrontOfAToken) {
    EXPECT_EQ(Tokens("||a||b||", "|"), (TokenList{{"a", 4}, {"b", 7}, {"", -1}}));
}

TEST_F(String, TokenizeKnowsEveryDelimiterOfTheSet) {
    EXPECT_EQ(Tokens("CertType(1)KeyType(2)", "()"),
              (TokenList{{"CertType", 9}, {"1", 11}, {"KeyType", 19}, {"2", 21}, {"", -1}}));
}

TEST_F(String, TokenAtTheEndLeavesThePositionOneBehindTheText) {
    const CString text("abc");
    int32_t position = 0;
    EXPECT_EQ(TextOf(text.Tokenize("|", position)), "abc");
    EXPECT_EQ(position, 4);
    EXPECT_EQ(TextOf(text.Tokenize("|", position)), "");
    EXPECT_EQ(position, -1);
}

TEST_F(String, TokenizeWithNothingLeftGivesAnEmptyTokenAndMinusOne) {
    for (const char* text : {"", "|", "|||"}) {
        EXPECT_EQ(Tokens(text, "|"), (TokenList{{"", -1}})) << text;
    }
}

TEST_F(String, TokenizeStaysAtMinusOne) {
    const CString text("abc");
    int32_t position = -1;
    EXPECT_EQ(TextOf(text.Tokenize("|", position)), "");
    EXPECT_EQ(position, -1);
    position = 1000;
    EXPECT_EQ(TextOf(text.Tokenize("|", position)), "");
    EXPECT_EQ(position, -1);
}

TEST_F(String, TokenizeStartsInTheMiddleOfAToken) {
    const CString text("abc|def");
    int32_t position = 1;
    EXPECT_EQ(TextOf(text.Tokenize("|", position)), "bc");
    EXPECT_EQ(position, 4);
    position = 3;
    EXPECT_EQ(TextOf(text.Tokenize("|", position)), "def");
    EXPECT_EQ(position, 8);
}

TEST_F(String, TokenOfTheWholeTextSharesTheBlock) {
    const CString text("abc");
    int32_t position = 0;
    EXPECT_TRUE(SharesBlock(text, text.Tokenize("|", position)));
    EXPECT_EQ(TextOf(text), "abc");
}

TEST_F(String, TokenizeTreatsHighBytesAsTheyAre) {
    EXPECT_EQ(Tokens("a\xE4\x62", "\xE4"), (TokenList{{"a", 2}, {"b", 4}, {"", -1}}));
}

// --- TrimSpace ---

TEST_F(String, TrimSpaceTakesWhiteSpaceOffBothEnds) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},         {"abc", "abc"},
        {"  abc", "abc"}, {"abc  ", "abc"},
        {" a b ", "a b"}, {"\t\n\v\f\r abc\r\f\v\n\t ", "abc"},
        {" \t\r\n", ""},  {"\xA0 x\xA0", "\xA0 x\xA0"},
    };
    for (const auto& [given, expected] : cases) {
        CString text(given);
        const CString sharer(text);
        text.TrimSpace();
        EXPECT_EQ(TextOf(text), expected);
        EXPECT_EQ(text.GetString()[text.GetLength()], '\0');
        EXPECT_EQ(TextOf(sharer), given);
    }
}

TEST_F(String, TrimSpaceAgreesWithIsspaceForEveryByte) {
    for (int byte = 1; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        CString text(&character, 1);
        text.TrimSpace();
        EXPECT_EQ(text.GetLength() == 0, std::isspace(byte) != 0) << byte;
    }
}

TEST_F(String, TrimSpaceStopsAtNuls) {
    CString text(" \0 ", 3);
    text.TrimSpace();
    EXPECT_EQ(TextOf(text), Literal("\0"));
}

TEST_F(String, TrimSpaceOfAPrivateBufferKeepsTheBlock) {
    CString text("  abc  ");
    const CBufferData* block = text.Data();
    text.TrimSpace();
    EXPECT_EQ(text.Data(), block);
    EXPECT_EQ(TextOf(text), "abc");
}

// --- MakeUpper ---

TEST_F(String, MakeUpperConvertsEachByteAsToupperDoes) {
    for (int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        CString text(&character, 1);
        text.MakeUpper();
        EXPECT_EQ(static_cast<unsigned char>(text.GetAt(0)),
                  static_cast<unsigned char>(std::toupper(byte)))
            << byte;
    }
}

TEST_F(String, MakeUpperLeavesBytesFrom0x80OnAlone) {
    std::string high;
    for (int byte = 0x80; byte < 0x100; ++byte) {
        high += static_cast<char>(byte);
    }
    CString text = MakeString(high);
    text.MakeUpper();
    EXPECT_EQ(TextOf(text), high);
}

TEST_F(String, MakeUpperGoesOnBehindNuls) {
    CString text("ab\0cd", 5);
    text.MakeUpper();
    EXPECT_EQ(TextOf(text), Literal("AB\0CD"));
}

TEST_F(String, MakeUpperLeavesTheOtherSharerAlone) {
    CString text("CertType");
    const CString sharer(text);
    text.MakeUpper();
    EXPECT_EQ(TextOf(text), "CERTTYPE");
    EXPECT_EQ(TextOf(sharer), "CertType");
}

TEST_F(String, MakeUpperOfAnEmptyText) {
    CString text;
    text.MakeUpper();
    EXPECT_EQ(TextOf(text), "");
    EXPECT_STREQ(text.GetString(), "");
}

// --- appending, comparing, finding ---

TEST_F(String, AppendsTextsAndStrings) {
    CString text("a");
    text += "bc";
    text += CString("d\0e", 3);
    EXPECT_EQ(TextOf(text), Literal("abcd\0e"));
    text += text;
    EXPECT_EQ(TextOf(text), Literal("abcd\0eabcd\0e"));
    text += "";
    text += CString();
    EXPECT_EQ(text.GetLength(), 12);
}

TEST_F(String, AppendingNullAppendsNothing) {
    CString text("a");
    text += static_cast<const char*>(nullptr);
    EXPECT_EQ(TextOf(text), "a");
}

TEST_F(String, AppendingItsOwnTailSurvivesTheMove) {
    CString text("abcdefg");
    text += text.GetString() + 4;
    EXPECT_EQ(TextOf(text), "abcdefgefg");
}

TEST_F(String, AppendingToASharedTextLeavesTheOtherAlone) {
    CString text("abc");
    const CString sharer(text);
    text += "d";
    EXPECT_EQ(TextOf(text), "abcd");
    EXPECT_EQ(TextOf(sharer), "abc");
}

TEST_F(String, EqualityLooksAtEveryCharacter) {
    EXPECT_TRUE(CString("abc") == CString("abc"));
    EXPECT_FALSE(CString("abc") == CString("abd"));
    EXPECT_FALSE(CString("abc") == CString("ab"));
    EXPECT_FALSE(CString("a\0b", 3) == CString("a\0c", 3));
    EXPECT_TRUE(CString("abc") != CString("ABC"));
    EXPECT_TRUE(CString() == CString(""));
}

TEST_F(String, FindGivesTheFirstPlaceFromTheStart) {
    const CString text("abcabc");
    EXPECT_EQ(text.Find("bc"), 1);
    EXPECT_EQ(text.Find("bc", 1), 1);
    EXPECT_EQ(text.Find("bc", 2), 4);
    EXPECT_EQ(text.Find("bc", 5), -1);
    EXPECT_EQ(text.Find("x"), -1);
    EXPECT_EQ(text.Find("a", 6), -1);
    EXPECT_EQ(text.Find("a", 7), -1);
    EXPECT_EQ(text.Find("a", kLargest), -1);
    EXPECT_EQ(text.Find("a", -1), -1);
    EXPECT_EQ(text.Find("a", int64_t{kLargest} + 1), -1);
}

// Blocks of memory that is only there once it is written to.
class SparseManager final : public QRV::IQrvBufferMgr {
 public:
    CBufferData* Allocate(int32_t nLength, int32_t /*nCharSize*/) override {
        void* block = mmap(nullptr, kBlock, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        return block == MAP_FAILED ? nullptr : new (block) CBufferData{this, 0, nLength, 1};
    }
    void Free(CBufferData* data) override { munmap(data, kBlock); }
    CBufferData* Reallocate(CBufferData* data, int32_t nLength, int32_t /*nCharSize*/) override {
        data->capacity = nLength;
        return data;
    }
    CBufferData* GetNilBuffer() override { return nullptr; }
    QRV::IQrvBufferMgr* Clone() override { return this; }

 private:
    static constexpr size_t kBlock = (size_t{1} << 31) + sizeof(CBufferData);
};

TEST_F(String, PositionBehindTheLongestTextThereIsWraps) {
    SparseManager sparse;
    CString longest(nullptr, 0, &sparse);
    longest.GetBuffer(kLargest);
    longest.SetLength(kLargest);
    int32_t position = kLargest - 2;
    EXPECT_EQ(TextOf(longest.Tokenize("|", position)), Literal("\0\0"));
    EXPECT_EQ(position, kSmallest);
    EXPECT_TRUE(longest.Tokenize("|", position).IsEmpty());
    EXPECT_EQ(position, CString::kNoToken);
}

}  // namespace
}  // namespace qrv_test
