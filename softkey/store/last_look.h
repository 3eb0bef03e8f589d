#ifndef SOFTKEY_STORE_LAST_LOOK_H
#define SOFTKEY_STORE_LAST_LOOK_H

#include <sys/types.h>
#include <time.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/process_lock.h"
#include "store/database.h"
#include "store/home.h"

namespace softkey {

// Which file a path names and when it was written, as its folder tells.
struct FileStamp {
    dev_t device;
    ino_t number;
    off_t size;
    timespec written;
    timespec changed;

    static FileStamp Of(const std::string& path);
    bool operator==(const FileStamp& other) const;
};

// The connection by which a file was read, kept to tell whether the file still is as it was read.
// Between two questions it has no lock on the file. To be used under the process's lock.
class Witness {
 public:
    // Of a database in Mode::kReading. The stamp was taken before that was opened.
    Witness(Database database, const FileStamp& stamp);

    // Whether that is the same file and nobody has changed it, be it within the grain of its times:
    // SQLite counts the changes in the file. False also for a file that cannot be asked now.
    bool Vouches(const FileStamp& stamp) const;

 private:
    int64_t Version() const;

    FileStamp stamp_;
    Database::Connection connection_;
    Statement::Prepared question_;
    int64_t version_;
};

// What was last read from a file, which is read anew when it is another one or has changed,
// whoever changed it. Does not go into a child: SQLite's connections do not survive a fork. Lives
// as long as the process, and is made under its lock. Safe for several threads.
template <typename View>
class LastLook {
 public:
    LastLook() {
        DropBeforeFork([this] { Forget(); });
    }
    LastLook(const LastLook&) = delete;
    LastLook& operator=(const LastLook&) = delete;

    // What `read` makes of the database, as long as nothing changes the same object. Throws what
    // Private, an opening and `read` throw, and then keeps nothing.
    template <typename Read>
    std::shared_ptr<const View> At(const std::string& path, Read read) {
        const ProcessLock lock;
        std::optional<Look> look = std::exchange(look_, std::nullopt);
        const FileStamp stamp = FileStamp::Of(Private(path));
        if (!look || !look->witness.Vouches(stamp)) {
            look.reset();
            Database database(path, Database::Mode::kReading);
            auto view = std::make_shared<const View>(read(database));
            look.emplace(Look{std::move(view), Witness(std::move(database), stamp)});
        }
        look_ = std::move(look);
        return look_->view;
    }

    void Forget() {
        const ProcessLock lock;
        look_.reset();
    }

 private:
    struct Look {
        std::shared_ptr<const View> view;
        Witness witness;
    };
    std::optional<Look> look_;
};

}  // namespace softkey

#endif
