// The file, the masks and the comparison, on recordings made up.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <system_error>

#include "calls/call_table.h"
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

TEST(Masker, AShortSerialNumberIsNotLookedForInTexts) {
    Masker masker(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    masker.Render(Kind::kSerialNumber, "1234567");
    EXPECT_EQ(masker.Render(Kind::kText, "O=1234567"), "O=1234567");
    masker.Render(Kind::kSerialNumber, "ABCDEFGH");
    EXPECT_EQ(masker.Render(Kind::kText, "O=ABCDEFGH").find("ABCDEFGH"), std::string::npos);
}

TEST(Masker, EachPlaceWhereASerialNumberIsShownIsMasked) {
    Masker masker(calls::NewSalt(), Masker::SerialNumbers::kMasked);
    const std::string masked = masker.Render(Kind::kSerialNumber, "OR0123456789");
    EXPECT_EQ(masker.Render(Kind::kText, "OR0123456789OR0123456789"), masked + masked);
}

TEST(Masker, ASaltIsThirtyTwoHexadecimalDigits) {
    const std::string salt = calls::NewSalt();
    for (const std::string& wrong : {salt.substr(1), salt + "0", salt.substr(1) + "g"}) {
        EXPECT_THROW(Masker(wrong, Masker::SerialNumbers::kMasked), std::invalid_argument);
    }
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

TEST(Recording, AHeaderIsReadAsItWasWritten) {
    calls::Header header;
    header.salt = calls::NewSalt();
    header.serial_numbers = Masker::SerialNumbers::kShown;
    header.is_diffable = true;
    header.program = "client";
    header.started = "2026-11-21 09:05:07";
    const Recording read = calls::Read(calls::LineOf(header));
    EXPECT_EQ(read.header.salt, header.salt);
    EXPECT_EQ(read.header.serial_numbers, Masker::SerialNumbers::kShown);
    EXPECT_TRUE(read.header.is_diffable);
    EXPECT_EQ(read.header.program, "client");
    EXPECT_EQ(read.header.started, "2026-11-21 09:05:07");
    EXPECT_FALSE(read.header.is_trace);
    EXPECT_FALSE(read.is_cut);
}

TEST(Recording, NumbersGoAsFarAsTheyCanBeAddedUp) {
    calls::Header header;
    header.salt = calls::CommonSalt();
    const auto read = [&](const std::string& number) {
        return calls::Read(calls::LineOf(header) + R"({"call":)" + number +
                           R"(,"process":1,"thread":1,"entry":"GetMediaID","in":{}})" + "\n")
            .calls.at(0)
            .number;
    };
    EXPECT_EQ(read("9007199254740992"), int64_t{1} << 53);
    EXPECT_EQ(read("-9007199254740992"), -(int64_t{1} << 53));
    for (const char* const wrong : {"9007199254740993", "-9007199254740993", "1.5", "\"1\""}) {
        EXPECT_THROW(read(wrong), calls::Malformed) << wrong;
    }
}

TEST(Recording, ValuesAreNestedAsDeeplyAsARecordingsAre) {
    const auto nested = [](size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    EXPECT_NO_THROW(calls::ParsedLine(nested(17)));
    EXPECT_THROW(calls::ParsedLine(nested(18)), calls::Malformed);
}

TEST(Recording, CallsComeByProcessThreadAndNumber) {
    Call calls[] = {CallOf(2, "VerifyPIN"), CallOf(1, "VerifyPIN"), CallOf(1, "VerifyPIN"),
                    CallOf(1, "VerifyPIN")};
    calls[2].thread = 2;
    calls[3].process = 99;
    const Recording read = With({calls[0], calls[1], calls[2], calls[3]});
    std::vector<std::vector<int64_t>> order;
    for (const Call& call : read.calls) {
        order.push_back({call.process, call.thread, call.number});
    }
    EXPECT_THAT(order, testing::ElementsAre(
                           testing::ElementsAre(99, 1, 1), testing::ElementsAre(100, 1, 1),
                           testing::ElementsAre(100, 1, 2), testing::ElementsAre(100, 2, 1)));
}

TEST(Recording, ACallThatThrewOrNeverReturnedIsDescribedAsThat) {
    Call call = CallOf(1, "SetCachePinFlag");
    call.threw = true;
    EXPECT_EQ(calls::Describe(call), "SetCachePinFlag(flag=0) threw");
    call.threw = call.finished = call.has_code = false;
    EXPECT_EQ(calls::Describe(call), "SetCachePinFlag(flag=0) did not return");
    call.finished = true;
    EXPECT_EQ(calls::Describe(call), "SetCachePinFlag(flag=0)");
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
          // Its lower 32 bits are 1.
          {"{\"schema\":4294967297" + begin.substr(begin.find(',')), "a newer one"},
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

TEST(Diffable, CountsProcessesInTheOrderInWhichTheyBegan) {
    Call late = CallOf(1, "VerifyPIN");
    Call early = CallOf(1, "ChangePin");
    early.process = 200;
    early.start_us = late.start_us - 1;
    const Recording read = calls::Read(calls::Diffable(With({late, early})));
    ASSERT_EQ(read.calls.size(), 2U);
    EXPECT_EQ(read.calls[0].process, 1);
    EXPECT_THAT(calls::Describe(read.calls[0]), HasSubstr("ChangePin"));
    EXPECT_EQ(read.calls[1].process, 2);
}

TEST(Diffable, HasTheCallsOfAProcessTogetherThreadByThread) {
    Call calls[] = {CallOf(1, "VerifyPIN"), CallOf(2, "VerifyPIN"), CallOf(1, "VerifyPIN"),
                    CallOf(1, "VerifyPIN")};
    calls[1].thread = 2;
    calls[2].thread = 2;
    calls[3].process = 200;
    calls[3].start_us = 50;
    const std::string text = calls::Diffable(With({calls[3], calls[1], calls[2], calls[0]}));
    std::vector<std::vector<int64_t>> order;
    for (size_t at = text.find('\n') + 1; at < text.size(); at = text.find('\n', at) + 1) {
        const Call call =
            calls::CallFrom(calls::ParsedLine(text.substr(at, text.find('\n', at) - at)));
        order.push_back({call.process, call.thread, call.number});
    }
    EXPECT_THAT(order,
                testing::ElementsAre(testing::ElementsAre(1, 1, 1), testing::ElementsAre(1, 2, 2),
                                     testing::ElementsAre(1, 2, 3), testing::ElementsAre(2, 1, 1)));
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

TEST(CallTable, TellsTimesInMillisecondsAndTheCodeForPeopleAndScripts) {
    using Cell = cli::Table::Cell;
    Call call = CallOf(3, "VerifyPIN");
    call.start_us = 2000500;
    call.duration_us = 250;
    call.code = -401;
    const std::vector<Cell> row = calls::TableOf({call}).rows.at(0);
    const std::vector<Cell> front(row.begin(), row.end() - 1);
    EXPECT_THAT(front,
                testing::ElementsAre(Cell(int64_t{3}), Cell(), Cell(int64_t{100}), Cell(int64_t{1}),
                                     Cell(2000.5), Cell(0.25), Cell("0xFFFFFE6F"),
                                     Cell(int64_t{-401}), Cell("0xFFFFFE6F"), Cell("returned")));
}

TEST(CallTable, TellsHowACallEndedThatHasNoCode) {
    using Cell = cli::Table::Cell;
    constexpr size_t kAnswer = 6;
    constexpr size_t kCode = 7;
    constexpr size_t kOutcome = 9;
    Call threw = CallOf(1, "VerifyPIN");
    threw.threw = true;
    Call text = CallOf(2, "X_ErrorConvert_UOS");
    text.has_code = false;
    Call unfinished = CallOf(3, "VerifyPIN");
    unfinished.has_code = unfinished.finished = false;
    const auto rows = calls::TableOf({threw, text, unfinished}).rows;
    const char* const answers[] = {"threw", "-", "did not return"};
    const char* const outcomes[] = {"threw", "returned", "missing"};
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i][kAnswer], Cell(answers[i]));
        EXPECT_EQ(rows[i][kCode], Cell());
        EXPECT_EQ(rows[i][kOutcome], Cell(outcomes[i]));
    }
}

TEST(CallTable, TellsHowTheClientEnded) {
    Recording recording = With({});
    EXPECT_EQ(calls::EndOf(recording), "cut off: how the client ended is not in it");
    recording.end = {{"exit_status", 3}};
    EXPECT_EQ(calls::EndOf(recording), "ended with exit status 3");
    recording.end = {{"signal", 11}};
    EXPECT_EQ(calls::EndOf(recording), "ended by signal 11");
    recording.end = {};
    recording.header.is_trace = true;
    EXPECT_EQ(calls::EndOf(recording), "no call missed");
    recording.missed = 1;
    EXPECT_EQ(calls::EndOf(recording), "1 call missed");
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
