#ifndef SOFTKEY_ENTRY_DELIVERY_H
#define SOFTKEY_ENTRY_DELIVERY_H

#include <cstddef>
#include <cstdint>
#include <string>

// How what an entry gives crosses the interface, as it is or as it was ordered to be wrong. None of
// these writes past what the caller is known to have, also where an order has the data wrong.
namespace softkey {

// A copy allocated with array new, which the caller releases with array delete.
void HandOver(const std::string& text, char** destination);

// `text` and its terminator into a buffer of a fixed size.
void CopyToFixed(const std::string& text, char* buffer, size_t size);

// `text` and its terminator into the caller's buffer, whose size is in `*length`; the text's length
// comes back there. A null buffer asks for the size. Too small a buffer gives kBufferTooSmall and,
// in `*length`, the size that is needed. Never more than `limit` bytes are written.
void Deliver(const std::string& text, char* buffer, int32_t* length, size_t limit);

// A length that is told, be it of a record, and the bytes of a text that fills its place.
int32_t ToldLength(size_t length);
std::string ToldText(const std::string& text);

// The data to sign, or other data in the same encoding. Throws kInvalidParameter for none.
std::string DataToSign(const char* text);

}  // namespace softkey

#endif
