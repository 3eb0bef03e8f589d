// The texts that a client may pass.
#include <algorithm>
#include <cctype>

#include "generator.h"

namespace walk {

namespace {

constexpr const char* kKeyPrefix =
    "0000000000000001000000000000000100000000"
    "0000000000000000000000000000000000000273";
constexpr size_t kKeyPrefixLength = 80;

}  // namespace

std::string Generator::Fill(size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        text += static_cast<char>('A' + i % 26);
    }
    return text;
}

std::string Generator::Hostile(size_t longest) {
    static const std::string alphabet = "aZ0 9,|()%sn\r\n\t\v\f\\\"\x01\x7F\x80\x85\xA0\xFF";
    std::string text;
    for (size_t length = Below(longest + 1); length > 0; --length) {
        text += OneIn(6) ? static_cast<char>(1 + Below(255)) : alphabet[Below(alphabet.size())];
    }
    return text;
}

// Few different ones, so that a later call often has the same, and one that differs in case alone.
std::string Generator::SerialNumber() {
    if (!last_serial_number_.empty() && OneIn(2)) {
        return last_serial_number_;
    }
    last_serial_number_ = OneIn(8)
                              ? Hostile(20)
                              : OneOf<std::string>({"SN0123456789", "SN0123456789", "sn0123456789",
                                                    "", Fill(9), Fill(10), Fill(16), Fill(17)});
    return last_serial_number_;
}

std::string Generator::DataText() {
    return OneOf<std::string>({Hostile(40), Fill(299), Fill(300), Fill(301), ""});
}

std::string Generator::Batch() {
    std::string batch = Hostile(10);
    for (size_t count = Below(5); count > 0; --count) {
        batch += OneOf<std::string>({"||", "||", "|||", "|"}) + Hostile(10);
    }
    return batch;
}

// The fixed part in lines, as authorities send it.
std::string Generator::Certificate() {
    std::string text;
    for (size_t count = Below(4); count > 0; --count) {
        text += Fill(Below(70)) + OneOf<std::string>({"\r\n", "\n", ",", "\r", ""});
    }
    return OneIn(4) ? Hostile(60) : text;
}

std::string Generator::Key() {
    std::string key = OneOf<std::string>({"", "", "x", ","}) +
                      (OneIn(2) ? kKeyPrefix : std::string(kKeyPrefix, Below(kKeyPrefixLength)));
    const size_t near_limit = 1020 + Below(8);
    key += OneIn(3) ? Fill(near_limit - (OneIn(2) ? 0 : std::min<size_t>(key.size(), 100)))
                    : Fill(Below(40));
    if (OneIn(3)) {
        key.insert(Below(key.size() + 1), ",");
    }
    return OneIn(8) ? key + kKeyPrefix : key;
}

std::string Generator::Spelled(std::string name) {
    for (char& c : name) {
        const auto byte = static_cast<unsigned char>(c);
        c = static_cast<char>(OneIn(2) ? std::tolower(byte) : std::toupper(byte));
    }
    return name;
}

std::string Generator::Package() {
    if (OneIn(8)) {
        return OneIn(2) ? Certificate() : Hostile(80);
    }
    std::string package;
    for (size_t count = 1 + Below(5); count > 0; --count) {
        const auto name = OneOf<std::string>({"SignCert", "EncPriKey", "EncCert"});
        package += OneIn(25) ? Spelled(name) : OneIn(40) ? "Foo" : name;
        package += OneIn(40) ? "" : "(";
        package += name == "EncPriKey" ? Without(Key(), "|()") : Without(Certificate(), "|()");
        package += OneIn(15) ? OneOf<std::string>({"", "|", "(", name + "("}) : "";
        package += OneIn(12) ? "" : ")";
        package += count > 1 || OneIn(20)
                       ? OneOf<std::string>({"|", "|", "|", "|", "|,", "\r\n|", "", "x"})
                       : "";
    }
    return package;
}

std::string Generator::Field() {
    static const std::string spaces = " \t\r\n\v\f";
    const auto name = OneOf<std::string>({"CertType", "KeyType", "HashType"});
    std::string field = OneIn(3) ? Spelled(name) : name;
    if (OneIn(4)) {
        field = spaces[Below(spaces.size())] + field + spaces[Below(spaces.size())];
    }
    field = OneIn(60) ? "Foo" : OneIn(60) ? Hostile(8) : field;
    field += OneIn(80) ? "" : OneIn(60) ? "((" : "(";
    field += OneIn(15)   ? Hostile(3)
             : OneIn(40) ? std::string(1, static_cast<char>(0x80 + Below(128)))
                         : std::to_string(Below(5));
    return field + (OneIn(25) ? "" : ")");
}

std::string Generator::Record() {
    std::string record;
    for (size_t count = 1 + Below(3); count > 0; --count) {
        record += Field();
    }
    return record;
}

// Mostly of the types that are made into pairs.
std::string Generator::SoundRecord() {
    std::string record;
    if (!OneIn(3)) {
        record += "CertType(" + OneOf<std::string>({"0", "1", "2", "3", "3", "3"}) + ")";
    }
    if (!OneIn(3)) {
        record += "KeyType(" + OneOf<std::string>({"0", "1", "2", "2", "2", "2"}) + ")";
    }
    return record +
           (record.empty() || OneIn(2) ? "HashType(" + std::to_string(Below(10)) + ")" : "");
}

std::string Generator::Description() {
    if (!last_description_.empty() && OneIn(2)) {
        return last_description_;
    }
    const bool sound = OneIn(2);
    std::string description = OneIn(10) ? "|" : "";
    for (size_t count = Below(5); count > 0; --count) {
        description += sound ? SoundRecord() : Record();
        description += (count > 1 || OneIn(8) ? "|" : "");
        description += (OneIn(15) ? "||" : "");
    }
    last_description_ = OneIn(40) ? Hostile(40) : description;
    return last_description_;
}

}  // namespace walk
