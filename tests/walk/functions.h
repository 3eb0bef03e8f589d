#ifndef ORVAL_TESTS_WALK_FUNCTIONS_H
#define ORVAL_TESTS_WALK_FUNCTIONS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "step.h"

namespace walk {

class Model;

// The arguments of one call in the client's memory.
struct Client {
    const char* texts[kTexts];
    const int64_t* numbers;
    char* buffer;
    int32_t* length;
    uint32_t* event;
};

// Which arguments a function may be given. The letters of `texts` stand for its texts in order:
//     S a serial number              s the same or null
//     t any text or null             d a data text of some 300 bytes or null
//     r a request description or null    b a batch with "||" or null
//     c a certificate text or null   k an enveloped key or null    p a package or null
struct Recipe {
    enum class Buffer { kNone, kOptional };
    enum class Length { kNone, kRequired, kOptional, kOptionalWithBuffer };
    const char* texts = "";
    Buffer buffer = Buffer::kNone;
    Length length = Length::kNone;
    size_t longest_reply = 0;
    bool waits = false;
};

// An exported function: how to call it at random, the call itself, and the model's word on it.
struct Function {
    const char* name;
    int weight;
    Recipe recipe;
    std::optional<int32_t> (*call)(const Client& client);
    void (Model::*expect)();
};

const std::vector<Function>& Functions();

}  // namespace walk

#endif
