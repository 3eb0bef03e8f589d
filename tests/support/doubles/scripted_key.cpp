#include "scripted_key.h"

namespace scripted {

// None of these is ever destroyed: the product may still call while the process ends.

Journal& TheJournal() {
    static auto* journal = new Journal;
    return *journal;
}

std::atomic<int>& CallsAtWork() {
    static std::atomic<int> calls{0};
    return calls;
}

KeyLibrary& Key() {
    static auto* key = new KeyLibrary;
    return *key;
}

TokenLibrary& Token() {
    static auto* token = new TokenLibrary;
    return *token;
}

void ForgetCalls() {
#define ORVAL_FORGET(slot, name, result, arguments) Key().name.ForgetCalls();
    ORVAL_BACKEND_ENTRIES(ORVAL_FORGET)
#undef ORVAL_FORGET
#define ORVAL_FORGET(name, arguments) Token().name.ForgetCalls();
    ORVAL_TOKEN_FUNCTIONS(ORVAL_FORGET)
#undef ORVAL_FORGET
    const std::lock_guard<std::mutex> lock(TheJournal().mutex);
    TheJournal().calls.clear();
}

std::vector<std::string> Calls() {
    const std::lock_guard<std::mutex> lock(TheJournal().mutex);
    return TheJournal().calls;
}

}  // namespace scripted
