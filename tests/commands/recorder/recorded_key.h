#ifndef ORVAL_TESTS_COMMANDS_RECORDER_RECORDED_KEY_H
#define ORVAL_TESTS_COMMANDS_RECORDER_RECORDED_KEY_H

// What the key says that is recorded: half of it must never stand in a recording.
namespace recorded {

constexpr char kSerialNumber[] = "OR5EC2E75E21A1NO";
constexpr char kPlain[] = "the decrypted secret ";
constexpr char kLabel[] = "\xC2\xED label ";  // GB18030

// With this as its data, an entry ends the process from inside.
constexpr char kCrash[] = "crash now";
// With this as its serial number, an entry throws.
constexpr char kThrow[] = "THROW00000000000";

constexpr unsigned kNoEvent = 5;
constexpr unsigned kSlot = 7;

}  // namespace recorded

#endif
