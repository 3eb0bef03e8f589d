#include "base/encoding.h"

#include <gtest/gtest.h>

#include <string_view>
#include <utility>

#include "cli/encoding.h"
#include "cli/failure.h"
#include "cli/printable.h"

namespace softkey {
namespace {

TEST(Hex, GoesThereAndBackInBothLetterCases) {
    EXPECT_EQ("00FF1A", ToHex({0x00, 0xFF, 0x1A}));
    EXPECT_EQ((Bytes{0x00, 0xFF, 0x1A}), FromHex("00fF1a"));
    EXPECT_EQ(Bytes(), FromHex(""));
}

TEST(Hex, OddLengthsAndOtherCharactersAreRefused) {
    for (const char* const text : {"1", "0g", "0x10", " 00", "00 "}) {
        EXPECT_FALSE(FromHex(text).has_value()) << text;
    }
}

TEST(Base64, EveryLengthGoesThereAndBack) {
    for (size_t length = 0; length < 70; ++length) {
        const Bytes bytes(length, 0xC3);
        EXPECT_EQ(bytes, FromBase64(ToBase64(bytes))) << length;
    }
}

TEST(Base64, LineBreaksAndBlanksAreSkipped) {
    EXPECT_EQ((Bytes{'a', 'b', 'c'}), FromBase64(" YW\r\nJj\n"));
}

TEST(Base64, BrokenTextsAreRefused) {
    for (const char* const text : {"YQ", "YQ=", "Y===", "=YWJ", "YW=J", "YW?j", "YQ==YQ=="}) {
        EXPECT_FALSE(FromBase64(text).has_value()) << text;
    }
}

TEST(Pem, LinesHave64CharactersAndTheArmourIsTakenOff) {
    const Bytes bytes(100, 7);
    const std::string pem = ToPem(bytes, "CERTIFICATE");
    EXPECT_EQ(0U, pem.find("-----BEGIN CERTIFICATE-----\n"));
    EXPECT_EQ(64U, pem.find('\n', 28) - 28);
    EXPECT_EQ(bytes, FromBase64OrPem(pem));
    EXPECT_EQ(bytes, FromBase64OrPem(ToBase64(bytes)));
    EXPECT_EQ("-----BEGIN X-----\n" + std::string(64, 'A') + "\n-----END X-----\n",
              ToPem(Bytes(48, 0), "X"));
}

// The commands' own: the key's answer, which comes as Base64.
TEST(Pem, IsMadeOfWholeBase64Alone) {
    EXPECT_EQ("-----BEGIN X-----\nYQ==\n-----END X-----\n", cli::ToPem("X", " YQ=\n="));
    for (const char* const text : {"", "YQ", "YQ=", "Y===", "YW?j", "=YWJ"}) {
        EXPECT_THROW(cli::ToPem("X", text), cli::CommandFailure) << text;
    }
}

TEST(Pem, OfTheCommandsHasLinesOf64CharactersToo) {
    EXPECT_EQ("-----BEGIN X-----\n" + std::string(64, 'A') + "\nAAAA\n-----END X-----\n",
              cli::ToPem("X", std::string(68, 'A')));
    EXPECT_EQ("-----BEGIN X-----\n" + std::string(64, 'A') + "\n-----END X-----\n",
              cli::ToPem("X", std::string(64, 'A')));
    const std::string whole = "-----BEGIN Y-----\nYQ==\n-----END Y-----";
    EXPECT_EQ(whole + "\n", cli::ToPem("X", whole));
    EXPECT_EQ(whole + "\n", cli::ToPem("X", whole + "\n"));
}

TEST(CertificateText, IsBase64WithoutArmourAndLineBreaks) {
    EXPECT_EQ("YWJjZGVm", cli::CertificateText("x\n-----BEGIN X-----\r\nYWJj\r\nZGVm\r\n"
                                               "-----END X-----\n-----BEGIN X-----\nAAAA\n"));
    EXPECT_EQ("MIAB", cli::CertificateText("\x30\x80\x01"));
    EXPECT_EQ("MIABAg==", cli::CertificateText("\x30\x80\x01\x02"));
    EXPECT_EQ("MIABAgM=", cli::CertificateText("\x30\x80\x01\x02\x03"));
    EXPECT_EQ("MP/+", cli::CertificateText("\x30\xFF\xFE"));
    for (const char* const text : {"", "0", "0\x7F", "1\x80", "YWJj"}) {
        EXPECT_EQ(text, cli::CertificateText(text));
    }
}

TEST(HexadecimalOfTheCommands, HasTwoDigitsForEachByte) {
    EXPECT_EQ("0009A0FF5C", cli::Hex(std::string_view("\x00\x09\xA0\xFF\x5C", 5)));
}

TEST(JoinedTexts, AreSplitWithoutTheEmptyOnes) {
    EXPECT_EQ((std::vector<std::string>{"a", "b", "|c"}), cli::SplitJoined("||a||||b|||c||"));
    EXPECT_TRUE(cli::SplitJoined("").empty());
}

TEST(Pem, ArmourWithoutItsEndIsRefused) {
    EXPECT_FALSE(FromBase64OrPem("-----BEGIN X-----\nYWJj\n").has_value());
    EXPECT_FALSE(FromBase64OrPem("-----BEGIN X").has_value());
}

TEST(Split, KeepsEmptyParts) {
    EXPECT_EQ((std::vector<std::string>{""}), Split("", "||"));
    EXPECT_EQ((std::vector<std::string>{"a", "", "b", ""}), Split("a||||b||", "||"));
}

TEST(PlainText, IsUtf8WithoutControlCharacters) {
    for (const std::string_view text :
         {"", "Alice ~", "\xC2\xA0", "测试", "\xF0\x9F\x94\x91", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(IsPlainText(text)) << text;
    }
    constexpr std::string_view kRefused[] = {
        "a\nb",
        std::string_view("\0", 1),
        "\x7F",
        "\xC2\x85",          // next line, a control character
        "\x80",              // only goes on
        "\xC0\xAF",          // too long a form
        "\xE0\x80\xAF",      // the same
        "\xED\xA0\x80",      // a surrogate
        "\xF4\x90\x80\x80",  // past the last character
        "\xE6\xB5",          // cut off
        "\xE6x",
    };
    for (const std::string_view text : kRefused) {
        EXPECT_FALSE(IsPlainText(text)) << ToHex(ToBytes(text));
    }
}

TEST(Printable, Utf8WithoutControlCharactersStaysAndTheRestIsEscaped) {
    for (const std::string_view text :
         {"", "Alice ~", "\xC2\xA0", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "测试", "\xF0\x90\x80\x80", "\xF0\x9F\x94\x91", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(cli::IsPrintable(text)) << text;
        EXPECT_EQ(text, cli::Printable(text));
    }
    const std::pair<std::string_view, std::string_view> escaped[] = {
        {"a\nb", "a\\x0Ab"},
        {"\x7F", "\\x7F"},
        {"\x1F", "\\x1F"},
        {"\xC2\x80", "\\xC2\\x80"},                    // the first of the other control characters
        {"\xC2\x9F", "\\xC2\\x9F"},                    // and the last
        {"\xC1\xBF", "\\xC1\\xBF"},                    // too long a form
        {"\xF0\x8F\xBF\xBF", "\\xF0\\x8F\\xBF\\xBF"},  // the same
        {"\xED\xBF\xBF", "\\xED\\xBF\\xBF"},           // a surrogate
        {"\xF5\x80\x80\x80", "\\xF5\\x80\\x80\\x80"},  // past the last character
        {"\xC2\x85", "\\xC2\\x85"},                    // next line, a control character
        {"\xC0\xAF", "\\xC0\\xAF"},                    // too long a form
        {"\xE0\x80\xAF", "\\xE0\\x80\\xAF"},           // the same
        {"\xED\xA0\x80", "\\xED\\xA0\\x80"},           // a surrogate
        {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},  // past the last character
        {"\xE6\xB5", "\\xE6\\xB5"},                    // cut off
        {"\xE6x", "\\xE6x"},
    };
    for (const auto& [text, expected] : escaped) {
        EXPECT_FALSE(cli::IsPrintable(text)) << expected;
        EXPECT_EQ(expected, cli::Printable(text));
    }
}

}  // namespace
}  // namespace softkey
