#include "ukey.hpp"

#include <algorithm>
#include <fstream>
#include <set>

#include "every_call.h"
#include "ukey_fixture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

std::set<std::string> ListedFunctions() {
    return {std::begin(ukey::kFunctionNames), std::end(ukey::kFunctionNames)};
}

TEST(FunctionList, HoldsEveryFunctionOfTheHeader) {
    std::ifstream header(C_HEADER_PATH);
    std::set<std::string> declared;
    for (std::string line; std::getline(header, line);) {
        const size_t bracket = line.find('(');
        if (line.rfind("ORVAL_API ", 0) == 0 && bracket != std::string::npos) {
            const size_t name = line.rfind(' ', bracket) + 1;
            declared.insert(line.substr(name, bracket - name));
        }
    }
    EXPECT_THAT(ListedFunctions(), testing::ContainerEq(declared));
}

TEST_F(Ukey, EveryFunctionIsReachable) {
    for (const AnyCall& call : EveryCall()) {
        CodeOf([&] { call.make(library_, key_); });
    }
    std::set<std::string> called;
    for (const std::string& call : fake_.calls) {
        called.insert(call.substr(0, call.find('(')));
    }
    // These two are not recorded, because they are called from two threads; the tests of the event
    // source below show them at work.
    called.insert({"WaitForKeyEvent", "StopDetectUKey"});
    EXPECT_THAT(called, testing::ContainerEq(ListedFunctions()));
}

TEST_F(Ukey, ArgumentsArriveInOrder) {
    key_.Sign(1, 2, "data", "warning");
    key_.SignHash(1, 2, "data", 3);
    ukey::BatchSignInput input;
    input.flags = 1;
    input.param3 = 3;
    input.param4 = 4;
    input.text = "five";
    input.param6 = "six";
    input.param7 = 7;
    input.param8 = 8;
    input.param9 = 9;
    input.batch = "a||b";
    input.param11 = 11;
    key_.Batch_Sign(input);
    key_.AsymDec(1, 2, "cipher");
    EXPECT_THAT(std::set<std::string>(fake_.calls.begin(), fake_.calls.end()),
                ElementsAre("AsymDec(\"SN0123456789\", 1, 2, \"cipher\")",
                            "Batch_Sign(1, \"SN0123456789\", 3, 4, \"five\", \"six\", 7, 8, 9, "
                            "\"a||b\", 11)",
                            "Sign(\"SN0123456789\", 1, 2, \"data\", \"warning\")",
                            "SignHash(\"SN0123456789\", 1, 2, \"data\", 3)"));
}

using Library = ukey::Library;
using Key = ukey::Key;

// Every text output, by the name of its function.
struct TextOutput {
    const char* name;
    std::string (*get)(const ukey::Library&, const ukey::Key&);
};

void PrintTo(const TextOutput& output, std::ostream* out) {
    *out << output.name;
}

// Never fail.
const TextOutput kSureTexts[] = {
    {"GetDriverVersion",
     [](const Library& library, const Key&) { return library.GetDriverVersion(); }},
    {"GetDllVersion", [](const Library& library, const Key&) { return library.GetDllVersion(); }},
    {"GetVidAndPid", [](const Library& library, const Key&) { return library.GetVidAndPid(); }},
    {"GetErrorMsg", [](const Library& library, const Key&) { return library.GetErrorMsg(1); }},
};

// The size query already reads the text, which may have changed at the fetch.
const TextOutput kReadTexts[] = {
    {"GetPrintNumber", [](const Library& library, const Key&) { return library.GetPrintNumber(); }},
    {"GetLabel", [](const Library&, const Key& key) { return key.GetLabel(); }},
    {"GetData", [](const Library&, const Key& key) { return key.GetData(1); }},
    {"GetCert", [](const Library&, const Key& key) { return key.GetCert(1, 2); }},
    {"GetCertDN", [](const Library&, const Key& key) { return key.GetCertDN(1, 2); }},
    {"GenerateCertRequest",
     [](const Library&, const Key& key) { return key.GenerateCertRequest("d"); }},
    {"Batch_InitAndGenerateCertRequest",
     [](const Library&, const Key& key) { return key.Batch_InitAndGenerateCertRequest(0, "d"); }},
};

