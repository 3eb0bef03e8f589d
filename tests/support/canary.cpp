#include "canary.h"

#include "argument.h"

namespace scripted {

namespace {

constexpr size_t kPastTheEnd = 64;

// Above ASCII, never NUL, and different from byte to byte.
char Pattern(size_t index) {
    return static_cast<char>(0x80 | (index * 37 % 0x7F));
}

}  // namespace

Canary::Canary(size_t capacity) : bytes_(capacity + kPastTheEnd) {
    for (size_t i = 0; i < bytes_.size(); ++i) {
        bytes_[i] = Pattern(i);
    }
}

testing::AssertionResult Canary::Holds(const std::string& bytes) const {
    if (bytes.size() > bytes_.size()) {
        return testing::AssertionFailure() << "the buffer is smaller than the expected bytes";
    }
    for (size_t i = 0; i < bytes_.size(); ++i) {
        if (bytes_[i] != (i < bytes.size() ? bytes[i] : Pattern(i))) {
            return testing::AssertionFailure()
                   << "byte " << i << (i < bytes.size() ? " differs" : " was written")
                   << "; the buffer holds " << Quoted(std::string(bytes_.data(), bytes_.size()));
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace scripted
