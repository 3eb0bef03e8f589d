// The doctor where the software key is the back-end.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

#include "command.h"

namespace {

using testing::HasSubstr;

struct StoreCase {
    const char* name;
    const char* breaking;  // done by a shell that has the home in $home
    const char* check;
    const char* verdict;
    const char* reason;
    const char* path;  // where commands are looked for
};

void PrintTo(const StoreCase& one, std::ostream* out) {
    *out << one.name;
}

constexpr const char* kPath = DOCTOR_PROGRAMS ":/usr/bin:/bin";

const StoreCase kStores[] = {
    {"Sound", "", "store", "well", "reads every key", kPath},
    {"SoundNeedsNoOtherFiles", "", "expected files", "well", "needs no other files", kPath},
    {"SoundHasTheSoftwareKeysLibraries", "", "loading", "well", "loads: the software key's", kPath},
    {"SoundTellsWhoChoseTheProduct", "", "library", "well", ") (chosen by ", kPath},
    {"OpenToOthers", "chmod 755 $home", "store", "broken", "is open to other users", kPath},
    {"DamagedKey", "for key in $home/keys/*.key; do echo nonsense >$key; done", "store", "broken",
     "amaged", kPath},
    {"CertificateOfADamagedKey", "for key in $home/keys/*.key; do echo nonsense >$key; done",
     "certificates", "unknown", "cannot be read: GetCert gave 0x0A10000F", kPath},
    {"WithoutTheCommand", "", "store", "unknown", "is not in PATH", "/usr/bin:/bin"},
    {"NothingPlugged", "softkey unplug $(basename $home/keys/*.key .key)", "plugged", "doubtful",
     "no key is plugged in", kPath},
    {"KeyWithoutCertificates", "", "certificates", "doubtful",
     ": no signing certificate, no encryption certificate", kPath},
};

class DoctorOnSoftkey : public testing::TestWithParam<StoreCase> {
 protected:
    DoctorOnSoftkey() {
        setenv("ORVAL_SOFTKEY_HOME", home_.c_str(), 1);
        setenv("PATH", kPath, 1);
        Shell(
            "umask 077; echo 12345678 >pin; "
            "softkey plug \"$(softkey new --fixture --label Alice --pin-file pin)\" --pin-file pin "
            ">made");
    }

    void Shell(const std::string& script) const {
        const std::string command = "cd /tmp; home=" + home_ + "; set -e; " + script;
        ASSERT_EQ(std::system(command.c_str()), 0) << script;
    }

    const std::string home_ = "/tmp/home";
};

INSTANTIATE_TEST_SUITE_P(Stores, DoctorOnSoftkey, testing::ValuesIn(kStores),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(DoctorOnSoftkey, LooksAtItsStore) {
    Shell(GetParam().breaking);
    const nlohmann::json told = Command({"doctor", "--json"})
                                    .With("LD_LIBRARY_PATH", DOCTOR_PRODUCT)
                                    .With("PATH", GetParam().path)
                                    .Run()
                                    .Json();
    const nlohmann::json& checks = told["checks"];
    const auto check = std::find_if(checks.begin(), checks.end(), [](const nlohmann::json& one) {
        return one["check"] == GetParam().check;
    });
    ASSERT_NE(check, checks.end());
    EXPECT_EQ((*check)["verdict"], GetParam().verdict) << *check;
    EXPECT_THAT((*check)["reason"].get<std::string>(), HasSubstr(GetParam().reason));
}

}  // namespace
