#include "plain_package.h"

#include <cctype>
#include <cstddef>

namespace walk {

namespace {

bool IsItemName(const std::string& name) {
    std::string upper;
    for (const char c : name) {
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return upper == "SIGNCERT" || upper == "ENCCERT" || upper == "ENCPRIKEY";
}

}  // namespace

int32_t PlainPackageType(const std::string& text) {
    size_t bracket = text.find('(');
    if (bracket == std::string::npos || bracket == 0) {
        return kNoPackage;
    }
    size_t start = 0;
    while (bracket != std::string::npos && IsItemName(text.substr(start, bracket - start))) {
        const size_t bar = text.find('|', bracket + 1);
        if (bar == std::string::npos) {
            return kPackage;
        }
        start = bar + 1;
        bracket = text.find('(', bar + 2);
    }
    return kMalformedPackage;
}

std::vector<std::string> PlainItems(const std::string& package, const std::string& name) {
    std::vector<std::string> items;
    size_t at = package.find(name);
    while (at != std::string::npos) {
        const size_t data = at + name.size();
        const size_t end = package.find(')', at);
        const bool closed = end != std::string::npos;
        items.push_back(closed ? package.substr(data, end - data) : "");
        at = package.find(name, closed ? end + 2 : data);
    }
    return items;
}

}  // namespace walk
