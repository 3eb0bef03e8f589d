// The doctor, each time in a computer that is broken in one way, with the product and a key that
// answers as it is told.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "command.h"
#include "maker/places.h"

namespace {

using testing::HasSubstr;

using Environment = std::map<std::string, std::string>;

constexpr int kNone = 1 << 20;

// A computer in which one thing is wrong, and what the doctor must say of it.
struct World {
    const char* name;
    const char* breaking;  // done by a shell in the application directory of a sound one
    const char* check;     // "group: check"
    const char* verdict;
    const char* reason;
    const char* next;
    Environment environment = {};
    std::vector<std::string> words = {};
    std::vector<std::string> under = {};
    int from = -400;  // the certificate's first and last day, as days from now
    int until = 400;
};

void PrintTo(const World& world, std::ostream* out) {
    *out << world.name;
}

std::vector<std::string> InView(const std::vector<std::string>& changes) {
    std::vector<std::string> words = {"bwrap", "--unshare-user", "--dev-bind", "/", "/"};
    words.insert(words.end(), changes.begin(), changes.end());
    words.emplace_back("--");
    return words;
}

// The helpers of this file, beside what the folders of the build are called.
std::string Prelude() {
    return "set -e; cd " ORVAL_APPLICATION_DIRECTORY
           "; log=/tmp/VexaPinpad_ORVAL.log; b=libOrvalKPX.so; t=libR7Token_ORVAL.so"
           "; patient=" DOCTOR_PATIENT "; scripted=" DOCTOR_SCRIPTED "; product=" DOCTOR_PRODUCT
           "; own() { cp --remove-destination $patient/$1 $1; }\n";
}

void Shell(const std::string& script) {
    const std::string path = testing::TempDir() + "breaking";
    MakeFile(path, Prelude() + script + "\n");
    ASSERT_EQ(std::system(("sh " + path).c_str()), 0) << script;
}

std::string Der(unsigned char tag, const std::string& contents) {
    return std::string{static_cast<char>(tag), '\x82', static_cast<char>(contents.size() >> 8U),
                       static_cast<char>(contents.size() & 0xFFU)} +
           contents;
}

std::string TimeFromNow(int days) {
    const std::time_t time = std::time(nullptr) + std::time_t{86400} * days;
    std::tm parts{};
    char text[32];
    gmtime_r(&time, &parts);
    return Der(0x18, {text, std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &parts)});
}

std::string Base64(const std::string& bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
        unsigned digit = 0;
        for (size_t i = bit; i < bit + 6; ++i) {
            const unsigned byte =
                i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0;
            digit = digit << 1U | (byte >> (7 - i % 8) & 1U);
        }
        text += kDigits[digit];
    }
    return text.append((4 - text.size() % 4) % 4, '=');
}

// As much of a certificate as there is up to its dates (RFC 5280).
std::string Certificate(int from, int until) {
    const std::string validity = Der(0x30, TimeFromNow(from) + TimeFromNow(until));
    const std::string fields = Der(0xA0, Der(2, "\x02")) + Der(2, "\x01") + Der(0x30, "") +
                               Der(0x30, "") + validity + Der(0x30, "");
    return Base64(Der(0x30, Der(0x30, fields)));
}

class DoctorTest : public testing::TestWithParam<World> {
 protected:
    DoctorTest() {
        Shell(
            "for f in VexaPinpadDaemon_ORVAL KeyManager VexaMonitor_orval; do touch $f; "
            "chmod 755 $f; done; touch libR7Pinpad_ORVAL; umask 022");
    }

    static Outcome Examine(const World& world) {
        const std::string certificate = testing::TempDir() + "certificate";
        if (world.from != kNone) {
            MakeFile(certificate, Certificate(world.from, world.until));
        }
        std::vector<std::string> words = {"doctor", "--json"};
        words.insert(words.end(), world.words.begin(), world.words.end());
        Command command(words);
        command.With("ORVAL_LIBRARY", DOCTOR_PRODUCT "/liborval_unified_kpxukey.so")
            .With("LD_LIBRARY_PATH", DOCTOR_PRODUCT)
            .With("PATIENT_CERTIFICATE", certificate)
            .With("PATIENT_LABEL", "Alice")
            .Under(world.under);
        for (const auto& [variable, value] : world.environment) {
            command.With(variable, value);
        }
        return command.Run();
    }

