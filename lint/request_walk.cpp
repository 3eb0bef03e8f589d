#include "lint/request_walk.h"

#include <algorithm>
#include <array>

#include "formats/request_description.h"
#include "lint/suggestion.h"
#include "qrv/scan.h"

namespace lint {
namespace {

using QRV::kNoToken;

// As the library splits texts.
std::string_view Token(std::string_view text, std::string_view delimiter, int32_t& position) {
    return QRV::NextToken(text, delimiter, position);
}

constexpr const char* kAName = "CertType, KeyType or HashType";
constexpr const char* kADigit = "one digit";
constexpr const char* kRefuses = "refuses the call with -401";
constexpr const char* kTakes = "silently takes {1}";
constexpr const char* kPasses = "silently passes over it";

constexpr Rule kUnknownField = {"unknown-field", Verdict::kRefused, kRequestCalls, Effect::kRefuses,
                                kAName,          kRefuses};
constexpr Rule kNameMissing = {"name-missing", Verdict::kRefused, kRequestCalls, Effect::kRefuses,
                               kAName,         kRefuses};
constexpr Rule kSpaceBehind = {"space-behind-last-field", Verdict::kRefused,  kRequestCalls,
                               Effect::kRefuses,          "the record's end", kRefuses};
constexpr Rule kFullWidth = {"full-width-character", Verdict::kRefused,        kRequestCalls,
                             Effect::kRefuses,       "the character of ASCII", kRefuses};
constexpr Rule kBracketMissing = {
    "bracket-missing",
    Verdict::kRefused,
    kRequestCalls,
    Effect::kRaises,
    "( and a digit behind the name",
    "raises CQrvException 0x80070057, which ends a client that does not catch it"};
constexpr Rule kNoDigit = {
    "value-is-no-digit", Verdict::kSuspicious, kRequestCalls, Effect::kTakes, kADigit, kTakes};
constexpr Rule kEmptyValue = {
    "value-missing", Verdict::kSuspicious, kRequestCalls, Effect::kTakes, kADigit, kTakes};
constexpr Rule kSwallowingValue = {"value-swallows-field",
                                   Verdict::kSuspicious,
                                   kRequestCalls,
                                   Effect::kTakes,
                                   kADigit,
                                   "silently takes {1} and passes over the rest up to the next )"};
constexpr Rule kLongValue = {"value-too-long", Verdict::kSuspicious,
                             kRequestCalls,    Effect::kTakes,
                             kADigit,          "silently takes {1}, and nothing of the rest"};
constexpr Rule kNotClosed = {
    "bracket-not-closed", Verdict::kSuspicious, kRequestCalls, Effect::kPassesOver, ")",
    "does without it"};
constexpr Rule kExtraBracket = {
    "extra-bracket", Verdict::kSuspicious, kRequestCalls, Effect::kPassesOver, "a name", kPasses};
constexpr Rule kTwice = {"field-twice",  Verdict::kSuspicious,      kRequestCalls,
                         Effect::kTakes, "each field at most once", kTakes};
constexpr Rule kMissing = {"field-missing",
                           Verdict::kSuspicious,
                           kRequestCalls,
                           Effect::kTakes,
                           "all three fields in the first record",
                           kTakes};
constexpr Rule kEmptyRecord = {"empty-record",      Verdict::kSuspicious, kRequestCalls,
                               Effect::kPassesOver, "a record",           "makes nothing of it"};
constexpr Rule kNothing = {
    "nothing-asked",
    Verdict::kSuspicious,
    kRequestCalls,
    Effect::kPassesOver,
    "at least one record",
    "gives 0 and an empty text; a combined call with mode 1 erases the key nevertheless"};
constexpr Rule kZeroByte = {
    "zero-byte",         Verdict::kSuspicious,        kRequestCalls,
    Effect::kPassesOver, "a text without zero bytes", "sees nothing from there on"};

struct KnownField {
    const char* name;
    int32_t orval::RequestFields::*value;
};
constexpr std::array<KnownField, 3> kFields = {{
    {"CertType", &orval::RequestFields::cert_type},
    {"KeyType", &orval::RequestFields::key_type},
    {"HashType", &orval::RequestFields::hash_type},
}};

// The library is asked: a record with nothing but this name, and 1 for its value.
const KnownField* Ask(std::string_view name) {
    const std::string record = std::string(name) + "(1)";
    orval::RequestDescription description(record.c_str());
    orval::RequestFields fields;
    if (!description.TakeRecord() || !description.ReadFields(fields)) {
        return nullptr;
    }
    const auto* const found =
        std::find_if(kFields.begin(), kFields.end(),
                     [&fields](const KnownField& field) { return fields.*(field.value) == 1; });
    return found == kFields.end() ? nullptr : found;
}

// What the library takes for the value that begins with this character.
int32_t Taken(char character) {
    return static_cast<unsigned char>(character) - '0';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(kSpace);
    return first == text.npos ? text.substr(0, 0)
                              : text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::string MeantDigit(std::string_view value) {
    const FullWidth wide = FindFullWidth(value);
    if (wide.at == 0 && IsDigit(wide.meant.front())) {
        return wide.meant;
    }
    const std::string_view trimmed = Trimmed(value);
    return trimmed.size() == 1 && IsDigit(trimmed.front()) ? std::string(trimmed) : std::string();
}

}  // namespace

// A field of a known name, in its record.
struct RequestWalk::Field {
    const KnownField* known;
    std::string_view name;
    size_t value_at;         // in the text
    char first;              // the character that the library takes
    std::string_view value;  // what it steps over, without the brackets skipped in front
    bool is_closed;

