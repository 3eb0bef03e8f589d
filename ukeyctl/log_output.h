#ifndef UKEYCTL_LOG_OUTPUT_H
#define UKEYCTL_LOG_OUTPUT_H

#include <string>

#include "logs/calls.h"
#include "logs/summary.h"

// What a log tells, for people and for scripts.
namespace log_output {

std::string Headings();
std::string LineOf(const logs::Call& call);
std::string JsonOf(const logs::Call& call);

std::string LineOfDamage(uint64_t offset, uint64_t bytes);
std::string JsonOfDamage(uint64_t offset, uint64_t bytes);

std::string ForPeople(const logs::Summary& summary);
std::string ForScripts(const logs::Summary& summary);

}  // namespace log_output

#endif
