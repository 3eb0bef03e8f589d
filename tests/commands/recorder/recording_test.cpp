// The file, the masks and the comparison, on recordings made up.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <system_error>

#include "recorder/comparison.h"
#include "recorder/settings.h"

namespace {

using calls::Call;
using calls::Kind;
using calls::Masker;
using calls::Recording;
using testing::HasSubstr;

Call CallOf(int64_t number, const std::string& entry, const calls::Json& given = {{"flag", 0}}) {
    Call call;
    call.number = number;
    call.process = 100;
    call.thread = 1;
    call.start_us = number * 10;
    call.duration_us = 5;
    call.function = calls::IndexOf(entry);
    call.given = given;
    call.taken = calls::Json::object();
    return call;
}

Recording With(const std::vector<Call>& calls, const std::string& salt = calls::CommonSalt()) {
    calls::Header header;
    header.salt = salt;
    std::string text = calls::LineOf(header);
    for (const Call& call : calls) {
        text += calls::LineOf(call);
    }
    return calls::Read(text);
}

TEST(Masker, EqualTextsAreMaskedAlikeAndKeepTheirLengths) {
    Masker masker(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    for (size_t length = 0; length < 70; ++length) {
        const std::string text(length, 'x');
        const std::string masked = masker.Render(Kind::kSecret, text);
        EXPECT_EQ(masked.size(), length);
        EXPECT_EQ(masked, masker.Render(Kind::kSecret, text));
        EXPECT_EQ(masked, masker.Render(Kind::kSerialNumber, text));
    }
    EXPECT_NE(masker.Render(Kind::kSecret, "one text"), masker.Render(Kind::kSecret, "two text"));
}

TEST(Masker, AnotherSaltMasksOtherwise) {
    Masker one(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    Masker other(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    EXPECT_NE(one.Render(Kind::kSecret, "a secret text"),
              other.Render(Kind::kSecret, "a secret text"));
}

// Recordings that were made with the same salt are compared, whenever they were made.
TEST(Masker, TheLettersOfATextStayWhatTheyAre) {
    Masker masker(calls::CommonSalt(), Masker::SerialNumbers::kMasked);
    EXPECT_EQ(masker.Render(Kind::kSecret, "ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefgh"),
              "fprxndwtckpyupxecusulxnhrexlwrfkdplhxrru");
}

// Each block costs as much as the one before, also in what a client signs by the megabyte: it would
// take hours.
TEST(Masker, ATextOfMegabytesIsMasked) {
    Masker masker(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    const std::string text(size_t{8} << 20, 'x');
    EXPECT_EQ(masker.Render(Kind::kSecret, text).size(), text.size());
}

TEST(Masker, WhatTheDeviceRecordHoldsOfALongSerialNumberAgrees) {
    Masker masker(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    const std::string whole = "OR0123456789ABCDEF";
    EXPECT_EQ(masker.Render(Kind::kSerialNumber, whole).substr(0, 16),
              masker.Render(Kind::kSerialNumber, whole.substr(0, 16)));
}

TEST(Masker, ASerialNumberIsMaskedInsideTextsToo) {
    Masker masker(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    const std::string masked = masker.Render(Kind::kSerialNumber, "OR0123456789");
    EXPECT_EQ(masker.Render(Kind::kText, "CN=OR0123456789,O=x"), "CN=" + masked + ",O=x");
}

TEST(Recording, ALineIsReadAsItWasWritten) {
    Call call = CallOf(3, "GetData", {{"serial_number", "abc"}, {"index", 1}});
    call.taken = {{"data", "text"}};
    call.code = -404;
    const Recording read = With({call});
    ASSERT_EQ(read.calls.size(), 1U);
    EXPECT_EQ(calls::LineOf(read.calls[0]), calls::LineOf(call));
    EXPECT_EQ(calls::Describe(call),
              R"(GetData(serial_number="abc", index=1) = -404, data="text")");
}

TEST(Recording, ACutLastLineIsLeftOut) {
    calls::Header header;
    header.salt = calls::CommonSalt();
    const std::string text =
        calls::LineOf(header) + calls::LineOf(CallOf(1, "VerifyPIN")) + R"({"call":2,"proc)";
    const Recording recording = calls::Read(text);
    EXPECT_TRUE(recording.is_cut);
    EXPECT_EQ(recording.calls.size(), 1U);
    EXPECT_TRUE(recording.end.is_null());
}

TEST(Recording, WhatIsNoneSaysWhichLine) {
    calls::Header header;
    header.salt = calls::CommonSalt();
    const std::string begin = calls::LineOf(header);
    for (const auto& [text, line] :
         {std::pair<std::string, const char*>{"", "empty"},
          {"hello\n", "line 1"},
          {"{\"schema\":2,\"kind\":\"recording\"}\n", "line 1"},
          {begin + "{}\n", "line 2"},
          {begin + "{\"end\":{\"exit\":0}}\n", "line 2"},
          {begin + "{\"end\":3}\n", "line 2: \"end\" has no fields"},
          {begin + "{\"missed\":1e300}\n", "line 2: 1e+300 is no number"},
          {begin + "{\"end\":" + std::string(100000, '[') + "\n",
           "line 2: it is nested too deeply"},
          {begin + "{\"call\":1,\"process\":1,\"thread\":1,"
                   "\"entry\":\"Nothing\",\"in\":{}}\n",
           "line 2: there is no entry Nothing"}}) {
        try {
            calls::Read(text);
            ADD_FAILURE() << text;
        } catch (const calls::Malformed& error) {
            EXPECT_THAT(error.what(), HasSubstr(line));
        }
    }
}

// A folder can be opened as a file can, and not be read.
TEST(Recording, AFileThatCannotBeReadToItsEndIsRefused) {
    EXPECT_THROW(recorder::ContentsOf("."), std::system_error);
}

TEST(Diffable, ADiffableRecordingOfSeveralProcessesStaysAsItIs) {
    Call first = CallOf(1, "VerifyPIN");
    Call second = CallOf(1, "ChangePin");
    second.process = 200;
    second.start_us = 20;
    const std::string text = Diffable(With({first, second}));
    EXPECT_EQ(Diffable(calls::Read(text)), text);
}

TEST(Diffable, TheSameWorkOfOtherProcessesAtOtherTimesGivesTheSameText) {
    Call early = CallOf(1, "VerifyPIN");
    Call late = CallOf(2, "ChangePin");
    const std::string once = calls::Diffable(With({early, late}));
    for (Call* const call : {&early, &late}) {
        call->process = 4711;
        call->start_us += 1000000;
        call->duration_us *= 3;
    }
    Call idle = CallOf(2, "VexaT_WaitForEvent");
    idle.process = 4711;
    idle.start_us = early.start_us + 1;
    idle.code = 5;
    late.number = 3;
    EXPECT_EQ(calls::Diffable(With({early, idle, late})), once);
}

TEST(Comparison, TellsWhatWasPutInAndTakenOut) {
    const Recording first =
        With({CallOf(1, "VerifyPIN"), CallOf(2, "ChangePin"), CallOf(3, "GetMediaID")});
    const Recording second =
        With({CallOf(1, "VerifyPIN"), CallOf(2, "GetMediaID"), CallOf(3, "GM_RemoveUserPin")});
    const auto changes = recorder::Compare(first, second);
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].side, recorder::Change::Side::kOnlyFirst);
    EXPECT_THAT(calls::Describe(changes[0].call), HasSubstr("ChangePin"));
    EXPECT_EQ(changes[1].side, recorder::Change::Side::kOnlySecond);
    EXPECT_THAT(calls::Describe(changes[1].call), HasSubstr("GM_RemoveUserPin"));
    EXPECT_TRUE(recorder::Compare(first, first).empty());
}

TEST(Comparison, OtherMasksAreNoDifferenceButOtherLengthsAre) {
    const std::string salt = calls::NewSalt();
    const Recording first = With({CallOf(1, "VerifyPIN", {{"serial_number", "abcdefgh"}})}, salt);
    const Recording second = With({CallOf(1, "VerifyPIN", {{"serial_number", "ijklmnop"}})});
    const Recording third = With({CallOf(1, "VerifyPIN", {{"serial_number", "ijklmno"}})});
    EXPECT_TRUE(recorder::Compare(first, second).empty());
    EXPECT_EQ(recorder::Compare(first, third).size(), 2U);
    EXPECT_EQ(recorder::Compare(second, third).size(), 2U);
}

TEST(ChromeTrace, HasACompleteEventForEachCall) {
    const auto trace = nlohmann::json::parse(
        recorder::ChromeTrace(With({CallOf(1, "VerifyPIN"), CallOf(2, "VexaT_ContextInit")})));
    ASSERT_EQ(trace["traceEvents"].size(), 2U);
    const auto& event = trace["traceEvents"][0];
    EXPECT_EQ(event["ph"], "X");
    EXPECT_EQ(event["name"], "VerifyPIN");
    EXPECT_EQ(event["ts"], 10);
    EXPECT_EQ(event["dur"], 5);
    EXPECT_EQ(event["pid"], 100);
    EXPECT_EQ(event["tid"], 1);
    EXPECT_EQ(trace["traceEvents"][1]["cat"], "token");
}

Recording Trace(const std::vector<Call>& calls) {
    calls::Header header;
    header.salt = calls::NewSalt();
    header.serial_numbers = Masker::SerialNumbers::kShown;
    calls::Json first = {{"verb", "trace"}};
    first.update(calls::FieldsOf(header));
    std::string text = first.dump() + "\n";
    for (const Call& call : calls) {
        text += calls::LineOf(call);
    }
    return calls::Read(text + calls::FieldsOfMissed(7).dump() + "\n");
}

TEST(Trace, IsReadWithWhatItTellsBeside) {
    Call call = CallOf(1, "VexaT_WaitForEvent");
    call.program = "client";
    call.times = 12;
    call.fault = true;
    const Recording read = Trace({call});
    EXPECT_TRUE(read.header.is_trace);
    EXPECT_EQ(read.missed, 7);
    ASSERT_EQ(read.calls.size(), 1U);
    EXPECT_EQ(calls::LineOf(read.calls[0]), calls::LineOf(call));
    EXPECT_THAT(calls::Describe(read.calls[0]),
                testing::EndsWith(", as softkey fault ordered, 12 times"));
}

TEST(Trace, IsComparedWithARecordingByWhatBothTell) {
    const std::string text(calls::kLongestInTrace + 1000, 'A');
    Call whole =
        CallOf(1, "GMWritePKCS7", {{"serial_number", "wxyzwxyzwxyzwxyz"}, {"pkcs7", text}});
    Call cut = whole;
    cut.program = "client";
    cut.given["serial_number"] = "OR0123456789ABCD";
    cut.given["pkcs7"] = {{"text", text.substr(0, calls::kLongestInTrace)},
                          {"length", text.size()}};
    EXPECT_TRUE(recorder::Compare(With({whole}), Trace({cut})).empty());
    cut.given["pkcs7"]["length"] = text.size() + 1;
    EXPECT_EQ(recorder::Compare(With({whole}), Trace({cut})).size(), 2U);
}

}  // namespace
