// What a client gets of orval_lint.h, from the shared library.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "orval_lint.h"

namespace {

constexpr uint32_t kBoth = ORVAL_LINT_GENERATE_CERT_REQUEST | ORVAL_LINT_BATCH_INIT_AND_GENERATE;
constexpr const char* kSound = "CertType(1)KeyType(2)HashType(3)";
constexpr const char* kThreeFindings = "||CertType(x)KeyType(12)HashType(3)";
constexpr unsigned char kUntouched = 0xA5;

std::vector<OrvalLintFinding> Untouched(size_t room) {
    std::vector<OrvalLintFinding> findings(room);
    std::memset(static_cast<void*>(findings.data()), kUntouched, room * sizeof(OrvalLintFinding));
    return findings;
}

bool IsUntouched(const OrvalLintFinding& finding) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&finding);
    return std::all_of(bytes, bytes + sizeof(finding),
                       [](unsigned char byte) { return byte == kUntouched; });
}

TEST(OrvalLintRequest, GivesTheVerdict) {
    EXPECT_EQ(OrvalLintRequest(kSound, kBoth, nullptr, 0, nullptr), ORVAL_LINT_SOUND);
    EXPECT_EQ(OrvalLintRequest(kThreeFindings, kBoth, nullptr, 0, nullptr), ORVAL_LINT_SUSPICIOUS);
    EXPECT_EQ(OrvalLintRequest("CertType(1)HashType", kBoth, nullptr, 0, nullptr),
              ORVAL_LINT_REFUSED);
}

TEST(OrvalLintRequest, CountsAllFindingsWhateverTheRoom) {
    for (size_t room = 0; room <= 5; ++room) {
        std::vector<OrvalLintFinding> findings = Untouched(6);
        size_t count = 99;
        EXPECT_EQ(OrvalLintRequest(kThreeFindings, ORVAL_LINT_GENERATE_CERT_REQUEST,
                                   findings.data(), room, &count),
                  ORVAL_LINT_SUSPICIOUS);
        EXPECT_EQ(count, 3U);
        for (size_t i = 0; i < findings.size(); ++i) {
            EXPECT_EQ(IsUntouched(findings[i]), i >= std::min<size_t>(room, 3)) << room << " " << i;
        }
    }
}

TEST(OrvalLintRequest, TellsPlaceExpectationAndEffect) {
    OrvalLintFinding found = {};
    size_t count = 0;
    EXPECT_EQ(OrvalLintRequest("CertType(1)KeyTpye(2)HashType(3)", kBoth, &found, 1, &count),
              ORVAL_LINT_REFUSED);
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(found.nSeverity, ORVAL_LINT_REFUSED);
    EXPECT_EQ(found.nCalls, kBoth);
    EXPECT_EQ(found.nEffect, ORVAL_LINT_REFUSES);
    EXPECT_EQ(found.nRecord, 1U);
    EXPECT_EQ(found.nOffset, 11U);
    EXPECT_EQ(found.nLength, 7U);
    EXPECT_EQ(found.nLine, 1U);
    EXPECT_EQ(found.nColumn, 12U);
    EXPECT_EQ(found.nByteColumn, 12U);
    EXPECT_STREQ(found.szRule, "unknown-field");
    EXPECT_STREQ(found.szFound, "KeyTpye");
    EXPECT_STREQ(found.szExpected, "CertType, KeyType or HashType");
    EXPECT_STREQ(found.szMessage, "\"KeyTpye\" is no field");
    EXPECT_STREQ(found.szDoes, "refuses the call with -401");
    EXPECT_STREQ(found.szSuggestion, "KeyType");
}

TEST(OrvalLintRequest, TellsWhatIsTaken) {
    OrvalLintFinding found = {};
    OrvalLintRequest("CertType(x)KeyType(2)HashType(3)", kBoth, &found, 1, nullptr);
    EXPECT_EQ(found.nEffect, ORVAL_LINT_TAKES);
    EXPECT_EQ(found.nValue, 72);
    EXPECT_STREQ(found.szDoes, "silently takes 72");
}

