// The texts that a client may pass.
#include <algorithm>
#include <cctype>

#include "generator.h"
#include "model.h"

namespace walk {

std::string Fill(size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        text += static_cast<char>('A' + i % 26);
    }
    return text;
}

std::string Hostile(Chance& any, size_t longest) {
    static const std::string alphabet = "aZ0 9,|()%sn\r\n\t\v\f\\\"\x01\x7F\x80\x85\xA0\xFF";
    std::string text;
    for (size_t length = any.Below(longest + 1); length > 0; --length) {
        text += any.OneIn(6) ? static_cast<char>(1 + any.Below(255))
                             : alphabet[any.Below(alphabet.size())];
    }
    return text;
}

namespace {

constexpr const char* kKeyPrefix =
    "0000000000000001000000000000000100000000"
    "0000000000000000000000000000000000000273";
constexpr size_t kKeyPrefixLength = 80;

// Few different ones, so that a later call often has the same, and one that differs in case alone.
std::string SerialNumber(Chance& any) {
    if (!any.last_serial_number.empty() && any.OneIn(2)) {
        return any.last_serial_number;
    }
    any.last_serial_number =
        any.OneOf<std::string>({Hostile(any, 20), "SN0123456789", "SN0123456789", "sn0123456789",
                                "", Fill(9), Fill(10), Fill(16), Fill(17)});
    return any.last_serial_number;
}

std::string Batch(Chance& any) {
    std::string batch = Hostile(any, 10);
    for (size_t count = any.Below(5); count > 0; --count) {
        batch += any.OneOf<std::string>({"||", "||", "|||", "|"}) + Hostile(any, 10);
    }
    return batch;
}

// The fixed part in lines, as authorities send it.
std::string Certificate(Chance& any) {
    std::string text;
    for (size_t count = any.Below(4); count > 0; --count) {
        text += Fill(any.Below(70)) + any.OneOf<std::string>({"\r\n", "\n", ",", "\r", ""});
    }
    return any.OneIn(4) ? Hostile(any, 60) : text;
}

std::string Key(Chance& any) {
    std::string key =
        any.OneOf<std::string>({"", "", "x", ","}) +
        (any.OneIn(2) ? kKeyPrefix : std::string(kKeyPrefix, any.Below(kKeyPrefixLength)));
    const size_t near_limit = 1020 + any.Below(8);
    key += any.OneIn(3) ? Fill(near_limit - (any.OneIn(2) ? 0 : std::min<size_t>(key.size(), 100)))
                        : Fill(any.Below(40));
    if (any.OneIn(3)) {
        key.insert(any.Below(key.size() + 1), ",");
    }
    return any.OneIn(8) ? key + kKeyPrefix : key;
}

std::string Spelled(Chance& any, std::string name) {
    for (char& c : name) {
        const auto byte = static_cast<unsigned char>(c);
        c = static_cast<char>(any.OneIn(2) ? std::tolower(byte) : std::toupper(byte));
    }
    return name;
}

std::string Package(Chance& any) {
    if (any.OneIn(8)) {
        return any.OneIn(2) ? Certificate(any) : Hostile(any, 80);
    }
    std::string package;
    for (size_t count = 1 + any.Below(5); count > 0; --count) {
        const auto name = any.OneOf<std::string>({"SignCert", "EncPriKey", "EncCert"});
        package += any.OneIn(25) ? Spelled(any, name) : any.OneIn(40) ? "Foo" : name;
        package += any.OneIn(40) ? "" : "(";
        package +=
            name == "EncPriKey" ? Without(Key(any), "|()") : Without(Certificate(any), "|()");
        package += any.OneIn(15) ? any.OneOf<std::string>({"", "|", "(", name + "("}) : "";
        package += any.OneIn(12) ? "" : ")";
        package += count > 1 || any.OneIn(20)
                       ? any.OneOf<std::string>({"|", "|", "|", "|", "|,", "\r\n|", "", "x"})
                       : "";
    }
    return package;
}

std::string Field(Chance& any) {
    static const std::string spaces = " \t\r\n\v\f";
    const auto name = any.OneOf<std::string>({"CertType", "KeyType", "HashType"});
    std::string field = any.OneIn(3) ? Spelled(any, name) : name;
    if (any.OneIn(4)) {
        field = spaces[any.Below(spaces.size())] + field + spaces[any.Below(spaces.size())];
    }
    field = any.OneIn(60) ? "Foo" : any.OneIn(60) ? Hostile(any, 8) : field;
    field += any.OneIn(80) ? "" : any.OneIn(60) ? "((" : "(";
    field += any.OneIn(15)   ? Hostile(any, 3)
             : any.OneIn(40) ? std::string(1, static_cast<char>(0x80 + any.Below(128)))
                             : std::to_string(any.Below(5));
    return field + (any.OneIn(25) ? "" : ")");
}

std::string Record(Chance& any) {
    std::string record;
    for (size_t count = 1 + any.Below(3); count > 0; --count) {
        record += Field(any);
    }
    return record;
}

// Mostly of the types that are made into pairs.
std::string SoundRecord(Chance& any) {
    std::string record;
    if (!any.OneIn(3)) {
        record += "CertType(" + any.OneOf<std::string>({"0", "1", "2", "3", "3", "3"}) + ")";
    }
    if (!any.OneIn(3)) {
        record += "KeyType(" + any.OneOf<std::string>({"0", "1", "2", "2", "2", "2"}) + ")";
    }
    return record + (record.empty() || any.OneIn(2)
                         ? "HashType(" + std::to_string(any.Below(10)) + ")"
                         : "");
}

std::string Description(Chance& any) {
    if (!any.last_description.empty() && any.OneIn(2)) {
        return any.last_description;
    }
    const bool sound = any.OneIn(2);
    std::string description = any.OneIn(10) ? "|" : "";
    for (size_t count = any.Below(5); count > 0; --count) {
        description += sound ? SoundRecord(any) : Record(any);
        description += (count > 1 || any.OneIn(8) ? "|" : "");
        description += (any.OneIn(15) ? "||" : "");
    }
    any.last_description = any.OneIn(40) ? Hostile(any, 40) : description;
    return any.last_description;
}

}  // namespace

Text AnyText(Chance& any, char letter) {
    if (letter != 'S' && any.OneIn(12)) {
        return std::nullopt;
    }
    switch (letter) {
        case 'S':
        case 's':
            return SerialNumber(any);
        case 'd':
            return any.OneOf<std::string>({Hostile(any, 40), Fill(299), Fill(300), Fill(301), ""});
        case 'b':
            return Batch(any);
        case 'c':
            return Certificate(any);
        case 'k':
            return Key(any);
        case 'p':
            return Package(any);
        case 'r':
            return Description(any);
        default:
            return Hostile(any, 60);
    }
}

}  // namespace walk
