#ifndef BUNDLE_SYSTEM_H
#define BUNDLE_SYSTEM_H

#include <ctime>
#include <string>
#include <vector>

namespace bundle {

// A fact about the computer, neither its name nor its users'.
struct Fact {
    std::string name;
    std::string value;
};

std::vector<Fact> SystemFacts(std::time_t now);

struct Package {
    std::string name;
    std::string version;
    std::string architecture;
};

// Those of the packages that key, commands and clients stand on which are installed. None where
// this system has no dpkg.
std::vector<Package> Packages();

}  // namespace bundle

#endif
