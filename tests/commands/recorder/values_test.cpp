// Arguments as a recording has them, and what a call left behind them.
#include "calls/values.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

using calls::Before;
using calls::Json;
using calls::Masker;
using calls::Passed;

constexpr size_t kLongest = 8;
constexpr int64_t kFailure = 7;

const calls::Function& FunctionOf(const char* entry) {
    return calls::kFunctions[calls::IndexOf(entry)];
}

class Values : public testing::Test {
 protected:
    // What is written down of a text that a client hands over.
    Json Given(const char* text) {
        Passed arguments[] = {0, calls::Pack(text)};
        return calls::Given(FunctionOf("SetLabel"), arguments, &masker_)["second"];
    }

    // What is written down of a buffer that a call has filled to its end, without a terminator.
    Json Filled(std::string bytes) {
        char* const buffer = bytes.data();
        auto length = static_cast<int32_t>(bytes.size());
        int32_t* const told = &length;
        Passed arguments[] = {0, 1, 0, calls::Pack(buffer), calls::Pack(told)};
        return Before(FunctionOf("GetCertInfo"), arguments).Taken(0, masker_)["certificate"];
    }

    Masker masker_{calls::CommonSalt(), Masker::SerialNumbers::kShown, kLongest};
};

TEST_F(Values, ATextIsWholeUpToTheLongestAndThenItsBeginningAndItsLength) {
    EXPECT_EQ(Given(""), "");
    EXPECT_EQ(Given("12345678"), "12345678");
    EXPECT_EQ(Given("123456789"), Json({{"text", "12345678"}, {"length", 9}}));
}

TEST_F(Values, ATextsBeginningEndsBetweenCharacters) {
    EXPECT_EQ(Given("1234567\xC3\xA9"), Json({{"text", "1234567"}, {"length", 9}}));
    EXPECT_EQ(Given("12345\xF0\x9F\x98\x80"), Json({{"text", "12345"}, {"length", 9}}));
    EXPECT_EQ(Given("123456\xC3\xA9."), Json({{"text", "123456\xC3\xA9"}, {"length", 9}}));
}

TEST_F(Values, ATextThatIsNoUtf8IsBytesWithItsTerminator) {
    EXPECT_EQ(Given("\xB2\xE2"), Json({{"bytes", "b2e200"}}));
}

TEST_F(Values, BytesAreWholeUpToTheLongestAndThenTheirBeginningAndTheirLength) {
    EXPECT_EQ(Filled("12345678"), Json({{"bytes", "3132333435363738"}}));
    EXPECT_EQ(Filled("123456789"), Json({{"bytes", "3132333435363738"}, {"length", 9}}));
}

TEST_F(Values, ARequestIsGivenFieldByField) {
    RequestEntry entry = {};
    entry.certType = 1;
    entry.keyType = 2;
    entry.hashType = 3;
    entry.merged = 1;
    RequestEntry* const given = &entry;
    Passed arguments[] = {0, calls::Pack(given), 0, 1, 0, 0};
    EXPECT_EQ(
        calls::Given(FunctionOf("GMCreatePKCS10Ex"), arguments, &masker_)["entry"],
        Json({{"cert_type", 1}, {"key_type", 2}, {"hash_type", 3}, {"merged", entry.merged}}));
}

class SlotList : public Values {
 protected:
    uint32_t slots_[maker::kSlotArrayRoom + 1] = {};
    uint32_t count_ = 0;
    uint32_t* list_ = slots_;
    uint32_t* number_ = &count_;
    Passed arguments_[3] = {1, calls::Pack(list_), calls::Pack(number_)};
    Before before_{FunctionOf("VexaT_GetSlotList"), arguments_};
};

TEST_F(SlotList, IsTakenAsFarAsItGoesWhateverTheCountSays) {
    count_ = 2;
    EXPECT_EQ(before_.Taken(0, masker_)["slots"].size(), 2U);
    count_ = maker::kSlotArrayRoom + 1;
    EXPECT_EQ(before_.Taken(0, masker_)["slots"].size(), maker::kSlotArrayRoom);
    EXPECT_FALSE(before_.Taken(kFailure, masker_).contains("slots"));
}

TEST_F(SlotList, IsPutBackAsFarAsItGoes) {
    const auto put = [this](size_t count) {
        return before_.Put(Json{{"slots", std::vector<uint32_t>(count, 9)}});
    };
    EXPECT_TRUE(put(maker::kSlotArrayRoom));
    EXPECT_FALSE(put(maker::kSlotArrayRoom + 1));
    EXPECT_EQ(slots_[maker::kSlotArrayRoom - 1], 9U);
    EXPECT_EQ(slots_[maker::kSlotArrayRoom], 0U);
}