// The size query answers with a bound.
const TextOutput kBoundedTexts[] = {
    {"GetCertInfo", [](const Library&, const Key& key) { return key.GetCertInfo(1); }},
    {"GetPinInfo", [](const Library&, const Key& key) { return key.GetPinInfo(); }},
    {"Sign", [](const Library&, const Key& key) { return key.Sign(1, 2, "d", "w"); }},
    {"SignHash", [](const Library&, const Key& key) { return key.SignHash(1, 2, "d", 3); }},
    {"Batch_Sign", [](const Library&, const Key& key) { return key.Batch_Sign({}); }},
    {"AsymDec", [](const Library&, const Key& key) { return key.AsymDec(1, 2, "c").Text(); }},
};

class TextOf : public Ukey, public testing::WithParamInterface<TextOutput> {
 protected:
    std::string Get() { return GetParam().get(library_, key_); }
    void Script(std::deque<std::string> texts) {
        // The first is dropped by the first call.
        texts.push_front("");
        fake_.outputs[GetParam().name] = std::move(texts);
    }
};

class ReadTextOf : public TextOf {};
class FallibleTextOf : public TextOf {};

std::string NameOf(const testing::TestParamInfo<TextOutput>& output) {
    return output.param.name;
}

INSTANTIATE_TEST_SUITE_P(Sure, TextOf, testing::ValuesIn(kSureTexts), NameOf);
INSTANTIATE_TEST_SUITE_P(Read, TextOf, testing::ValuesIn(kReadTexts), NameOf);
INSTANTIATE_TEST_SUITE_P(Bounded, TextOf, testing::ValuesIn(kBoundedTexts), NameOf);
INSTANTIATE_TEST_SUITE_P(Read, ReadTextOf, testing::ValuesIn(kReadTexts), NameOf);
INSTANTIATE_TEST_SUITE_P(Read, FallibleTextOf, testing::ValuesIn(kReadTexts), NameOf);
INSTANTIATE_TEST_SUITE_P(Bounded, FallibleTextOf, testing::ValuesIn(kBoundedTexts), NameOf);

TEST_P(TextOf, ArrivesWhole) {
    for (const size_t length : {1U, 7U, 8U, 199U, 200U, 201U, 1280U, 4095U}) {
        const std::string text(length, 'x');
        if (GetParam().name == std::string("GetPrintNumber") && length > 1023) {
            continue;  // longer than the key's library can make one
        }
        Script({text});
        EXPECT_EQ(Get(), text) << length;
    }
}

TEST_P(TextOf, EmptyIsEmpty) {
    Script({""});
    EXPECT_EQ(Get(), "");
}

TEST_P(ReadTextOf, GrowthBetweenQueryAndFetchIsMet) {
    const std::string grown(900, 'y');
    Script({"short", grown});
    EXPECT_EQ(Get(), grown);
}

TEST_P(FallibleTextOf, CodeBecomesAnError) {
    fake_.codes[GetParam().name] = kKeyCode;
    try {
        Get();
        FAIL() << "no error";
    } catch (const ukey::Error& error) {
        EXPECT_EQ(error.Code(), kKeyCode);
        EXPECT_STREQ(error.Function(), GetParam().name);
        EXPECT_EQ(&error.code().category(), &ukey::Category());
        EXPECT_THAT(error.what(), HasSubstr(GetParam().name));
        EXPECT_THAT(error.what(), HasSubstr("0x0A000001 (167772161): text of 167772161"));
    }
}

