// Every operation that may need memory, with the n-th request failing for every n until the
// operation succeeds: out of memory is raised, nothing has changed, nothing leaks, counts balance.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

#include "qrv_support.h"

namespace qrv_test {
namespace {

using QRV::CQrvBufferMgr;

// Where the requests fail: in the memory below the buffer manager, or in the buffer manager.
class Source {
 public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    virtual ~Source() = default;
    virtual QRV::IQrvBufferMgr* Manager() = 0;
    virtual void FailAt(int request) = 0;
    virtual size_t LiveBlocks() const = 0;
};

class MemorySource final : public Source {
 public:
    QRV::IQrvBufferMgr* Manager() override { return &manager_; }
    void FailAt(int request) override { memory_.FailAt(request); }
    size_t LiveBlocks() const override { return memory_.LiveBlocks(); }

 private:
    CountingMemory memory_;
    CQrvBufferMgr manager_{&memory_};
};

class BufferSource final : public Source {
 public:
    QRV::IQrvBufferMgr* Manager() override { return &manager_; }
    void FailAt(int request) override { manager_.FailAt(request); }
    size_t LiveBlocks() const override { return manager_.LiveBlocks(); }

 private:
    ExactManager manager_;
};

// The strings an operation meets. `sharer` holds `text`'s block, `alone` its own, `foreign` one of
// another manager, `locked` one that may not be shared.
struct Strings {
    explicit Strings(QRV::IQrvBufferMgr* manager)
        : text(" some text, shared ", 19, manager),
          sharer(text),
          alone("some,text,alone", 15, manager),
          foreign("a text of another manager, longer", 33, &elsewhere),
          locked("locked", 6, manager) {
        ForbidSharing(locked);
    }

    ExactManager elsewhere;
    CString text;
    CString sharer;
    CString alone;
    CString foreign;
    CString locked;
    CString empty;
};

// Everything that can be seen of the strings.
struct Contents {
    explicit Contents(const Strings& strings) {
        for (const CString* string : {&strings.text, &strings.sharer, &strings.alone,
                                      &strings.foreign, &strings.locked, &strings.empty}) {
            data.push_back(string->Data());
            headers.push_back(*string->Data());
            texts.push_back(TextOf(*string));
            terminators.push_back(string->GetString()[string->GetLength()]);
        }
    }

    void ExpectSameAs(const Contents& other) const {
        EXPECT_EQ(data, other.data);
        EXPECT_EQ(texts, other.texts);
        EXPECT_EQ(terminators, other.terminators);
        for (size_t i = 0; i < headers.size(); ++i) {
            EXPECT_EQ(headers[i].manager, other.headers[i].manager) << i;
            EXPECT_EQ(headers[i].length, other.headers[i].length) << i;
            EXPECT_EQ(headers[i].capacity, other.headers[i].capacity) << i;
            EXPECT_EQ(headers[i].references, other.headers[i].references) << i;
        }
    }

