#ifndef SOFTKEY_STORE_DATABASE_H
#define SOFTKEY_STORE_DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/process_lock.h"
#include "base/secret.h"

namespace softkey {

class Database;

// One prepared statement. Parameters are bound in order; columns count from 0.
class Statement {
 public:
    Statement(Database& database, const char* sql);

    Statement& Bind(int64_t value);
    Statement& Bind(std::string_view text);
    Statement& Bind(const Bytes& bytes);
    Statement& BindNull();

    // True while there is a row. A failure throws.
    bool Step();

    // Runs a statement that has no rows.
    void Run() { Step(); }

    bool IsNull(int column) const;
    int64_t Integer(int column) const;
    std::string Text(int column) const;
    Bytes Blob(int column) const;

    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    using Prepared = std::unique_ptr<sqlite3_stmt, Finalizer>;

 private:
    Database& database_;
    Prepared statement_;
    int bound_ = 0;
};

// A connection to one file. What is committed has reached the disk: a write that was acknowledged
// survives the death of the process and of the machine. Several processes may use one file; each
// waits a bounded time for the others. An object holds its process's lock, so it lives for one
// operation only; what stays open between two is a Witness.
class Database {
 public:
    // kExisting reads and writes; kReading shows the file as it is now until the object is
    // gone, and costs least; kInMemory has no file and drafts a new one's contents.
    enum class Mode { kExisting, kReading, kInMemory };
    Database(const std::string& path, Mode mode);

    // What a file's contents hold, without a file.
    explicit Database(const Bytes& image);

    void Execute(const char* sql);

    // Reads the whole file. Throws kStoreDamaged when any of it is not as it was written.
    void CheckWhole();

    // What a file with this database's contents holds, at one moment.
    Bytes Image() const;

    int64_t Changes() const { return sqlite3_changes64(connection_.get()); }
    int64_t LastRow() const { return sqlite3_last_insert_rowid(connection_.get()); }
    sqlite3* Handle() const { return connection_.get(); }

    // Throws the code that belongs to the connection's last failure.
    [[noreturn]] void Fail() const;

    struct Closer {
        void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
    };
    using Connection = std::unique_ptr<sqlite3, Closer>;

    // The connection alone, which whoever has it uses and closes under the process's lock.
    Connection Release() && { return std::move(connection_); }

 private:
    ProcessLock lock_;  // outlives the connection
    Connection connection_;
};

// All or nothing. Without Commit the changes are undone. Taking the write lock at once keeps two
// processes that read and then write from waiting for each other.
class Transaction {
 public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit();

 private:
    Database& database_;
    bool open_ = true;
};

// Removes what SQLite keeps beside a file, for a file that is gone or is about to be replaced:
// otherwise it would be taken for the next one's and written into that.
void RemoveJournalsOf(const std::string& path);

}  // namespace softkey

#endif
