#include "api_test.h"
#include "qrv/exception.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";

std::string Created(int cert_type, int key_type, int hash_type,
                    const std::string& serial_number = kSerialNumber) {
    return "GMCreatePKCS10(\"" + serial_number + "\", " + std::to_string(cert_type) + ", " +
           std::to_string(key_type) + ", " + std::to_string(hash_type) + ", &null, null, 0)";
}

std::string Verified(const std::string& serial_number = kSerialNumber) {
    return "VerifyPIN(\"" + serial_number + "\")";
}

using Values = std::array<int, 3>;

// What the key sees for requests of these values: the PIN is verified before each.
std::vector<std::string> CallsFor(const std::vector<Values>& requests) {
    std::vector<std::string> calls;
    for (const auto& [cert_type, key_type, hash_type] : requests) {
        calls.push_back(Verified());
        calls.push_back(Created(cert_type, key_type, hash_type));
    }
    return calls;
}

// What a client sees of a call.
struct Outcome {
    int32_t code;
    int32_t length;
};

bool operator==(const Outcome& a, const Outcome& b) {
    return a.code == b.code && a.length == b.length;
}

void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << "code " << outcome.code << ", length " << outcome.length;
}

Outcome Generate(const char* description, char* out, int32_t capacity,
                 const char* serial_number = kSerialNumber) {
    Outcome outcome = {0, capacity};
    outcome.code = GenerateCertRequest(serial_number, description, out, &outcome.length);
    EXPECT_EQ(G_LastError, outcome.code);
    EXPECT_EQ(LogText(), "");
    return outcome;
}

Outcome QueryLength(const char* description, const char* serial_number = kSerialNumber) {
    return Generate(description, nullptr, -77, serial_number);
}

// --- The description ---------------------------------------------------------------------------

struct Reading {
    const char* name;
    const char* description;
    std::vector<Values> requests;
};

void PrintTo(const Reading& reading, std::ostream* out) {
    *out << reading.description;
}

class Description : public testing::TestWithParam<Reading> {};
class MalformedDescription : public testing::TestWithParam<Reading> {};
class UnbracketedDescription : public testing::TestWithParam<Reading> {};

constexpr auto kNameOfReading = [](const auto& reading) { return std::string(reading.param.name); };

INSTANTIATE_TEST_SUITE_P(
    Fields, Description,
    testing::Values(
        Reading{"AllThree", "CertType(1)KeyType(2)HashType(3)", {{1, 2, 3}}},
        Reading{"AnyOrder", "HashType(3)CertType(1)KeyType(2)", {{1, 2, 3}}},
        Reading{"AnyCaseAndSpacesAroundNames", "certtype(1) keytype(2)HASHTYPE(3)", {{1, 2, 3}}},
        Reading{"MixedCase", "cErTtYpE(4)kEyTyPe(5)hAsHtYpE(6)", {{4, 5, 6}}},
        Reading{"EveryWhiteSpaceAroundNames",
                " \t\n\v\f\rCertType\r\f\v\n\t (1)\nKeyType\t(2)\r\nHashType (3)",
                {{1, 2, 3}}},
        Reading{"MissingFieldsAreZero", "KeyType(2)", {{0, 2, 0}}},
        Reading{"GivenTwiceTakesTheLast", "CertType(1)KeyType(2)CertType(4)", {{4, 2, 0}}},
        Reading{"OneDigitOnly", "CertType(12)KeyType(98)", {{1, 9, 0}}},
        Reading{"RestOfTheValueIsIgnored", "CertType(1abc,; =)KeyType(2)", {{1, 2, 0}}},
        Reading{"NameInAValueIsIgnored", "CertType(1KeyType(2)HashType(3)", {{1, 0, 3}}},
        Reading{"LastBracketMayBeMissing", "CertType(1)KeyType(2", {{1, 2, 0}}},
        Reading{"OnlyBracketMayBeMissing", "CertType(1", {{1, 0, 0}}}),
    kNameOfReading);

