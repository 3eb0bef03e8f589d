#ifndef CLI_EXIT_STATUS_H
#define CLI_EXIT_STATUS_H

namespace cli {

// What the commands end with. Scripts rely on the numbers. softkey and softca know the first three:
// to them what the key, a file or the command itself refuses is one thing, a failure.
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

// What the helps say of them; the manual pages and docs/ukeyctl.md say the same.
inline constexpr char kStatusesOfUkeyctl[] =
    "Exit status: 0 done; 1 the key or the library reported a code; 2 usage; 3 the library cannot "
    "be loaded; 4 a file cannot be read or written; 5 no event in time; 10 something that was "
    "looked at is doubtful; 11 it is broken, or would be refused; 12 a replay or a recording "
    "differs; 70 a fault of this command.\n";
inline constexpr char kStatusesOfSoftkey[] =
    "Exit status: 0 done, 1 the operation failed (the reason is on standard error), "
    "2 wrong usage.";
inline constexpr char kStatusesOfList[] =
    "Exit status: 0 done, 1 something is damaged or the list cannot be made, 2 wrong usage.";

}  // namespace cli

#endif
