#ifndef ORVAL_TESTS_COMMANDS_RECORDER_CLIENT_H
#define ORVAL_TESTS_COMMANDS_RECORDER_CLIENT_H

#include <string>

// A client of the product that does what its seed says.
namespace client {

// What it stores, signs, shows and imports, and must be found in no recording.
constexpr char kSecrets[][24] = {"the stored secret ", "the signed secret ", "the warning secret ",
                                 "the imported secret "};

// Mixed calls from two threads, half of them from each; what each call gave: its code, and the
// length of what came back.
std::string MixedCalls(unsigned seed, int calls);

}  // namespace client

#endif