INSTANTIATE_TEST_SUITE_P(Values, Description,
                         testing::Values(Reading{"Zero", "CertType(0)", {{0, 0, 0}}},
                                         Reading{"Nine", "CertType(9)", {{9, 0, 0}}},
                                         Reading{"Letter", "CertType(x)", {{72, 0, 0}}},
                                         Reading{"Space", "CertType( 1)", {{-16, 0, 0}}},
                                         Reading{"Minus", "CertType(-1)", {{-3, 0, 0}}},
                                         Reading{"NewLine", "CertType(\n1)", {{-38, 0, 0}}},
                                         Reading{"EndOfTheRecord", "CertType(", {{-48, 0, 0}}},
                                         Reading{"EndOfARecordBeforeAnother",
                                                 "CertType(|KeyType(1)",
                                                 {{-48, 0, 0}, {-48, 1, 0}}},
                                         Reading{"EmptyValue", "CertType()", {{-7, 0, 0}}},
                                         Reading{"OpeningBracket", "CertType((1)", {{-8, 0, 0}}}),
                         kNameOfReading);

// A token skips the delimiters in front of it, which the eye does not expect.
INSTANTIATE_TEST_SUITE_P(
    LeadingDelimiters, Description,
    testing::Values(
        Reading{"EmptyValueSwallowsTheNextField", "CertType()KeyType(2)", {{-7, 0, 0}}},
        Reading{"EmptyValueSwallowsOneFieldOnly", "CertType()KeyType(2)HashType(3)", {{-7, 0, 3}}},
        Reading{"EmptyValueSwallowsAnUnknownName", "CertType()Foo(2)HashType(3)", {{-7, 0, 3}}},
        Reading{"EmptyValueSwallowsAnUnbracketedName", "CertType()KeyType", {{-7, 0, 0}}},
        Reading{"EmptyValueWithTwoClosingBrackets", "CertType())KeyType(2)", {{-7, 0, 0}}},
        Reading{"BracketsBeforeAName", "((CertType(1)(KeyType(2)", {{1, 2, 0}}},
        Reading{"BracketsOnly", "((", {{0, 0, 0}}},
        Reading{"BracketBehindAField", "CertType(1)(", {{1, 0, 0}}}),
    kNameOfReading);

INSTANTIATE_TEST_SUITE_P(
    Records, Description,
    testing::Values(
        Reading{"Two",
                "CertType(1)KeyType(2)HashType(3)|CertType(4)KeyType(5)HashType(6)",
                {{1, 2, 3}, {4, 5, 6}}},
        Reading{"FieldsCarryOver",
                "CertType(1)KeyType(2)HashType(3)|HashType(4)",
                {{1, 2, 3}, {1, 2, 4}}},
        Reading{"FieldsCarryOverMoreThanOnce",
                "CertType(1)|KeyType(2)|HashType(3)|CertType(4)",
                {{1, 0, 0}, {1, 2, 0}, {1, 2, 3}, {4, 2, 3}}},
        Reading{"RecordWithoutFieldsRepeatsTheValues",
                "CertType(1)|(|KeyType(2)",
                {{1, 0, 0}, {1, 0, 0}, {1, 2, 0}}},
        Reading{"LeadingSeparator", "|CertType(1)", {{1, 0, 0}}},
        Reading{"TrailingSeparator", "CertType(1)|", {{1, 0, 0}}},
        Reading{"RepeatedSeparators", "||CertType(1)|||CertType(2)||", {{1, 0, 0}, {2, 0, 0}}},
        Reading{"MissingBracketEndsAtTheRecord", "CertType(1|KeyType(2)", {{1, 0, 0}, {1, 2, 0}}}),
    kNameOfReading);

TEST_P(Description, ReachesTheKey) {
    Key().GMCreatePKCS10.HandsOver("request");
    Canary out(256);
    EXPECT_EQ(Generate(GetParam().description, out, 256).code, 0);
    EXPECT_EQ(Calls(), CallsFor(GetParam().requests));
}

INSTANTIATE_TEST_SUITE_P(
    Names, MalformedDescription,
    testing::Values(
        Reading{"Unknown", "Foo(1)", {}}, Reading{"UnknownBehindAKnown", "CertType(1)Foo(2)", {}},
        Reading{"UnknownUnbracketed", "CertType(1)Foo", {}}, Reading{"Prefix", "CertTyp(1)", {}},
        Reading{"Longer", "CertTypes(1)", {}}, Reading{"SpaceInside", "Cert Type(1)", {}},
        Reading{"BlankRecord", " ", {}}, Reading{"BlankBehindTheLastField", "CertType(1) ", {}},
        Reading{"BlankBetweenBrackets", "CertType(1) (2)", {}}, Reading{"ClosingBracket", ")", {}},
        Reading{"EmptyBrackets", "()", {}},
        Reading{"SecondClosingBracket", "CertType(1))KeyType(2)", {}},
        Reading{"Comma", "CertType(1),KeyType(2)", {}},
        Reading{"NoBreakSpace",
                "\xA0"
                "CertType(1)",
                {}},
        Reading{"HighBytes", "CertT\xFFpe(1)", {}},
        Reading{"SecondRecord", "CertType(1)|Foo(2)", {{1, 0, 0}}},
        Reading{"ValueOfASeparator", "CertType(|)", {{-48, 0, 0}}},
        Reading{
            "ThirdRecord", "CertType(1)|KeyType(2)|Foo(1)|HashType(3)", {{1, 0, 0}, {1, 2, 0}}}),
    kNameOfReading);

