#ifndef ORVAL_TESTS_PRODUCT_WALK_GENERATOR_H
#define ORVAL_TESTS_PRODUCT_WALK_GENERATOR_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <utility>

#include "step.h"

namespace walk {

// What choices are made from: a seed, or bytes that somebody else has chosen. The engine is the
// same everywhere; the standard distributions are not.
struct Chance {
    explicit Chance(uint32_t seed) : engine(seed) {}
    // No more of them than a choice needs: an input whose bytes are few is easy to vary.
    explicit Chance(std::string chosen) : bytes(std::move(chosen)), is_seeded(false) {}

    // Where bytes are used up, every choice is the first.
    bool IsUsedUp() const { return !is_seeded && next_byte >= bytes.size(); }

    size_t Below(size_t bound) { return Choice(bound <= 0x100 ? 1 : 4) % bound; }
    bool OneIn(size_t chances) { return Below(chances) == 0; }
    uint32_t Word() { return Choice(sizeof(uint32_t)); }
    uint32_t WordOneIn(size_t chances, size_t otherwise) {
        return OneIn(chances) ? Word() : static_cast<uint32_t>(otherwise);
    }
    template <typename Item>
    Item OneOf(std::initializer_list<Item> items) {
        return *(items.begin() + Below(items.size()));
    }

    uint32_t Choice(size_t size) {
        if (is_seeded) {
            return static_cast<uint32_t>(engine());
        }
        uint32_t choice = 0;
        for (; size > 0; --size) {
            const char byte = next_byte < bytes.size() ? bytes[next_byte] : '\0';
            ++next_byte;
            choice = choice << 8 | static_cast<unsigned char>(byte);
        }
        return choice;
    }

    std::mt19937 engine{};
    std::string bytes{};
    size_t next_byte = 0;
    bool is_seeded = true;
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
