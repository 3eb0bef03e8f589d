// What a process keeps of a file that it has read, and what makes it read the file again.
#include "store/last_look.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "softkey_test.h"

namespace softkey::testing {
namespace {

namespace fs = std::filesystem;

class LastLookTest : public SoftKeyTest {
 protected:
    LastLookTest() {
        EnsureHome();
        Make(path_, "first");
    }

    // A database of one text. Any two of them have the same size and the same count of changes.
    static void Make(const std::string& path, const std::string& text) {
        WriteFile(path, "");
        fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
        Database database(path, Database::Mode::kExisting);
        database.Execute("CREATE TABLE words(text TEXT)");
        Statement(database, "INSERT INTO words VALUES(?)").Bind(text).Run();
    }

    static std::string TextIn(Database& database) {
        Statement row(database, "SELECT text FROM words");
        return row.Step() ? row.Text(0) : "";
    }

    static void SetText(const std::string& path, const std::string& text) {
        Database database(path, Database::Mode::kExisting);
        Statement(database, "UPDATE words SET text = ?").Bind(text).Run();
    }

    std::shared_ptr<const std::string> Look() { return last_->At(path_, TextIn); }

    // How many descriptors of this process lead to the file.
    int Descriptors() const {
        int count = 0;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            count += fs::read_symlink(entry.path(), gone) == path_;
        }
        return count;
    }

    // So that the file's times tell a change from what was before it.
    static void LetTheGrainOfTimesPass() {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }

    std::string path_ = HomePath() + "/words.db";
    // Never destroyed, as in the key: a fork asks it to drop what it keeps.
    LastLook<std::string>* last_ = new LastLook<std::string>;
};

TEST_F(LastLookTest, TheFileIsReadOnceWhileNothingChanges) {
    const auto first = Look();
    EXPECT_EQ("first", *first);
    EXPECT_EQ(first, Look());
    EXPECT_EQ(first, Look());
}

TEST_F(LastLookTest, EachChangeIsSeenAtOnce) {
    for (int i = 0; i < 100; ++i) {
        SetText(path_, std::to_string(i));
        ASSERT_EQ(std::to_string(i), *Look());
    }
}

TEST_F(LastLookTest, AChangeThatTheTimesDoNotTellIsSeenToo) {
    const FileStamp stamp = FileStamp::Of(path_);
    Database database(path_, Database::Mode::kReading);
    EXPECT_EQ("first", TextIn(database));
    const Witness witness(std::move(database), stamp);
    EXPECT_TRUE(witness.Vouches(stamp));
    EXPECT_TRUE(witness.Vouches(stamp));
    SetText(path_, "other");
    EXPECT_FALSE(witness.Vouches(stamp));
}

TEST_F(LastLookTest, AFileThatTookThePlaceIsRead) {
    Make(path_ + ".new", "other");
    EXPECT_EQ("first", *Look());
    fs::rename(path_ + ".new", path_);
    EXPECT_EQ("other", *Look());
    EXPECT_EQ(1, Descriptors());
}

TEST_F(LastLookTest, AFileThatIsWrittenOverIsReadAlsoWithTheSameCountOfChanges) {
    Make(path_ + ".new", "other");
    EXPECT_EQ("first", *Look());
    LetTheGrainOfTimesPass();
    fs::copy_file(path_ + ".new", path_, fs::copy_options::overwrite_existing);
    EXPECT_EQ("other", *Look());
}

TEST_F(LastLookTest, WhatMayNotBeUsedIsNeitherReadNorKept) {
    EXPECT_EQ("first", *Look());
    fs::permissions(path_, fs::perms::others_read, fs::perm_options::add);
    EXPECT_EQ(Code::kStoreUnreachable, CodeOfFailure([&] { Look(); }));
    EXPECT_EQ(0, Descriptors());
    fs::permissions(path_, fs::perms::others_read, fs::perm_options::remove);
    EXPECT_EQ("first", *Look());
    fs::remove(path_);
    EXPECT_EQ(Code::kStoreUnreachable, CodeOfFailure([&] { Look(); }));
    EXPECT_EQ(0, Descriptors());
}

TEST_F(LastLookTest, NobodyWaitsForAProcessThatHasLooked) {
    EXPECT_EQ("first", *Look());
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // In a process that has no part in the other's locks.
        SetText(path_, "other");
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ("other", *Look());
}

TEST_F(LastLookTest, NoConnectionGoesIntoAChild) {
    EXPECT_EQ("first", *Look());
    EXPECT_EQ(1, Descriptors());
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const bool good = Descriptors() == 0 && *Look() == "first" && Descriptors() == 1;
        _exit(good ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ("first", *Look());
}

}  // namespace
}  // namespace softkey::testing
