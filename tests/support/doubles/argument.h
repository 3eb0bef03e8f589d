#ifndef ORVAL_TESTS_SUPPORT_DOUBLES_ARGUMENT_H
#define ORVAL_TESTS_SUPPORT_DOUBLES_ARGUMENT_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "maker/entries.h"
#include "maker/token.h"

namespace scripted {

// One argument of a recorded call, by what can be said about its type.
using Argument = std::variant<int64_t, const char*, char*, const int32_t*, const uint32_t*,
                              char* const*, const void*, const _S_DEV_CONFIG*,
                              const VEXA_EVENT_INFO*, const RequestEntry*, const QRV::CString*>;

inline Argument AsArgument(int32_t value) {
    return Argument(int64_t{value});
}
inline Argument AsArgument(uint32_t value) {
    return Argument(int64_t{value});
}
inline Argument AsArgument(int64_t value) {
    return Argument(value);
}
inline Argument AsArgument(const char* text) {
    return Argument(text);
}
inline Argument AsArgument(char* buffer) {
    return Argument(buffer);
}
inline Argument AsArgument(const int32_t* value) {
    return Argument(value);
}
inline Argument AsArgument(const uint32_t* value) {
    return Argument(value);
}
inline Argument AsArgument(char* const* text) {
    return Argument(text);
}
inline Argument AsArgument(const void* pointer) {
    return Argument(pointer);
}
inline Argument AsArgument(const _S_DEV_CONFIG* record) {
    return Argument(record);
}
inline Argument AsArgument(const VEXA_EVENT_INFO* record) {
    return Argument(record);
}
inline Argument AsArgument(const RequestEntry* entry) {
    return Argument(entry);
}
inline Argument AsArgument(const QRV::CString& text) {
    return Argument(&text);
}

// A call as a test reads it, for instance `VerifyPIN("SN0123456789")`. `signature` is the entry's
// argument list as it was written: a declared bound says how large a buffer is.
//
//     "text"                 a text
//     zeroed[512]            a buffer of 512 zero bytes
//     "text" in zeroed[512]  the same with a text at its start
//     bytes[512]             a buffer that holds anything else
//     buffer                 a buffer of the caller's, of which nothing is read
//     &4096, &null, &"text"  a pointer to a number or to a text
//     pointer                a pointer to something unknown; see Entry::Arguments()
std::string DescribeCall(const std::string& name, const char* signature,
                         const std::vector<Argument>& arguments);

// The text in quotes, with everything but printable ASCII escaped.
std::string Quoted(const std::string& text);

}  // namespace scripted

#endif