TEST_F(Ukey, TextThatGrowsEveryTimeIsGivenUp) {
    std::deque<std::string>& texts = fake_.outputs["GetLabel"];
    for (size_t length = 0; length < 100; ++length) {
        texts.emplace_back(length * length, 'x');
    }
    EXPECT_EQ(CodeOf([&] { key_.GetLabel(); }), ORVAL_BUFFER_TOO_SMALL);
    EXPECT_EQ(std::count(fake_.calls.begin(), fake_.calls.end(), R"(GetLabel("SN0123456789"))"),
              2 * ukey::detail::kFetchAttempts);
}

TEST_F(Ukey, GrowthIsAskedForAgainAndNotGuessed) {
    fake_.outputs["GenerateCertRequest"] = {"", "short", "grown by far", "grown by far"};
    EXPECT_EQ(key_.GenerateCertRequest("d"), "grown by far");
    EXPECT_THAT(fake_.calls, SizeIs(4));
}

TEST_F(Ukey, RecordsKeepTheirZeroBytes) {
    const std::string record("\6\0\0\0\6\0\0\0", 8);
    fake_.outputs["GetPinInfo"] = {record};
    EXPECT_EQ(key_.GetPinInfo(), record);
}

TEST_F(Ukey, BatchOfOneItemHasRoomAlthoughTheEstimateIsZero) {
    fake_.outputs["Batch_Sign"] = {std::string(2000, 's')};
    ukey::BatchSignInput input;
    input.batch = "one item";
    EXPECT_EQ(key_.Batch_Sign(input), std::string(2000, 's'));
    EXPECT_THAT(fake_.calls, SizeIs(2));
}

TEST_F(Ukey, BatchSignTextsMayBeLeftOut) {
    ukey::BatchSignInput input;
    input.flags = 1;
    input.text = "critical text";
    input.param6 = "six";
    key_.Batch_Sign(input);
    EXPECT_THAT(fake_.calls, Each(R"(Batch_Sign(1, "SN0123456789", 0, 0, "critical text", "six", )"
                                  R"(0, 0, 0, null, 0))"));
}

TEST_F(Ukey, SerialNumberLongerThanAskedForHasRoom) {
    fake_.outputs["GetPrintNumber"] = {"", "S", std::string(1023, 'S')};
    EXPECT_EQ(library_.GetPrintNumber(), std::string(1023, 'S'));
}

TEST_F(Ukey, PluggedKeyIsNamedByItsSerialNumber) {
    EXPECT_EQ(library_.PluggedKey().SerialNumber(), kSerialNumber);
}

TEST_F(Ukey, VendorNames) {
    EXPECT_EQ(library_.GetVendorInfo(2), "Maker");
    EXPECT_EQ(library_.GetVendorInfo(1), "\xE9\xA9\xAC");
    EXPECT_EQ(CodeOf([&] { library_.GetVendorInfo(3); }), ORVAL_UNSUPPORTED);
}

TEST_F(Ukey, TextWithAZeroByteIsRefusedBeforeTheCall) {
    const std::string text("pay 1\0 000", 10);
    EXPECT_EQ(CodeOf([&] { key_.Sign(0, 0, text, "w"); }), ORVAL_INVALID_ARGUMENT);
    EXPECT_EQ(CodeOf([&] { key_.SetLabel(text); }), ORVAL_INVALID_ARGUMENT);
    ukey::BatchSignInput input;
    input.text = text;
    EXPECT_EQ(CodeOf([&] { key_.Batch_Sign(input); }), ORVAL_INVALID_ARGUMENT);
    EXPECT_THAT(fake_.calls, Each(testing::StartsWith("GetErrorMsg")));
}

TEST_F(Ukey, TextWithAZeroByteIsNotTheFunctionsFailure) {
    try {
        key_.SignHash(0, 0, std::string("a\0b", 3), 0);
        FAIL() << "no error";
    } catch (const ukey::ZeroByteError& error) {
        EXPECT_STREQ(error.Function(), "SignHash");
        EXPECT_THAT(error.what(), testing::HasSubstr("SignHash was not called"));
    }
}

