#include "core/der.h"

#include "core/ssl.h"

namespace softkey::der {
namespace {

constexpr unsigned char kLongForm = 0x80;
using Object = ssl::Owner<ASN1_OBJECT, ASN1_OBJECT_free>;

Bytes LengthBytes(size_t length) {
    if (length < kLongForm) {
        return {static_cast<unsigned char>(length)};
    }
    Bytes digits;
    for (size_t rest = length; rest > 0; rest >>= 8) {
        digits.insert(digits.begin(), static_cast<unsigned char>(rest & 0xFF));
    }
    digits.insert(digits.begin(), static_cast<unsigned char>(kLongForm | digits.size()));
    return digits;
}

}  // namespace

Bytes Element(unsigned char tag, const Bytes& content) {
    Bytes element{tag};
    const Bytes length = LengthBytes(content.size());
    element.insert(element.end(), length.begin(), length.end());
    element.insert(element.end(), content.begin(), content.end());
    return element;
}

Bytes Element(unsigned char tag, std::initializer_list<Bytes> parts) {
    Bytes content;
    for (const Bytes& part : parts) {
        content.insert(content.end(), part.begin(), part.end());
    }
    return Element(tag, content);
}

Bytes BitString(const Bytes& bytes) {
    Bytes content{0};  // no unused bits
    content.insert(content.end(), bytes.begin(), bytes.end());
    return Element(kBitString, content);
}

Bytes SmallInteger(unsigned char value) {
    return Element(kInteger, Bytes{value});
}

Bytes ObjectId(const char* dotted) {
    const Object object(OBJ_txt2obj(dotted, 1));
    ssl::Check(object != nullptr, "object identifier");
    return ssl::ToDer(object.get(), i2d_ASN1_OBJECT, "object identifier");
}

bool Cursor::Measure(Extent* extent) const {
    if (size_ < 2) {
        return false;
    }
    const unsigned char first = data_[1];
    size_t header = 2;
    size_t content = first;
    if (first >= kLongForm) {
        const size_t digits = first & 0x7FU;
        // Four digits are more than any text here can hold; none would be the indefinite form.
        if (digits == 0 || digits > 4 || size_ < 2 + digits) {
            return false;
        }
        content = 0;
        for (size_t i = 0; i < digits; ++i) {
            content = content << 8 | data_[2 + i];
        }
        header += digits;
    }
    if (content > size_ - header) {
        return false;
    }
    *extent = {header, content};
    return true;
}

bool Cursor::Take(unsigned char tag, Cursor* content) {
    Extent extent{};
    if (!Has(tag) || !Measure(&extent)) {
        return false;
    }
    const Cursor inside(data_ + extent.header, extent.content);
    Advance(extent.header + extent.content);
    *content = inside;
    return true;
}

bool Cursor::TakeWhole(Bytes* element) {
    Extent extent{};
    if (!Measure(&extent)) {
        return false;
    }
    element->assign(data_, data_ + extent.header + extent.content);
    Advance(element->size());
    return true;
}

bool Cursor::TakeBits(Bytes* bits) {
    Cursor look = *this;
    Cursor content(nullptr, 0);
    if (!look.Take(kBitString, &content) || content.size_ == 0 || content.data_[0] != 0) {
        return false;
    }
    bits->assign(content.data_ + 1, content.data_ + content.size_);
    *this = look;
    return true;
}

bool Cursor::TakeObjectId(const char* dotted) {
    Cursor look = *this;
    Bytes element;
    if (!Has(kObjectId) || !look.TakeWhole(&element) || element != ObjectId(dotted)) {
        return false;
    }
    *this = look;
    return true;
}

bool Cursor::Skip(unsigned char tag) {
    Cursor content(nullptr, 0);
    return Take(tag, &content);
}

}  // namespace softkey::der
