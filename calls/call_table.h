#ifndef CALLS_CALL_TABLE_H
#define CALLS_CALL_TABLE_H

#include <string>
#include <vector>

#include "cli/table.h"
#include "recording.h"

// Calls as people look at them, and how a client ended.
namespace calls {

// With a column for the program where calls tell it.
cli::Table TableOf(const std::vector<Call>& calls);

std::string EndOf(const Recording& recording);

// "12 calls missed: ..."
std::string SayMissed(int64_t missed);

}  // namespace calls

#endif
