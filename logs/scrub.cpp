#include "logs/scrub.h"

namespace logs {
namespace {

// "[21,09:05:07." and "] ", with the digits of the fraction in between.
constexpr size_t kBeforeName = 15;

}  // namespace

void Scrubber::Take(const Record& record) {
    ++records_;
    if (!IsKnownName(record.header.name)) {
        // Of characters that a name may have, so that the record stays one.
        replace_(record.offset + kBeforeName + static_cast<size_t>(record.header.fraction_digits),
                 std::string(record.header.name.size(), 'X'));
    }
    const std::string masked = masks_.InPlace(record);
    if (masked == record.text) {
        return;
    }
    ++masked_;
    std::string_view rest = masked;
    for (const Piece& piece : record.pieces) {
        replace_(piece.offset, rest.substr(0, piece.size));
        rest.remove_prefix(piece.size);
    }
}

void Scrubber::TakeDamage(uint64_t offset, std::string_view bytes) {
    damaged_ += bytes.size();
    std::string filled(bytes);
    for (char& byte : filled) {
        byte = byte == '\r' || byte == '\n' ? byte : '*';
    }
    if (filled != bytes) {
        replace_(offset, filled);
    }
}

std::string Scrubbed(std::string_view log) {
    Masks masks(Secrets::kMasked);
    return Scrubbed(log, masks);
}

std::string Scrubbed(std::string_view log, Masks& masks) {
    std::string masked(log);
    Scrubber scrubber(masks, [&masked](uint64_t offset, std::string_view bytes) {
        masked.replace(static_cast<size_t>(offset), bytes.size(), bytes);
    });
    Reader reader(scrubber);
    reader.Feed(log);
    reader.Finish();
    return masked;
}

}  // namespace logs
