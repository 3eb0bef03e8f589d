#include "scripted_key.h"

namespace scripted {

// None of these is ever destroyed: the product may still call while the process ends.

Journal& TheJournal() {
    static auto* journal = new Journal;
    return *journal;
}

KeyLibrary& Key() {
    static auto* key = new KeyLibrary;
    return *key;
}

TokenLibrary& Token() {
    static auto* token = new TokenLibrary;
    return *token;
}

std::vector<std::string> Calls() {
    const std::lock_guard<std::mutex> lock(TheJournal().mutex);
    return TheJournal().calls;
}

}  // namespace scripted
