#ifndef SOFTKEY_CORE_DER_H
#define SOFTKEY_CORE_DER_H

#include <initializer_list>
#include <string_view>

#include "core/secret.h"

// The little of ASN.1's distinguished encoding that the GM structures need, for which OpenSSL has
// no types of its own.
namespace softkey::der {

constexpr unsigned char kInteger = 0x02;
constexpr unsigned char kBitString = 0x03;
constexpr unsigned char kOctetString = 0x04;
constexpr unsigned char kNull = 0x05;
constexpr unsigned char kObjectId = 0x06;
constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kSet = 0x31;
constexpr unsigned char kContext0 = 0xA0;

// One element: tag, length, content.
Bytes Element(unsigned char tag, const Bytes& content);
Bytes Element(unsigned char tag, std::initializer_list<Bytes> parts);

Bytes BitString(const Bytes& bytes);
Bytes SmallInteger(unsigned char value);

// `dotted` as in "1.2.840.113549.1.7.2".
Bytes ObjectId(const char* dotted);

// Takes elements off the front of encoded bytes, which must outlive it. A false or empty answer
// means that what is there is not what was asked for; nothing is then taken.
class Cursor {
 public:
    explicit Cursor(const Bytes& bytes) : Cursor(bytes.data(), bytes.size()) {}
    Cursor(const unsigned char* data, size_t size) : data_(data), size_(size) {}

    bool AtEnd() const { return size_ == 0; }
    bool Has(unsigned char tag) const { return size_ > 0 && data_[0] == tag; }

    // The next element's content, if it has this tag.
    bool Take(unsigned char tag, Cursor* content);

    // The next element whole, whatever it is.
    bool TakeWhole(Bytes* element);

    // The next element, if it is a bit string of whole bytes.
    bool TakeBits(Bytes* bits);

    bool TakeObjectId(const char* dotted);
    bool Skip(unsigned char tag);

 private:
    struct Extent {
        size_t header;
        size_t content;
    };
    bool Measure(Extent* extent) const;
    void Advance(size_t count) {
        data_ += count;
        size_ -= count;
    }

    const unsigned char* data_;
    size_t size_;
};

}  // namespace softkey::der

#endif
