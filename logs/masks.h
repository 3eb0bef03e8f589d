#ifndef LOGS_MASKS_H
#define LOGS_MASKS_H

#include <map>
#include <string>
#include <string_view>

#include "logs/forms.h"
#include "logs/record.h"

// What of a log may be shown to others. A text is shown where its form is known to give nothing
// away; serial numbers, key texts, packages and whatever nobody knows are replaced by a mask, the
// same for the same text, so that it can still be seen which belong together.
namespace logs {

enum class Secrets { kMasked, kShown };

class Masks final {
 public:
    explicit Masks(Secrets secrets) : secrets_(secrets) {}

    // For people: "SN#1", "KEY#2 (308 characters)". A text that was masked before, in the file,
    // keeps that mask's number.
    std::string SerialNumber(std::string_view text);
    std::string KeyText(std::string_view text);
    std::string Package(std::string_view text);
    std::string Request(std::string_view description);
    // A version or the USB ids, with what follows it in the caller's buffer.
    std::string Constant(Holds holds, std::string_view text);
    std::string Other(std::string_view text);
    // A record's: in a damaged log it may be a part of anything.
    std::string Name(std::string_view name);

    // A record's text as it may stand in the file instead, of the same length; of a hex record, in
    // hexadecimal.
    std::string InPlace(const Record& record);

 private:
    // The texts of one kind, by number.
    struct Kind {
        const char* name;
        std::map<std::string, int, std::less<>> numbers;
        int last = 0;
    };

    static int NumberIn(const Kind& kind, std::string_view text);
    int NumberOf(Kind& kind, std::string_view text);
    std::string Show(Kind& kind, std::string_view text);
    std::string Fill(Kind& kind, std::string_view text);
    std::string FillHex(std::string_view digits);
    std::string RestInPlace(const Record& record, std::string_view rest);

    Secrets secrets_;
    Kind serial_numbers_{"SN", {}};
    Kind key_texts_{"KEY", {}};
    Kind packages_{"PACKAGE", {}};
    Kind others_{"TEXT", {}};
};

// The two texts of a request's record, behind its opening.
struct RequestParts {
    std::string_view serial_number;
    std::string_view words_between;  // empty where the record is cut before them
    std::string_view description;
};
RequestParts SplitRequest(std::string_view rest);

// The bytes that the digits stand for.
std::string FromHexadecimal(std::string_view digits);

}  // namespace logs

#endif
