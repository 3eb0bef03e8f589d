// What the doctor's checks stand on, with what no sandbox can bring about.

#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <random>

#include "command.h"
#include "doctor/certificate_dates.h"
#include "doctor/checks.h"

namespace {

using doctor::ElfFile;
using doctor::Verdict;
using testing::HasSubstr;

std::string Scratch(const std::string& name) {
    return testing::TempDir() + "doctor_parts." + std::to_string(getpid()) + "." + name;
}

// As openssl, of which the doctor knows nothing, writes it.
std::string RealCertificate() {
    const std::string path = Scratch("pem");
    const std::string command =
        "openssl req -x509 -newkey rsa:2048 -nodes -keyout /dev/null -subj /CN=a/O=b -days 400 "
        "-out " +
        path + " 2>/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    const std::string text = FileContents(path);
    unlink(path.c_str());
    return text;
}

TEST(CertificateDates, AreThoseOfARealCertificate) {
    const std::time_t now = std::time(nullptr);
    const auto validity = doctor::ReadValidity(RealCertificate());
    ASSERT_TRUE(validity);
    EXPECT_NEAR(static_cast<double>(validity->from), static_cast<double>(now), 120);
    EXPECT_EQ(validity->until - validity->from, std::time_t{400} * 24 * 60 * 60);
}

// Base64 of bytes that are cut or changed anywhere: no dates, or others, and an end.
TEST(CertificateDates, DamagedCertificateIsReadToAnEnd) {
    const std::string pem = RealCertificate();
    for (size_t length = 0; length < pem.size(); ++length) {
        doctor::ReadValidity(pem.substr(0, length));
    }
    std::mt19937 random(4711);
    for (int round = 0; round < 20000; ++round) {
        std::string changed = pem;
        changed[random() % changed.size()] = static_cast<char>(random());
        doctor::ReadValidity(changed);
    }
    EXPECT_FALSE(doctor::ReadValidity(""));
    EXPECT_FALSE(doctor::ReadValidity("MA=="));
    EXPECT_FALSE(doctor::ReadValidity("no certificate"));
}

TEST(ElfFile, TellsWhatTheLoaderNeeds) {
    const ElfFile file = doctor::ReadElf(DOCTOR_PATIENT "/newer/libOrvalKPX.so");
    EXPECT_EQ(file.kind, ElfFile::Kind::kSound);
    EXPECT_EQ(file.cpu, doctor::OwnCpu());
    EXPECT_THAT(file.needed, testing::Contains("libc.so.6"));
    EXPECT_EQ(file.newest_libc, "2.99");
    EXPECT_THAT(file.run_path, HasSubstr("patient/newer"));
}

TEST(ElfFile, DamagedFileIsReadToAnEnd) {
    const std::string sound = FileContents(DOCTOR_PATIENT "/incomplete/libOrvalKPX.so");
    const std::string path = Scratch("elf");
    std::mt19937 random(4711);
    for (int round = 0; round < 3000; ++round) {
        std::string changed = sound;
        for (int i = 0; i < 4; ++i) {
            changed[random() % std::min<size_t>(changed.size(), 4096)] =
                static_cast<char>(random());
        }
        changed.resize(round % 2 == 0 ? changed.size() : random() % changed.size());
        MakeFile(path, changed);
        EXPECT_LE(doctor::ReadElf(path).needed.size(), 4096U);
        unlink(path.c_str());  // a file that is cut and written anew waits for the disk
    }
}

TEST(Versions, AreComparedNumberByNumber) {
    EXPECT_TRUE(doctor::IsOlder("2.4", "2.28"));
    EXPECT_TRUE(doctor::IsOlder("2.28", "2.28.1"));
    EXPECT_TRUE(doctor::IsOlder("", "2.1"));
    EXPECT_FALSE(doctor::IsOlder("2.28", "2.28"));
    EXPECT_FALSE(doctor::IsOlder("2.36", "PRIVATE"));
    EXPECT_FALSE(doctor::IsOlder("3", "2.99"));
}

TEST(Clock, MustBeBetweenThisSoftwareAndTheEndOfTheCentury) {
    EXPECT_EQ(doctor::LookAtClock(0).verdict, Verdict::kBroken);
    EXPECT_THAT(doctor::LookAtClock(0).reason, HasSubstr("1970-01-01"));
    EXPECT_EQ(doctor::LookAtClock(std::time_t{4200000000}).verdict, Verdict::kBroken);
    EXPECT_EQ(doctor::LookAtClock(std::time_t{1800000000}).verdict, Verdict::kWell);
}

doctor::LogFacts LogOf(uid_t owner) {
    doctor::LogFacts log("/nowhere/log");
    log.exists = true;
    log.status.st_mode = S_IFREG | 0644;
    log.status.st_uid = owner;
    return log;
}

TEST(Log, OfAnotherUserThatBlocksOursIsTold) {
    doctor::LogFacts log = LogOf(geteuid() + 1);
    log.refusal = EACCES;
    const doctor::Finding finding = doctor::LookAtLogOwner(log);
    EXPECT_EQ(finding.verdict, Verdict::kDoubtful);
    EXPECT_THAT(finding.reason, HasSubstr("user " + std::to_string(geteuid() + 1)));
    EXPECT_THAT(finding.next, HasSubstr("sudo rm /nowhere/log"));
}

// Read a piece at a time: wherever a piece ends, a key counts once.
TEST(Log, CountsAPrivateKeyOnceWhereverItStands) {
    const std::string path = Scratch("log");
    const std::string records[] = {"[strPriKeyTemp:" + std::string(32, 'K') + "]\r\n",
                                   "|EncPriKey(" + std::string(32, 'K') + ")]\r\n"};
    for (const std::string& record : records) {
        for (size_t before = 0; before <= record.size() + 2; ++before) {
            MakeFile(path, std::string(1024 * 1024 - before, '.') + record + std::string(99, '.'));
            EXPECT_EQ(doctor::LogFacts(path).key_texts, 1) << record << before;
        }
    }
    MakeFile(path, "[strPriKeyTemp:***]\r\n[strPriKeyTemp:]\r\nEncPriKey(masked)");
    EXPECT_EQ(doctor::LogFacts(path).key_texts, 0);
    unlink(path.c_str());
}

TEST(Apart, WhatWasToldBeforeACrashIsThere) {
    const doctor::Apart apart = doctor::RunApart(
        [](const doctor::Teller& tell) {
            tell("first", "text\nof two lines");
            std::abort();
        },
        std::chrono::seconds(10));
    EXPECT_EQ(apart.end, doctor::Apart::End::kSignal);
    EXPECT_EQ(apart.Last("first"), "text\nof two lines");
    EXPECT_THAT(apart.Ending(), HasSubstr("signal 6"));
}

TEST(Apart, AChildOfTheChildDoesNotKeepUs) {
    const auto begin = std::chrono::steady_clock::now();
    const doctor::Apart apart = doctor::RunApart(
        [](const doctor::Teller& tell) {
            if (fork() == 0) {
                sleep(20);
                _exit(0);
            }
            tell("forked");
        },
        std::chrono::seconds(15));
    EXPECT_TRUE(apart.IsDone());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST(Apart, ExceptionIsTold) {
    const doctor::Apart apart =
        doctor::RunApart([](const doctor::Teller&) { throw std::runtime_error("as asked"); },
                         std::chrono::seconds(10));
    EXPECT_TRUE(apart.IsDone());
    EXPECT_EQ(apart.Last("threw"), "as asked");
}

}  // namespace