    static nlohmann::json Find(const nlohmann::json& told, const std::string& name) {
        for (const nlohmann::json& check : told["checks"]) {
            if (check["group"].get<std::string>() + ": " + check["check"].get<std::string>() ==
                name) {
                return check;
            }
        }
        return nullptr;
    }
};

const World kSound = {"Sound", "", "", "well", "", ""};

const World kWorlds[] = {
    {"NoApplicationDirectory",
     "",
     "installation: application directory",
     "broken",
     "No such file or directory",
     "reinstall the key's software",
     {},
     {},
     InView({"--tmpfs", "/opt", "--bind", DOCTOR_BUILD, DOCTOR_BUILD})},
    {"UnreadableApplicationDirectory", "chmod 000 .", "installation: application directory",
     "broken", "cannot be read: Permission denied", "sudo chmod a+rx"},
    {"ApplicationDirectoryThatAllMayChange", "chmod 777 .", "installation: application directory",
     "doubtful", "can replace what lies in", "sudo chmod go-w"},
    {"ExpectedFileMissing", "rm KeyManager", "installation: expected files", "doubtful",
     "missing: KeyManager", "reinstall"},
    {"ExpectedProgramThatCannotBeRun", "chmod 644 VexaMonitor_orval",
     "installation: expected files", "doubtful", "cannot be run or read: VexaMonitor_orval",
     "reinstall"},
    {"ExpectedFileThatAllMayChange", "chmod 777 KeyManager", "installation: expected files",
     "doubtful", "others can change KeyManager", "chmod go-w"},

    {"BackendMissing", "rm $b", "libOrvalKPX.so: file", "broken", "No such file or directory",
     "reinstall"},
    {"BackendIsAFolder", "rm $b; mkdir $b", "libOrvalKPX.so: file", "broken", "is a folder",
     "reinstall"},
    {"BackendIsANamedPipe",
     "rm $b; mkfifo $b",
     "libOrvalKPX.so: file",
     "broken",
     "is a named pipe",
     "reinstall",
     {},
     {"--timeout", "1"}},
    {"BackendIsALinkToNothing", "ln -sf nowhere $b", "libOrvalKPX.so: file", "broken",
     "a link that leads nowhere", "reinstall"},
    {"BackendUnreadable", "own $b; chmod 000 $b", "libOrvalKPX.so: file", "broken",
     "cannot be read: Permission denied", "sudo chmod a+r"},
    {"BackendThatAllMayChange", "own $b; chmod 777 $b", "libOrvalKPX.so: file", "doubtful",
     "others can change", "sudo chmod go-w"},
    {"BackendEmpty", "rm $b; touch $b", "libOrvalKPX.so: file", "broken", "is empty", "reinstall"},
    {"BackendIsText", "rm $b; echo 404 not found >$b", "libOrvalKPX.so: file", "broken",
     "is no library", "reinstall"},
    {"BackendForAnotherCpu",
     "own $b; printf '\\050\\000' | dd of=$b bs=1 seek=18 conv=notrunc 2>/dev/null",
     "libOrvalKPX.so: file", "broken", "is for ARM, 64 bit, and this software for",
     "install the key's software for"},
    {"BackendOfThirtyTwoBits",
     "own $b; printf '\\001' | dd of=$b bs=1 seek=4 conv=notrunc 2>/dev/null",
     "libOrvalKPX.so: file", "broken", ", 32 bit, and this software for",
     "install the key's software for"},
    {"BackendCutShort", "rm $b; head -c 4096 $patient/$b >$b", "libOrvalKPX.so: file", "broken",
     "is cut short", "reinstall"},
    {"BackendNeedsAMissingLibrary", "ln -sf $patient/incomplete/$b $b",
     "libOrvalKPX.so: needed libraries", "broken", "libnot_there.so.7", "install the packages"},
    {"BackendNeedsANewerCLibrary", "ln -sf $patient/newer/$b $b", "libOrvalKPX.so: C library",
     "broken", "needs glibc 2.99, and this computer has 2.", "made for this system"},
    {"BackendThatTheLoaderRefuses", "ln -sf $patient/newer/$b $b", "libOrvalKPX.so: loading",
     "broken", "the loader says: ", "reinstall"},
    {"BackendCrashesWhileLoading",
     "",
     "libOrvalKPX.so: loading",
     "broken",
     "was ended by signal 11",
     "report it to the key's maker",
     {{"PATIENT_LOAD", "crash"}}},
    {"BackendEndsTheProcess",
     "",
     "libOrvalKPX.so: loading",
     "broken",
     "ended the process itself, with status 7",
     "reinstall",
     {{"PATIENT_LOAD", "exit"}}},
    {"BackendHangsWhileLoading",
     "",
     "libOrvalKPX.so: loading",
     "broken",
     "did not come back within 1 second",
     "reinstall",
     {{"PATIENT_LOAD", "hang"}},
     {"--timeout", "1"}},
    {"BackendLacksAnEntry", "ln -sf $scripted/without/GetPinInfo/$b $b", "libOrvalKPX.so: entries",
     "broken", "1 of 29 missing: GetPinInfo", "another edition of libOrvalKPX.so"},
    {"BackendIsAnotherLibrary", "ln -sf $patient/$t $b", "libOrvalKPX.so: entries", "broken",
     "29 of 29 missing: CheckDeviceEx, GetLabel", "another library under its name"},
    {"TokenMissing", "rm $t", "libR7Token_ORVAL.so: file", "broken", "No such file", "reinstall"},
    {"TokenNeedsAMissingLibrary", "ln -sf $patient/incomplete/$b $t",
     "libR7Token_ORVAL.so: needed libraries", "broken", "libnot_there.so.7",
     "install the packages"},
    {"TokenNeedsANewerCLibrary", "ln -sf $patient/newer/$b $t", "libR7Token_ORVAL.so: C library",
     "broken", "needs glibc 2.99", "made for this system"},
    {"TokenThatTheLoaderRefuses", "ln -sf $patient/newer/$b $t", "libR7Token_ORVAL.so: loading",
     "broken", "the loader says: ", "reinstall"},
    {"TokenIsAnotherLibrary", "ln -sf $patient/$b $t", "libR7Token_ORVAL.so: entries", "broken",
     "5 of 5 missing: VexaT_ContextInit", "another library under its name"},

    {"ProductMissing",
     "",
     "product: library",
     "broken",
     "(chosen by ORVAL_LIBRARY)",
     "install the package of the library",
     {{"ORVAL_LIBRARY", "/nowhere/library.so"}}},
    {"ProductCannotBeLoadedWithoutTheTokenLibrary", "rm $t", "product: library", "broken",
     "the loader says: libR7Token_ORVAL.so", "reinstall the key's software"},
    {"ProductIsAnotherLibrary",
     "",
     "product: library",
     "broken",
     "lacks Initialize, Finalize",
     "reinstall the package of the library",
     {{"ORVAL_LIBRARY", DOCTOR_PATIENT "/libR7Token_ORVAL.so"}}},
    {"ClientsFindAnotherCopy",
     "mkdir /tmp/other; cp $product/liborval_unified_kpxukey.so /tmp/other",
     "product: other copies",
     "doubtful",
     "clients find /tmp/other/liborval_unified_kpxukey.so",
     "remove one of the two",
     {{"LD_LIBRARY_PATH", "/tmp/other"}}},
    {"ACopyIsHidden",
     "mkdir /tmp/other; cp $product/liborval_unified_kpxukey.so /tmp/other",
     "product: other copies",
     "doubtful",
     "wins over /tmp/other/liborval_unified_kpxukey.so",
     "remove what is not meant",
     {{"LD_LIBRARY_PATH", DOCTOR_PRODUCT ":/tmp/other"}}},
    {"ACopyOfTheSystemIsHidden",
     "mkdir /tmp/other; cp $product/liborval_unified_kpxukey.so /tmp/other",
     "product: other copies",
     "doubtful",
     "wins over /usr/local/lib/liborval_unified_kpxukey.so",
     "remove what is not meant",
     {},
     {},
     InView({"--bind", "/tmp/other", "/usr/local/lib"})},
    {"ClientsFindNoCopy",
     "",
     "product: other copies",
     "doubtful",
     "does not find it",
     "install the package of the library",
     {{"LD_LIBRARY_PATH", "/nowhere"}}},
    {"AnotherTokenLibraryWins",
     "mkdir /tmp/other; cp $patient/$t /tmp/other",
     "product: token library in use",
     "doubtful",
     "uses /tmp/other/libR7Token_ORVAL.so",
     "take its folder out of LD_LIBRARY_PATH: /tmp/other",
     {{"LD_LIBRARY_PATH", "/tmp/other:" DOCTOR_PRODUCT}}},

    {"ClientMissing",
     "",
     "client: finds the library",
     "broken",
     "there is no program no-client",
     "--client",
     {},
     {"--client", "no-client"}},
    {"ClientIsAScript",
     "printf '#!/bin/sh\\n' >/tmp/client",
     "client: finds the library",
     "unknown",
     "is a script",
     "the program that it runs",
     {},
     {"--client", "/tmp/client"}},
    {"ClientForAnotherCpu",
     "cp $patient/$b /tmp/client; printf '\\050\\000' | dd of=/tmp/client bs=1 seek=18 "
     "conv=notrunc 2>/dev/null",
     "client: finds the library",
     "broken",
     "is for ARM, 64 bit",
     "edition of the client",
     {},
     {"--client", "/tmp/client"}},
    {"ClientThatIsLinkedAndDoesNotFindIt",
     "",
     "client: finds the library",
     "broken",
     "does not find it",
     "ORVAL_LIBRARY",
     {{"LD_LIBRARY_PATH", "/nowhere"}},
     {"--client", DOCTOR_PATIENT "/client"}},
    {"ClientThatMayLoadItByName",
     "",
     "client: finds the library",
     "doubtful",
     "what it loads while it runs cannot be told",
     "LD_LIBRARY_PATH",
     {{"LD_LIBRARY_PATH", "/nowhere"}},
     {"--client", DOCTOR_PATIENT "/libOrvalKPX.so"}},

    {"LogIsANamedPipe", "mkfifo $log", "log: file", "doubtful",
     "is a named pipe: there are no records", "rm /tmp/VexaPinpad_ORVAL.log"},
    {"LogLeadsToANamedPipe", "mkfifo /tmp/pipe; ln -s /tmp/pipe $log", "log: file", "doubtful",
     "leads to a named pipe: there are no records", "rm /tmp/VexaPinpad_ORVAL.log"},
    {"LogIsALink", "ln -s /tmp/elsewhere $log", "log: file", "doubtful",
     "the records land in /tmp/elsewhere", "rm /tmp/VexaPinpad_ORVAL.log"},
    {"LogIsAFolder", "mkdir $log", "log: file", "doubtful", "is a folder: there are no records",
     "rm -r"},
    {"LogThatRefusesRecords", "touch $log; chmod 400 $log", "log: owner and mode", "doubtful",
     "leave no record: the file belongs to", "chmod u+w"},
    {"LogThatAllMayWrite", "touch $log; chmod 666 $log", "log: owner and mode", "doubtful",
     "everybody may write", "chmod go-w"},
    {"LogNearItsLimit", "truncate -s 100000000 $log", "log: size", "doubtful",
     "past 104 MB the library deletes it", "copy it away"},
    {"LogPastItsLimit", "truncate -s 104857601 $log", "log: size", "doubtful",
     "the next record deletes it", "copy it away"},
    {"LogHoldsPrivateKeys",
     "printf '\\t[strPriKeyTemp:%064d]\\r\\n\\t[begin, strP7: SignCert(A)|EncPriKey(%064d)]\\r\\n' "
     "1 2 >$log; chmod 644 $log",
     "log: private keys", "doubtful", "2 enveloped private keys stand in it, and every user",
     "chmod go-r /tmp/VexaPinpad_ORVAL.log"},
    {"LogThatCannotBeRead", "touch $log; chmod 200 $log", "log: private keys", "unknown",
     "cannot be read: Permission denied", "the log's owner"},
    {"TmpIsReadOnly",
     "",
     "log: /tmp",
     "broken",
     "/tmp cannot be written: Read-only",
     "remount,rw",
     {},
     {},
     InView({"--ro-bind", "/tmp", "/tmp"})},
    {"TmpIsFull",
     "",
     "log: /tmp",
     "broken",
     "/tmp is full",
     "delete what is not needed",
     {},
     {},
     {"bwrap", "--unshare-user", "--dev-bind", "/", "/", "--size", "8192", "--tmpfs", "/tmp",
      "--bind", DOCTOR_BUILD, DOCTOR_BUILD, "sh", "-c",
      "head -c 8192 /dev/zero >/tmp/all 2>/dev/null; exec \"$@\"", "sh"}},
    {"TmpIsNearlyFull",
     "",
     "log: /tmp",
     "doubtful",
     "nearly full",
     "delete what is not needed",
     {},
     {},
     {"bwrap", "--unshare-user", "--dev-bind", "/", "/", "--size", "65536", "--tmpfs", "/tmp",
      "--bind", DOCTOR_BUILD, DOCTOR_BUILD}},

    {"NoKeyPlugged",
     "",
     "key: plugged",
     "doubtful",
     "no key is plugged in",
     "plug the key in",
     {{"FAKE_SLOTS", " "}}},
    {"KeysCannotBeListed",
     "",
     "key: plugged",
     "broken",
     "VexaT_GetSlotList",
     "unplug the keys",
     {{"FAKE_SLOTS", "?77"}}},
    {"KeyThatTellsNoSerialNumber",
     "",
     "key: plugged",
     "broken",
     "slot 3: ",
     "unplug the key",
     {{"FAKE_SLOTS", "3:?77"}}},
    {"KeyWhoseLibraryCrashes",
     "",
     "key: plugged",
     "broken",
     "asking for GetLabel was ended by signal 11",
     "unplug the key",
     {{"PATIENT_ASKED", "crash"}}},
    {"LabelRefused",
     "",
     "key: label",
     "doubtful",
     "GetLabel gave 0x0A00001C",
     "cert",
     {{"PATIENT_LABEL", "?"}}},
    {"PinLocked",
     "",
     "key: PIN",
     "broken",
     "the PIN is locked: 0 of 6 tries left",
     "unlock it",
     {{"PATIENT_TRIES", "0"}}},
    {"LastTry",
     "",
     "key: PIN",
     "doubtful",
     "1 of 6 tries left: the next wrong PIN locks",
     "make sure of the PIN",
     {{"PATIENT_TRIES", "1"}}},
    {"OneOfTwoKeysIsWrong",
     "",
     "key: plugged",
     "broken",
     "slot 4: ",
     "unplug the key",
     {{"FAKE_SLOTS", "1:SN0123456789 4:?77"}}},
    {"NoCertificate",
     "",
     "key: certificates",
     "doubtful",
     "no signing certificate",
     "ukeyctl request",
     {},
     {},
     {},
     kNone,
     kNone},
    {"CertificateThatIsNone",
     "",
     "key: certificates",
     "unknown",
     "dates cannot be read",
     "openssl x509",
     {{"PATIENT_CERTIFICATE", "/etc/passwd"}}},
    {"CertificateExpired",
     "",
     "key: certificates",
     "broken",
     "signing certificate expired on ",
     "have it renewed",
     {},
     {},
     {},
     -400,
     -2},
    {"CertificateAboutToExpire",
     "",
     "key: certificates",
     "doubtful",
     "signing certificate expires on ",
     "before then",
     {},
     {},
     {},
     -400,
     20},
    {"CertificateNotYetValid",
     "",
     "key: certificates",
     "broken",
     "not valid before ",
     "check this computer's clock",
     {},
     {},
     {},
     3,
     400},

    {"ZoneThatIsNone",
     "",
     "computer: time zone",
     "doubtful",
     "TZ=Mars/Phobos names no time zone",
     "unset it",
     {{"TZ", "Mars/Phobos"}}},
    {"UserNamespacesForbidden",
     "",
     "computer: user namespaces",
     "doubtful",
     "with-softkey cannot make its view: ",
     "; or do without: sudo with-softkey --install",
     {},
     {},
     InView({"--disable-userns"})},
    {"NoBubblewrap",
     "mkdir /tmp/bin; printf '#!/bin/sh\\n' >/tmp/bin/with-softkey; "
     "chmod 755 /tmp/bin/with-softkey",
     "computer: user namespaces",
     "doubtful",
     "needs bwrap, which is not installed",
     "apt install bubblewrap; or do without: sudo with-softkey --install",
     {{"PATH", "/tmp/bin"}}},
};

