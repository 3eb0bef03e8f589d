#ifndef BUNDLE_BUNDLE_H
#define BUNDLE_BUNDLE_H

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "bundle/archive.h"
#include "calls/recording.h"
#include "doctor/doctor.h"

// What support needs to see, in one archive that can be passed on: nothing in it is a secret, and
// nothing of it leaves the computer by itself.
namespace bundle {

struct Question {
    doctor::Question doctor;
    std::string log;      // the diagnostic log
    std::string command;  // "ukeyctl 1.2"
    // One whose serial numbers are masked.
    std::optional<calls::Recording> recording;
};

struct Bundle {
    std::string name;  // of the archive, and of the folder in it, without an ending
    std::time_t made = 0;
    std::vector<Part> parts;
};

// Looks at everything. The log comes first: what the doctor asks of the library stands in it.
Bundle Collect(const Question& question);

std::string Archived(const Bundle& bundle);

}  // namespace bundle

#endif