TEST_P(MalformedDescription, IsRefusedAfterTheRecordsBeforeIt) {
    Key().GMCreatePKCS10.HandsOver("request");
    Canary out(256);
    EXPECT_EQ(Generate(GetParam().description, out, 256), (Outcome{-401, 256}));
    EXPECT_TRUE(out.Untouched());
    EXPECT_EQ(Calls(), CallsFor(GetParam().requests));
}

INSTANTIATE_TEST_SUITE_P(
    Names, UnbracketedDescription,
    testing::Values(Reading{"Alone", "CertType", {}}, Reading{"WithSpaces", " HashType ", {}},
                    Reading{"BehindAField", "CertType(1)HashType", {}},
                    Reading{"BehindBrackets", "((KeyType", {}},
                    Reading{"SecondRecord", "CertType(1)|KeyType", {{1, 0, 0}}},
                    Reading{"BeforeAnotherRecord", "CertType|KeyType(1)", {}}),
    kNameOfReading);

TEST_P(UnbracketedDescription, RaisesInvalidArgument) {
    Key().GMCreatePKCS10.HandsOver("request");
    Canary out(256);
    int32_t length = 256;
    try {
        GenerateCertRequest(kSerialNumber, GetParam().description, out, &length);
        FAIL() << "nothing was raised";
    } catch (const QRV::CQrvException& exception) {
        EXPECT_EQ(exception.Code(), static_cast<int32_t>(0x80070057));
    }
    EXPECT_EQ(length, 256);
    EXPECT_TRUE(out.Untouched());
    EXPECT_EQ(Calls(), CallsFor(GetParam().requests));
    EXPECT_EQ(LogText(), "");
}

// A character is a number from 1 to 255 here, whatever the machine's char is.
TEST(DescriptionValues, EveryCharacterCountsAsUnsigned) {
    Key().GMCreatePKCS10.HandsOver("request");
    for (int character = 1; character < 256; ++character) {
        if (character == '|') {
            continue;
        }
        const std::string description =
            "CertType("s + static_cast<char>(character) + "x)KeyType(2)";
        Canary out(16);
        EXPECT_EQ(Generate(description.c_str(), out, 16).code, 0) << character;
        // Behind a closing bracket, its own delimiter, the token starts late but ends alike.
        EXPECT_EQ(Calls().back(), Created(character - '0', 2, 0)) << character;
    }
}

