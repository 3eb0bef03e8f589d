// The application directory, and what belongs in it besides the two libraries.

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli/words.h"
#include "doctor/checks.h"
#include "maker/places.h"

namespace doctor {
namespace {

// What the installation consists of, by the names that the product itself lists. A library may have
// the ending of one.
struct Expected {
    const char* name;
    bool is_program;
};
constexpr Expected kExpected[] = {{"VexaPinpadDaemon_ORVAL", true},
                                  {"KeyManager", true},
                                  {"libR7Pinpad_ORVAL", false},
                                  {"VexaMonitor_orval", true},
                                  {"libR7Token_ORVAL", false}};

std::string PathOf(const Expected& expected) {
    const std::string path = std::string(maker::kApplicationDirectory) + "/" + expected.name;
    return !expected.is_program && access(path.c_str(), F_OK) != 0 ? path + ".so" : path;
}

}  // namespace

Finding LookAtDirectory() {
    const std::string path = maker::kApplicationDirectory;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return Broken(cli::Say("{1}: {2}", path, cli::SayError(errno)), kReinstall);
    }
    if (!S_ISDIR(status.st_mode)) {
        return Broken(cli::Say("{1} is {2}, not a folder", path, KindOf(status)), kReinstall);
    }
    if (access(path.c_str(), R_OK | X_OK) != 0) {
        return Broken(cli::Say("{1} cannot be read: {2}", path, cli::SayError(errno)),
                      "sudo chmod a+rx " + Quoted(path));
    }
    if (!IsOwnerTrusted(status)) {
        return Doubtful(cli::Say("{1} belongs to user {2}, who can replace what every client loads",
                                 path, status.st_uid),
                        "sudo chown -R root:root " + Quoted(path));
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return Doubtful(cli::Say("users other than the owner can replace what lies in {1}", path),
                        "sudo chmod go-w " + Quoted(path));
    }
    return Well(path);
}

Finding LookAtExpectedFiles(const Examination& examination) {
    std::vector<std::string> missing;
    std::vector<std::string> unusable;
    std::vector<std::string> open_to_all;
    for (const Expected& expected : kExpected) {
        const std::string path = PathOf(expected);
        struct stat status {};
        if (stat(path.c_str(), &status) != 0) {
            missing.emplace_back(expected.name);
        } else if (!S_ISREG(status.st_mode) ||
                   access(path.c_str(), expected.is_program ? R_OK | X_OK : R_OK) != 0) {
            unusable.emplace_back(expected.name);
        } else if (OthersMayChange(status)) {
            open_to_all.emplace_back(expected.name);
        }
    }
    if (!unusable.empty()) {
        return Doubtful(cli::Say("cannot be run or read: {1}", Joined(unusable)), kReinstall);
    }
    if (!open_to_all.empty()) {
        return Doubtful(cli::Say("others can change {1}", Joined(open_to_all)),
                        "sudo chown root: and chmod go-w these files in " +
                            std::string(maker::kApplicationDirectory));
    }
    if (examination.IsSoftwareKey()) {
        return Well("the software key needs no other files");
    }
    if (!missing.empty()) {
        return Doubtful(cli::Say("missing: {1}", Joined(missing)), kReinstall);
    }
    return Well(cli::Say("all {1} there", std::size(kExpected)));
}

}  // namespace doctor