// The product hands over a buffer of its own, whatever length its client tells.
TEST_F(Values, ASignatureHasTwiceTheRoomOfItsTextAndFourKibibytes) {
    constexpr size_t kRoom = (4 + 4096) * 2;
    const char* const data = "text";
    std::string buffer(kRoom + 1, 'S');
    char* const signature = buffer.data();
    int32_t length = 1;
    int32_t* const told = &length;
    Passed arguments[] = {0, 1, 0, calls::Pack(data), 0, calls::Pack(signature), calls::Pack(told)};
    const Before before(FunctionOf("GMUsbKeyCommonSign"), arguments);
    length = kRoom + 1;
    Masker whole(calls::CommonSalt(), Masker::SerialNumbers::kShown);
    EXPECT_EQ(before.Taken(0, whole)["signature"]["bytes"].get<std::string>().size(), 2 * kRoom);
    length = -1;
    EXPECT_EQ(before.Taken(0, whole)["signature"], Json({{"bytes", ""}}));
    const auto put = [&before](size_t size) {
        return before.Put(Json{{"signature", std::string(size, 'T')}});
    };
    EXPECT_TRUE(put(kRoom - 1));
    EXPECT_FALSE(put(kRoom));
    EXPECT_EQ(buffer.substr(kRoom - 2), std::string("T\0S", 3));
}

// What is told of a buffer whose length is the next argument's is what that said before the call.
TEST_F(Values, ABufferHasTheRoomThatItsClientTells) {
    char buffer[] = "abcdefgh";
    char* const certificate = buffer;
    int32_t length = 4;
    int32_t* const told = &length;
    Passed arguments[] = {0, 1, 0, calls::Pack(certificate), calls::Pack(told)};
    const calls::Function& function = FunctionOf("GetCertInfo");
    const Before before(function, arguments);
    length = 6;
    EXPECT_EQ(before.Taken(0, masker_),
              Json({{"certificate", {{"bytes", "61626364"}}}, {"length", 6}}));
    EXPECT_TRUE(before.Put(Json{{"certificate", "123"}, {"length", 3}}));
    EXPECT_FALSE(before.Put(Json{{"certificate", "1234"}}));
    EXPECT_STREQ(buffer, "123");
    EXPECT_EQ(length, 3);
    length = -1;
    EXPECT_FALSE(Before(function, arguments).Put(Json{{"certificate", ""}}));
}

// Recordings are edited by hand.
TEST_F(Values, WhatAFunctionHasNoArgumentForIsPutNowhere) {
    char text[] = "untouched";
    char* const behind = text;
    Passed arguments[] = {0, calls::Pack(behind)};
    const Before before(FunctionOf("VerifyPIN"), arguments);
    EXPECT_TRUE(before.Put(Json{{"other", "x"}, {"", "x"}}));
    EXPECT_STREQ(text, "untouched");
}

// A wait that fails may have left the record as the client had it.
TEST_F(Values, AnEventIsToldWhereTheWaitSucceededOrChangedTheRecord) {
    VEXA_EVENT_INFO event = {};
    event.u32EventKind = 1;
    event.ei.slotEvent.u32SlotID = 3;
    VEXA_EVENT_INFO* const record = &event;
    Passed arguments[] = {1, 0, calls::Pack(record), 0};
    const Before before(FunctionOf("VexaT_WaitForEvent"), arguments);
    EXPECT_EQ(before.Taken(0, masker_)["event"], Json({{"kind", 1}, {"slot", 3}}));
    EXPECT_FALSE(before.Taken(kFailure, masker_).contains("event"));
    event.u32EventKind = 2;
    EXPECT_EQ(before.Taken(kFailure, masker_)["event"], Json({{"kind", 2}, {"slot", 3}}));
    event.u32EventKind = 1;
    event.ei.slotEvent.u32SlotID = 4;
    EXPECT_EQ(before.Taken(kFailure, masker_)["event"], Json({{"kind", 1}, {"slot", 4}}));
}

TEST_F(Values, ADeviceIsToldWhereTheCallSucceededOrChangedTheRecord) {
    _S_DEV_CONFIG device = {};
    std::memcpy(device.mediaId, "OR00000000000001", maker::kMediaIdRoom);
    _S_DEV_CONFIG* const record = &device;
    Passed arguments[] = {0, 0, calls::Pack(record)};
    const Before before(FunctionOf("VexaT_GetDeviceInfo"), arguments);
    EXPECT_EQ(before.Taken(0, masker_)["config"], Json({{"media_id", "OR00000000000001"}}));
    EXPECT_FALSE(before.Taken(kFailure, masker_).contains("config"));
    device.mediaId[maker::kMediaIdRoom - 1] = '2';
    EXPECT_EQ(before.Taken(kFailure, masker_)["config"], Json({{"media_id", "OR00000000000002"}}));
}

}  // namespace
