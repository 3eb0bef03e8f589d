#include "masking.h"

#include <sys/random.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace calls {

namespace {

constexpr size_t kSaltDigits = 32;
constexpr size_t kBlock = maker::kMediaIdRoom;

// Shorter ones would be found in any text.
constexpr size_t kShortestSerialNumber = 8;

constexpr uint64_t Rotated(uint64_t value, unsigned bits) {
    return (value << bits) | (value >> (64 - bits));
}

// SipHash-2-4, a keyed hash of 64 bits (Aumasson and Bernstein, 2012).
class KeyedHash {
 public:
    explicit KeyedHash(const uint64_t (&key)[2])
        : state_{key[0] ^ 0x736f6d6570736575, key[1] ^ 0x646f72616e646f6d,
                 key[0] ^ 0x6c7967656e657261, key[1] ^ 0x7465646279746573} {}

    // Whole words, which something follows.
    void Begin(std::string_view words) {
        for (size_t i = 0; i < words.size(); i += sizeof(uint64_t)) {
            Take(WordAt(words.substr(i, sizeof(uint64_t))));
        }
    }

    // The hash of what it began with and the rest, `size` bytes together.
    uint64_t End(std::string_view rest, size_t size) {
        const size_t whole = rest.size() / sizeof(uint64_t) * sizeof(uint64_t);
        Begin(rest.substr(0, whole));
        Take(WordAt(rest.substr(whole)) | (size << 56));
        state_[2] ^= 0xFF;
        for (int i = 0; i < 4; ++i) {
            Round();
        }
        return state_[0] ^ state_[1] ^ state_[2] ^ state_[3];
    }

 private:
    static uint64_t WordAt(std::string_view bytes) {
        uint64_t word = 0;
        for (size_t i = 0; i < bytes.size(); ++i) {
            word |= static_cast<uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
        }
        return word;
    }

    void Take(uint64_t word) {
        state_[3] ^= word;
        Round();
        Round();
        state_[0] ^= word;
    }

    void Round() {
        auto& [a, b, c, d] = state_;
        a += b;
        b = Rotated(b, 13) ^ a;
        a = Rotated(a, 32);
        c += d;
        d = Rotated(d, 16) ^ c;
        a += d;
        d = Rotated(d, 21) ^ a;
        c += b;
        b = Rotated(b, 17) ^ c;
        c = Rotated(c, 32);
    }

    uint64_t state_[4];
};

}  // namespace

std::string NewSalt() {
    unsigned char bytes[kSaltDigits / 2];
    if (getentropy(bytes, sizeof bytes) != 0) {
        throw std::runtime_error("the system gives no random numbers");
    }
    std::string salt;
    for (const unsigned char byte : bytes) {
        salt += "0123456789abcdef"[byte >> 4];
        salt += "0123456789abcdef"[byte & 0xF];
    }
    return salt;
}

std::string CommonSalt() {
    return std::string(kSaltDigits, '0');
}

Masker::Masker(const std::string& salt, SerialNumbers serial_numbers, size_t longest)
    : serial_numbers_(serial_numbers), longest_(longest) {
    if (salt.size() != kSaltDigits ||
        salt.find_first_not_of("0123456789abcdef") != std::string::npos) {
        throw std::invalid_argument("the salt is not 32 hexadecimal digits");
    }
    key_[0] = std::stoull(salt.substr(0, kSaltDigits / 2), nullptr, 16);
    key_[1] = std::stoull(salt.substr(kSaltDigits / 2), nullptr, 16);
}

std::string Masker::Mask(std::string_view text) const {
    static_assert(kBlock % sizeof(uint64_t) == 0, "a block is whole words of the hash");
    std::string masked;
    KeyedHash before(key_);
    while (masked.size() < text.size()) {
        const std::string_view block = text.substr(masked.size(), kBlock);
        const size_t known = masked.size() + block.size();
        // The hash of all up to here, once for each half of the block.
        for (const char half : {'1', '2'}) {
            uint64_t hash = KeyedHash(before).End(std::string(block) + half, known + 1);
            for (size_t i = 0; i < kBlock / 2 && masked.size() < text.size(); ++i, hash /= 26) {
                masked += static_cast<char>('a' + hash % 26);
            }
        }
        if (known < text.size()) {
            before.Begin(block);
        }
    }
    return masked;
}

std::string Masker::WithoutSerialNumbers(std::string text) const {
    for (const std::string& serial_number : met_) {
        for (size_t at = 0; (at = text.find(serial_number, at)) != std::string::npos;
             at += serial_number.size()) {
            text.replace(at, serial_number.size(), Mask(serial_number));
        }
    }
    return text;
}

std::string Masker::Render(Kind kind, std::string_view text) {
    if (kind == Kind::kSecret) {
        return Mask(text);
    }
    if (serial_numbers_ == SerialNumbers::kShown) {
        return std::string(text);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (kind != Kind::kSerialNumber) {
        return WithoutSerialNumbers(std::string(text));
    }
    if (text.size() >= kShortestSerialNumber) {
        met_.emplace(text);
    }
    return Mask(text);
}

}  // namespace calls
