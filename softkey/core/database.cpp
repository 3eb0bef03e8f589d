#include "core/database.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "core/draft_file.h"
#include "core/error.h"

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

// The folder may be reached by symbolic links; a file that is one itself is refused, which SQLite
// can only do for all of a path.
std::string WithRealFolder(const std::string& path) {
    const std::filesystem::path given(path);
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::canonical(
        given.has_parent_path() ? given.parent_path() : std::filesystem::path("."), error);
    return error ? path : (folder / given.filename()).string();
}

// SQLite would give a new file the rights that the umask leaves.
void MakePrivateFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file >= 0) {
        close(file);
    }
}

// SQLite tries to read what it could not create and then reports that the file is missing.
void CheckThatFileCanBeMade(const std::string& path) {
    if (access(path.c_str(), F_OK) == 0) {
        return;
    }
    const std::string folder = std::filesystem::path(path).parent_path().string();
    if (access(folder.c_str(), W_OK) != 0) {
        FailWithFile(errno, folder);
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

Database::Database(const std::string& given_path, Mode mode) {
    const std::string path = WithRealFolder(given_path);
    if (mode == Mode::kCreate) {
        MakePrivateFile(path);
    }
    const int create = mode == Mode::kCreate ? SQLITE_OPEN_CREATE : 0;
    sqlite3* connection = nullptr;
    const int result = sqlite3_open_v2(
        path.c_str(), &connection,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX | SQLITE_OPEN_NOFOLLOW | create, nullptr);
    connection_.reset(connection);
    if (result != SQLITE_OK) {
        if (mode == Mode::kCreate) {
            CheckThatFileCanBeMade(path);
        }
        Fail();
    }
    sqlite3_busy_timeout(connection, kBusyMilliseconds);
    // EXTRA also makes the removal of the journal durable; secure_delete leaves no old key behind.
    Execute("PRAGMA synchronous=EXTRA; PRAGMA secure_delete=ON;");
}

void Database::Execute(const char* sql) {
    if (sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail();
    }
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

}  // namespace softkey
