#ifndef ORVAL_TESTS_SUPPORT_LOG_FILE_H
#define ORVAL_TESTS_SUPPORT_LOG_FILE_H

#include <pthread.h>

#include <string>

namespace scripted {

constexpr const char* kLogPath = "/tmp/VexaPinpad_ORVAL.log";

// All bytes of the log file; empty when there is none.
std::string LogText();

// The exact bytes of a record written by `thread` of this process at Libc().now. Tests run in a
// time zone in which that is another day and another minute than in UTC.
std::string TextRecord(const std::string& name, const std::string& text,
                       pthread_t thread = pthread_self());
std::string HexRecord(const std::string& name, const std::string& digits,
                      pthread_t thread = pthread_self());

}  // namespace scripted

#endif
