#ifndef CLI_CHECKS_H
#define CLI_CHECKS_H

#include <cstdint>
#include <functional>
#include <limits>
#include <string>

namespace cli {

// What is wrong with an option's value, in plain words; nothing when it is right.
using Check = std::function<std::string(const std::string&)>;

// What an unset shell variable leaves on a command line must never pass for what was meant.
std::string CheckNotEmpty(const std::string& value);

// The same for a serial number. One that looks like an option is the next word on the line.
std::string CheckSerialNumber(const std::string& value);

Check WholeNumber(int64_t least, int64_t most = std::numeric_limits<int64_t>::max());
Check Seconds(int64_t most);

}  // namespace cli

#endif