    std::vector<const CBufferData*> data;
    std::vector<CBufferData> headers;
    std::vector<std::string> texts;
    std::vector<char> terminators;
};

struct Case {
    const char* name;
    int requests;  // that the operation needs to succeed
    std::function<void(Strings&)> operation;
};

const std::string& LongText() {
    static const std::string text(3000, 'x');
    return text;
}

std::vector<Case> Cases() {
    return {
        {"ConstructBuffer", 1, [](Strings& s) { CharBuffer("abc", 3, s.text.Data()->manager); }},
        {"ConstructEmptyBlock", 1,
         [](Strings& s) { CharBuffer(nullptr, 0, s.text.Data()->manager); }},
        {"ConstructFromText", 1, [](Strings&) { CString("abc"); }},
        {"ConstructFromCharacters", 1, [](Strings&) { CString("a\0c", 3); }},
        {"CopyOfLocked", 1, [](Strings& s) { const CString copy(s.locked); }},
        {"AssignFromLocked", 1, [](Strings& s) { s.alone = s.locked; }},
        {"AssignFromLockedToEmpty", 1, [](Strings& s) { s.empty = s.locked; }},
        {"AssignAcrossManagersToShared", 1, [](Strings& s) { s.text = s.foreign; }},
        {"AssignAcrossManagersGrowing", 1, [](Strings& s) { s.alone = s.foreign; }},
        {"AssignToLockedGrowing", 1, [](Strings& s) { s.locked = s.text; }},
        {"ForkOfShared", 1, [](Strings& s) { s.text.Fork(40); }},
        {"ForkOfPrivate", 1, [](Strings& s) { s.alone.Fork(40); }},
        {"GetBufferOfShared", 1, [](Strings& s) { s.text.GetBuffer(1); }},
        {"GetBufferGrowing", 1, [](Strings& s) { s.alone.GetBuffer(5000, 0x40); }},
        {"GetBufferOfEmpty", 1, [](Strings& s) { s.empty.GetBuffer(10); }},
        {"GetBufferOfLockedGrowing", 1, [](Strings& s) { s.locked.GetBuffer(100); }},
        {"AppendToShared", 1, [](Strings& s) { s.text += "x"; }},
        {"AppendGrowing", 1, [](Strings& s) { s.alone += LongText().c_str(); }},
        {"AppendToEmpty", 1, [](Strings& s) { s.empty += "x"; }},
        {"AppendItself", 1, [](Strings& s) { s.alone += s.alone; }},
        {"AppendTwice", 2,
         [](Strings& s) {
             CString built;
             built += "abc";
             built += LongText().c_str();
             static_cast<void>(s);
         }},
        {"MidOfAPart", 1, [](Strings& s) { s.text.Mid(1, 3); }},
        {"MidOfNothing", 1, [](Strings& s) { s.text.Mid(100, 3); }},
        {"MidOfLocked", 1, [](Strings& s) { s.locked.Mid(0, 6); }},
        {"ReplaceInShared", 1, [](Strings& s) { s.text.Replace(",", ""); }},
        {"ReplaceGrowing", 1, [](Strings& s) { s.alone.Replace(",", " and also "); }},
        {"ReplaceGrowingLocked", 1, [](Strings& s) { s.locked.Replace("o", "a longer one"); }},
        {"Tokenize", 1,
         [](Strings& s) {
             int32_t position = 0;
             s.text.Tokenize(",", position);
         }},
        {"TokenizeToTheEnd", 3,
         [](Strings& s) {
             int32_t position = 0;
             while (position >= 0) {
                 s.alone.Tokenize(",", position);
             }
         }},
        {"TrimSpaceOfShared", 1, [](Strings& s) { s.text.TrimSpace(); }},
        {"MakeUpperOfShared", 1, [](Strings& s) { s.text.MakeUpper(); }},
    };
}

enum Level { kMemory, kBuffer };

class AllocationFailure : public testing::TestWithParam<std::tuple<Level, Case>> {
 protected:
    static std::unique_ptr<Source> MakeSource() {
        if (std::get<Level>(GetParam()) == kMemory) {
            return std::make_unique<MemorySource>();
        }
        return std::make_unique<BufferSource>();
    }

    // True when the operation succeeded although the given request was to fail.
    static bool SucceedsDespiteFailureAt(int request) {
        const std::unique_ptr<Source> source = MakeSource();
        const DefaultManagerScope scope(source->Manager());
        bool succeeded = false;
        {
            Strings strings(source->Manager());
            const Contents before(strings);
            const size_t live = source->LiveBlocks();
            source->FailAt(request);
            const int32_t code = RaisedCode([&] { std::get<Case>(GetParam()).operation(strings); });
            source->FailAt(0);
            succeeded = code == 0;
            if (!succeeded) {
                EXPECT_EQ(code, static_cast<int32_t>(0x8007000E));
                EXPECT_EQ(source->LiveBlocks(), live);
                before.ExpectSameAs(Contents(strings));
            }
        }
        EXPECT_EQ(source->LiveBlocks(), 0U);
        EXPECT_EQ(NilReferences(source->Manager()), 2);
        return succeeded;
    }
};

TEST_P(AllocationFailure, RaisesOutOfMemoryAndChangesNothing) {
    constexpr int kLimit = 20;
    int request = 1;
    while (!SucceedsDespiteFailureAt(request)) {
        ASSERT_FALSE(HasFailure()) << "at request " << request;
        ASSERT_LT(++request, kLimit) << "never succeeds";
    }
    EXPECT_EQ(request - 1, std::get<Case>(GetParam()).requests);
}

// No operation here needs memory, so none can fail for want of it.
TEST(NoAllocation, SharingAndWritingInPlaceNeedNoMemory) {
    CountingMemory memory;
    CQrvBufferMgr manager(&memory);
    const DefaultManagerScope scope(&manager);
    CString text(" abc ");
    const size_t requests = memory.Requests().size();
    {
        const CString copy(text);
        CString assigned;
        assigned = text;
        const CString whole = text.Mid(0, 5);
        const CString from_empty("");
        int32_t position = -1;
        const CString no_token = text.Tokenize("|", position);
        EXPECT_EQ(text.Replace("x", "y"), 0);
    }
    text.MakeUpper();
    text.Replace("B", "x");
    text.TrimSpace();
    text += "1234";
    EXPECT_EQ(TextOf(text), "AxC1234");
    EXPECT_EQ(memory.Requests().size(), requests);
}

std::string NameOf(const testing::TestParamInfo<std::tuple<Level, Case>>& info) {
    const char* level = std::get<Level>(info.param) == kMemory ? "Memory" : "Buffer";
    return std::string(level) + std::get<Case>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Operations, AllocationFailure,
                         testing::Combine(testing::Values(kMemory, kBuffer),
                                          testing::ValuesIn(Cases())),
                         NameOf);

}  // namespace
}  // namespace qrv_test
