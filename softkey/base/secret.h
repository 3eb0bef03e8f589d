#ifndef SOFTKEY_BASE_SECRET_H
#define SOFTKEY_BASE_SECRET_H

#include <cstddef>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/secret_pages.h"

namespace softkey {

using Bytes = std::vector<unsigned char>;

inline std::string_view AsText(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline const unsigned char* AsBytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

inline Bytes ToBytes(std::string_view text) {
    return Bytes(AsBytes(text), AsBytes(text) + text.size());
}

// Memory from pages for secrets, wiped before it is given back, also when a container grows out of
// it.
template <typename T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <typename U>
    WipingAllocator(const WipingAllocator<U>&) {}  // NOLINT(google-explicit-constructor)
    T* allocate(size_t count) {
        if (count > std::numeric_limits<size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(TakeSecretMemory(count * sizeof(T)));
    }
    void deallocate(T* memory, size_t count) { GiveSecretMemory(memory, count * sizeof(T)); }
    bool operator==(const WipingAllocator&) const { return true; }
    bool operator!=(const WipingAllocator&) const { return false; }
};

// A PIN, a private key or a key derived from them. A vector and not a string: short strings live
// inside the object, where the allocator never sees them.
using SecretBytes = std::vector<unsigned char, WipingAllocator<unsigned char>>;

inline SecretBytes ToSecret(std::string_view text) {
    return SecretBytes(AsBytes(text), AsBytes(text) + text.size());
}

}  // namespace softkey

#endif