TEST(OrvalLintRequest, GoesByTheFunctionThatIsMeant) {
    const std::string four = std::string(kSound) + "|HashType(4)|HashType(5)|HashType(6)";
    size_t count = 99;
    EXPECT_EQ(OrvalLintRequest(four.c_str(), ORVAL_LINT_GENERATE_CERT_REQUEST, nullptr, 0, &count),
              ORVAL_LINT_SOUND);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(
        OrvalLintRequest(four.c_str(), ORVAL_LINT_BATCH_INIT_AND_GENERATE, nullptr, 0, &count),
        ORVAL_LINT_REFUSED);
    EXPECT_EQ(count, 1U);
}

TEST(OrvalLintRequest, CutsALongTextWhereACharacterEnds) {
    std::string name;
    while (name.size() < 300) {
        name += "\xE9\x94\xAE";
    }
    OrvalLintFinding found = {};
    OrvalLintRequest((name + "(1)").c_str(), kBoth, &found, 1, nullptr);
    EXPECT_EQ(std::string(found.szFound), name.substr(0, 63));
    EXPECT_EQ(found.nLength, name.size());
}

TEST(OrvalLintRequest, RefusesWhatItCannotWorkWith) {
    OrvalLintFinding found = {};
    size_t count = 99;
    EXPECT_EQ(OrvalLintRequest(nullptr, kBoth, &found, 1, &count), ORVAL_LINT_INVALID_ARGUMENT);
    EXPECT_EQ(OrvalLintRequest(kSound, kBoth, nullptr, 1, &count), ORVAL_LINT_INVALID_ARGUMENT);
    EXPECT_EQ(OrvalLintRequest(kSound, 0, &found, 1, &count), ORVAL_LINT_INVALID_ARGUMENT);
    EXPECT_EQ(OrvalLintRequest(kSound, ORVAL_LINT_BATCH_IMPORT, &found, 1, &count),
              ORVAL_LINT_INVALID_ARGUMENT);
    EXPECT_EQ(count, 99U);
}

TEST(OrvalLintPackage, GivesTheVerdictAndFindings) {
    OrvalLintFinding found = {};
    size_t count = 0;
    EXPECT_EQ(OrvalLintPackage("SignCert(X)|EncCert(Z)", nullptr, 0, &count), ORVAL_LINT_SOUND);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(OrvalLintPackage("signcert(X)|EncCert(Z)", &found, 1, &count), ORVAL_LINT_SUSPICIOUS);
    EXPECT_STREQ(found.szRule, "name-in-other-case");
    EXPECT_EQ(OrvalLintPackage("SignCert(X)|\nEncCret(Z)", &found, 1, &count), ORVAL_LINT_REFUSED);
    EXPECT_EQ(found.nLine, 2U);
    EXPECT_EQ(found.nCalls, static_cast<uint32_t>(ORVAL_LINT_BATCH_IMPORT));
    EXPECT_STREQ(found.szSuggestion, "EncCert");
}

TEST(OrvalLintPackage, RefusesWhatItCannotWorkWith) {
    size_t count = 99;
    EXPECT_EQ(OrvalLintPackage(nullptr, nullptr, 0, &count), ORVAL_LINT_INVALID_ARGUMENT);
    EXPECT_EQ(OrvalLintPackage("MII", nullptr, 1, &count), ORVAL_LINT_INVALID_ARGUMENT);
    EXPECT_EQ(count, 99U);
}

TEST(OrvalLint, WorksOnManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(8, 0);
    for (int& failures : wrong) {
        threads.emplace_back([&failures] {
            for (int i = 0; i < 500; ++i) {
                OrvalLintFinding found = {};
                const int32_t request = OrvalLintRequest(kThreeFindings, kBoth, &found, 1, nullptr);
                const int32_t package = OrvalLintPackage("EncCert()", &found, 1, nullptr);
                failures += request == ORVAL_LINT_SUSPICIOUS && package == ORVAL_LINT_SUSPICIOUS &&
                                    std::strcmp(found.szRule, "item-empty") == 0
                                ? 0
                                : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(wrong, testing::Each(0));
}

}  // namespace
