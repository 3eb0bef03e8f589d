#include "store/database.h"

#include <unistd.h>

#include <algorithm>

#include "base/draft_file.h"
#include "base/error.h"
#include "cli/words.h"

namespace softkey {
namespace {

constexpr int kBusyMilliseconds = 15000;

Code CodeOf(sqlite3* connection) {
    switch (sqlite3_errcode(connection) & 0xFF) {
        case SQLITE_FULL:
            return Code::kStoreFull;
        case SQLITE_READONLY:
        case SQLITE_PERM:
            return Code::kStoreReadOnly;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return Code::kStoreBusy;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_SCHEMA:
        case SQLITE_ERROR:
            return Code::kStoreDamaged;
        case SQLITE_NOMEM:
            return Code::kMemory;
        default:
            return CodeOfFileError(sqlite3_system_errno(connection));
    }
}

}  // namespace

Statement::Statement(Database& database, const char* sql) : database_(database) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database.Handle(), sql, -1, &statement, nullptr) != SQLITE_OK) {
        database.Fail();
    }
    statement_.reset(statement);
}

Statement& Statement::Bind(int64_t value) {
    if (sqlite3_bind_int64(statement_.get(), ++bound_, value) != SQLITE_OK) {
        database_.Fail();
    }
    return *this;
}

Statement& Statement::Bind(std::string_view text) {
    const auto length = static_cast<sqlite3_uint64>(text.size());
    if (sqlite3_bind_text64(statement_.get(), ++bound_, text.data(), length, SQLITE_TRANSIENT,
                            SQLITE_UTF8) != SQLITE_OK) {
        database_.Fail();
    }
    return *this;
}

Statement& Statement::Bind(const Bytes& bytes) {
    if (sqlite3_bind_blob64(statement_.get(), ++bound_, bytes.data(), bytes.size(),
                            SQLITE_TRANSIENT) != SQLITE_OK) {
        database_.Fail();
    }
    return *this;
}

Statement& Statement::BindNull() {
    if (sqlite3_bind_null(statement_.get(), ++bound_) != SQLITE_OK) {
        database_.Fail();
    }
    return *this;
}

bool Statement::Step() {
    const int result = sqlite3_step(statement_.get());
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        database_.Fail();
    }
    return false;
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

int64_t Statement::Integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::string Statement::Text(int column) const {
    const auto* const text = sqlite3_column_text(statement_.get(), column);
    if (text == nullptr) {
        return std::string();
    }
    const int length = sqlite3_column_bytes(statement_.get(), column);
    return {reinterpret_cast<const char*>(text), static_cast<size_t>(length)};
}

Bytes Statement::Blob(int column) const {
    const auto* const bytes =
        static_cast<const unsigned char*>(sqlite3_column_blob(statement_.get(), column));
    if (bytes == nullptr) {
        return Bytes();
    }
    return {bytes, bytes + sqlite3_column_bytes(statement_.get(), column)};
}

Database::Database(const std::string& path, Mode mode) {
    sqlite3* connection = nullptr;
    const int result =
        sqlite3_open_v2(mode == Mode::kInMemory ? ":memory:" : path.c_str(), &connection,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr);
    connection_.reset(connection);
    if (result != SQLITE_OK) {
        Fail();
    }
    sqlite3_busy_timeout(connection, kBusyMilliseconds);
    if (mode == Mode::kReading) {
        // The pragma is the cheapest statement that reads: what follows, the schema included, finds
        // the file locked and need not do it again.
        Execute("BEGIN; PRAGMA schema_version");
        return;
    }
    // EXTRA also makes the removal of the journal durable; secure_delete leaves no old key behind.
    Execute("PRAGMA synchronous=EXTRA; PRAGMA secure_delete=ON");
}

Database::Database(const Bytes& image) : Database("", Mode::kInMemory) {
    auto* const copy = static_cast<unsigned char*>(sqlite3_malloc64(image.size()));
    Require(copy != nullptr, Code::kMemory);
    std::copy(image.begin(), image.end(), copy);
    const auto size = static_cast<sqlite3_int64>(image.size());
    if (sqlite3_deserialize(connection_.get(), "main", copy, size, size,
                            SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE) !=
        SQLITE_OK) {
        Fail();
    }
}

void Database::Execute(const char* sql) {
    if (sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail();
    }
}

void Database::CheckWhole() {
    Statement check(*this, "PRAGMA integrity_check");
    const std::string verdict = check.Step() ? check.Text(0) : "nothing";
    if (verdict != "ok") {
        throw Error(Code::kStoreDamaged, cli::Say("SQLite finds: {1}", verdict));
    }
}

Bytes Database::Image() const {
    struct Freeing {
        void operator()(unsigned char* bytes) const { sqlite3_free(bytes); }
    };
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, Freeing> bytes(
        sqlite3_serialize(connection_.get(), "main", &size, 0));
    if (bytes == nullptr) {
        Fail();
    }
    return {bytes.get(), bytes.get() + size};
}

void Database::Fail() const {
    if (connection_ == nullptr) {
        throw Error(Code::kMemory);
    }
    throw Error(CodeOf(connection_.get()), sqlite3_errmsg(connection_.get()));
}

Transaction::Transaction(Database& database) : database_(database) {
    database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    // A failed statement may have ended the transaction already; undoing nothing is no failure.
    if (open_) {
        sqlite3_exec(database_.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::Commit() {
    database_.Execute("COMMIT");
    open_ = false;
}

void RemoveJournalsOf(const std::string& path) {
    for (const char* const suffix : {"-journal", "-wal", "-shm"}) {
        unlink((path + suffix).c_str());
    }
}

}  // namespace softkey
