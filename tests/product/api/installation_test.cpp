#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "api_test.h"
#include "common/commonfunction.h"

namespace {

constexpr const char* kInstallationPath = "/opt/apps/com.kpx.uosorval/files/bin/";

// What the library did with directories.
struct Directories {
    Directories() {
        Libc().opendir.replacement = [this](const char* path) -> DIR* {
            opened.emplace_back(path);
            return refuses ? nullptr : Libc().opendir.real(path);
        };
        Libc().closedir.replacement = [this](DIR* directory) {
            ++closed;
            return Libc().closedir.real(directory);
        };
    }
    ~Directories() {
        Libc().opendir.replacement = nullptr;
        Libc().closedir.replacement = nullptr;
    }

    std::vector<std::string> opened;
    int closed = 0;
    bool refuses = false;
};

TEST(CheckDriverIntegrity, ReadableDirectoryPassesWithoutTheExpectedFiles) {
    const Directories directories;
    G_LastError = 77;
    EXPECT_EQ(CheckDriverIntegrity(1), 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(directories.opened, ElementsAre(kInstallationPath));
    EXPECT_EQ(directories.closed, 1);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(CheckDriverIntegrity, EmptyDirectoryPasses) {
    scripted::RemoveBackend();
    ASSERT_EQ(unlink(maker::kTokenPath), 0);
    EXPECT_EQ(CheckDriverIntegrity(1), 0);
    EXPECT_EQ(G_LastError, 0);
}

TEST(CheckDriverIntegrity, OtherModesAreUnsupported) {
    const Directories directories;
    for (const int32_t mode : {0, 2, 3, -1, 4, 257, INT32_MIN, INT32_MAX}) {
        G_LastError = 77;
        EXPECT_EQ(CheckDriverIntegrity(mode), -300) << mode;
        EXPECT_EQ(G_LastError, -300) << mode;
    }
    EXPECT_THAT(directories.opened, IsEmpty());
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_EQ(LogText(), "");
}

TEST(CheckDriverIntegrity, UnreadableDirectoryFails) {
    ASSERT_EQ(chmod(maker::kApplicationDirectory, 0), 0);
    EXPECT_EQ(CheckDriverIntegrity(1), -300);
    EXPECT_EQ(G_LastError, -300);
}

TEST(CheckDriverIntegrity, MissingDirectoryFails) {
    Directories directories;
    directories.refuses = true;
    EXPECT_EQ(CheckDriverIntegrity(1), -300);
    EXPECT_EQ(G_LastError, -300);
    EXPECT_EQ(directories.closed, 0);
}

std::vector<std::string> NamesInDirectoryOrder(const char* path) {
    std::vector<std::string> names;
    DIR* directory = opendir(path);
    while (const dirent* entry = readdir(directory)) {
        names.emplace_back(entry->d_name);
    }
    closedir(directory);
    return names;
}

class FindDirFile : public testing::Test {
 protected:
    static constexpr const char* kDirectory = "/tmp/listed";

    FindDirFile() {
        mkdir(kDirectory, 0700);
        for (const char* name : {"/c", "/A", "/b"}) {
            std::ofstream(kDirectory + std::string(name)) << name;
        }
    }

    std::vector<std::string> names_;
};

TEST_F(FindDirFile, ListsEveryEntryInDirectoryOrder) {
    EXPECT_EQ(ORVAL_ComFunc.find_dir_file(kDirectory, names_), 0);
    EXPECT_THAT(names_, testing::UnorderedElementsAre(".", "..", "A", "b", "c"));
    EXPECT_EQ(names_, NamesInDirectoryOrder(kDirectory));
}

TEST_F(FindDirFile, ListsDirectoriesToo) {
    mkdir("/tmp/listed/directory", 0700);
    EXPECT_EQ(ORVAL_ComFunc.find_dir_file(kDirectory, names_), 0);
    EXPECT_THAT(names_, testing::Contains("directory"));
    EXPECT_EQ(names_.size(), 6U);
}

TEST_F(FindDirFile, KeepsWhatTheListHolds) {
    names_ = {"first", "A"};
    EXPECT_EQ(ORVAL_ComFunc.find_dir_file(kDirectory, names_), 0);
    ASSERT_EQ(names_.size(), 7U);
    EXPECT_EQ(names_[0], "first");
    EXPECT_EQ(names_[1], "A");
}

TEST_F(FindDirFile, MissingDirectoryAddsNothing) {
    names_ = {"first"};
    EXPECT_EQ(ORVAL_ComFunc.find_dir_file("/tmp/missing", names_), -300);
    EXPECT_THAT(names_, ElementsAre("first"));
}

}  // namespace
