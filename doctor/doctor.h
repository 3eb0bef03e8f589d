#ifndef DOCTOR_DOCTOR_H
#define DOCTOR_DOCTOR_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "doctor/finding.h"
#include "ukey.hpp"

// Why a computer's key does not work: each thing that must be in order, looked at by itself.
namespace doctor {

// A key as the token library lists it.
struct ListedKey {
    uint32_t slot = 0;
    std::string serial_number;
    std::string problem;
};

struct Question {
    std::string library;    // the product, as whoever asks would load it
    std::string chosen_by;  // what named it
    std::string client;     // a program that is to find it; empty: none
    // How long a library may take to load, and the key to answer.
    std::chrono::milliseconds limit{10000};
    std::function<std::vector<ListedKey>(const ukey::Library&)> list_keys;
};

struct Result {
    const char* group;
    const char* check;
    Finding finding;
};

// All checks, in the order in which one thing stands on another. The findings name keys by their
// serial numbers; who is to mask those asks for them.
std::vector<Result> Examine(const Question& question,
                            std::vector<std::string>* serial_numbers = nullptr);

// The heaviest finding, the first of several; nothing but the folder and the key maker's two
// libraries is looked at. For whoever has seen that they cannot be used.
Finding WhyNoBackend(std::chrono::milliseconds limit);

const char* NameOf(Verdict verdict);

Verdict Worst(const std::vector<Result>& results);

// "All is well." or how much is not.
std::string LastLine(const std::vector<Result>& results);

}  // namespace doctor

#endif