TEST_F(Ukey, WhatTheProductThrowsIsExplainedByTheWrapperAndNotByTheKey) {
    fake_.outputs["GetErrorMsg"] = {"the key's text"};
    for (const ukey::Errc code : {ukey::Errc::kTextMalformed, ukey::Errc::kTextOutOfMemory}) {
        const auto number = static_cast<int32_t>(code);
        EXPECT_EQ(ukey::Category().message(number), ukey::OwnText(number));
    }
}

TEST_F(Ukey, StringLibraryExceptionBecomesAnError) {
    for (const ukey::Errc code : {ukey::Errc::kTextMalformed, ukey::Errc::kTextOutOfMemory}) {
        fake_.exceptions["GenerateCertRequest"] = static_cast<int32_t>(code);
        try {
            key_.GenerateCertRequest("CertType(1)HashType");
            FAIL() << "no error";
        } catch (const ukey::Error& error) {
            EXPECT_TRUE(error.code() == code);
            EXPECT_STREQ(error.Function(), "GenerateCertRequest");
        }
    }
}

TEST_F(Ukey, TwoFunctionsThatDoNotInitialiseAreInitialisedFor) {
    library_.Finalize();
    key_.InitUKey();
    library_.Finalize();
    key_.SetCachePinFlag(1);
    EXPECT_TRUE(library_.IsInitialized());
    fake_.codes["Initialize"] = ORVAL_BACKEND_UNAVAILABLE;
    library_.Finalize();
    EXPECT_EQ(CodeOf([&] { key_.InitUKey(); }), ORVAL_BACKEND_UNAVAILABLE);
}

TEST_F(Ukey, LastErrorIsTheProducts) {
    fake_.codes["VerifyPIN"] = kKeyCode;
    CodeOf([&] { key_.VerifyPIN(); });
    EXPECT_EQ(library_.GetLastErrCode(), kKeyCode);
}

TEST_F(Ukey, ViewsNeedNoTerminator) {
    const std::string_view text("label and more", 5);
    key_.SetLabel(text);
    key_.Sign(1, 2, text.substr(0, 2), text.substr(3));
    EXPECT_THAT(std::set<std::string>(fake_.calls.begin(), fake_.calls.end()),
                ElementsAre(R"(SetLabel("SN0123456789", "label"))",
                            R"(Sign("SN0123456789", 1, 2, "la", "el"))"));
}

TEST_F(Ukey, CodesMeetTheirConditions) {
    const std::pair<int32_t, ukey::Condition> kRows[] = {
        {0x0A000023, ukey::Condition::kNoKey},
        {0x0A100015, ukey::Condition::kNoKey},
        {0x0A000024, ukey::Condition::kPinWrong},
        {0x0A000025, ukey::Condition::kPinLocked},
        {0x0A100003, ukey::Condition::kCancelled},
        {0x0A100004, ukey::Condition::kCancelled},
        {0x0A100005, ukey::Condition::kCancelled},
        {ORVAL_BUFFER_TOO_SMALL, ukey::Condition::kTooSmall},
        {0x0A000020, ukey::Condition::kTooSmall},
    };
    for (const auto& [code, condition] : kRows) {
        fake_.codes["VerifyPIN"] = code;
        try {
            key_.VerifyPIN();
            FAIL() << "no error";
        } catch (const ukey::Error& error) {
            EXPECT_TRUE(error.code() == condition) << code;
            EXPECT_TRUE(condition == error.code()) << code;
            EXPECT_FALSE(error.code() != condition) << code;
        }
    }
}

