#ifndef ORVAL_TESTS_PRODUCT_API_CASES_H
#define ORVAL_TESTS_PRODUCT_API_CASES_H

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace scripted {

// One line of a file in tests/product/api/cases.
struct Case {
    int line;
    std::string text;
};

// The cases of a file: its lines but for comments (#) and empty ones. "\r" and "\n" stand for the
// characters that a line cannot hold.
inline std::vector<Case> ReadCases(const std::string& name) {
    const std::string path = std::string(ORVAL_TEST_CASES) + "/" + name;
    std::ifstream file(path);
    std::vector<Case> cases;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        for (const auto& [escape, character] : {std::pair("\\r", "\r"), std::pair("\\n", "\n")}) {
            for (size_t at = line.find(escape); at != std::string::npos; at = line.find(escape)) {
                line.replace(at, 2, character);
            }
        }
        cases.push_back({number, line});
    }
    if (cases.empty()) {
        throw std::runtime_error("no cases in " + path);
    }
    return cases;
}

}  // namespace scripted

#endif
