#ifndef LOGS_SCRUB_H
#define LOGS_SCRUB_H

#include <functional>

#include "logs/masks.h"
#include "logs/reader.h"

namespace logs {

// Masks a log where it stands: tells which bytes of it are to be replaced, each time by as many.
// Nothing moves, so that clients may write to the file meanwhile. What belongs to no record is
// replaced as a whole.
class Scrubber final : public Receiver {
 public:
    using Replace = std::function<void(uint64_t offset, std::string_view bytes)>;

    // The masks tell afterwards which text has which.
    Scrubber(Masks& masks, Replace replace) : masks_(masks), replace_(std::move(replace)) {}

    void Take(const Record& record) override;
    void TakeDamage(uint64_t offset, std::string_view bytes) override;

    uint64_t Records() const { return records_; }
    uint64_t Masked() const { return masked_; }    // records
    uint64_t Damaged() const { return damaged_; }  // bytes

 private:
    Masks& masks_;
    Replace replace_;
    uint64_t records_ = 0;
    uint64_t masked_ = 0;
    uint64_t damaged_ = 0;
};

// A whole log, or a part of one, masked. Of the same length.
std::string Scrubbed(std::string_view log);
std::string Scrubbed(std::string_view log, Masks& masks);

}  // namespace logs

#endif
