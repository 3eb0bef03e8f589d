#ifndef BUNDLE_PAGE_H
#define BUNDLE_PAGE_H

#include <ctime>
#include <string>
#include <vector>

#include "bundle/archive.h"
#include "bundle/log_tail.h"
#include "bundle/system.h"
#include "doctor/doctor.h"

namespace bundle {

// What the page tells, masked.
struct Told {
    std::string name;
    std::string command;
    std::time_t made = 0;
    std::vector<doctor::Result> results;
    LogTail log;
    std::vector<Fact> facts;
    std::vector<Package> packages;
    std::vector<Part> parts;  // the other files
};

// The page on top of the bundle: one file that refers to nothing outside, readable without scripts,
// without colours, on paper, on a narrow screen and on a dark one.
std::string Page(const Told& told);

}  // namespace bundle

#endif
