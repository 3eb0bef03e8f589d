// Random operation sequences on strings and on a plain model of them: a std::string per block and
// the rules of sharing, counting and growing written out. After every step each string is compared
// with its model: text, length, capacity, references, manager, and who shares a block with whom.
//
//     ORVAL_STRING_SEED=7     replays one sequence
//     ORVAL_STRING_RUNS=1000  runs that many sequences
//     ORVAL_STRING_STEPS=500  of that many steps each

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <sstream>

#include "qrv_support.h"

namespace qrv_test {
namespace {

using QRV::CQrvBufferMgr;

// Three managers: the default one, a second one of the same kind, and one that rounds nothing and
// whose clone is the second.
enum ManagerId { kDefault, kOther, kExact, kManagers };

ManagerId CloneOf(ManagerId manager) {
    return manager == kExact ? kOther : manager;
}

int32_t RoundedCapacity(ManagerId manager, int32_t length) {
    return manager == kExact ? length : (length + 8) / 8 * 8 - 1;
}

// --- the model ---

struct Block {
    ManagerId manager;
    std::string text;
    int32_t capacity;
    int64_t references;
    bool nil = false;

    int32_t Length() const { return static_cast<int32_t>(text.size()); }
    bool MayBeShared() const { return references >= 0; }
};

using BlockPointer = std::shared_ptr<Block>;

class Model final {
 public:
    Model() {
        for (int manager = 0; manager < kManagers; ++manager) {
            nil_.push_back(
                std::make_shared<Block>(Block{static_cast<ManagerId>(manager), "", 0, 2, true}));
        }
    }

    BlockPointer Nil(ManagerId manager) {
        ++nil_[manager]->references;
        return nil_[manager];
    }
    int64_t NilReferences(ManagerId manager) const { return nil_[manager]->references; }

    static BlockPointer New(ManagerId manager, const std::string& text) {
        const auto length = static_cast<int32_t>(text.size());
        return std::make_shared<Block>(Block{manager, text, RoundedCapacity(manager, length), 1});
    }

    static BlockPointer Clone(const BlockPointer& source) {
        if (source->MayBeShared() && CloneOf(source->manager) == source->manager) {
            ++source->references;
            return source;
        }
        return New(CloneOf(source->manager), source->text);
    }

    static void Release(const BlockPointer& block) { --block->references; }

    static void Replace(BlockPointer& string, BlockPointer block) {
        Release(string);
        string = std::move(block);
    }

    static void Fork(BlockPointer& string, int32_t length) {
        BlockPointer forked = New(CloneOf(string->manager), string->text);
        forked->capacity = RoundedCapacity(forked->manager, length);
        Replace(string, forked);
    }

    static void MakeWritable(BlockPointer& string, int32_t needed) {
        if (string->references > 1) {
            Fork(string, std::max(string->Length(), needed));
        } else if (string->capacity < needed) {
            const int32_t capacity = string->capacity;
            const int32_t grown = capacity <= 1024 ? capacity * 2 : capacity + 1024;
            string->capacity = RoundedCapacity(string->manager, std::max(grown, needed));
        }
    }

    static void Write(BlockPointer& string, const std::string& text) {
        MakeWritable(string, static_cast<int32_t>(text.size()));
        string->text = text;
    }

    void Assign(BlockPointer& target, const BlockPointer& source) {
        if (target == source) {
            return;
        }
        if (target->MayBeShared() && target->manager == source->manager) {
            Replace(target, Clone(source));
        } else if (!source->text.empty()) {
            Write(target, source->text);
        } else if (target->MayBeShared()) {
            Replace(target, Nil(target->manager));
        } else {
            target->text.clear();
        }
    }

    static BlockPointer Mid(const BlockPointer& source, int32_t first, int32_t count) {
        const int64_t length = source->Length();
        const int64_t from = std::max(first, 0);
        int64_t taken = std::max(count, 0);
        if (from > length) {
            taken = 0;
        } else if (from + taken > length) {
            taken = length - from;
        }
        if (first <= 0 && taken == length) {
            return Clone(source);
        }
        const std::string part =
            taken == 0 ? ""
                       : source->text.substr(static_cast<size_t>(from), static_cast<size_t>(taken));
        return New(CloneOf(source->manager), part);
    }

