// Every operation of the strings that calls a manager, with that call failing: an exception ends
// the process, although the manager's class does not declare its operations noexcept; nothing
// handed out is out of memory, and nothing has changed.

#include "faulty_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "qrv_support.h"

namespace qrv_test {
namespace {

using scripted::FaultyManager;

// The strings an operation meets. `shared` holds the same block as `sharer`, `alone` its own,
// `foreign` one of another manager, `locked` one that may not be shared.
struct Scene {
    CString shared = "shared, text";
    CString sharer = shared;
    CString alone = "alone";
    CString locked = "locked";
    CharBuffer foreign = MakeBuffer("foreign", &Elsewhere());
    CharBuffer no_text = MakeBuffer("", &Elsewhere());

    Scene() { ForbidSharing(locked); }

    std::string Texts() const {
        return TextOf(shared) + "|" + TextOf(sharer) + "|" + TextOf(alone) + "|" + TextOf(locked) +
               "|" + TextOf(foreign) + "|" + TextOf(no_text);
    }

    static ExactManager& Elsewhere() {
        static ExactManager manager;
        return manager;
    }
};

struct Call {
    const char* name;
    FaultyManager::Operation calls;
    std::function<void(Scene&)> operation;
};

void PrintTo(const Call& call, std::ostream* out) {
    *out << call.name;
}

std::vector<Call> Calls() {
    using M = FaultyManager;
    const auto manager = [](Scene& s) { return s.alone.Data()->manager; };
    return {
        {"ConstructEmptyAsksForTheNilBuffer", M::kGetNilBuffer, [](Scene&) { CString(); }},
        {"ConstructFromTextAsksForTheNilBuffer", M::kGetNilBuffer, [](Scene&) { CString("x"); }},
        {"ConstructFromTextClones", M::kClone, [](Scene&) { CString("x"); }},
        {"ConstructFromTextAllocates", M::kAllocate, [](Scene&) { CString("x"); }},
        {"ConstructFromCharactersAllocates", M::kAllocate,
         [=](Scene& s) { CharBuffer("x", 1, manager(s)); }},
        {"DestroyFrees", M::kFree, [=](Scene& s) { CharBuffer("x", 1, manager(s)); }},
        {"CopyClones", M::kClone, [](Scene& s) { CString copy(s.alone); }},
        {"CopyOfLockedAllocates", M::kAllocate, [](Scene& s) { CString copy(s.locked); }},
        {"CloneDataClones", M::kClone, [](Scene& s) { CString::CloneData(s.alone.Data()); }},
        {"CloneDataOfLockedAllocates", M::kAllocate,
         [](Scene& s) { CString::CloneData(s.locked.Data()); }},
        {"AssignClones", M::kClone, [](Scene& s) { s.alone = s.shared; }},
        {"AssignFreesTheOldBlock", M::kFree, [](Scene& s) { s.alone = s.shared; }},
        {"AssignOfForeignReallocates", M::kReallocate,
         [](Scene& s) { s.alone.CharBuffer::operator=(s.foreign); }},
        {"AssignOfForeignEmptyAsksForTheNilBuffer", M::kGetNilBuffer,
         [](Scene& s) { s.alone.CharBuffer::operator=(s.no_text); }},
        {"ForkClones", M::kClone, [](Scene& s) { s.alone.Fork(40); }},
        {"ForkAllocates", M::kAllocate, [](Scene& s) { s.alone.Fork(40); }},
        {"ForkFreesTheOldBlock", M::kFree, [](Scene& s) { s.alone.Fork(40); }},
        {"GetBufferOfSharedClones", M::kClone, [](Scene& s) { s.shared.GetBuffer(1); }},
        {"GetBufferOfSharedAllocates", M::kAllocate, [](Scene& s) { s.shared.GetBuffer(1); }},
        {"GetBufferGrowingReallocates", M::kReallocate, [](Scene& s) { s.alone.GetBuffer(99); }},
        {"AppendReallocates", M::kReallocate, [](Scene& s) { s.alone += "x"; }},
        {"MidOfAllClones", M::kClone, [](Scene& s) { s.alone.Mid(0, 5); }},
        {"MidOfAPartClones", M::kClone, [](Scene& s) { s.alone.Mid(1, 2); }},
        {"MidOfAPartAllocates", M::kAllocate, [](Scene& s) { s.alone.Mid(1, 2); }},
        {"ReplaceReallocates", M::kReallocate, [](Scene& s) { s.alone.Replace("n", "nn"); }},
        {"ReplaceInSharedAllocates", M::kAllocate, [](Scene& s) { s.shared.Replace(",", ""); }},
        {"TokenizeAllocates", M::kAllocate,
         [](Scene& s) {
             int32_t position = 0;
             s.shared.Tokenize(",", position);
         }},
        {"TokenizeToTheEndAsksForTheNilBuffer", M::kGetNilBuffer,
         [](Scene& s) {
             int32_t position = -1;
             s.shared.Tokenize(",", position);
         }},
        {"MakeUpperOfSharedAllocates", M::kAllocate, [](Scene& s) { s.shared.MakeUpper(); }},
    };
}

std::vector<Call> CallsThatAreHandedSomething() {
    std::vector<Call> calls = Calls();
    calls.erase(std::remove_if(calls.begin(), calls.end(),
                               [](const Call& call) { return call.calls == FaultyManager::kFree; }),
                calls.end());
    return calls;
}

class FaultyManagerTest : public testing::TestWithParam<Call> {
 protected:
    void Run(FaultyManager::Fault fault, const std::function<void(Scene&)>& operation) {
        Scene scene;
        manager_.Fails(GetParam().calls, fault);
        operation(scene);
        manager_.Fails(GetParam().calls, FaultyManager::kNone);
    }

    FaultyManager manager_;
    DefaultManagerScope scope_{&manager_};
};

using FaultyManagerDeathTest = FaultyManagerTest;

TEST_P(FaultyManagerDeathTest, ExceptionEndsTheProcess) {
    EXPECT_DEATH(scripted::ExpectNoExceptionOutOf(
                     [this] { Run(FaultyManager::kThrows, GetParam().operation); }),
                 "terminate called");
}

TEST_P(FaultyManagerTest, NothingHandedOutIsOutOfMemory) {
    Run(FaultyManager::kYieldsNothing, [](Scene& scene) {
        const std::string before = scene.Texts();
        EXPECT_EQ(RaisedCode([&] { GetParam().operation(scene); }), kOutOfMemory);
        EXPECT_EQ(scene.Texts(), before);
    });
    EXPECT_EQ(manager_.LiveBlocks(), 0);
    EXPECT_EQ(NilReferences(&manager_), 2);
}

std::string NameOf(const testing::TestParamInfo<Call>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Strings, FaultyManagerDeathTest, testing::ValuesIn(Calls()), NameOf);
INSTANTIATE_TEST_SUITE_P(Strings, FaultyManagerTest,
                         testing::ValuesIn(CallsThatAreHandedSomething()), NameOf);

}  // namespace
}  // namespace qrv_test
