// What of a log others may see.

#include <gmock/gmock.h>

#include <random>

#include "logs/scrub.h"
#include "made_log.h"

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kSerialNumber = "OR6F1C31D1B4C0A2";
constexpr const char* kSerialNumberInHex =
    "4F52364631433331443142344330413"
    "2";
constexpr const char* kKeyText = "0001000300AABBCCDDEEFF";

const std::string kTelling =
    At9("GetPrintNumber", "Begin pnSNLen = 00000020") +
    At9("GetPrintNumber", std::string("m_SN: ") + kSerialNumber) +
    At9("GetPrintNumber", "End G_LastError: 00000000") + At9("ChangePin", "Begin") +
    At9("szSN:", kSerialNumberInHex) + At9("ChangePin", "End G_LastError: 0A000001") +
    At9("CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", std::string("strPriKeyTemp:") + kKeyText) +
    At9("CKPXUSBKey::Batch_ImportX509Cert",
        std::string("begin, strP7: SignCert(QUJD)|EncPriKey(") + kKeyText + ")") +
    At9("CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:",
        std::string("strPriKeyTemp:") + kKeyText) +
    At9("Batch_InitAndGenerateCertRequest", std::string("Begin szSN = ") + kSerialNumber +
                                                ",requestInfo = CertType(1)KeyType(2)HashType(3)");

void ExpectNoSecret(const std::string& text) {
    for (const char* secret : {kSerialNumber, kSerialNumberInHex, kKeyText, "QUJD"}) {
        EXPECT_THAT(text, Not(HasSubstr(secret)));
    }
}

TEST(Masks, NoSecretIsInACall) {
    for (const logs::Call& call : CallsOf(kTelling)) {
        for (const logs::Detail& detail : call.details) {
            ExpectNoSecret(detail.value);
        }
    }
}

TEST(Masks, UnmaskedTextsAreAsTheyWere) {
    const std::vector<logs::Call> calls = CallsOf(kTelling, logs::Secrets::kShown);
    EXPECT_EQ(DetailOf(calls[0], "serial_number"), kSerialNumber);
    EXPECT_EQ(DetailOf(calls[1], "serial_number"), kSerialNumber);
    EXPECT_EQ(DetailOf(calls[2], "key_text"), kKeyText);
}

TEST(Masks, OneKeyHasOneMaskInWhateverRecord) {
    const std::vector<logs::Call> calls =
        CallsOf(kTelling + At9("GetPrintNumber", "m_SN: OR00000000000000"));
    EXPECT_EQ(DetailOf(calls[0], "serial_number"), "SN#1");
    EXPECT_EQ(DetailOf(calls[1], "serial_number"), "SN#1");
    EXPECT_EQ(DetailOf(calls[2], "key_text"), DetailOf(calls[3], "key_text"));
    EXPECT_EQ(DetailOf(calls.back(), "serial_number"), "SN#2");
}

TEST(Masks, ADescriptionOfAnotherFormIsMasked) {
    const auto shown = [](const std::string& description) {
        return DetailOf(CallsOf(At9("Batch_InitAndGenerateCertRequest",
                                    "Begin szSN = A,requestInfo = " + description))
                            .at(0),
                        "request");
    };
    EXPECT_EQ(shown("CertType(1)|KeyType(2)"), "CertType(1)|KeyType(2)");
    EXPECT_EQ(shown("CertType(12345678)"), "TEXT#1 (18 characters)");
    EXPECT_EQ(shown("Pin(1)"), "TEXT#1 (6 characters)");
}

TEST(Masks, WhatFollowsTheVersionInACallersBufferIsMasked) {
    const auto shown = [](const std::string& buffer) {
        return DetailOf(CallsOf(At9("GetDllVersion", "pszVersion: " + buffer)).at(0), "version");
    };
    EXPECT_EQ(shown("9.2025.0731.3"), "9.2025.0731.3");
    EXPECT_EQ(shown("9.2025.0731.3secret"), "9.2025.0731.3 TEXT#1 (6 characters)");
    EXPECT_EQ(shown("9.2025.0731.312345678"), "9.2025.0731.3 TEXT#1 (8 characters)");
}

TEST(Scrub, MasksInPlaceAndMovesNothing) {
    const std::string masked = logs::Scrubbed(kTelling);
    EXPECT_EQ(masked.size(), kTelling.size());
    ExpectNoSecret(masked);
    EXPECT_THAT(masked, HasSubstr("[m_SN: SN#1************]"));
    EXPECT_THAT(masked, HasSubstr("[Begin szSN = SN#1************,requestInfo = "
                                  "CertType(1)KeyType(2)HashType(3)]"));
    EXPECT_THAT(masked, HasSubstr("[End G_LastError: 0A000001]"));
}