 private:
    std::vector<BlockPointer> nil_;
};

std::pair<std::string, int32_t> Replaced(const std::string& text, const std::string& from,
                                         const std::string& to) {
    std::string result;
    int32_t count = 0;
    for (size_t at = 0; at < text.size();) {
        if (!from.empty() && text.compare(at, from.size(), from) == 0) {
            result += to;
            at += from.size();
            ++count;
        } else {
            result += text[at++];
        }
    }
    return {result, count};
}

std::string Trimmed(std::string text) {
    const auto is_space = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && is_space(text.back())) {
        text.pop_back();
    }
    while (!text.empty() && is_space(text.front())) {
        text.erase(0, 1);
    }
    return text;
}

std::string Upper(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

// --- random material ---

class Chance final {
 public:
    explicit Chance(uint32_t seed) : engine_(seed) {}

    int32_t Between(int32_t low, int32_t high) {
        return std::uniform_int_distribution<int32_t>(low, high)(engine_);
    }
    bool OneIn(int32_t n) { return Between(1, n) == 1; }

    // Mostly short, sometimes around the place where doubling ends.
    int32_t Length() {
        if (OneIn(40)) {
            return Between(1000, 3000);
        }
        return OneIn(6) ? Between(0, 80) : Between(0, 12);
    }
    // Few different characters, so that searches find something; NUL among them on demand.
    std::string Text(int32_t length, bool with_nul) {
        static constexpr char kCharacters[] = "ab|, \tZ\xE4\xFF";
        constexpr int32_t kLast = sizeof(kCharacters) - 1;
        std::string text;
        for (int32_t i = 0; i < length; ++i) {
            text += kCharacters[Between(0, with_nul ? kLast : kLast - 1)];
        }
        return text;
    }

 private:
    std::mt19937 engine_;
};

// --- the walk ---

class Walk final {
 public:
    explicit Walk(uint32_t seed) : chance_(seed), seed_(seed) {
        exact_.CloneNames(&other_);
        for (size_t i = 0; i < kStrings; ++i) {
            strings_[i] = std::make_unique<CString>();
            models_[i] = model_.Nil(kDefault);
        }
    }

    void Run(int steps) {
        for (step_ = 1; step_ <= steps; ++step_) {
            Step();
            Compare();
            if (testing::Test::HasFailure()) {
                ADD_FAILURE() << "replay with ORVAL_STRING_SEED=" << seed_ << "; step " << step_
                              << "; the last operations:\n"
                              << History();
                return;
            }
        }
        ReleaseAll();
    }

 private:
    static constexpr size_t kStrings = 8;
    static constexpr int32_t kLongest = 6000;
    using Operation = void (Walk::*)();

    void Step() {
        static constexpr Operation kOperations[] = {&Walk::Construct,     &Walk::ConstructFromText,
                                                    &Walk::Copy,          &Walk::Copy,
                                                    &Walk::Assign,        &Walk::Assign,
                                                    &Walk::Assign,        &Walk::Mid,
                                                    &Walk::Mid,           &Walk::Replace,
                                                    &Walk::Replace,       &Walk::Append,
                                                    &Walk::Append,        &Walk::AppendString,
                                                    &Walk::Tokenize,      &Walk::TrimSpace,
                                                    &Walk::MakeUpper,     &Walk::WriteThrough,
                                                    &Walk::Fork,          &Walk::SetLength,
                                                    &Walk::ToggleSharing, &Walk::GetAt,
                                                    &Walk::Refused,       &Walk::Clear};
        constexpr auto kLast = static_cast<int32_t>(std::size(kOperations)) - 1;
        a_ = static_cast<size_t>(chance_.Between(0, kStrings - 1));
        b_ = static_cast<size_t>(chance_.Between(0, kStrings - 1));
        (this->*kOperations[chance_.Between(0, kLast)])();
    }

    CString& A() { return *strings_[a_]; }
    CString& B() { return *strings_[b_]; }
    BlockPointer& ModelA() { return models_[a_]; }
    BlockPointer& ModelB() { return models_[b_]; }

    QRV::IQrvBufferMgr* Manager(ManagerId manager) {
        QRV::IQrvBufferMgr* const managers[] = {&default_, &other_, &exact_};
        return managers[manager];
    }

    // Puts a new object in place of string A.
    void Put(std::unique_ptr<CString> string, BlockPointer block) {
        strings_[a_] = std::move(string);
        Model::Replace(ModelA(), std::move(block));
    }

    void Note(const std::string& operation) {
        std::ostringstream line;
        line << "  " << step_ << ": " << a_ << ' ' << operation;
        history_.push_back(line.str());
        if (history_.size() > 12) {
            history_.pop_front();
        }
    }

    std::string History() const {
        std::string text;
        for (const std::string& line : history_) {
            text += line + '\n';
        }
        return text;
    }

    void Construct() {
        const auto manager = static_cast<ManagerId>(chance_.Between(0, kManagers - 1));
        const std::string text = chance_.Text(chance_.Length(), true);
        Note("= string of " + std::to_string(text.size()) + " from manager " +
             std::to_string(manager));
        Put(std::make_unique<CString>(text.data(), static_cast<int32_t>(text.size()),
                                      Manager(manager)),
            Model::New(manager, text));
    }

    void ConstructFromText() {
        const std::string text = chance_.Text(chance_.Length(), false);
        Note("= text of " + std::to_string(text.size()));
        Put(std::make_unique<CString>(text.c_str()),
            text.empty() ? model_.Nil(kDefault) : Model::New(kDefault, text));
    }

    void Clear() {
        Note("= empty string");
        Put(std::make_unique<CString>(), model_.Nil(kDefault));
    }

    void Copy() {
        Note("= copy of " + std::to_string(b_));
        auto copy = std::make_unique<CString>(B());
        BlockPointer block = Model::Clone(ModelB());
        Put(std::move(copy), std::move(block));
    }

    void Assign() {
        Note("assign " + std::to_string(b_));
        A() = B();
        const BlockPointer source = ModelB();
        model_.Assign(ModelA(), source);
    }

    void Mid() {
        const int32_t length = B().GetLength();
        const int32_t first = chance_.OneIn(3) ? 0 : chance_.Between(-3, length + 3);
        const int32_t count = chance_.OneIn(3) ? length : chance_.Between(-3, length + 3);
        Note("= Mid of " + std::to_string(b_) + " from " + std::to_string(first) + " count " +
             std::to_string(count));
        auto mid = std::make_unique<CString>(B().Mid(first, count));
        BlockPointer block = Model::Mid(ModelB(), first, count);
        Put(std::move(mid), std::move(block));
    }

    void Replace() {
        const std::string from = chance_.Text(chance_.Between(0, 3), false);
        const std::string to = chance_.Text(chance_.Between(0, 4), false);
        Note("replace \"" + from + "\" by \"" + to + '"');
        const auto [text, count] = Replaced(ModelA()->text, from, to);
        EXPECT_EQ(A().Replace(from.c_str(), to.c_str()), count);
        if (count > 0) {
            const int32_t length = ModelA()->Length();
            Model::MakeWritable(ModelA(), std::max(length, static_cast<int32_t>(text.size())));
            ModelA()->text = text;
        }
        KeepShort();
    }

    void Append() {
        const std::string text = chance_.Text(chance_.Length(), true);
        Note("append " + std::to_string(text.size()));
        A().Append(text.data(), static_cast<int32_t>(text.size()));
        AppendToModel(text);
    }

    void AppendString() {
        Note("append string " + std::to_string(b_));
        A() += B();
        AppendToModel(std::string(ModelB()->text));
    }

    void AppendToModel(const std::string& text) {
        if (!text.empty()) {
            Model::Write(ModelA(), ModelA()->text + text);
        }
        KeepShort();
    }

    // Texts double and double; now and then one has to start again.
    void KeepShort() {
        if (ModelA()->Length() > kLongest) {
            Clear();
        }
    }

    void Tokenize() {
        const std::string delimiters = chance_.Text(chance_.Between(1, 2), false);
        const int32_t start = chance_.Between(-1, B().GetLength() + 2);
        Note("= token of " + std::to_string(b_) + " from " + std::to_string(start));
        int32_t position = start;
        auto token = std::make_unique<CString>(B().Tokenize(delimiters.c_str(), position));

        const std::string& text = ModelB()->text;
        const auto is_delimiter = [&](int32_t at) {
            return delimiters.find(text[static_cast<size_t>(at)]) != std::string::npos;
        };
        const int32_t length = ModelB()->Length();
        int32_t first = start < 0 ? length : start;
        while (first < length && is_delimiter(first)) {
            ++first;
        }
        if (first >= length) {
            EXPECT_EQ(position, -1);
            Put(std::move(token), model_.Nil(kDefault));
            return;
        }
        int32_t end = first;
        while (end < length && !is_delimiter(end)) {
            ++end;
        }
        EXPECT_EQ(position, end + 1);
        BlockPointer block = Model::Mid(ModelB(), first, end - first);
        Put(std::move(token), std::move(block));
    }

    void TrimSpace() {
        Note("trim");
        A().TrimSpace();
        const std::string text = Trimmed(ModelA()->text);
        if (text != ModelA()->text) {
            Model::MakeWritable(ModelA(), ModelA()->Length());
            ModelA()->text = text;
        }
    }

    void MakeUpper() {
        Note("to upper case");
        A().MakeUpper();
        Model::Write(ModelA(), Upper(ModelA()->text));
    }

    void WriteThrough() {
        const int32_t needed = chance_.Length();
        const bool zero_fill = chance_.OneIn(2);
        Note("buffer for " + std::to_string(needed));
        char* characters = A().GetBuffer(needed, zero_fill ? 0x40 : 0);
        Model::MakeWritable(ModelA(), needed);
        if (zero_fill) {
            const int32_t length = ModelA()->Length();
            for (int32_t i = length; i <= ModelA()->capacity; ++i) {
                ASSERT_EQ(characters[i], '\0') << i;
            }
        }
        const std::string text = chance_.Text(needed, true);
        std::memcpy(characters, text.data(), text.size());
        A().SetLength(needed);
        ModelA()->text = text;
    }

    void Fork() {
        const int32_t length = A().GetLength() + chance_.Between(0, 20);
        Note("fork to " + std::to_string(length));
        A().Fork(length);
        Model::Fork(ModelA(), length);
    }

    void SetLength() {
        if (ModelA()->references > 1) {
            return;
        }
        const int32_t length = chance_.Between(-2, ModelA()->Length() + 2);
        Note("length " + std::to_string(length));
        const int32_t code = RaisedCode([&] { A().SetLength(length); });
        if (length < 0 || length > ModelA()->capacity) {
            EXPECT_EQ(code, kInvalidArgument);
            return;
        }
        EXPECT_EQ(code, 0);
        // The characters behind the former terminator are whatever stood there.
        ModelA()->text = TextOf(A()).substr(0, static_cast<size_t>(length));
    }

    // A private block becomes one that may not be shared, and the other way round.
    void ToggleSharing() {
        if (ModelA()->nil || ModelA()->references > 1) {
            return;
        }
        Note("toggle sharing");
        const int64_t references = ModelA()->references < 0 ? 1 : -chance_.Between(1, 3);
        A().Data()->references = references;
        ModelA()->references = references;
    }

    void GetAt() {
        const int32_t length = A().GetLength();
        const int32_t index = chance_.Between(-2, length + 2);
        Note("read " + std::to_string(index));
        char read = 'x';
        const int32_t code = RaisedCode([&] { read = A().GetAt(index); });
        if (index < 0 || index > length) {
            EXPECT_EQ(code, kInvalidArgument);
            return;
        }
        EXPECT_EQ(code, 0);
        EXPECT_EQ(read, index == length ? '\0' : ModelA()->text[static_cast<size_t>(index)]);
    }

    void Refused() {
        Note("refused calls");
        const int32_t negative = -chance_.Between(1, 100);
        EXPECT_EQ(RaisedCode([&] { CString("abc", negative); }), kInvalidArgument);
        EXPECT_EQ(RaisedCode([&] { CString(nullptr, -negative); }), kInvalidArgument);
        EXPECT_EQ(RaisedCode([&] { A().Append(nullptr, -negative); }), kInvalidArgument);
        EXPECT_EQ(A().Replace("", "x"), 0);
        EXPECT_EQ(A().Replace(nullptr, "x"), 0);
    }

    // --- comparison ---

    void Compare() {
        std::map<const Block*, const CBufferData*> blocks;
        for (size_t i = 0; i < kStrings; ++i) {
            CompareOne(i);
            const auto [known, is_new] = blocks.emplace(models_[i].get(), strings_[i]->Data());
            EXPECT_TRUE(is_new || known->second == strings_[i]->Data())
                << i << " should share its block";
        }
        std::set<const CBufferData*> real;
        std::array<size_t, kManagers> live = {};
        for (const auto& [block, data] : blocks) {
            EXPECT_TRUE(real.insert(data).second) << "two strings share a block by mistake";
            live[block->manager] += block->nil ? 0 : 1;
        }
        EXPECT_EQ(default_memory_.LiveBlocks(), live[kDefault]);
        EXPECT_EQ(other_memory_.LiveBlocks(), live[kOther]);
        EXPECT_EQ(exact_.LiveBlocks(), live[kExact]);
        for (const ManagerId manager : {kDefault, kOther, kExact}) {
            EXPECT_EQ(NilReferences(Manager(manager)), model_.NilReferences(manager));
        }
    }

    void CompareOne(size_t i) {
        const CBufferData* data = strings_[i]->Data();
        const Block& block = *models_[i];
        EXPECT_EQ(TextOf(*strings_[i]), block.text) << i;
        EXPECT_EQ(strings_[i]->GetString()[data->length], '\0') << i;
        EXPECT_EQ(data->capacity, block.capacity) << i;
        EXPECT_EQ(data->references, block.references) << i;
        EXPECT_EQ(data->manager, Manager(block.manager)) << i;
    }

    void ReleaseAll() {
        for (auto& string : strings_) {
            string.reset();
        }
        EXPECT_EQ(default_memory_.LiveBlocks(), 0U);
        EXPECT_EQ(other_memory_.LiveBlocks(), 0U);
        EXPECT_EQ(exact_.LiveBlocks(), 0U);
        for (const ManagerId manager : {kDefault, kOther, kExact}) {
            EXPECT_EQ(NilReferences(Manager(manager)), 2);
        }
    }

    CountingMemory default_memory_;
    CountingMemory other_memory_;
    CQrvBufferMgr default_{&default_memory_};
    CQrvBufferMgr other_{&other_memory_};
    ExactManager exact_;
    DefaultManagerScope scope_{&default_};

    Chance chance_;
    const uint32_t seed_;
    Model model_;
    std::array<std::unique_ptr<CString>, kStrings> strings_;
    std::array<BlockPointer, kStrings> models_;
    size_t a_ = 0;
    size_t b_ = 0;
    int step_ = 0;
    std::deque<std::string> history_;
};

uint32_t NumberFrom(const char* variable, uint32_t otherwise) {
    const char* text = std::getenv(variable);
    return text == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}

TEST(StringModel, RandomWalksAgreeWithTheModel) {
    const auto steps = static_cast<int>(NumberFrom("ORVAL_STRING_STEPS", 4000));
    const uint32_t single = NumberFrom("ORVAL_STRING_SEED", 0);
    const uint32_t first = single == 0 ? 1 : single;
    const uint32_t runs = single == 0 ? NumberFrom("ORVAL_STRING_RUNS", 16) : 1;
    for (uint32_t seed = first; seed < first + runs && !HasFailure(); ++seed) {
        Walk(seed).Run(steps);
    }
}

}  // namespace
}  // namespace qrv_test
