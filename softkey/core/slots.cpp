#include "core/slots.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/error.h"
#include "core/home.h"

namespace softkey {
namespace {

constexpr char kSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS plugged(
    slot INTEGER PRIMARY KEY, serial TEXT NOT NULL UNIQUE, plug_id INTEGER NOT NULL,
    pin_file TEXT, pin_descriptor INTEGER, confirmation INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS events(
    sequence INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL, slot INTEGER NOT NULL,
    serial TEXT NOT NULL);
)sql";

constexpr char kPluggedColumns[] =
    "SELECT slot, serial, plug_id, pin_file, pin_descriptor, confirmation FROM plugged ";

PluggedKey ReadPlugged(const Statement& row) {
    PinSource source;
    if (!row.IsNull(3)) {
        source.file = row.Text(3);
    }
    if (!row.IsNull(4)) {
        source.descriptor = static_cast<int>(row.Integer(4));
    }
    source.confirmation = static_cast<Confirmation>(row.Integer(5));
    return {static_cast<uint32_t>(row.Integer(0)), row.Text(1), row.Integer(2), source};
}

// Only wakes: whoever misses this finds the event in the journal at its next look, at most a
// fraction of a second later.
void WakeWaitingProcesses() {
    const std::string bell = SignalPath() + "/bell";
    const int file = open(bell.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) {
        return;
    }
    futimens(file, nullptr);
    close(file);
}

int64_t LowestFreeSlot(Database& database) {
    Statement row(database, "SELECT slot FROM plugged ORDER BY slot");
    int64_t slot = 1;
    while (row.Step() && row.Integer(0) == slot) {
        ++slot;
    }
    return slot;
}

}  // namespace

Slots::Slots(Database::Mode mode) : database_(SlotsPath(), mode) {}

std::optional<Slots> Slots::OpenExisting() {
    if (!Exists(SlotsPath())) {
        return std::nullopt;
    }
    Slots slots(Database::Mode::kExisting);
    // Made by a first plug that has not committed yet: nothing was ever plugged.
    Statement tables(slots.database_, "SELECT 1 FROM sqlite_master WHERE name = 'events'");
    if (!tables.Step()) {
        return std::nullopt;
    }
    return slots;
}

Slots Slots::OpenOrCreate() {
    EnsureHome();
    Slots slots(Database::Mode::kCreate);
    Transaction transaction(slots.database_);
    slots.database_.Execute(kSchema);
    transaction.Commit();
    return slots;
}

PluggedKey Slots::Plug(std::string_view serial, const PinSource& source) {
    Require(Exists(KeyPath(serial)), Code::kNoSuchKey, "there is no key with this serial number");
    Transaction transaction(database_);
    Require(!Find(serial).has_value(), Code::kAlreadyPlugged, "the key is plugged in already");
    const int64_t slot = LowestFreeSlot(database_);
    const int64_t plug_id = LastSequence() + 1;
    Statement insert(database_, "INSERT INTO plugged VALUES(?, ?, ?, ?, ?, ?)");
    insert.Bind(slot).Bind(serial).Bind(plug_id);
    source.file ? insert.Bind(*source.file) : insert.BindNull();
    source.descriptor ? insert.Bind(static_cast<int64_t>(*source.descriptor)) : insert.BindNull();
    insert.Bind(static_cast<int64_t>(source.confirmation)).Run();
    PluggedKey key{static_cast<uint32_t>(slot), std::string(serial), plug_id, source};
    Record(EventKind::kArrival, key);
    transaction.Commit();
    WakeWaitingProcesses();
    return key;
}

PluggedKey Slots::Unplug(std::string_view serial) {
    Transaction transaction(database_);
    const std::optional<PluggedKey> key = Find(serial);
    Require(key.has_value(), Code::kDeviceRemoved, "the key is not plugged in");
    Statement(database_, "DELETE FROM plugged WHERE serial = ?").Bind(serial).Run();
    Record(EventKind::kRemoval, *key);
    transaction.Commit();
    WakeWaitingProcesses();
    return *key;
}

void Slots::Record(EventKind kind, const PluggedKey& key) {
    Statement(database_, "INSERT INTO events(kind, slot, serial) VALUES(?, ?, ?)")
        .Bind(static_cast<int64_t>(kind))
        .Bind(static_cast<int64_t>(key.slot))
        .Bind(key.serial)
        .Run();
    Statement(database_, "DELETE FROM events WHERE sequence <= ?")
        .Bind(database_.LastRow() - kJournalLength)
        .Run();
}

std::vector<PluggedKey> Slots::Plugged() {
    std::vector<PluggedKey> keys;
    Statement row(database_, (std::string(kPluggedColumns) + "ORDER BY slot").c_str());
    while (row.Step()) {
        keys.push_back(ReadPlugged(row));
    }
    return keys;
}

std::optional<PluggedKey> Slots::Find(std::string_view serial) {
    Statement row(database_, (std::string(kPluggedColumns) + "WHERE serial = ?").c_str());
    if (!row.Bind(serial).Step()) {
        return std::nullopt;
    }
    return ReadPlugged(row);
}

int64_t Slots::LastSequence() {
    Statement row(database_, "SELECT ifnull(max(sequence), 0) FROM events");
    row.Step();
    return row.Integer(0);
}

std::optional<SlotEvent> Slots::NextEvent(int64_t after) {
    Statement row(database_,
                  "SELECT sequence, kind, slot, serial FROM events WHERE sequence > ? "
                  "ORDER BY sequence LIMIT 1");
    if (!row.Bind(after).Step()) {
        return std::nullopt;
    }
    return SlotEvent{row.Integer(0), static_cast<EventKind>(row.Integer(1)),
                     static_cast<uint32_t>(row.Integer(2)), row.Text(3)};
}

Slots::Snapshot Slots::Look() {
    database_.Execute("BEGIN");
    Snapshot snapshot{Plugged(), LastSequence(), 0};
    Statement row(database_, "SELECT ifnull(min(sequence), 0) FROM events");
    row.Step();
    snapshot.first_sequence = row.Integer(0);
    database_.Execute("COMMIT");
    return snapshot;
}

}  // namespace softkey
