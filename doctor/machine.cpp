// The computer: its time, and what the software key takes.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "cli/words.h"
#include "doctor/certificate_dates.h"
#include "doctor/checks.h"

namespace doctor {
namespace {

constexpr std::time_t kMadeOn = 1753920000;  // 2025-07-31, the product's version
constexpr std::time_t kBeyond = 4102444800;  // 2100-01-01

constexpr const char* kZones = "/usr/share/zoneinfo/";

bool IsZone(std::string zone) {
    if (zone.empty() || zone == "UTC" || zone == "GMT") {
        return true;
    }
    zone.erase(0, zone[0] == ':' ? 1 : 0);
    const std::string path = zone[0] == '/' ? zone : kZones + zone;
    struct stat status {};
    const bool is_file = stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    // "CST-8": a name of three letters and the hours, without a file.
    const size_t name_end = zone[0] == '<' ? zone.find('>') + 1
                                           : zone.find_first_not_of(
                                                 "abcdefghijklmnopqrstuvwxyz"
                                                 "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    const bool is_rule = name_end != std::string::npos && name_end >= 3 &&
                         std::string("+-0123456789").find(zone[name_end]) != std::string::npos;
    return is_file || is_rule;
}

std::string LineOf(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// For where no view may be made.
std::string OrInstall(const std::string& next) {
    return cli::Say("{1}; or do without: sudo with-softkey --install", next);
}

// The switches by which distributions take user namespaces away.
std::string SwitchThatForbids() {
    if (LineOf("/proc/sys/kernel/unprivileged_userns_clone") == "0") {
        return "sudo sysctl kernel.unprivileged_userns_clone=1";
    }
    if (LineOf("/proc/sys/kernel/apparmor_restrict_unprivileged_userns") == "1") {
        return "sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0";
    }
    return "sudo sysctl user.max_user_namespaces=15000";
}

}  // namespace

Finding LookAtClock(std::time_t now) {
    constexpr const char* kSet = "set the clock: sudo timedatectl set-ntp true";
    if (now < kMadeOn) {
        return Broken(
            cli::Say("{1} lies before this software was made: certificates count as not yet valid",
                     DayOf(now)),
            kSet);
    }
    if (now >= kBeyond) {
        return Broken(cli::Say("{1} is past every certificate", DayOf(now)), kSet);
    }
    return Well(cli::Say("{1} (UTC)", DayOf(now)));
}

Finding LookAtZone() {
    const char* const variable = std::getenv("TZ");
    struct stat status {};
    if (variable != nullptr && !IsZone(variable)) {
        return Doubtful(cli::Say("TZ={1} names no time zone: the log shows UTC under another name",
                                 std::string(variable)),
                        "set TZ to a name below /usr/share/zoneinfo, or unset it");
    }
    if (variable == nullptr && lstat("/etc/localtime", &status) == 0 &&
        stat("/etc/localtime", &status) != 0) {
        return Doubtful("/etc/localtime leads nowhere: the log shows UTC",
                        "sudo timedatectl set-timezone Asia/Shanghai, or install tzdata");
    }
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char text[64] = {};
    localtime_r(&now, &local);
    return Well({text, std::strftime(text, sizeof text, "%Z, UTC%z", &local)});
}

Finding LookAtNamespaces(const Examination& examination) {
    if (FindProgram("with-softkey").empty() && FindProgram("bwrap").empty()) {
        return Well("not needed: with-softkey is not installed");
    }
    if (examination.IsSoftwareKeyInstalled()) {
        return Well("not needed: the software key's libraries are in the application directory");
    }
    if (FindProgram("bwrap").empty()) {
        return Doubtful("with-softkey needs bwrap, which is not installed",
                        OrInstall("sudo apt install bubblewrap"));
    }
    const Apart tried = RunProgram({"bwrap", "--unshare-user", "--dev-bind", "/", "/", "true"},
                                   examination.question.limit);
    if (tried.end != Apart::End::kExit || tried.number != 0) {
        const std::string said = tried.Last("said");
        return Doubtful(cli::Say("with-softkey cannot make its view: {1}",
                                 (said.empty() ? tried.Ending() : said)),
                        OrInstall(SwitchThatForbids()));
    }
    return Well("user namespaces can be made");
}

Finding LookAtStore(const Examination& examination) {
    if (!examination.IsSoftwareKey()) {
        return Well("not needed: the key maker's own library is installed, or none");
    }
    if (FindProgram("softkey").empty()) {
        return Unknown("the command softkey, which looks after the store, is not in PATH",
                       "install the package of the software key");
    }
    const Apart listed = RunProgram({"softkey", "list"}, examination.question.limit);
    if (listed.end != Apart::End::kExit || listed.number != 0) {
        const std::string said = listed.Last("said");
        return Broken(said.empty() ? cli::Say("'softkey list' {1}", listed.Ending()) : said,
                      "do what it says; 'softkey list' says it again");
    }
    return Well("'softkey list' reads every key");
}

}  // namespace doctor
