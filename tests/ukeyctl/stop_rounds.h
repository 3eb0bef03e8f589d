#ifndef ORVAL_TESTS_UKEYCTL_STOP_ROUNDS_H
#define ORVAL_TESTS_UKEYCTL_STOP_ROUNDS_H

#include <cstdlib>
#include <stdexcept>
#include <string>

// How often a test stops a wait: as usual, or UKEY_STOP_ROUNDS times. What is no number above 0
// ends the test, which would otherwise pass without having done anything.
inline int StopRounds(int usual) {
    const char* wanted = std::getenv("UKEY_STOP_ROUNDS");
    const int rounds = wanted == nullptr ? usual : std::stoi(wanted);
    if (rounds <= 0) {
        throw std::invalid_argument(std::string("UKEY_STOP_ROUNDS is ") + wanted);
    }
    return rounds;
}

#endif
