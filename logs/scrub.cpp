#include "logs/scrub.h"

namespace logs {

void Scrubber::Take(const Record& record) {
    ++records_;
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
    std::string masked(log);
    Scrubber scrubber([&masked](uint64_t offset, std::string_view bytes) {
        masked.replace(static_cast<size_t>(offset), bytes.size(), bytes);
    });
    Reader reader(scrubber);
    reader.Feed(log);
    reader.Finish();
    return masked;
}

}  // namespace logs