    uint32_t Bit() const { return 1U << static_cast<uint32_t>(known - kFields.data()); }
};

RequestWalk::RequestWalk(std::string_view text, Findings& findings)
    : text_(text.substr(0, text.find('\0'))), places_(text), findings_(findings) {
    int32_t position = 0;
    size_t behind = 0;  // the record before
    while (true) {
        const std::string_view record = Token(text_, "|", position);
        if (position == kNoToken) {
            break;
        }
        const size_t at = Offset(record);
        NoteEmptyRecords(records_.empty() ? 0 : behind + 1, at);
        records_.push_back({at, record.size()});
        WalkRecord(record);
        behind = at + record.size();
    }
    if (records_.empty()) {
        Note(kNothing, 0, text_.size(), "the description asks for nothing");
    } else {
        NoteEmptyRecords(behind, text_.size());
    }
    if (text_.size() < text.size()) {
        Note(kZeroByte, text_.size(), 1, "a zero byte ends the text");
    }
}

size_t RequestWalk::Offset(std::string_view part) const {
    return static_cast<size_t>(part.data() - text_.data());
}

Finding& RequestWalk::Note(const Rule& rule, size_t at, size_t length, const Sentence& sentence) {
    Finding finding;
    finding.rule = &rule;
    finding.record = records_.size();
    finding.place = places_.Of(at);
    finding.length = length;
    finding.found = std::string(text_.substr(std::min(at, text_.size()), length));
    finding.Tell(sentence);
    findings_.push_back(finding);
    return findings_.back();
}

Finding& RequestWalk::NoteText(const Rule& rule, std::string_view part, const Sentence& sentence) {
    return Note(rule, Offset(part), part.size(), sentence);
}

Finding& RequestWalk::NoteRecord(const Rule& rule, size_t index, const Sentence& sentence) {
    Finding& finding = Note(rule, records_[index].at, records_[index].length, sentence);
    finding.record = index + 1;
    return finding;
}

void RequestWalk::NoteEmptyRecords(size_t from, size_t to) {
    if (from < to) {
        Note(kEmptyRecord, from, to - from, "an empty record").record = 0;
    }
}

void RequestWalk::WalkRecord(std::string_view record) {
    seen_ = 0;
    const size_t before = findings_.size();
    int32_t position = 0;
    while (position != kNoToken && WalkField(record, position)) {
    }
    const auto first = findings_.begin() + static_cast<std::ptrdiff_t>(before);
    const bool stops = std::any_of(first, findings_.end(), [](const Finding& finding) {
        return finding.rule->severity == Verdict::kRefused;
    });
    if (records_.size() == 1 && !stops) {
        NoteMissing(record);
    }
}

// One field, and whether there may be another.
bool RequestWalk::WalkField(std::string_view record, int32_t& position) {
    const size_t from = std::min(static_cast<size_t>(position), record.size());
    const std::string_view name = Token(record, "(", position);
    const size_t at =
        position == kNoToken ? record.size() : static_cast<size_t>(name.data() - record.data());
    if (at > from) {
        NoteText(kExtraBracket, record.substr(from, at - from), "a ( without a name in front");
    }
    if (position == kNoToken) {
        return false;
    }
    const auto value_at = static_cast<size_t>(position);
    const bool ends_record = value_at > record.size();
    const KnownField* const known = Ask(name);
    if (known == nullptr) {
        NoteUnknown(name, ends_record);
    } else if (ends_record) {
        NoteText(kBracketMissing, Trimmed(name),
                 Sentence("{1} ends the record without its value", known->name));
    }
    if (ends_record) {
        return false;
    }
    const char first = value_at < record.size() ? record[value_at] : '\0';
    const std::string_view value = Token(record, ")", position);
    const bool is_closed = position != kNoToken && static_cast<size_t>(position) <= record.size();
    if (known != nullptr) {
        const Field field = {known, Trimmed(name), value_at + Offset(record),
                             first, value,         is_closed};
        NoteValue(field);
        NoteTwice(field);
    }
    return true;
}

void RequestWalk::NoteUnknown(std::string_view name, bool ends_record) {
    const FullWidth wide = FindFullWidth(name);
    if (wide.at != name.npos) {
        NoteText(kFullWidth, name.substr(wide.at, wide.character.size()),
                 Sentence("\"{1}\" is a full-width character", wide.character))
            .suggestion = wide.meant;
        return;
    }
    const std::string_view trimmed = Trimmed(name);
    if (!trimmed.empty()) {
        NoteText(kUnknownField, trimmed, Sentence("{1} is no field", Quoted(trimmed))).suggestion =
            Nearest(trimmed, {kFields[0].name, kFields[1].name, kFields[2].name});
        return;
    }
    if (ends_record) {
        NoteText(kSpaceBehind, name,
                 seen_ == 0 ? "a record of white space" : "white space behind the last field");
    } else {
        NoteText(kNameMissing, name, "white space stands where a field's name should");
    }
}

void RequestWalk::NoteValue(const Field& field) {
    const std::string name = field.known->name;
    const bool is_missing = field.first == '\0' || field.first == ')';
    if (is_missing && field.value.empty()) {
        Note(kEmptyValue, field.value_at, 0, Sentence("{1} has no value", name)).value =
            Taken(field.first);
        return;
    }
    const size_t end = Offset(field.value) + field.value.size();
    const std::string_view found = text_.substr(field.value_at, end - field.value_at);
    const int64_t taken = Taken(field.first);
    if (is_missing) {
        NoteText(kSwallowingValue, found, Sentence("{1} has no value", name)).value = taken;
    } else if (found.find('(') != found.npos) {
        NoteText(kSwallowingValue, found, Sentence("no ) closes the value of {1}", name)).value =
            taken;
    } else if (!IsDigit(field.first)) {
        Finding& finding = NoteText(kNoDigit, found, Sentence("{1} is no digit", Quoted(found)));
        finding.value = taken;
        finding.suggestion = MeantDigit(found);
    } else if (found.size() > 1) {
        NoteText(kLongValue, found, Sentence("{1} is more than one digit", Quoted(found))).value =
            taken;
    }
    if (!field.is_closed) {
        Note(kNotClosed, end, 0, Sentence("no ) closes the value of {1}", name));
    }
}

void RequestWalk::NoteTwice(const Field& field) {
    if ((seen_ & field.Bit()) != 0) {
        NoteText(kTwice, field.name, Sentence("{1} is given twice", field.known->name)).value =
            Taken(field.first);
    }
    seen_ |= field.Bit();
}

// Before the first record all are 0; later records keep what they leave out.
void RequestWalk::NoteMissing(std::string_view record) {
    for (size_t i = 0; i < kFields.size(); ++i) {
        if ((seen_ & (1U << i)) == 0) {
            NoteText(kMissing, record, Sentence("the first record has no {1}", kFields[i].name));
        }
    }
}

}  // namespace lint