INSTANTIATE_TEST_SUITE_P(Worlds, DoctorTest, testing::ValuesIn(kWorlds),
                         [](const auto& world) { return std::string(world.param.name); });

TEST_P(DoctorTest, NamesWhatIsBroken) {
    const World& world = GetParam();
    Shell(world.breaking);
    const Outcome outcome = Examine(world);
    const nlohmann::json told = outcome.Json();
    const nlohmann::json check = Find(told, world.check);
    ASSERT_FALSE(check.is_null()) << outcome.out;
    EXPECT_EQ(check["verdict"], world.verdict) << outcome.out;
    EXPECT_THAT(check["reason"].get<std::string>(), HasSubstr(world.reason));
    const nlohmann::json& next = check["next"];
    EXPECT_THAT(next.is_null() ? std::string() : next.get<std::string>(), HasSubstr(world.next));
    EXPECT_EQ(outcome.status, told["verdict"] == "broken" ? 11 : 10);
    EXPECT_EQ(told["ok"], false);
}

using SoundTest = DoctorTest;

INSTANTIATE_TEST_SUITE_P(Worlds, SoundTest, testing::Values(kSound),
                         [](const auto& world) { return std::string(world.param.name); });

TEST_P(SoundTest, PrivateKeysInALogThatOthersCannotReadAreWell) {
    Shell("umask 077; printf '\\t[strPriKeyTemp:%064d]\\r\\n' 1 >$log");
    const nlohmann::json check = Find(Examine(GetParam()).Json(), "log: private keys");
    EXPECT_EQ(check["verdict"], "well");
    EXPECT_EQ(check["reason"], "its owner alone reads the 1 enveloped private keys in it");
}

