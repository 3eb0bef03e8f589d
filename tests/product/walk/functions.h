#ifndef ORVAL_TESTS_PRODUCT_WALK_FUNCTIONS_H
#define ORVAL_TESTS_PRODUCT_WALK_FUNCTIONS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
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

// How a reply of the key reaches the client.
enum Delivery {
    kCode,                 // nothing but the code
    kOwnText,              // the key writes a text into the client's own buffer
    kOwnBytes,             // the same with bytes that no terminator ends
    kUntested,             // copied, whatever the capacity
    kTested,               // copied if it fits; otherwise -404 and the length
    kTestedAndTerminator,  // the same, and the length then counts the terminator
};

// The contract of a function that does the ordinary thing. In the order of its letters:
//     frame     l logs Begin and End     h logs the serial number     n refuses with -109 unless
//               initialised              i initialises lazily         r resets the last error
//     required  otherwise -401: L a length; 0, 1, 2 that text; E a text 0 that is not empty;
//               K a text 0 of 10 to 16 bytes; D a text 1 of at most 300 bytes;
//               F texts 0, 1 and 2 if the first number is odd and there is a buffer
//     bound     what a null buffer is answered without asking the key
//     calls     of entries, each if the one before succeeded; Model::Argument tells the words
struct Rule {
    const char* frame = "";
    const char* required = "";
    int32_t (*bound)(const Arguments& in) = nullptr;
    const char* calls = "";
    Delivery delivery = kCode;
};

// An exported function: how to call it at random, the call itself, and what the model says of it.
// `arguments` has a letter for each one in order:
//     S a serial number                  s the same or null
//     t any text or null                 d a data text of some 300 bytes or null
//     r a request description or null    b a batch with "||" or null
//     c a certificate text or null       k an enveloped key or null     p a package or null
//     n a number                         m a number that is mostly 0, 1 or 2
//     B a buffer or null                 e an event
//     L a length or null   l a length    v a length, or null beside a buffer
struct Function {
    const char* name;
    std::optional<int32_t> (*call)(const Client& client);
    int weight;
    const char* arguments;
    size_t longest_reply;
    Rule rule;
    void (Model::*odd)() = nullptr;  // instead of a rule

    bool Takes(char letter) const { return std::strchr(arguments, letter) != nullptr; }
};

const std::vector<Function>& Functions();

// (length + 4096) * 2 in 32 bits.
int32_t Estimate(const std::string& text);

}  // namespace walk

#endif
