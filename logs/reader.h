#ifndef LOGS_READER_H
#define LOGS_READER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "logs/record.h"

namespace logs {

// Who is told what a log holds. A record is told when its end is known: one that others interrupt,
// behind those.
class Receiver {
 public:
    virtual ~Receiver() = default;
    virtual void Take(const Record& record) = 0;
    // Bytes that belong to no record.
    virtual void TakeDamage(uint64_t offset, std::string_view bytes) = 0;
};

// Finds the records in a log, piece by piece. What is damaged is told as such, and every whole
// record behind it is found: a header is looked for wherever a record has none, and inside texts.
class Reader final {
 public:
    explicit Reader(Receiver& receiver) : receiver_(receiver) {}

    void Feed(std::string_view bytes);
    // Nothing more for now: a record that looks whole is one.
    void Pause() { Advance(More::kNotNow); }
    // Nothing more at all: what is left over is cut or damaged. The next byte is a file's first.
    void Finish();

 private:
    enum class More { kExpected, kNotNow, kNever };

    // A record whose text goes on behind the records that interrupt it.
    struct Interrupted {
        Record record;
        std::string name;
        std::string text;
    };

    // Where a record ends. Nothing, as long as that cannot be told.
    struct End {
        size_t text_end;
        size_t next;
        bool is_interrupted;
    };

    void Advance(More more);
    bool Step(std::string_view rest, More more);
    bool StepOverDamage(std::string_view rest, More more);
    std::optional<End> FindEnd(std::string_view rest, const Header& header, More more);
    std::optional<End> EndAtTheLast(std::string_view rest, std::optional<size_t> closed,
                                    const Header& header, More more) const;
    void Deliver(std::string_view rest, const Header& header, const End& end);
    void Interrupt(const Record& record);
    void EndInterrupted(const Header& by);
    bool Resume(std::string_view bytes, uint64_t offset);
    void GiveUp(Interrupted& interrupted);

    Receiver& receiver_;
    std::string buffer_;
    uint64_t base_ = 0;  // where the buffer begins in the file
    size_t at_ = 0;      // what is in front of it is done
    size_t wanted_ = 0;  // as many bytes again as did not suffice, so that none is read too often
    std::optional<Header> ahead_;  // at at_, where it has been read already
    bool begins_inside_ = false;   // the record at at_ stands in the text of a cut one
    std::vector<Interrupted> interrupted_;
};

}  // namespace logs

#endif
