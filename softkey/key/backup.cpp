#include "key/backup.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "base/draft_file.h"
#include "cli/words.h"
#include "slots/slots.h"
#include "store/database.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey {
namespace {

constexpr char kDamagedSuffix[] = ".damaged";
constexpr char kOtherCopy[] = "Name another copy that `softkey backup` has made";

struct Copy {
    std::string serial;
    Bytes image;
};

// What the file is a whole copy of.
Copy ReadCopy(const std::string& file) {
    try {
        Database database(file, Database::Mode::kReading);
        database.CheckWhole();
        KeyStore::LookAt(database);
        return {KeyStore::SerialIn(database), database.Image()};
    } catch (const Error& error) {
        if (error.code() != Code::kStoreDamaged) {
            throw;
        }
        throw Error(error.code(), error.what(), kOtherCopy);
    }
}

// Throws kSerialTaken for a key that is sound, and what else keeps it from being used but is no
// damage: that can be mended.
void RequireDamaged(const std::string& serial) {
    try {
        static_cast<void>(KeyStore(serial).LookAtWhole());
    } catch (const Error& error) {
        if (error.code() != Code::kStoreDamaged) {
            throw;
        }
        return;
    }
    throw Error(Code::kSerialTaken, "the key exists and is sound",
                cli::Say("If the copy is to replace it, first: softkey delete {1}", serial));
}

}  // namespace

void BackUpKey(std::string_view serial, const std::string& file) {
    Require(Exists(KeyPath(serial)), Code::kNoSuchKey, "there is no key with this serial number");
    const std::filesystem::path path = std::filesystem::absolute(file);
    RemoveAbandonedDrafts(path.parent_path().string(), path.filename().string());
    DraftFile draft(file);
    Database source = KeyStore(serial).Connect(Database::Mode::kReading);
    source.CheckWhole();
    draft.Write(source.Image());
    draft.Publish();
}

RestoredKey RestoreKey(const std::string& file) {
    Require(Exists(file), Code::kStoreUnreachable, "there is no such file");
    const Copy copy = ReadCopy(file);
    RestoredKey restored{copy.serial, std::nullopt};
    EnsureHome();
    const std::string path = KeyPath(restored.serial);
    DraftFile draft(path);
    draft.Write(copy.image);
    if (!Exists(path)) {
        RemoveJournalsOf(path);
        draft.Publish();
        return restored;
    }
    RequireDamaged(restored.serial);
    restored.damaged = path + kDamagedSuffix;
    unlink(restored.damaged->c_str());
    if (link(path.c_str(), restored.damaged->c_str()) != 0) {
        FailWithFile(errno, path);
    }
    RemoveJournalsOf(path);
    draft.Replace();
    return restored;
}

void DeleteKey(std::string_view serial) {
    const std::string path = KeyPath(serial);
    Require(Exists(path), Code::kNoSuchKey, "there is no key with this serial number");
    Require(Slots::Present().Find(serial) == nullptr, Code::kAlreadyPlugged,
            "the key is plugged in");
    RemoveJournalsOf(path);
    // Also what is no file: nothing else is of any use under this name.
    if (std::remove(path.c_str()) != 0) {
        FailWithFile(errno, path);
    }
    unlink((path + kDamagedSuffix).c_str());
    unlink(KeyLockPath(serial).c_str());
    SyncFolder(KeysPath());
}

}  // namespace softkey
