#include "slots/slots.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "base/draft_file.h"
#include "base/error.h"
#include "base/file_lock.h"
#include "base/process_lock.h"
#include "store/home.h"
#include "store/last_look.h"

namespace softkey {
namespace {

constexpr char kSchema[] = R"sql(
CREATE TABLE plugged(
    slot INTEGER PRIMARY KEY, serial TEXT NOT NULL UNIQUE, plug_id INTEGER NOT NULL,
    pin_file TEXT, pin_descriptor INTEGER, confirmation INTEGER NOT NULL);
CREATE TABLE events(
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

// Empty when the work meets damage.
template <typename Result, typename Work>
std::optional<Result> UnlessDamaged(Work work) {
    try {
        return work();
    } catch (const Error& error) {
        if (error.code() != Code::kStoreDamaged) {
            throw;
        }
        return std::nullopt;
    }
}

std::vector<PluggedKey> PluggedIn(Database& database) {
    std::vector<PluggedKey> keys;
    Statement row(database, (std::string(kPluggedColumns) + "ORDER BY slot").c_str());
    while (row.Step()) {
        keys.push_back(ReadPlugged(row));
    }
    return keys;
}

int64_t LastSequenceIn(Database& database) {
    Statement row(database, "SELECT seq FROM sqlite_sequence WHERE name = 'events'");
    return row.Step() ? row.Integer(0) : 0;
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

Slots::Slots() : database_(Private(SlotsPath()), Database::Mode::kExisting) {}

std::optional<Slots> Slots::OpenExisting() {
    if (!HomeExists() || !Exists(SlotsPath())) {
        return std::nullopt;
    }
    return UnlessDamaged<Slots>([] {
        Slots slots;
        slots.database_.CheckWhole();
        LookAt(slots.database_, 0);
        return slots;
    });
}

Slots Slots::OpenOrCreate() {
    EnsureHome();
    if (std::optional<Slots> slots = OpenExisting()) {
        return std::move(*slots);
    }
    const FileLock lock(SlotsLockPath());
    // Another program may have made it meanwhile.
    if (std::optional<Slots> slots = OpenExisting()) {
        return std::move(*slots);
    }
    MakeAnew();
    return Slots();
}

void Slots::MakeAnew() {
    using Milliseconds = std::chrono::milliseconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    Database database("", Database::Mode::kInMemory);
    database.Execute(kSchema);
    Statement(database, "INSERT INTO sqlite_sequence VALUES('events', ?)")
        .Bind(int64_t{std::chrono::duration_cast<Milliseconds>(now).count()})
        .Run();
    DraftFile draft(SlotsPath());
    draft.Write(database.Image());
    RemoveJournalsOf(SlotsPath());
    draft.Replace();
}

Slots::Snapshot Slots::Present(int64_t place) {
    if (!Exists(SlotsPath())) {
        return {};
    }
    std::optional<Snapshot> present = UnlessDamaged<Snapshot>([&] { return Look(place); });
    if (!present) {
        present.emplace();
        present->damaged = true;
    }
    return *present;
}

Slots::Snapshot Slots::Look(int64_t place) {
    const ProcessLock lock;
    // Never destroyed: clients call as late as from exit handlers.
    static auto* const last = new LastLook<Snapshot>;
    static int64_t last_place = 0;
    if (std::exchange(last_place, place) != place) {
        last->Forget();
    }
    return *last->At(SlotsPath(), [&](Database& database) { return LookAt(database, place); });
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
    return key;
}

PluggedKey Slots::Unplug(std::string_view serial) {
    Transaction transaction(database_);
    const std::optional<PluggedKey> key = Find(serial);
    Require(key.has_value(), Code::kDeviceRemoved, "the key is not plugged in");
    Statement(database_, "DELETE FROM plugged WHERE serial = ?").Bind(serial).Run();
    Record(EventKind::kRemoval, *key);
    transaction.Commit();
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
    return PluggedIn(database_);
}

std::optional<PluggedKey> Slots::Find(std::string_view serial) {
    Statement row(database_, (std::string(kPluggedColumns) + "WHERE serial = ?").c_str());
    if (!row.Bind(serial).Step()) {
        return std::nullopt;
    }
    return ReadPlugged(row);
}

int64_t Slots::LastSequence() {
    return LastSequenceIn(database_);
}

Slots::Snapshot Slots::LookAt(Database& database, int64_t place) {
    Snapshot snapshot;
    snapshot.plugged = PluggedIn(database);
    snapshot.last_sequence = LastSequenceIn(database);
    Statement first(database, "SELECT min(sequence) FROM events");
    first.Step();
    snapshot.first_sequence = first.IsNull(0) ? snapshot.last_sequence + 1 : first.Integer(0);
    Statement row(database,
                  "SELECT sequence, kind, slot, serial FROM events WHERE sequence > ? "
                  "ORDER BY sequence LIMIT 1");
    if (row.Bind(place).Step()) {
        snapshot.next = SlotEvent{row.Integer(0), static_cast<EventKind>(row.Integer(1)),
                                  static_cast<uint32_t>(row.Integer(2)), row.Text(3)};
    }
    return snapshot;
}

const PluggedKey* Slots::Snapshot::Find(std::string_view serial) const {
    const auto found = std::find_if(plugged.begin(), plugged.end(),
                                    [&](const PluggedKey& key) { return key.serial == serial; });
    return found == plugged.end() ? nullptr : &*found;
}

}  // namespace softkey