TEST(Conditions, AreMetByNothingElse) {
    using ukey::Condition;
    for (const Condition condition :
         {Condition::kNoKey, Condition::kPinWrong, Condition::kPinLocked, Condition::kCancelled,
          Condition::kTooSmall}) {
        EXPECT_FALSE(std::error_code(kKeyCode, ukey::Category()) == condition);
        EXPECT_FALSE(std::error_code() == condition);
        EXPECT_FALSE(std::error_code(ORVAL_OK, ukey::Category()) == condition);
        // The same number of somebody else's.
        EXPECT_FALSE(std::error_code(0x0A000024, std::generic_category()) == condition);
        EXPECT_THAT(std::error_condition(condition).message(), testing::Not(HasSubstr("unknown")));
    }
}

TEST(Exceptions, HaveOneBase) {
    EXPECT_THROW(throw ukey::Error("VerifyPIN", kKeyCode), ukey::Exception);
    EXPECT_THROW(throw ukey::ZeroByteError("VerifyPIN"), ukey::Exception);
    EXPECT_THROW(throw ukey::BusyError("busy"), ukey::Exception);
    EXPECT_THROW(throw ukey::LoadError("path", "reason"), ukey::Exception);
    // As clients have caught them from the first.
    EXPECT_THROW(throw ukey::Error("VerifyPIN", kKeyCode), std::system_error);
    EXPECT_THROW(throw ukey::LoadError("path", "reason"), std::runtime_error);
    EXPECT_STREQ(ukey::LoadError("path", "reason").what(), "cannot load path: reason");
}

TEST_F(Ukey, TriesAreReadFromTheRecord) {
    fake_.outputs["GetPinInfo"] = {std::string("\5\0\0\0\0\1\0\0", 8)};
    const auto tries = key_.ReadPinTries();
    ASSERT_TRUE(tries);
    EXPECT_EQ(tries->left, 5U);
    EXPECT_EQ(tries->at_most, 256U);
}

TEST(PinTries, OfAnotherFormAreNone) {
    const std::string_view kRecords[] = {
        {"", 0},
        {"\5\0\0\0\6\0\0", 7},
        {"\5\0\0\0\6\0\0\0\0", 9},
        {"\0\0\0\0\0\0\0\0", 8},          // of none at all
        {"\7\0\0\0\6\0\0\0", 8},          // more than there are
        {"\xFF\xFF\xFF\xFF\6\0\0\0", 8},  // -1
    };
    for (const std::string_view record : kRecords) {
        EXPECT_FALSE(ukey::ParsePinTries(record)) << testing::PrintToString(record);
    }
}

TEST_F(Ukey, CertificateFieldsAreReadFromTheRecord) {
    const std::string text =
        "Subject: CN=Zhang San: 1,O=Bank\nIssuer: CN=CA\nSerialNumber: 0A1B\n"
        "NotBefore: 2026-01-31 12:00:00\nNotAfter: 2027-01-31 12:00:01\n"
        "Usage: digitalSignature,nonRepudiation";
    fake_.outputs["GetCertInfo"] = {text + std::string(1, '\0')};
    const ukey::CertFields fields = key_.ReadCertFields(1);
    EXPECT_EQ(fields.subject, "CN=Zhang San: 1,O=Bank");
    EXPECT_EQ(fields.issuer, "CN=CA");
    EXPECT_EQ(fields.serial_number, "0A1B");
    ASSERT_TRUE(fields.not_before && fields.not_after);
    EXPECT_EQ(std::chrono::system_clock::to_time_t(*fields.not_before), 1769860800);
    EXPECT_EQ(*fields.not_after - *fields.not_before, std::chrono::seconds(365 * 86400 + 1));
    EXPECT_THAT(fields.usages, ElementsAre("digitalSignature", "nonRepudiation"));
    EXPECT_EQ(fields.text, text);
}