// A caller may have put anything into what looks like a number, but no more than a number has.
TEST(Scrub, LeavesTheLibrarysOwnNumbersAndNoLongerOnes) {
    struct {
        const char* name;
        const char* opening;
        const char* number;
        const char* longer;
    } const cases[] = {
        {"SKF_WaitForDevEvent", "end, G_LastError = ", "-2147483648, line = 616",
         "-2147483648, line = 6160"},
        {"SKF_WaitForDevEvent", "end, G_LastError = ", "-2147483648, line = 616",
         "-21474836480, line = 616"},
        {"VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ",
         " event.ei.slotEvent.u32SlotID = ", "3, line = 600", "3, line = x"},
        {"Batch_ImportX509Cert", "end, err: ", "-2147483648", "-21474836480"},
        {"CGMUsbKeyCommonEx", "end, err: ", "7, Cert GMWritePKCS7 error.",
         "7, Cert GMWritePKCS7 error.."},
        {"GetDllVersion", "Begin pnVersionLen = ", "0000001F", "0000001F0"},
        {"ChangePin", "End G_LastError: ", "0A000001", "0A00000G"},
    };
    for (const auto& [name, opening, number, longer] : cases) {
        const std::string plain = At9(name, std::string(opening) + number);
        EXPECT_EQ(logs::Scrubbed(plain), plain);
        EXPECT_THAT(logs::Scrubbed(At9(name, std::string(opening) + longer)),
                    testing::AllOf(HasSubstr("TEXT#1"), Not(HasSubstr(longer))));
    }
}

TEST(Scrub, AMaskedLogTellsTheSameCallsAndIsLeftAsItIs) {
    const std::string masked = logs::Scrubbed(kTelling);
    const std::vector<logs::Call> before = CallsOf(kTelling);
    const std::vector<logs::Call> after = CallsOf(masked);
    ASSERT_EQ(before.size(), after.size());
    for (size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(before[i].function, after[i].function);
        EXPECT_EQ(before[i].code, after[i].code);
        EXPECT_EQ(DetailOf(before[i], "serial_number"), DetailOf(after[i], "serial_number"));
    }
    EXPECT_EQ(logs::Scrubbed(masked), masked);
}

TEST(Scrub, ANewKeyInAMaskedLogGetsAMaskOfItsOwn) {
    const std::string masked =
        logs::Scrubbed(logs::Scrubbed(kTelling) + At9("GetPrintNumber", "m_SN: OR00000000000000"));
    EXPECT_THAT(masked, HasSubstr("m_SN: SN#2************"));
}

TEST(Scrub, ATextTooShortForAMaskIsFilled) {
    EXPECT_EQ(logs::Scrubbed(At9("GetPrintNumber", "m_SN: AB")), At9("GetPrintNumber", "m_SN: **"));
}

TEST(Scrub, MasksPartsOfARecordThatOthersInterrupt) {
    const std::string text = "begin, strP7: " + std::string(20000, 'S');
    const std::string lengthy = At9("CKPXUSBKey::Batch_ImportX509Cert", text);
    const std::string other = At9("GetDllVersion", "Begin pnVersionLen = 00000014", {7, 7});
    const std::string masked =
        logs::Scrubbed(lengthy.substr(0, 16384) + other + lengthy.substr(16384) + other);
    EXPECT_THAT(masked, Not(HasSubstr("SS")));
    EXPECT_THAT(masked, HasSubstr(other + "**"));
}

// However a log is damaged, what is left of a secret's beginning cannot be read in it: a record is
// masked by its form, and what has none as a whole.
TEST(Scrub, NoSecretIsLeftInADamagedLog) {
    const auto seed = std::random_device{}();
    std::mt19937 random(seed);
    for (int round = 0; round < 3000; ++round) {
        std::string log = kTelling + kTelling;
        for (int i = 0; i < 3; ++i) {
            const size_t at = random() % log.size();
            switch (random() % 3) {
                case 0:
                    log.erase(at, random() % 100);
                    break;
                case 1:
                    log[at] = static_cast<char>(random());
                    break;
                default:
                    log.insert(at, kTelling, random() % kTelling.size(), random() % 100);
            }
        }
        SCOPED_TRACE(seed);
        const std::string masked = logs::Scrubbed(log);
        ASSERT_EQ(masked.size(), log.size());
        ExpectNoSecret(masked);
        if (HasFailure()) {
            return;
        }
    }
}

}  // namespace
