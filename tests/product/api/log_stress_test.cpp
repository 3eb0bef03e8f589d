// The log where it cannot be written, or where something else lies in its place: no call answers
// otherwise, none waits, and nothing but the log is touched.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "functions.h"

namespace {

using scripted::Function;
using scripted::kLogPath;
namespace fs = std::filesystem;

constexpr const char* kSmallDisk = "/tmp/small_disk";
constexpr unsigned kPatience = 30;  // seconds; a call that waits ends the test
constexpr uintmax_t kSizeLimit = 104857600;

void Make(const std::string& path, const std::string& content) {
    std::ofstream(path) << content;
}

// As much as goes there: the disk is full then.
void FillSmallDisk() {
    std::ofstream file(std::string(kSmallDisk) + "/filler");
    const std::string block(4096, 'x');
    while (file.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
    }
}

void MakeSocket() {
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, kLogPath);
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    close(listener);
}

struct Place {
    const char* name;
    void (*make)();
};

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.name;
}

// Where no record can be written.
const Place kPlaces[] = {
    {"FolderThatNobodyMayWrite", [] { EXPECT_EQ(chmod("/tmp", 0555), 0); }},
    {"FileThatNobodyMayWrite",
     [] {
         Make(kLogPath, "before");
         EXPECT_EQ(chmod(kLogPath, 0444), 0);
     }},
    {"AnotherUsersFile", [] { fs::create_symlink("/proc/1/comm", kLogPath); }},
    {"EmptyFolder", [] { fs::create_directory(kLogPath); }},
    {"FolderWithSomethingInIt",
     [] {
         fs::create_directory(kLogPath);
         Make(std::string(kLogPath) + "/inside", "kept");
     }},
    {"Pipe", [] { EXPECT_EQ(mkfifo(kLogPath, 0600), 0); }},
    {"LinkToAPipe",
     [] {
         EXPECT_EQ(mkfifo("/tmp/pipe", 0600), 0);
         fs::create_symlink("/tmp/pipe", kLogPath);
     }},
    {"Socket", MakeSocket},
    {"LinkIntoNoFolder", [] { fs::create_symlink("/tmp/nowhere/log", kLogPath); }},
    {"LinkToItself", [] { fs::create_symlink(kLogPath, kLogPath); }},
    {"LinkToAFullDevice", [] { fs::create_symlink("/dev/full", kLogPath); }},
    {"FullDisk",
     [] {
         // A whole block: there is no room left in it.
         Make(std::string(kSmallDisk) + "/log", std::string(4096, 'b'));
         fs::create_symlink(std::string(kSmallDisk) + "/log", kLogPath);
         FillSmallDisk();
     }},
};

std::string ContentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string LookAt(const fs::path& path) {
    struct stat status = {};
    lstat(path.c_str(), &status);
    const std::string mode = std::to_string(status.st_mode) + " ";
    if (S_ISLNK(status.st_mode)) {
        return mode + fs::read_symlink(path).string();
    }
    return S_ISREG(status.st_mode)
               ? mode + std::to_string(status.st_size) + " " + ContentOf(path).substr(0, 80)
               : mode;
}

// All that lies in /tmp: kind, rights, and a file's text or a link's target.
std::map<std::string, std::string> TmpAsItIs() {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator("/tmp")) {
        found[entry.path()] = LookAt(entry.path());
    }
    return found;
}

// The answer of each exported function, by its name.
std::map<std::string, int32_t> AnswersOfAll() {
    Key().GMCreatePKCS10.HandsOver("request");
    Key().GMCreatePKCS10Ex.HandsOver("request");
    std::map<std::string, int32_t> answers;
    answers["Initialize"] = Initialize();
    for (const Function& exported : scripted::kFunctions) {
        char buffer[9000] = {};
        int32_t length = sizeof(buffer);
        scripted::Arguments arguments = exported.usual;
        arguments.buffer = buffer;
        arguments.length = &length;
        exported.prepare();
        answers[exported.name] = exported.call(arguments);
    }
    return answers;
}

class LogPlace : public testing::TestWithParam<Place> {
 protected:
    LogPlace() { alarm(kPatience); }
};

INSTANTIATE_TEST_SUITE_P(Log, LogPlace, testing::ValuesIn(kPlaces),
                         [](const auto& place) { return std::string(place.param.name); });

TEST_P(LogPlace, ChangesNoAnswerAndIsLeftAsItIs) {
    const auto usual = AnswersOfAll();
    fs::remove(kLogPath);
    GetParam().make();
    const auto before = TmpAsItIs();
    EXPECT_EQ(AnswersOfAll(), usual);
    EXPECT_EQ(TmpAsItIs(), before);
}

// With the mode in which the log is opened, a link that leads to no file yet makes one.
TEST(LogLink, ThatLeadsNowhereYetIsFollowed) {
    fs::create_symlink("/tmp/elsewhere", kLogPath);
    EXPECT_EQ(ChangePin("SN0123456789"), 0);
    EXPECT_TRUE(fs::is_symlink(kLogPath));
    EXPECT_THAT(ContentOf("/tmp/elsewhere"), testing::StartsWith("["));
}

// What a link of that name leads to may be another's: it is appended to, but never deleted.
TEST(LogLink, ToALargeFileIsDeletedAndNotTheFile) {
    Make("/tmp/large", "");
    fs::resize_file("/tmp/large", kSizeLimit + 1);
    fs::create_symlink("/tmp/large", kLogPath);
    EXPECT_EQ(ChangePin("SN0123456789"), 0);
    EXPECT_EQ(fs::file_size("/tmp/large"), kSizeLimit + 1);
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(kLogPath)));
}

}  // namespace