TEST(CertFields, OfAnotherFormAreEmpty) {
    for (const std::string& record :
         {std::string(), std::string("\0\0", 2), std::string("no field\n\n:\n: \nusage"),
          std::string("\x30\x82\0\n\xFF", 5), std::string("NotBefore: soon\nNotAfter:\nUsage:")}) {
        const ukey::CertFields fields = ukey::ParseCertFields(record);
        EXPECT_EQ(fields.subject + fields.issuer + fields.serial_number, "");
        EXPECT_FALSE(fields.not_before || fields.not_after);
        EXPECT_THAT(fields.usages, testing::IsEmpty());
    }
}

TEST(CertFields, MayComeInAnyOrderAndWithOthers) {
    const ukey::CertFields fields = ukey::ParseCertFields(
        "Issuer:CN=CA\r\nKeyId: 7\r\nUsage: a , b\r\n Subject :\tCN=S\r\n"
        "NotAfter: 2026-01-31 12:00:00 CST\r\n");
    EXPECT_EQ(fields.issuer, "CN=CA");
    EXPECT_EQ(fields.subject, "CN=S");
    EXPECT_THAT(fields.usages, ElementsAre("a", "b"));
    EXPECT_FALSE(fields.not_after);
    EXPECT_THAT(fields.text, HasSubstr("KeyId: 7"));
}

TEST(Category, WithoutAProductExplainsTheOwnCodesItself) {
    for (const int32_t code : {-101, -109, -300, -401, -404}) {
        EXPECT_EQ(ukey::Category().message(code), ukey::OwnText(code)) << code;
    }
    EXPECT_EQ(ukey::OwnText(kKeyCode), nullptr);
    EXPECT_EQ(ukey::Category().message(0), "success");
}

TEST(Category, ComparesWithItsEnumeration) {
    const std::error_code code = ukey::Errc::kInvalidArgument;
    EXPECT_EQ(code.value(), ORVAL_INVALID_ARGUMENT);
    EXPECT_TRUE(code == ukey::Errc::kInvalidArgument);
    EXPECT_FALSE(code == ukey::Errc::kUnsupported);
}

TEST_F(Ukey, CategoryFallsBackToItsOwnText) {
    fake_.outputs["GetErrorMsg"] = {""};
    EXPECT_EQ(ukey::Category().message(-401), ukey::OwnText(-401));
    fake_.exceptions["GetErrorMsg"] = static_cast<int32_t>(ukey::Errc::kTextOutOfMemory);
    EXPECT_EQ(ukey::Category().message(-404), ukey::OwnText(-404));
}

TEST_F(Ukey, CategoryAsksTheProductForEveryCode) {
    EXPECT_EQ(ukey::Category().message(-401), "text of -401");
    EXPECT_EQ(ukey::Category().message(kKeyCode), "text of 167772161");
    EXPECT_EQ(ukey::Category().message(-7), "text of -7");
    fake_.outputs["GetErrorMsg"] = {std::string(500, 'e')};
    EXPECT_EQ(ukey::Category().message(kKeyCode), std::string(500, 'e'));
}

#ifndef UKEY_LINKED
TEST(Category, WithoutAProductSaysSo) {
    EXPECT_EQ(ukey::Category().message(kKeyCode), "the key has no text for this code");
}

TEST(Loading, MissingLibraryIsNamed) {
    try {
        ukey::Library library("/nowhere/library.so");
        FAIL() << "loaded";
    } catch (const ukey::LoadError& error) {
        EXPECT_THAT(error.what(), HasSubstr("/nowhere/library.so"));
    }
}

TEST(Loading, LibraryWithoutTheFunctionsIsRefused) {
    try {
        ukey::Library library("libm.so.6");
        FAIL() << "loaded";
    } catch (const ukey::LoadError& error) {
        EXPECT_THAT(error.what(), HasSubstr("Initialize"));
    }
}

TEST(Loading, KeysKeepTheLibraryOpen) {
    const ukey::Key key = OpenProduct().KeyOf(kSerialNumber);
    EXPECT_EQ(key.GetLabel(), "");
}
#endif

}  // namespace
