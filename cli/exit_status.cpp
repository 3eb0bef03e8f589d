#include "cli/exit_status.h"

#include <algorithm>
#include <iterator>

#include "cli/words.h"

namespace cli {
namespace {

constexpr unsigned kBoth = kUkeyctl | kSoftkey;
constexpr unsigned kEach = kBoth | kSoftca;

constexpr StatusClass kClasses[] = {
    {ExitStatus::kDone, "done", "done", kEach},
    {ExitStatus::kFailed, "failed", "refused, for a reason that belongs to no other class", kEach},
    {ExitStatus::kUsage, "usage", "the command line makes no sense as given", kEach},
    {ExitStatus::kLibraryNotLoaded, "library", "a library is missing or cannot be loaded",
     kUkeyctl},
    {ExitStatus::kFile, "file", "a file or a stream cannot be read or written", kEach},
    {ExitStatus::kNoEvent, "timed_out", "nothing happened in time", kBoth},
    {ExitStatus::kNoKey, "no_key", "there is no key, or not the one that was named", kBoth},
    {ExitStatus::kPinWrong, "pin_wrong", "the PIN is wrong", kBoth},
    {ExitStatus::kPinLocked, "pin_locked", "the PIN is locked", kBoth},
    {ExitStatus::kTooSmall, "too_small", "a buffer is too small", kUkeyctl},
    {ExitStatus::kDoubtful, "doubtful", "what was looked at is doubtful", kUkeyctl},
    {ExitStatus::kBroken, "broken", "what was looked at is broken, or would be refused", kBoth},
    {ExitStatus::kDifferent, "different",
     "a replay or a recording differs, or not all of a scenario happened", kBoth},
    {ExitStatus::kDeclined, "declined",
     "a question was answered with no, or nobody was there to answer it", kBoth},
    {ExitStatus::kInternal, "internal", "a fault of the command itself", kEach},
    {ExitStatus::kInterrupted, "interrupted", "ended by Ctrl-C", kEach},
};

constexpr bool Ascend() {
    for (size_t i = 1; i < std::size(kClasses); ++i) {
        if (kClasses[i - 1].status >= kClasses[i].status) {
            return false;
        }
    }
    return true;
}

static_assert(Ascend(), "a class is out of order");

}  // namespace

StatusClasses AllStatuses() {
    return {std::begin(kClasses), std::end(kClasses)};
}

const char* NameOf(ExitStatus status) {
    return std::find_if(std::begin(kClasses), std::end(kClasses),
                        [status](const StatusClass& one) { return one.status == status; })
        ->name;
}

std::string TellStatusesOf(Commands command) {
    std::string text;
    for (const StatusClass& one : kClasses) {
        if ((one.commands & command) != 0) {
            const std::string told = Say("{1} {2}", static_cast<int>(one.status), one.meaning);
            text = text.empty() ? told : Say("{1}; {2}", text, told);
        }
    }
    return Say("Exit status: {1}.", text) + "\n";
}

}  // namespace cli
