#include "core/backup.h"

#include <unistd.h>

#include <cerrno>

#include "core/database.h"
#include "core/draft_file.h"
#include "core/home.h"
#include "core/key_store.h"
#include "core/slots.h"

namespace softkey {
namespace {

constexpr int kAllPages = -1;

void CopyDatabase(Database& from, const std::string& path) {
    Database to(path, Database::Mode::kExisting);
    sqlite3_backup* const copy = sqlite3_backup_init(to.Handle(), "main", from.Handle(), "main");
    if (copy == nullptr) {
        to.Fail();
    }
    sqlite3_backup_step(copy, kAllPages);
    if (sqlite3_backup_finish(copy) != SQLITE_OK) {
        to.Fail();
    }
}

std::string SerialIn(Database& database) {
    Statement check(database, "PRAGMA integrity_check");
    Require(check.Step() && check.Text(0) == "ok", Code::kStoreDamaged, "the copy is damaged");
    Statement row(database, "SELECT serial FROM key");
    Require(row.Step() && IsSerialNumber(row.Text(0)), Code::kStoreDamaged,
            "the file is no copy of a key");
    return row.Text(0);
}

}  // namespace

void BackUpKey(std::string_view serial, const std::string& file) {
    Require(Exists(KeyPath(serial)), Code::kNoSuchKey, "there is no key with this serial number");
    KeyStore store(serial);
    DraftFile draft(file);
    Database source = store.Connect();
    CopyDatabase(source, draft.Path());
    draft.Publish();
}

std::string RestoreKey(const std::string& file) {
    Require(Exists(file), Code::kStoreUnreachable, "there is no such file");
    Database source(file, Database::Mode::kExisting);
    std::string serial = SerialIn(source);
    EnsureHome();
    DraftFile draft(KeyPath(serial));
    CopyDatabase(source, draft.Path());
    KeyStore(draft.Path(), serial).Pin();  // Opens only what is a whole key.
    draft.Publish();
    return serial;
}

void DeleteKey(std::string_view serial) {
    const std::string path = KeyPath(serial);
    Require(Exists(path), Code::kNoSuchKey, "there is no key with this serial number");
    std::optional<Slots> slots = Slots::OpenExisting();
    Require(!slots || !slots->Find(serial), Code::kAlreadyPlugged, "the key is plugged in");
    if (unlink(path.c_str()) != 0) {
        FailWithFile(errno, path);
    }
    unlink(KeyLockPath(serial).c_str());
    SyncFolder(KeysPath());
}

}  // namespace softkey
