#ifndef ORVAL_TESTS_SUPPORT_CANARY_H
#define ORVAL_TESTS_SUPPORT_CANARY_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace scripted {

// A buffer to hand to the product, filled with a pattern up to and well past its end, so that a
// test sees every byte that was written and every byte that was not.
//
//     Canary label(8);
//     GetLabel("SN0123456789", label, &length);
//     EXPECT_TRUE(label.Holds("Label\0"s));
class Canary {
 public:
    explicit Canary(size_t capacity);

    operator char*() { return bytes_.data(); }  // NOLINT(google-explicit-constructor)

    // What is in it and behind it.
    std::string Bytes() const { return {bytes_.begin(), bytes_.end()}; }
    // Exactly these bytes were written, from the start on.
    testing::AssertionResult Holds(const std::string& bytes) const;
    testing::AssertionResult Untouched() const { return Holds(""); }

 private:
    std::vector<char> bytes_;
};

}  // namespace scripted

#endif
