#include "entry/faults.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sstream>
#include <thread>

#include "base/draft_file.h"
#include "base/file_lock.h"
#include "base/process_lock.h"
#include "store/home.h"
#include "trace/traced_call.h"

// The orders stand in a file, one a line, that is always replaced as a whole: a reader sees all of
// the orders before a change or all of them after it, whoever is killed when. Only those who change
// it take turns, and most calls of a client find no such file at all.
namespace softkey {
namespace {

using Faults = std::vector<Fault>;

constexpr size_t kLargestFile = 65536;

std::string WrittenOut(const Faults& faults) {
    std::ostringstream text;
    for (const Fault& fault : faults) {
        text << fault.entry << ' ' << fault.code << ' ' << fault.times << ' ' << fault.after << ' '
             << fault.delay_milliseconds << '\n';
    }
    return text.str();
}

Faults ReadOut(const std::string& text) {
    Faults faults;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        Fault fault{};
        words >> fault.entry >> fault.code >> fault.times >> fault.after >>
            fault.delay_milliseconds;
        faults.push_back(fault);
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
    const ssize_t length = read(file, text.data(), text.size());
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

Faults::iterator Find(Faults& faults, std::string_view entry) {
    return std::find_if(faults.begin(), faults.end(),
                        [&](const Fault& fault) { return fault.entry == entry; });
}

// The fault that this call of the entry meets.
std::optional<Fault> CountDown(std::string_view entry) {
    const ProcessLock process;
    const FileLock lock(FaultsLockPath());
    Faults faults = ReadFaults();
    const auto found = Find(faults, entry);
    if (found == faults.end()) {
        return std::nullopt;
    }
    const Fault fault = *found;
    if (fault.after > 0) {
        --found->after;
    } else if (fault.times > 0 && --found->times == 0) {
        faults.erase(found);
    }
    Keep(faults);
    return fault.after > 0 ? std::nullopt : std::optional<Fault>(fault);
}

std::optional<Fault> CountCall(std::string_view entry) {
    try {
        // Looked up without the lock first: most calls meet no fault.
        Faults faults = ReadFaults();
        const auto found = Find(faults, entry);
        if (found == faults.end()) {
            return std::nullopt;
        }
        const bool counts = found->after > 0 || found->times > 0;
        return counts ? CountDown(entry) : *found;
    } catch (const Error&) {
        // Orders are for tests. Whatever is wrong with them must not keep a client from its work.
        return std::nullopt;
    }
}

}  // namespace

std::optional<int32_t> OrderedFailure(std::string_view entry) {
    const std::optional<Fault> fault = CountCall(entry);
    if (!fault) {
        return std::nullopt;
    }
    NoteFault();
    std::this_thread::sleep_for(std::chrono::milliseconds(fault->delay_milliseconds));
    if (fault->code == 0) {
        return std::nullopt;
    }
    return fault->code;
}

void OrderFault(const Fault& fault) {
    EnsureHome();
    const FileLock lock(FaultsLockPath());
    Faults faults = ReadableFaults();
    const auto found = Find(faults, fault.entry);
    if (found == faults.end()) {
        faults.push_back(fault);
    } else {
        *found = fault;
    }
    Keep(faults);
}

std::vector<Fault> OrderedFaults() {
    Faults faults = ReadFaults();
    std::sort(faults.begin(), faults.end(),
              [](const Fault& a, const Fault& b) { return a.entry < b.entry; });
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