TEST_P(SoundTest, IsWellInEveryCheck) {
    World world = kSound;
    world.words = {"--client", DOCTOR_PATIENT "/client"};
    const Outcome outcome = Examine(world);
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(outcome.err, "");
    const nlohmann::json told = outcome.Json();
    EXPECT_EQ(told["schema"], 1);
    EXPECT_EQ(told["verdict"], "well");
    EXPECT_EQ(told["checks"].size(), 29U);
    for (const nlohmann::json& check : told["checks"]) {
        EXPECT_EQ(check["verdict"], "well") << check;
        EXPECT_TRUE(check["next"].is_null()) << check;
    }
}

// What no sandbox can bring about, and the software key's store, have tests elsewhere.
TEST_P(SoundTest, EveryCheckHasAWorldInWhichItIsNotWell) {
    World world = kSound;
    world.words = {"--client", "sh"};
    std::vector<std::string> names = {"computer: clock", "software key: store"};
    for (const World& broken : kWorlds) {
        names.emplace_back(broken.check);
    }
    const nlohmann::json checks = Examine(world).Json()["checks"];
    for (const nlohmann::json& check : checks) {
        EXPECT_THAT(names, testing::Contains(check["group"].get<std::string>() + ": " +
                                             check["check"].get<std::string>()));
    }
}