TEST(DescriptionNames, HighBytesAreNeitherSpacesNorLetters) {
    for (int character = 0x80; character < 0x100; ++character) {
        const std::string byte(1, static_cast<char>(character));
        for (const std::string& description :
             {byte + "CertType(1)", "CertType" + byte + "(1)", byte + "(1)"}) {
            EXPECT_EQ(QueryLength(description.c_str()), (Outcome{-401, -77})) << character;
        }
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

class EmptyDescription : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Records, EmptyDescription, testing::Values("", "|", "|||"));

TEST_P(EmptyDescription, LengthQueryAnswersAndCachesAnEmptyText) {
    EXPECT_EQ(QueryLength(GetParam()), (Outcome{0, 1}));
    Canary out(8);
    EXPECT_EQ(Generate(GetParam(), out, -1), (Outcome{-404, 1}));  // the cache's rule
    EXPECT_TRUE(out.Untouched());
    EXPECT_EQ(Generate(GetParam(), out, 0), (Outcome{0, 0}));
    EXPECT_TRUE(out.Holds("\0"s));
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_P(EmptyDescription, BufferReceivesAnEmptyText) {
    Canary out(8);
    EXPECT_EQ(Generate(GetParam(), out, 8), (Outcome{0, 0}));
    EXPECT_TRUE(out.Holds("\0"s));
    EXPECT_EQ(Generate(GetParam(), out, -1), (Outcome{-404, 0}));
    EXPECT_THAT(Calls(), IsEmpty());
}

// --- The key ---------------------------------------------------------------------

TEST(GenerateCertRequest, EmptySerialNumberIsTheKeysAffair) {
    Key().GMCreatePKCS10.HandsOver("request");
    EXPECT_EQ(QueryLength("CertType(1)", ""), (Outcome{0, 8}));
    EXPECT_THAT(Calls(), ElementsAre(Verified(""), Created(1, 0, 0, "")));
}

TEST(GenerateCertRequest, JoinsTheRequestsInOrder) {
    Key().GMCreatePKCS10.HandsOverOnce("request1");
    Key().GMCreatePKCS10.HandsOverOnce("request2");
    Key().GMCreatePKCS10.HandsOverOnce("request3");
    Canary out(64);
    EXPECT_EQ(Generate("CertType(1)|CertType(2)|CertType(3)", out, 64), (Outcome{0, 28}));
    EXPECT_TRUE(out.Holds("request1||request2||request3\0"s));
}

TEST(GenerateCertRequest, EmptyRequestsAreJoinedAllTheSame) {
    Key().GMCreatePKCS10.HandsOverOnce("");
    Key().GMCreatePKCS10.HandsOverOnce("second");
    Key().GMCreatePKCS10.HandsOverOnce("");
    Canary out(64);
    EXPECT_EQ(Generate("CertType(1)|CertType(2)|CertType(3)", out, 64), (Outcome{0, 10}));
    EXPECT_TRUE(out.Holds("||second||\0"s));
}

TEST(GenerateCertRequest, RequestsAreNotLookedInto) {
    const std::string request = "-----BEGIN\r\n\x80\xFF||\t,\n-----END\r\n";
    Key().GMCreatePKCS10.HandsOver(request);
    Canary out(64);
    EXPECT_EQ(Generate("CertType(1)", out, 64).code, 0);
    EXPECT_TRUE(out.Holds(request + '\0'));
}

TEST(GenerateCertRequest, LongRequests) {
    const std::string request(100000, 'R');
    Key().GMCreatePKCS10.HandsOverOnce(request);
    Key().GMCreatePKCS10.HandsOverOnce(request);
    EXPECT_EQ(QueryLength("CertType(1)|CertType(2)"), (Outcome{0, 200003}));
    Canary out(200003);
    EXPECT_EQ(Generate("CertType(1)|CertType(2)", out, 200003), (Outcome{0, 200002}));
    EXPECT_TRUE(out.Holds(request + "||" + request + '\0'));
}

// Without a record nothing asks for the back-end, and the frame's reset hides the failed bind.
TEST(GenerateCertRequest, DescriptionWithoutARequestNeedsNoBackend) {
    scripted::RemoveBackend();
    EXPECT_EQ(QueryLength("|||"), (Outcome{0, 1}));
    EXPECT_EQ(QueryLength("Foo(1)"), (Outcome{-401, -77}));
}

// --- Failures of the key -----------------------------------------------------------------------

class KeyFailure : public testing::TestWithParam<bool> {
 protected:
    KeyFailure() { Key().GMCreatePKCS10.HandsOverOnce("request1"); }
    // With a buffer or as a length query; the length must stay as it was.
    void Fails(int32_t code) {
        char* buffer = GetParam() ? static_cast<char*>(out_) : nullptr;
        EXPECT_EQ(Generate("CertType(1)|CertType(2)|CertType(3)", buffer, 64), (Outcome{code, 64}));
        EXPECT_TRUE(out_.Untouched());
    }

 private:
    Canary out_{64};
};

INSTANTIATE_TEST_SUITE_P(GenerateCertRequest, KeyFailure, testing::Bool(), [](const auto& buffer) {
    return std::string(buffer.param ? "WithABuffer" : "LengthQuery");
});

TEST_P(KeyFailure, LaterVerificationStopsTheCall) {
    Key().VerifyPIN.ReturnsOnce(0);
    Key().VerifyPIN.ReturnsOnce(-5);
    Fails(-5);
    EXPECT_THAT(Calls(), ElementsAre(Verified(), Created(1, 0, 0), Verified()));
}

TEST_P(KeyFailure, LaterCreationStopsTheCall) {
    Key().GMCreatePKCS10.Returns(9);
    Fails(9);
    EXPECT_THAT(Calls(), ElementsAre(Verified(), Created(1, 0, 0), Verified(), Created(2, 0, 0)));
}

}  // namespace
