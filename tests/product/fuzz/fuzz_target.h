#ifndef ORVAL_TESTS_PRODUCT_FUZZ_FUZZ_TARGET_H
#define ORVAL_TESTS_PRODUCT_FUZZ_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Every target has this entry. libFuzzer calls it with inputs of its own making; in builds without
// libFuzzer, corpus_main.cpp calls it with the files of the corpus.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

// What a target holds to be true of every input.
inline void Require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}

// The input, taken from the front; what is not there any more is zero or empty.
class Input final {
 public:
    Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool IsEmpty() const { return rest_.empty(); }

    uint8_t TakeByte() {
        const std::string byte = TakeText(1);
        return byte.empty() ? uint8_t{0} : static_cast<uint8_t>(byte[0]);
    }

    std::string TakeText(size_t longest) {
        const std::string text = rest_.substr(0, longest);
        rest_.erase(0, text.size());
        return text;
    }

    std::string TakeRest() { return TakeText(rest_.size()); }

 private:
    std::string rest_;
};

}  // namespace fuzz

#endif
