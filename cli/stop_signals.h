#ifndef CLI_STOP_SIGNALS_H
#define CLI_STOP_SIGNALS_H

#include <chrono>
#include <optional>

namespace cli {

// Ctrl-C and SIGTERM, for verbs that go on until they are stopped and then come to an end of their
// own.

// From now on the first of them is noted. Another, half a second later or more, ends the process,
// should a library not come back. One that the process was started to ignore stays ignored.
void CatchStopSignals();

// Which came; 0: none.
int StopSignal();

using Deadline = std::optional<std::chrono::steady_clock::time_point>;  // nothing: never

// Until the descriptor has something to be read (-1: there is none), a signal comes, or it is time.
enum class Wakening { kReadable, kSignal, kTime };
Wakening AwaitReadable(int descriptor, const Deadline& deadline);

}  // namespace cli

#endif
