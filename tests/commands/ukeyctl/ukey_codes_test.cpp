// The wrapper's names of codes and its conditions, against the catalogue and the software key's
// own names.

#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <regex>

#include "codes/catalogue.h"
#include "ukey/errors.hpp"

namespace {

// "kName = 0x0A000001," in a header.
std::map<std::string, int32_t> NamesIn(const char* path) {
    const std::regex enumerator("^ +(k[A-Za-z0-9]+) = (0x[0-9A-F]+),$");
    std::ifstream header(path);
    std::map<std::string, int32_t> names;
    for (std::string line; std::getline(header, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, enumerator)) {
            names[parts[1]] = static_cast<int32_t>(std::stoul(parts[2], nullptr, 16));
        }
    }
    return names;
}

std::vector<int32_t> CodesOfTheWrapper() {
    std::vector<int32_t> codes{
        static_cast<int32_t>(ukey::Errc::kTextOutOfMemory),
        static_cast<int32_t>(ukey::Errc::kTextMalformed),
        ORVAL_BACKEND_UNAVAILABLE,
        ORVAL_NOT_INITIALIZED,
        ORVAL_UNSUPPORTED,
        ORVAL_INVALID_ARGUMENT,
        ORVAL_BUFFER_TOO_SMALL,
    };
    for (const auto& [name, code] : NamesIn(UKEY_CODES_PATH)) {
        codes.push_back(code);
    }
    return codes;
}

TEST(UkeyCodes, AreThoseOfTheCatalogue) {
    std::vector<int32_t> catalogue;
    for (const codes::Row& row : codes::All()) {
        if (row.code != ORVAL_OK) {
            catalogue.push_back(row.code);
        }
    }
    EXPECT_THAT(CodesOfTheWrapper(), testing::UnorderedElementsAreArray(catalogue));
}

TEST(UkeyCodes, HaveTheNamesThatTheSoftwareKeyGivesThem) {
    std::map<std::string, int32_t> named = NamesIn(UKEY_CODES_PATH);
    // These two names are the product's codes in the wrapper.
    named["kBufferTooSmall"] = static_cast<int32_t>(ukey::Errc::kKeyBufferTooSmall);
    named["kNotInitialized"] = static_cast<int32_t>(ukey::Errc::kNotLoggedIn);
    const std::map<std::string, int32_t> own = NamesIn(SOFTKEY_CODES_PATH);
    EXPECT_GE(own.size(), 40U);
    EXPECT_THAT(own, testing::Each(testing::AnyOfArray(named)));
}

// A command's exit status and the wrapper's condition tell the same of a code.
TEST(UkeyCodes, MeetTheConditionOfTheirExitStatus) {
    using cli::ExitStatus;
    using ukey::Condition;
    const std::map<ExitStatus, Condition> conditions = {
        {ExitStatus::kNoKey, Condition::kNoKey},
        {ExitStatus::kPinWrong, Condition::kPinWrong},
        {ExitStatus::kPinLocked, Condition::kPinLocked},
        {ExitStatus::kDeclined, Condition::kCancelled},
        {ExitStatus::kTooSmall, Condition::kTooSmall},
    };
    for (const codes::Row& row : codes::All()) {
        const auto found = conditions.find(row.status);
        EXPECT_EQ(ukey::ConditionOf(row.code),
                  found == conditions.end() ? Condition::kNone : found->second)
            << row.code;
    }
}

}  // namespace
