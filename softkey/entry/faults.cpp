#include "entry/faults.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <sstream>
#include <tuple>

#include "base/draft_file.h"
#include "base/file_lock.h"
#include "base/process_lock.h"
#include "store/home.h"

// The orders stand in a file, one a line, that is always replaced as a whole: a reader sees all of
// the orders before a change or all of them after it, whoever is killed when. Only those who change
// it take turns, and most calls of a client find no such file at all.
namespace softkey {
namespace {

using Faults = std::vector<Fault>;

constexpr size_t kLargestFile = 65536;

// Stands in the file for no key at all.
constexpr std::string_view kAnyKey = "-";

std::string WrittenOut(const Faults& faults) {
    std::ostringstream text;
    for (const Fault& fault : faults) {
        text << fault.entry << ' ' << (fault.key.empty() ? kAnyKey : fault.key) << ' '
             << static_cast<int>(fault.effect) << ' ' << fault.code << ' ' << fault.by << ' '
             << fault.times << ' ' << fault.after << ' ' << fault.delay_milliseconds << ' '
             << fault.step << ' ' << fault.met << '\n';
    }
    return text.str();
}

Fault ReadOutLine(const std::string& line) {
    std::istringstream words(line);
    Fault fault;
    int effect = -1;
    words >> fault.entry >> fault.key >> effect >> fault.code >> fault.by >> fault.times >>
        fault.after >> fault.delay_milliseconds >> fault.step >> fault.met;
    constexpr int kLast = static_cast<int>(Effect::kPlug);
    Require(effect >= 0 && effect <= kLast, Code::kStoreDamaged, "it does not list orders");
    fault.effect = static_cast<Effect>(effect);
    if (fault.key == kAnyKey) {
        fault.key.clear();
    }
    return fault;
}

Faults ReadOut(const std::string& text) {
    Faults faults;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        faults.push_back(ReadOutLine(line));
    }
    // What reads and writes back as the same text was written here.
    Require(!text.empty() && WrittenOut(faults) == text, Code::kStoreDamaged,
            "it does not list orders");
    return faults;
}

std::string TextOfFile() {
    const std::string path = FaultsPath();
    // Not waiting: something else than a file may have the name.
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) {
        if (errno == ENOENT) {
            return {};
        }
        FailWithFile(errno, path);
    }
    std::string text(kLargestFile, '\0');
    ssize_t length = 0;
    do {
        length = read(file, text.data(), text.size());
    } while (length < 0 && errno == EINTR);
    const int reason = errno;
    close(file);
    Private(path);
    if (length < 0) {
        FailWithFile(reason, path);
    }
    text.resize(static_cast<size_t>(length));
    return text;
}

Faults ReadFaults() {
    const std::string text = TextOfFile();
    return text.empty() ? Faults() : ReadOut(text);
}

// Orders that cannot be read were met by nobody; a change does without them.
Faults ReadableFaults() {
    try {
        return ReadFaults();
    } catch (const Error& error) {
        if (error.code() != Code::kStoreDamaged) {
            throw;
        }
        return {};
    }
}

// Without orders there is no file, so that no call has to read one.
void Keep(const Faults& faults) {
    if (faults.empty()) {
        if (unlink(FaultsPath().c_str()) != 0 && errno != ENOENT) {
            FailWithFile(errno, FaultsPath());
        }
        return;
    }
    const std::string text = WrittenOut(faults);
    DraftFile draft(FaultsPath());
    draft.Write(ToBytes(text));
    draft.Replace();
}

bool IsUsedUp(const Fault& fault) {
    return fault.times == 0;
}

bool AreOneQueue(const Fault& a, const Fault& b) {
    return a.entry == b.entry && a.key == b.key;
}

// A call of an entry, as orders see it.
class CallSeen {
 public:
    CallSeen(std::string_view entry, const KeyOfCall& key) : entry_(entry), find_key_(key) {}

    bool IsFor(const Fault& fault) {
        const bool entry_fits = fault.entry == entry_ ||
                                (fault.entry == kEveryEntry && IsPossible(fault.effect, entry_));
        return !IsUsedUp(fault) && entry_fits && KeyFits(fault);
    }