Outcome Show(const Environment& environment) {
    Command command({"doctor"});
    command.With("ORVAL_LIBRARY", DOCTOR_PRODUCT "/liborval_unified_kpxukey.so")
        .With("LD_LIBRARY_PATH", DOCTOR_PRODUCT);
    for (const auto& [variable, value] : environment) {
        command.With(variable, value);
    }
    return command.Run();
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(DoctorForPeople, ShowsALineForEachCheckAndTheNextStepBelow) {
    const Outcome outcome = Show({{"PATIENT_TRIES", "0"}});
    EXPECT_EQ(outcome.status, 11);
    const std::vector<std::string> lines = LinesOf(outcome.out);
    ASSERT_GT(lines.size(), 28U);
    const auto pin = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("key: PIN") != std::string::npos;
    });
    ASSERT_NE(pin, lines.end());
    EXPECT_THAT(*pin, testing::StartsWith("broken "));
    EXPECT_THAT(*pin, HasSubstr("the PIN is locked: 0 of 6 tries left"));
    EXPECT_THAT(*std::next(pin), testing::ContainsRegex("^ +next: have whoever issued"));
    EXPECT_THAT(outcome.err, HasSubstr("next: have whoever issued the key"));
}

// In a computer where other things than the key are not as they should be.
TEST(DoctorForPeople, LastLineAloneSaysWhetherAllIsWell) {
    const std::vector<std::string> lines = LinesOf(Show({{"PATIENT_TRIES", "0"}}).out);
    EXPECT_THAT(lines.back(), testing::StartsWith("Not all is well: 1 broken, "));
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) {
                                return line.find("all is well") != std::string::npos;
                            }),
              1);
}

TEST(DoctorForPeople, WhatAKeyTellsCannotDisturbTheTerminal) {
    EXPECT_EQ(Show({{"PATIENT_LABEL", "\x1b[2J"}}).out.find('\x1b'), std::string::npos);
}

}  // namespace
