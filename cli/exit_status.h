#ifndef CLI_EXIT_STATUS_H
#define CLI_EXIT_STATUS_H

#include <string>

namespace cli {

// What the commands end with. Scripts rely on the numbers.
enum class ExitStatus : int {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kLibraryNotLoaded = 3,
    kFile = 4,
    kNoEvent = 5,
    kNoKey = 6,
    kPinWrong = 7,
    kPinLocked = 8,
    kTooSmall = 9,
    // What was found by looking, which is no failure of the command.
    kDoubtful = 10,
    kBroken = 11,
    kDifferent = 12,
    // A question that was answered with no, or that nobody was there to answer.
    kDeclined = 13,
    kInternal = 70,
    // As the shell tells of a program that Ctrl-C ended.
    kInterrupted = 130
};

// The commands, as a set.
enum Commands : unsigned { kUkeyctl = 1, kSoftkey = 2, kSoftca = 4 };

// A class of endings. Helps, manual pages, the table in docs/ukeyctl.md and JSON take it from here.
struct StatusClass {
    ExitStatus status;
    const char* name;     // in JSON
    const char* meaning;  // without a semicolon or a full stop, which stand between several
    unsigned commands;    // that end so
};

// In ascending order.
struct StatusClasses {
    const StatusClass* first;
    const StatusClass* last;
    const StatusClass* begin() const { return first; }
    const StatusClass* end() const { return last; }
};
StatusClasses AllStatuses();

const char* NameOf(ExitStatus status);

// "Exit status: 0 done; 1 ...", for the helps of one of the commands.
std::string TellStatusesOf(Commands command);

}  // namespace cli

#endif