 private:
    // A key may go or come in a call that is about none.
    bool KeyFits(const Fault& fault) {
        const bool moves = fault.effect == Effect::kUnplug || fault.effect == Effect::kPlug;
        if (fault.key.empty() || fault.effect == Effect::kPlug || (moves && !NamesKey(entry_))) {
            return true;
        }
        if (!key_) {
            key_ = find_key_();
        }
        return *key_ == fault.key;
    }

    std::string_view entry_;
    const KeyOfCall& find_key_;
    std::optional<std::string> key_;
};

// The orders that are next in their queues and for this call, those for its entry first.
std::vector<size_t> NextFor(CallSeen& call, const Faults& faults) {
    std::vector<size_t> next;
    for (const bool every : {false, true}) {
        for (size_t i = 0; i < faults.size(); ++i) {
            const auto is_queued_with = [&](size_t other) {
                return AreOneQueue(faults[other], faults[i]);
            };
            if ((faults[i].entry == kEveryEntry) == every && call.IsFor(faults[i]) &&
                std::none_of(next.begin(), next.end(), is_queued_with)) {
                next.push_back(i);
            }
        }
    }
    return next;
}

// Only one can decide how a call ends; others that would wait for the next call.
bool Decides(const Fault& fault) {
    const bool moves = fault.effect == Effect::kUnplug || fault.effect == Effect::kPlug;
    return !moves && (fault.effect != Effect::kCode || fault.code != 0);
}

bool Counts(const Fault& fault) {
    return fault.after > 0 || fault.times > 0 || fault.step > 0;
}

// Takes the call from the counts of these orders; those that it meets.
Faults Meet(Faults& faults, const std::vector<size_t>& next) {
    Faults met;
    bool decided = false;
    for (const size_t index : next) {
        Fault& fault = faults[index];
        if (fault.after > 0) {
            --fault.after;
            continue;
        }
        if (decided && Decides(fault)) {
            continue;
        }
        decided = decided || Decides(fault);
        met.push_back(fault);
        fault.times -= fault.times > 0 ? 1 : 0;
        fault.met += fault.step > 0 ? 1 : 0;
    }
    return met;
}

Faults CountDown(CallSeen& call) {
    const ProcessLock process;
    const FileLock lock(FaultsLockPath());
    Faults faults = ReadFaults();
    Faults met = Meet(faults, NextFor(call, faults));
    faults.erase(
        std::remove_if(faults.begin(), faults.end(),
                       [](const Fault& fault) { return IsUsedUp(fault) && fault.step == 0; }),
        faults.end());
    Keep(faults);
    return met;
}

Faults CountCall(CallSeen& call) {
    // Looked up without the lock first: most calls meet no fault.
    Faults faults = ReadFaults();
    const std::vector<size_t> next = NextFor(call, faults);
    const bool counts =
        std::any_of(next.begin(), next.end(), [&](size_t index) { return Counts(faults[index]); });
    return counts ? CountDown(call) : Meet(faults, next);
}

}  // namespace

std::vector<Fault> MetFaults(std::string_view entry, const KeyOfCall& key) {
    try {
        CallSeen call(entry, key);
        return CountCall(call);
    } catch (const std::exception&) {
        // Orders are for tests. Whatever is wrong with them must not keep a client from its work.
        return {};
    }
}

void OrderFault(const Fault& fault, Place place) {
    EnsureHome();
    const FileLock lock(FaultsLockPath());
    Faults faults = ReadableFaults();
    if (place == Place::kInstead) {
        faults.erase(std::remove_if(faults.begin(), faults.end(),
                                    [&](const Fault& one) { return AreOneQueue(one, fault); }),
                     faults.end());
    }
    faults.push_back(fault);
    Keep(faults);
}

std::vector<Fault> OrderedFaults() {
    Faults faults = ReadFaults();
    std::stable_sort(faults.begin(), faults.end(), [](const Fault& a, const Fault& b) {
        return std::tie(a.entry, a.key) < std::tie(b.entry, b.key);
    });
    return faults;
}

void ClearFaults(std::string_view entry) {
    if (!HomeExists() || !Exists(FaultsPath())) {
        return;
    }
    const FileLock lock(FaultsLockPath());
    Faults faults;
    if (!entry.empty()) {
        faults = ReadableFaults();
        faults.erase(std::remove_if(faults.begin(), faults.end(),
                                    [&](const Fault& fault) { return fault.entry == entry; }),
                     faults.end());
    }
    Keep(faults);
}

}  // namespace softkey
