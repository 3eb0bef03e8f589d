#ifndef ORVAL_TESTS_PRODUCT_FUZZ_FUZZ_TARGET_H
#define ORVAL_TESTS_PRODUCT_FUZZ_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// Every target has this entry. libFuzzer calls it with inputs of its own making; in builds without
// libFuzzer, corpus_main.cpp calls it with the files of the corpus.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
// Where a target has something to prepare before its first input.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace fuzz {

// What a target holds to be true of every input.
inline void Require(bool holds, std::string_view property) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(property.size()),
                     property.data());
        std::abort();
    }
}

// The input, taken from the front; what is not there any more is zero or empty.
class Input final {
 public:
    Input(const uint8_t* data, size_t size)
        : input_(reinterpret_cast<const char*>(data), size), rest_(input_) {}
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    bool IsEmpty() const { return rest_.empty(); }

    uint8_t TakeByte() {
        const std::string_view byte = Take(1);
        return byte.empty() ? uint8_t{0} : static_cast<uint8_t>(byte[0]);
    }

    std::string TakeText(size_t longest) { return std::string(Take(longest)); }

    std::string TakeRest() { return TakeText(rest_.size()); }

 private:
    std::string_view Take(size_t longest) {
        const std::string_view taken = rest_.substr(0, longest);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    const std::string input_;
    std::string_view rest_;
};

}  // namespace fuzz

#endif
