#ifndef ORVAL_TESTS_PRODUCT_WALK_GENERATOR_H
#define ORVAL_TESTS_PRODUCT_WALK_GENERATOR_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>

#include "step.h"

namespace walk {

// What choices are made from. The engine is the same everywhere; the standard distributions are
// not.
struct Chance {
    explicit Chance(uint32_t seed) : engine(seed) {}

    size_t Below(size_t bound) { return engine() % bound; }
    bool OneIn(size_t chances) { return Below(chances) == 0; }
    uint32_t Word() { return static_cast<uint32_t>(engine()); }
    uint32_t WordOneIn(size_t chances, size_t otherwise) {
        return OneIn(chances) ? Word() : static_cast<uint32_t>(otherwise);
    }
    template <typename Item>
    Item OneOf(std::initializer_list<Item> items) {
        return *(items.begin() + Below(items.size()));
    }

    std::mt19937 engine;
    size_t remembered_length = 0;  // of a fetch without the key: capacities lie near it
    std::string last_description;
    std::string last_serial_number;
};

// Every argument is within the contract: what the product does not check is never null, and every
// buffer has room for what may be written to it.
Step AnyStep(Chance& any);

// generator_texts.cpp: of the kind that a letter of Function::arguments stands for, or of any
// bytes.
Text AnyText(Chance& any, char letter);
std::string Hostile(Chance& any, size_t longest);
std::string Fill(size_t length);

}  // namespace walk

#endif
