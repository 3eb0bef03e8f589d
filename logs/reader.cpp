#include "logs/reader.h"

#include <algorithm>
#include <cstring>

#include "logs/forms.h"

namespace logs {
namespace {

constexpr std::string_view kEnd = "]\r\n";
constexpr std::string_view kHeaderEnd = ")\r\n\t[";
constexpr std::string_view kTextBegin = "\t[";

// A shorter record is one write of the file, and nothing comes between its parts.
constexpr size_t kLeastInterrupted = 4096;

// How far a text is followed beyond what looks like its end.
constexpr size_t kLongestRest = 1U << 20U;

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

// Behind the next line end from `from` on; nothing without one.
std::optional<size_t> LineEnd(std::string_view bytes, size_t from) {
    if (from >= bytes.size()) {
        return std::nullopt;
    }
    const void* const found = std::memchr(bytes.data() + from, '\n', bytes.size() - from);
    if (found == nullptr) {
        return std::nullopt;
    }
    return static_cast<size_t>(static_cast<const char*>(found) - bytes.data()) + 1;
}

// Where in the line a header begins that ends with it. Only a line that ends as headers do, with
// the beginning of a text behind it, is searched.
std::optional<size_t> HeaderIn(std::string_view bytes, size_t line, size_t next) {
    const size_t end = next + kTextBegin.size();
    if (end > bytes.size() || !EndsWith(bytes.substr(line, end - line), kHeaderEnd)) {
        return std::nullopt;
    }
    const std::string_view searched = bytes.substr(line, end - line);
    for (size_t at = next - line; (at = searched.rfind('[', at)) != std::string_view::npos; --at) {
        Header header;
        const Verdict verdict = ReadHeader(searched.substr(at), header);
        if (verdict == Verdict::kIs && header.size == searched.size() - at) {
            return line + at;
        }
        if (at == 0) {
            break;
        }
    }
    return std::nullopt;
}

bool IsSameWriter(const Header& one, const Header& other) {
    return one.process == other.process && one.thread == other.thread;
}

}  // namespace

void Reader::Feed(std::string_view bytes) {
    buffer_.append(bytes);
    if (buffer_.size() >= wanted_) {
        Advance(More::kExpected);
    }
}

void Reader::Finish() {
    Advance(More::kNever);
    for (Interrupted& interrupted : interrupted_) {
        GiveUp(interrupted);
    }
    interrupted_.clear();
    buffer_.clear();
    base_ = 0;
    wanted_ = 0;
    begins_inside_ = false;
}

void Reader::Advance(More more) {
    ahead_.reset();  // the buffer may have moved
    while (at_ < buffer_.size() && Step(std::string_view(buffer_).substr(at_), more)) {
    }
    buffer_.erase(0, at_);
    base_ += at_;
    at_ = 0;
    wanted_ = 2 * buffer_.size();
}

// Takes what the rest begins with. False when more must come first.
bool Reader::Step(std::string_view rest, More more) {
    Header header;
    Verdict verdict = Verdict::kIs;
    if (ahead_) {
        header = *ahead_;
        ahead_.reset();
    } else {
        verdict = ReadHeader(rest, header);
    }
    if (verdict == Verdict::kUnfinished && more != More::kNever) {
        return false;
    }
    if (verdict != Verdict::kIs) {
        return StepOverDamage(rest, more);
    }
    const std::optional<End> end = FindEnd(rest, header, more);
    if (!end) {
        return false;
    }
    Deliver(rest, header, *end);
    at_ += end->next;
    return true;
}

bool Reader::StepOverDamage(std::string_view rest, More more) {
    size_t size = 0;
    for (size_t line = 0; size == 0;) {
        const std::optional<size_t> next = LineEnd(rest, line);
        if (!next) {
            const bool ended = !interrupted_.empty() && EndsWith(rest, kEnd);
            if (more == More::kExpected || (more == More::kNotNow && !ended)) {
                return false;
            }
            size = rest.size();
            break;
        }
        size = HeaderIn(rest, line, *next).value_or(0);
        line = *next;
    }
    const std::string_view bytes = rest.substr(0, size);
    if (!Resume(bytes, base_ + at_)) {
        receiver_.TakeDamage(base_ + at_, bytes);
    }
    at_ += size;
    return true;
}

// A text ends with "]" and a line end before the next header, or before the end of the file. Where
// something else follows, a text that may hold anything goes on to a later such place, unless what
// lies between has the marks of a damaged record.
std::optional<Reader::End> Reader::FindEnd(std::string_view rest, const Header& header, More more) {
    std::optional<size_t> closed;
    const auto end_at = [](size_t text_end) {
        return End{text_end, text_end + kEnd.size(), false};
    };
    for (size_t line = header.size;;) {
        const std::optional<size_t> next = LineEnd(rest, line);
        if (!next || (closed && *next - *closed > kLongestRest)) {
            return EndAtTheLast(rest, closed, header, next ? More::kNever : more);
        }
        const std::string_view behind = rest.substr(*next);
        // Of a record that is cut there, the text's bracket is the next record's own.
        const size_t first = line == header.size ? line - 1 : line;
        if (EndsWith(rest.substr(header.size, *next - header.size), kEnd)) {
            Header following;
            const Verdict verdict = ReadHeader(behind, following);
            const size_t text_end = *next - kEnd.size();
            if (verdict == Verdict::kIs) {
                ahead_ = following;
                return end_at(text_end);
            }
            if (verdict == Verdict::kUnfinished && more != More::kNever) {
                return behind.empty() && more == More::kNotNow ? std::optional(end_at(text_end))
                                                               : std::nullopt;
            }
            if (behind.empty() ||
                !MayHoldAnything(header.name, rest.substr(header.size, text_end - header.size))) {
                return end_at(text_end);
            }
            closed = closed.value_or(text_end);
        } else if (const std::optional<size_t> inner = HeaderIn(rest, first, *next)) {
            return closed ? end_at(*closed) : End{*inner, *inner, true};
        }
        if (closed && StartsWith(behind, kTextBegin)) {
            return end_at(*closed);
        }
        line = *next;
    }
}

std::optional<Reader::End> Reader::EndAtTheLast(std::string_view rest, std::optional<size_t> closed,
                                                const Header& header, More more) const {
    if (more != More::kNever) {
        return std::nullopt;
    }
    if (closed) {
        return End{*closed, *closed + kEnd.size(), false};
    }
    return End{std::max(rest.size(), header.size), rest.size(), true};
}

void Reader::Deliver(std::string_view rest, const Header& header, const End& end) {
    EndInterrupted(header);
    Record record;
    record.header = header;
    record.offset = base_ + at_;
    record.text = rest.substr(header.size, std::max(end.text_end, header.size) - header.size);
    record.pieces.push_back({record.offset + header.size, record.text.size()});
    record.is_doubtful = begins_inside_;
    begins_inside_ = false;
    if (!end.is_interrupted) {
        receiver_.Take(record);
    } else if (header.size + record.text.size() >= kLeastInterrupted) {
        Interrupt(record);
    } else {
        record.is_cut = true;
        begins_inside_ = true;
        receiver_.Take(record);
    }
}

void Reader::Interrupt(const Record& record) {
    interrupted_.push_back({record, std::string(record.header.name), std::string(record.text)});
}

// A thread that writes another record has ended the one before.
void Reader::EndInterrupted(const Header& by) {
    for (auto one = interrupted_.begin(); one != interrupted_.end();) {
        if (IsSameWriter(one->record.header, by)) {
            GiveUp(*one);
            one = interrupted_.erase(one);
        } else {
            ++one;
        }
    }
}

// Bytes without a header go on with the record that was interrupted. Where there are several,
// nobody can tell with which.
bool Reader::Resume(std::string_view bytes, uint64_t offset) {
    if (interrupted_.size() != 1) {
        return false;
    }
    Interrupted& interrupted = interrupted_.front();
    const bool ended = EndsWith(bytes, kEnd);
    const std::string_view part = bytes.substr(0, bytes.size() - (ended ? kEnd.size() : 0));
    interrupted.text += part;
    interrupted.record.pieces.push_back({offset, part.size()});
    if (ended) {
        interrupted.record.header.name = interrupted.name;
        interrupted.record.text = interrupted.text;
        receiver_.Take(interrupted.record);
        interrupted_.clear();
    }
    return true;
}

void Reader::GiveUp(Interrupted& interrupted) {
    interrupted.record.header.name = interrupted.name;
    interrupted.record.text = interrupted.text;
    interrupted.record.is_cut = true;
    receiver_.Take(interrupted.record);
}

}  // namespace logs
