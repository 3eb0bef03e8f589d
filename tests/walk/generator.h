#ifndef ORVAL_TESTS_WALK_GENERATOR_H
#define ORVAL_TESTS_WALK_GENERATOR_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>

#include "functions.h"
#include "model.h"
#include "step.h"

namespace walk {

// Makes up steps from a seed. Every argument is within the contract: what the product does not
// check is never null, and every buffer has room for what may be written to it.
class Generator final {
 public:
    // `model` tells how long the remembered text is, so that capacities lie near it.
    Generator(uint32_t seed, const Model& model) : random_(seed), model_(model) {}

    Step Next();

 private:
    // The engine is the same everywhere; the standard distributions are not.
    size_t Below(size_t bound) { return random_() % bound; }
    bool OneIn(size_t chances) { return Below(chances) == 0; }
    template <typename Item>
    Item OneOf(std::initializer_list<Item> items) {
        return *(items.begin() + Below(items.size()));
    }

    size_t AnyFunction();
    Text TextFor(char letter);
    int64_t Number();
    int32_t Code();

    // The texts: generator_texts.cpp.
    std::string Hostile(size_t longest);
    std::string SerialNumber();
    std::string DataText();
    std::string Batch();
    std::string Certificate();
    std::string Key();
    std::string Package();
    std::string Description();
    std::string SoundRecord();
    std::string Record();
    std::string Field();
    std::string Spelled(std::string name);
    std::string Fill(size_t length);

    void Surroundings(Step& step);
    void ReplyTexts(const Recipe& recipe, Step& step);
    int32_t ReplyLength(size_t text_length);
    void Output(const Recipe& recipe, Step& step);
    std::string BufferContent(size_t size);
    int32_t Capacity(const Step& step);
    void Token(Step& step);
    Device AnyDevice();
    Wait AnyWait();

    std::mt19937 random_;
    const Model& model_;
    std::string last_description_;
    std::string last_serial_number_;
};

}  // namespace walk

#endif
