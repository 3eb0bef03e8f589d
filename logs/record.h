#ifndef LOGS_RECORD_H
#define LOGS_RECORD_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// The records of the diagnostic log, as docs/log-format.md describes them.
namespace logs {

inline constexpr const char* kPath = "/tmp/VexaPinpad_ORVAL.log";

// What stands in front of a record's text.
struct Header {
    int day = 0;            // of a month that the log does not tell
    int32_t second = 0;     // of the day
    uint32_t fraction = 0;  // as it stands there
    int fraction_digits = 0;
    std::string_view name;
    int64_t process = 0;
    int32_t thread = 0;
    size_t size = 0;  // up to the text
};

enum class Verdict { kIs, kIsNot, kUnfinished };

// Whether the bytes begin with a header, or would if more followed.
Verdict ReadHeader(std::string_view bytes, Header& header);

// Where a text, or a part of one, stands in the file.
struct Piece {
    uint64_t offset;
    size_t size;
};

// A record. Its views hold as long as its receiver is at work.
struct Record {
    Header header;
    std::string_view text;
    uint64_t offset = 0;        // in the file
    std::vector<Piece> pieces;  // of the text; more than one where other records stand in between
    bool is_cut = false;        // its end is missing
    // It begins inside the text of a record that has no end: that one was cut, or this one is a
    // part of its text.
    bool is_doubtful = false;

    // A hex record: its own name ends in a colon, and its text is bytes in hexadecimal.
    bool IsHex() const;
    // A hex record's fraction counts microseconds, any other's milliseconds.
    int32_t Microsecond() const;
};

// The bytes of a text in hexadecimal, which must be one.
bool IsHexadecimal(std::string_view text);

}  // namespace logs

#endif
