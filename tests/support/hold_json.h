#ifndef ORVAL_TESTS_SUPPORT_HOLD_JSON_H
#define ORVAL_TESTS_SUPPORT_HOLD_JSON_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

// The objects in what a command printed are as docs/schemas/COMMAND.json describes them; else the
// test fails, whatever else it looks at. An object stands on a line of its own.
inline void HoldJson(const std::string& command, const std::string& output) {
    std::string objects;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        objects += line.rfind('{', 0) == 0 ? line + "\n" : "";
    }
    if (objects.empty()) {
        return;
    }
    char path[] = "/tmp/hold_json.XXXXXX";
    const int file = mkstemp(path);
    ASSERT_GE(file, 0);
    close(file);
    std::ofstream(path) << objects;
    const std::string held = std::string(HOLD_JSON " ") + command + " <" + path + " 2>&1";
    FILE* const pipe = popen(held.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string said;
    for (int byte = 0; (byte = std::fgetc(pipe)) != EOF;) {
        said += static_cast<char>(byte);
    }
    EXPECT_EQ(pclose(pipe), 0) << said;
    unlink(path);
}

#endif
