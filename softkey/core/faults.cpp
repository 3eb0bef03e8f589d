#include "core/faults.h"

#include <chrono>
#include <thread>

#include "core/database.h"
#include "core/home.h"

namespace softkey {
namespace {

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS faults(entry TEXT PRIMARY KEY, code INTEGER NOT NULL, "
    "times INTEGER NOT NULL, after INTEGER NOT NULL, delay INTEGER NOT NULL)";

Database OpenOrCreate() {
    EnsureHome();
    Database database(FaultsPath(), Database::Mode::kCreate);
    database.Execute(kSchema);
    return database;
}

Fault ReadFault(const Statement& row) {
    return {row.Text(0), static_cast<int32_t>(row.Integer(1)), row.Integer(2), row.Integer(3),
            row.Integer(4)};
}

std::optional<Fault> Find(Database& database, std::string_view entry) {
    Statement row(database, "SELECT entry, code, times, after, delay FROM faults WHERE entry = ?");
    if (!row.Bind(entry).Step()) {
        return std::nullopt;
    }
    return ReadFault(row);
}

void CountDown(Database& database, const Fault& fault) {
    const bool waiting = fault.after > 0;
    if (!waiting && fault.times < 0) {
        return;
    }
    if (!waiting && fault.times <= 1) {
        Statement(database, "DELETE FROM faults WHERE entry = ?").Bind(fault.entry).Run();
        return;
    }
    Statement(database, waiting ? "UPDATE faults SET after = after - 1 WHERE entry = ?"
                                : "UPDATE faults SET times = times - 1 WHERE entry = ?")
        .Bind(fault.entry)
        .Run();
}

std::optional<Fault> CountCall(std::string_view entry) {
    Database database(FaultsPath(), Database::Mode::kExisting);
    // Looked up without the write lock first: most calls meet no fault.
    if (!Find(database, entry)) {
        return std::nullopt;
    }
    Transaction transaction(database);
    std::optional<Fault> fault = Find(database, entry);
    if (!fault) {
        return std::nullopt;
    }
    CountDown(database, *fault);
    transaction.Commit();
    if (fault->after > 0) {
        return std::nullopt;
    }
    return fault;
}

}  // namespace

std::optional<int32_t> OrderedFailure(std::string_view entry) {
    if (!Exists(FaultsPath())) {
        return std::nullopt;
    }
    const std::optional<Fault> fault = CountCall(entry);
    if (!fault) {
        return std::nullopt;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(fault->delay_milliseconds));
    if (fault->code == 0) {
        return std::nullopt;
    }
    return fault->code;
}

void OrderFault(const Fault& fault) {
    Database database = OpenOrCreate();
    Statement(database, "INSERT OR REPLACE INTO faults VALUES(?, ?, ?, ?, ?)")
        .Bind(fault.entry)
        .Bind(static_cast<int64_t>(fault.code))
        .Bind(fault.times)
        .Bind(fault.after)
        .Bind(fault.delay_milliseconds)
        .Run();
}

std::vector<Fault> OrderedFaults() {
    if (!Exists(FaultsPath())) {
        return {};
    }
    Database database(FaultsPath(), Database::Mode::kExisting);
    std::vector<Fault> faults;
    Statement row(database, "SELECT entry, code, times, after, delay FROM faults ORDER BY entry");
    while (row.Step()) {
        faults.push_back(ReadFault(row));
    }
    return faults;
}

void ClearFaults(std::string_view entry) {
    if (!Exists(FaultsPath())) {
        return;
    }
    Database database(FaultsPath(), Database::Mode::kExisting);
    Statement(database, "DELETE FROM faults WHERE ?1 = '' OR entry = ?1").Bind(entry).Run();
}

}  // namespace softkey
