#include "comparison.h"

#include <algorithm>
#include <optional>

namespace recorder {

namespace {

// Beyond it, what lies between the common beginning and the common end counts as changed as a
// whole.
constexpr size_t kMostCells = 25'000'000;

// What of two recordings can be compared as it is.
struct Terms {
    bool knows_masks;
    Masker::SerialNumbers serial_numbers;
    bool has_trace;
};

Terms TermsOf(const Header& first, const Header& second) {
    const bool shows_both = first.serial_numbers == Masker::SerialNumbers::kShown &&
                            second.serial_numbers == Masker::SerialNumbers::kShown;
    return {first.salt == second.salt && first.serial_numbers == second.serial_numbers,
            shows_both ? Masker::SerialNumbers::kShown : Masker::SerialNumbers::kMasked,
            first.is_trace || second.is_trace};
}

bool IsMasked(const Argument& argument, const Terms& terms) {
    return argument.kind == Kind::kSecret || argument.kind == Kind::kString ||
           (argument.kind == Kind::kSerialNumber &&
            terms.serial_numbers == Masker::SerialNumbers::kMasked);
}

// How long a text was that is written down as a whole or by its beginning; nothing for others.
std::optional<size_t> LengthOf(const Json& value) {
    if (value.is_string()) {
        return value.get_ref<const std::string&>().size();
    }
    const bool has_length = value.is_object() && value.contains("length");
    return has_length && value["length"].is_number_unsigned()
               ? std::optional<size_t>(value["length"].get<size_t>())
               : std::nullopt;
}

// Masked texts by their lengths, and so are those that are too long for a trace.
Json Lengths(const Function& function, Json values, const Terms& terms) {
    for (const Argument& argument : function.arguments) {
        const auto value = values.find(std::string(argument.name));
        if (value == values.end()) {
            continue;
        }
        const std::optional<size_t> length = LengthOf(*value);
        const bool is_cut = terms.has_trace && length && *length > calls::kLongestInTrace;
        const bool is_masked = !terms.knows_masks && IsMasked(argument, terms);
        if (length && (is_cut || is_masked)) {
            *value = *length;
        } else if (argument.kind == Kind::kDevice && !terms.knows_masks) {
            *value = nullptr;
        }
    }
    return values;
}

// What of a call is compared.
std::vector<std::string> Compared(const std::vector<Call>& calls, const Terms& terms) {
    std::vector<std::string> lines;
    for (Call call : calls) {
        call.given = Lengths(kFunctions[call.function], call.given, terms);
        call.taken = Lengths(kFunctions[call.function], call.taken, terms);
        call.number = 0;
        lines.push_back(LineOf(call, true));
    }
    return lines;
}

using Lines = std::vector<std::string>;

// How many lines of both from there on can be kept, for each place in both.
class Kept {
 public:
    Kept(const Lines& first, const Lines& second)
        : width_(second.size() + 1), counts_((first.size() + 1) * width_) {
        for (size_t i = first.size(); i > 0;) {
            --i;
            for (size_t j = second.size(); j > 0;) {
                --j;
                counts_[i * width_ + j] = first[i] == second[j]
                                              ? At(i + 1, j + 1) + 1
                                              : std::max(At(i + 1, j), At(i, j + 1));
            }
        }
    }
    uint32_t At(size_t i, size_t j) const { return counts_[i * width_ + j]; }

 private:
    size_t width_;
    std::vector<uint32_t> counts_;
};

struct Side {
    std::vector<Call> calls;
    Lines lines;
};

Side SideOf(const Recording& recording, const Terms& terms) {
    const Recording ordered = Read(Diffable(recording));
    return {ordered.calls, Compared(ordered.calls, terms)};
}

void Shorten(Side& side, size_t front, size_t back) {
    const auto cut = [front, back](auto& list) {
        list.erase(list.end() - static_cast<ptrdiff_t>(back), list.end());
        list.erase(list.begin(), list.begin() + static_cast<ptrdiff_t>(front));
    };
    cut(side.calls);
    cut(side.lines);
}

void DropCommonEnds(Side& first, Side& second) {
    const size_t most = std::min(first.lines.size(), second.lines.size());
    size_t front = 0;
    while (front < most && first.lines[front] == second.lines[front]) {
        ++front;
    }
    size_t back = 0;
    while (back < most - front && first.lines[first.lines.size() - back - 1] ==
                                      second.lines[second.lines.size() - back - 1]) {
        ++back;
    }
    Shorten(first, front, back);
    Shorten(second, front, back);
}

}  // namespace

std::vector<Change> Compare(const Recording& first, const Recording& second) {
    const Terms terms = TermsOf(first.header, second.header);
    Side left = SideOf(first, terms);
    Side right = SideOf(second, terms);
    DropCommonEnds(left, right);
    const bool is_small = (left.lines.size() + 1) * (right.lines.size() + 1) <= kMostCells;
    const Kept kept(is_small ? left.lines : Lines{}, is_small ? right.lines : Lines{});
    std::vector<Change> changes;
    size_t i = 0;
    size_t j = 0;
    while (i < left.lines.size() || j < right.lines.size()) {
        const bool has_both = i < left.lines.size() && j < right.lines.size();
        if (has_both && left.lines[i] == right.lines[j]) {
            ++i;
            ++j;
        } else if (j == right.lines.size() ||
                   (has_both && (!is_small || kept.At(i + 1, j) >= kept.At(i, j + 1)))) {
            changes.push_back({Change::Side::kOnlyFirst, left.calls[i++]});
        } else {
            changes.push_back({Change::Side::kOnlySecond, right.calls[j++]});
        }
    }
    return changes;
}

std::string ChromeTrace(const Recording& recording) {
    Json events = Json::array();
    for (const Call& call : recording.calls) {
        Json details = {{"call", call.number}, {"in", call.given}, {"out", call.taken}};
        if (call.has_code) {
            details["code"] = call.code;
        }
        events.push_back({{"name", kFunctions[call.function].name},
                          {"cat", call.function < maker::kEntryCount ? "backend" : "token"},
                          {"ph", "X"},
                          {"ts", call.start_us},
                          {"dur", call.duration_us},
                          {"pid", call.process},
                          {"tid", call.thread},
                          {"args", details}});
    }
    return Json{{"traceEvents", events}, {"displayTimeUnit", "ms"}}.dump() + "\n";
}

}  // namespace recorder
