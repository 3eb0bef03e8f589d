#include "store/key_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "base/draft_file.h"
#include "base/encoding.h"
#include "base/file_lock.h"
#include "base/process_lock.h"
#include "cli/words.h"
#include "crypto/sealing.h"
#include "crypto/seeds.h"
#include "store/home.h"
#include "store/last_look.h"

namespace softkey {
namespace {

constexpr int64_t kFormatVersion = 1;

constexpr char kSchema[] = R"sql(
CREATE TABLE key(
    id INTEGER PRIMARY KEY CHECK(id = 1), format INTEGER NOT NULL, serial TEXT NOT NULL,
    label TEXT NOT NULL);
CREATE TABLE pin(
    id INTEGER PRIMARY KEY CHECK(id = 1), tries_left INTEGER NOT NULL, tries_max INTEGER NOT NULL,
    generation INTEGER NOT NULL, salt BLOB NOT NULL, cost INTEGER NOT NULL,
    block_size INTEGER NOT NULL, parallel INTEGER NOT NULL, sealed_master BLOB NOT NULL);
CREATE TABLE pairs(
    id INTEGER PRIMARY KEY AUTOINCREMENT, usage INTEGER NOT NULL, type INTEGER NOT NULL,
    dual INTEGER NOT NULL, public_key BLOB NOT NULL UNIQUE, sealed_private BLOB NOT NULL,
    certificate BLOB);
CREATE UNIQUE INDEX one_certificate ON pairs(usage, type) WHERE certificate IS NOT NULL;
CREATE TABLE data(item INTEGER PRIMARY KEY, text TEXT NOT NULL);
)sql";

// Of seeded keys alone. drawn: how many key pairs have been made.
constexpr char kSeedSchema[] =
    "CREATE TABLE seed(id INTEGER PRIMARY KEY CHECK(id = 1), bytes BLOB NOT NULL, "
    "drawn INTEGER NOT NULL)";

int64_t FreshGeneration() {
    const Bytes random = RandomBytes(sizeof(int64_t));
    int64_t generation = 0;
    std::memcpy(&generation, random.data(), sizeof generation);
    return generation;
}

StoredPair ReadPair(const Statement& row) {
    return {row.Integer(0),
            static_cast<Usage>(row.Integer(1)),
            static_cast<KeyType>(row.Integer(2)),
            row.Integer(3) != 0,
            row.Blob(4),
            row.Blob(5),
            row.Blob(6)};
}

struct SealedMaster {
    PinDerivation derivation;
    Bytes bytes;
};

// Takes the connection: it is closed before the PIN is tried, which takes long.
SealedMaster ReadSealedMaster(Database database) {
    Statement row(database, "SELECT salt, cost, block_size, parallel, sealed_master FROM pin");
    Require(row.Step(), Code::kStoreDamaged, "the store has no PIN");
    return {{row.Blob(0), row.Integer(1), row.Integer(2), row.Integer(3)}, row.Blob(4)};
}

SealedMaster SealMaster(Kind kind, const SecretBytes& pin, const SecretBytes& master,
                        const Bytes& context) {
    const PinDerivation derivation =
        kind == Kind::kReal ? PinDerivation::Fresh() : PinDerivation::Cheap();
    return {derivation, Seal(DeriveFromPin(pin, derivation), master, context)};
}

// All tries are there again; how many those are was decided when the key was made.
void WritePin(Database& database, const SealedMaster& sealed) {
    Statement(database,
              "UPDATE pin SET tries_left = tries_max, generation = ?, salt = ?, cost = ?, "
              "block_size = ?, parallel = ?, sealed_master = ?")
        .Bind(FreshGeneration())
        .Bind(sealed.derivation.salt)
        .Bind(sealed.derivation.cost)
        .Bind(sealed.derivation.block_size)
        .Bind(sealed.derivation.parallel)
        .Bind(sealed.bytes)
        .Run();
    Require(database.Changes() == 1, Code::kStoreDamaged, "the store has no PIN");
}

PinState ReadPin(Database& database) {
    Statement pin(database, "SELECT tries_left, tries_max, generation FROM pin");
    Require(pin.Step(), Code::kStoreDamaged, "the store has no PIN");
    return {static_cast<int32_t>(pin.Integer(0)), static_cast<int32_t>(pin.Integer(1)),
            pin.Integer(2)};
}

bool IsKind(int64_t number) {
    return number >= static_cast<int64_t>(Kind::kReal) &&
           number <= static_cast<int64_t>(Kind::kSeeded);
}

Kind ReadKind(Database& database) {
    Statement version(database, "PRAGMA user_version");
    const int64_t kind = version.Step() ? version.Integer(0) : -1;
    Require(IsKind(kind), Code::kStoreDamaged, "the store is of no known kind");
    return static_cast<Kind>(kind);
}

void WriteKind(Database& database, Kind kind) {
    database.Execute(("PRAGMA user_version = " + std::to_string(static_cast<int>(kind))).c_str());
}

void InstallCertificate(Database& database, const KeyStore::PairCertificate& item) {
    Statement(database,
              "DELETE FROM pairs WHERE certificate IS NOT NULL AND id <> ?1 AND (usage, type) = "
              "(SELECT usage, type FROM pairs WHERE id = ?1)")
        .Bind(item.pair_id)
        .Run();
    Statement(database, "UPDATE pairs SET certificate = ? WHERE id = ?")
        .Bind(item.certificate)
        .Bind(item.pair_id)
        .Run();
    Require(database.Changes() == 1, Code::kKeyNotFound, "the key pair was deleted");
}

// The pair's row, also where it is kept already.
int64_t KeepPair(Database& database, const ReadyPair& ready, const Bytes& sealed) {
    const Bytes public_key = ready.pair->Public();
    Statement known(database, "SELECT id FROM pairs WHERE public_key = ?");
    if (known.Bind(public_key).Step()) {
        return known.Integer(0);
    }
    Statement count(database, "SELECT count(*) FROM pairs WHERE certificate IS NULL");
    Require(
        !ready.certificate.empty() || (count.Step() && count.Integer(0) < kMaximumTemporaryPairs),
        Code::kTooManyKeyPairs, "the key holds 64 key pairs without a certificate");
    Statement(database,
              "INSERT INTO pairs(usage, type, dual, public_key, sealed_private) "
              "VALUES(?, ?, ?, ?, ?)")
        .Bind(static_cast<int64_t>(ready.usage))
        .Bind(static_cast<int64_t>(ready.pair->Type()))
        .Bind(static_cast<int64_t>(ready.dual))
        .Bind(public_key)
        .Bind(sealed)
        .Run();
    return database.LastRow();
}

Bytes NewImage(const KeyPlan& plan, const SecretBytes& master) {
    Database database("", Database::Mode::kInMemory);
    database.Execute(kSchema);
    WriteKind(database, plan.kind);
    if (plan.kind == Kind::kSeeded) {
        database.Execute(kSeedSchema);
        Statement(database, "INSERT INTO seed VALUES(1, ?, ?)")
            .Bind(Bytes(plan.seed.begin(), plan.seed.end()))
            .Bind(plan.drawn)
            .Run();
    }
    Statement(database, "INSERT INTO key VALUES(1, ?, ?, ?)")
        .Bind(kFormatVersion)
        .Bind(plan.serial)
        .Bind(plan.label)
        .Run();
    Statement(database, "INSERT INTO pin VALUES(1, 0, ?, 0, x'', 0, 0, 0, x'')")
        .Bind(static_cast<int64_t>(plan.tries))
        .Run();
    WritePin(database, SealMaster(plan.kind, plan.pin, master, ToBytes(plan.serial)));
    for (const ReadyPair& ready : plan.pairs) {
        const Bytes sealed = Seal(master, ready.pair->Private(), ready.pair->Public());
        InstallCertificate(database, {KeepPair(database, ready, sealed), ready.certificate});
    }
    return database.Image();
}

void CheckLabel(std::string_view label) {
    Require(label.size() <= kMaximumLabelLength, Code::kNameLength,
            "a label has at most 255 bytes");
    Require(IsPlainText(label), Code::kData, "a label is UTF-8 text without control characters");
}

}  // namespace

std::optional<Kind> KindOfFile(const std::string& path) {
    // The database header has 100 bytes: in front what it is, at 60 the user_version, with the most
    // significant byte first.
    constexpr char kMagic[] = "SQLite format 3";  // no message
    constexpr size_t kPlace = 60;
    Bytes header(100);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    const ssize_t count = file < 0 ? -1 : pread(file, header.data(), header.size(), 0);
    if (file >= 0) {
        close(file);
    }
    if (count != static_cast<ssize_t>(header.size()) ||
        AsText(header).substr(0, sizeof kMagic) != std::string_view(kMagic, sizeof kMagic)) {
        return std::nullopt;
    }
    int64_t kind = 0;
    for (size_t i = kPlace; i < kPlace + 4; ++i) {
        kind = kind << 8 | header[i];
    }
    return IsKind(kind) ? std::optional<Kind>(static_cast<Kind>(kind)) : std::nullopt;
}

void CheckPinForm(const SecretBytes& pin) {
    Require(pin.size() >= kMinimumPinLength && pin.size() <= kMaximumPinLength, Code::kPinLength,
            "a PIN has 6 to 16 characters");
    const bool printable =
        std::all_of(pin.begin(), pin.end(), [](unsigned char c) { return c > ' ' && c < 0x7F; });
    Require(printable, Code::kPinInvalid, "a PIN consists of printable ASCII characters");
}

void KeyStore::Create(const KeyPlan& plan) {
    CreateAll({plan}, [] {});
}

void KeyStore::CreateAll(const std::vector<KeyPlan>& plans, const std::function<void()>& made) {
    for (const KeyPlan& plan : plans) {
        CheckPinForm(plan.pin);
        CheckLabel(plan.label);
        Require(!Exists(KeyPath(plan.serial)), Code::kSerialTaken,
                "a key with this serial number exists");
    }
    EnsureHome();
    std::vector<std::unique_ptr<DraftFile>> drafts;
    for (const KeyPlan& plan : plans) {
        const std::string path = KeyPath(plan.serial);
        drafts.push_back(std::make_unique<DraftFile>(path));
        drafts.back()->Write(NewImage(plan, RandomSecret(kSealKeyLength)), DraftFile::Sync::kLater);
        RemoveJournalsOf(path);
        made();
    }
    DraftFile::PublishAll(drafts);
}

KeyStore::KeyStore(std::string_view serial) : path_(KeyPath(serial)), serial_(serial) {}

Database KeyStore::Connect(Database::Mode mode) const {
    Database database(Private(path_), mode);
    RequireOwn(database);
    return database;
}

void KeyStore::RequireOwn(Database& database) const {
    Require(SerialIn(database) == serial_, Code::kStoreDamaged, "the file is another key's store");
}

std::string KeyStore::SerialIn(Database& database) {
    Statement key(database, "SELECT format, serial FROM key");
    Require(key.Step() && key.Integer(0) == kFormatVersion && IsSerialNumber(key.Text(1)),
            Code::kStoreDamaged, "the file is no key's store");
    return key.Text(1);
}

std::shared_ptr<const KeyStore::Snapshot> KeyStore::Look() const {
    const ProcessLock lock;
    // Never destroyed: clients call as late as from exit handlers.
    static auto* const last = new LastLook<Snapshot>;
    return last->At(path_, [&](Database& database) {
        RequireOwn(database);
        return LookAt(database);
    });
}

KeyStore::Snapshot KeyStore::LookAtWhole() const {
    Database database = Connect(Database::Mode::kReading);
    database.CheckWhole();
    return LookAt(database);
}

KeyStore::Snapshot KeyStore::LookAt(Database& database) {
    Snapshot snapshot{};
    Statement key(database, "SELECT label FROM key");
    Require(key.Step(), Code::kStoreDamaged, "the store has no label");
    snapshot.kind = ReadKind(database);
    snapshot.label = key.Text(0);
    snapshot.pin = ReadPin(database);
    Statement pair(database,
                   "SELECT id, usage, type, dual, public_key, sealed_private, certificate "
                   "FROM pairs ORDER BY id");
    while (pair.Step()) {
        snapshot.pairs.push_back(ReadPair(pair));
    }
    return snapshot;
}

void KeyStore::SpendTry() const {
    Database database = Connect(Database::Mode::kExisting);
    Transaction transaction(database);
    Statement(database, "UPDATE pin SET tries_left = tries_left - 1 WHERE tries_left > 0").Run();
    Require(database.Changes() == 1, Code::kPinLocked, "no tries are left");
    transaction.Commit();
}

std::optional<SecretBytes> KeyStore::TryPin(const SecretBytes& pin) const {
    const SealedMaster sealed = ReadSealedMaster(Connect(Database::Mode::kReading));
    return Unseal(DeriveFromPin(pin, sealed.derivation), sealed.bytes, PinContext());
}

Unlocked KeyStore::Unlock(const SecretBytes& pin) {
    CheckPinForm(pin);
    // One at a time: tries that several programs have spent on right PINs and not yet got back
    // must not lock the key.
    const FileLock lock(KeyLockPath(serial_));
    SpendTry();
    try {
        if (std::optional<SecretBytes> master = TryPin(pin)) {
            Database database = Connect(Database::Mode::kExisting);
            Statement(database, "UPDATE pin SET tries_left = tries_max").Run();
            return {std::move(*master), ReadPin(database).generation};
        }
    } catch (...) {
        // That was no verdict: memory ran out, or the store could not be read.
        ReturnTry();
        throw;
    }
    const int32_t left = Pin().tries_left;
    throw Error(left > 0 ? Code::kPinIncorrect : Code::kPinLocked,
                cli::Say("tries left: {1}", left));
}

void KeyStore::ReturnTry() const {
    try {
        Database database = Connect(Database::Mode::kExisting);
        Statement(database,
                  "UPDATE pin SET tries_left = tries_left + 1 WHERE tries_left < tries_max")
            .Run();
    } catch (...) {
        // Then it is lost, as after a power cut.
    }
}

void KeyStore::GiveTriesBack() {
    Database database = Connect(Database::Mode::kExisting);
    // What was remembered of a PIN ended when it was locked, also where nobody has looked since.
    Statement(database,
              "UPDATE pin SET generation = CASE tries_left WHEN 0 THEN ? ELSE generation END, "
              "tries_left = tries_max")
        .Bind(FreshGeneration())
        .Run();
}

void KeyStore::CloneAs(std::string_view serial, const SecretBytes& pin) {
    const std::string path = KeyPath(serial);
    Require(!Exists(path), Code::kSerialTaken, "a key with this serial number exists");
    const Unlocked unlocked = Unlock(pin);
    // The number is in the seal's context: the master is sealed anew.
    const SealedMaster sealed = SealMaster(WhatKind(), pin, unlocked.master, ToBytes(serial));
    Database copy(Connect(Database::Mode::kReading).Image());
    Require(ReadPin(copy).generation == unlocked.generation, Code::kPinIncorrect,
            "the PIN was changed by another program");
    Statement(copy, "UPDATE key SET serial = ?").Bind(serial).Run();
    WritePin(copy, sealed);
    DraftFile draft(path);
    draft.Write(copy.Image());
    RemoveJournalsOf(path);
    draft.Publish();
}

void KeyStore::ChangePin(const SecretBytes& old_pin, const SecretBytes& new_pin) {
    CheckPinForm(new_pin);
    const Unlocked unlocked = Unlock(old_pin);
    const SealedMaster sealed = SealMaster(WhatKind(), new_pin, unlocked.master, PinContext());
    Database database = Connect(Database::Mode::kExisting);
    Transaction transaction(database);
    Require(ReadPin(database).generation == unlocked.generation, Code::kPinIncorrect,
            "the PIN was changed by another program");
    WritePin(database, sealed);
    transaction.Commit();
}

Unlocked KeyStore::Initialize(std::string_view label, const SecretBytes& new_pin) {
    CheckPinForm(new_pin);
    CheckLabel(label);
    SecretBytes master = RandomSecret(kSealKeyLength);
    const SealedMaster sealed = SealMaster(WhatKind(), new_pin, master, PinContext());
    Database database = Connect(Database::Mode::kExisting);
    Transaction transaction(database);
    database.Execute("DELETE FROM pairs; DELETE FROM data;");
    Statement(database, "UPDATE key SET label = ?").Bind(label).Run();
    WritePin(database, sealed);
    transaction.Commit();
    return {std::move(master), ReadPin(database).generation};
}

void KeyStore::SetLabel(std::string_view label) {
    CheckLabel(label);
    Database database = Connect(Database::Mode::kExisting);
    Statement(database, "UPDATE key SET label = ?").Bind(label).Run();
}

std::optional<std::string> KeyStore::Data(int32_t index) const {
    Require(index >= 0 && index < kDataItems, Code::kSelector, "data items are 0 to 63");
    Database database = Connect(Database::Mode::kReading);
    Statement row(database, "SELECT text FROM data WHERE item = ?");
    if (!row.Bind(static_cast<int64_t>(index)).Step()) {
        return std::nullopt;
    }
    return row.Text(0);
}

void KeyStore::SetData(int32_t index, std::string_view text) {
    Require(index >= 0 && index < kDataItems, Code::kSelector, "data items are 0 to 63");
    Require(text.size() <= kMaximumDataLength, Code::kDataLength,
            "a data item has at most 259 bytes");
    Database database = Connect(Database::Mode::kExisting);
    Statement(database, "INSERT OR REPLACE INTO data VALUES(?, ?)")
        .Bind(static_cast<int64_t>(index))
        .Bind(text)
        .Run();
}

KeyPair KeyStore::NewPair(KeyType type) {
    if (WhatKind() != Kind::kSeeded) {
        return KeyPair::Generate(type);
    }
    Database database = Connect(Database::Mode::kExisting);
    Transaction transaction(database);
    Statement(database, "UPDATE seed SET drawn = drawn + 1").Run();
    Statement seed(database, "SELECT bytes, drawn FROM seed");
    Require(seed.Step(), Code::kStoreDamaged, "the store has no seed");
    const Bytes bytes = seed.Blob(0);
    const int64_t number = seed.Integer(1);
    transaction.Commit();
    return PairOfSeed(SecretBytes(bytes.begin(), bytes.end()), type, number);
}

void KeyStore::AddPair(const Unlocked& unlocked, Usage usage, bool dual, const KeyPair& pair) {
    AddPairs(unlocked, {{usage, dual, &pair, {}}}, {});
}

void KeyStore::AddPairs(const Unlocked& unlocked, const std::vector<ReadyPair>& pairs,
                        const std::vector<PairCertificate>& certificates) {
    std::vector<Bytes> sealed;
    sealed.reserve(pairs.size());
    for (const ReadyPair& ready : pairs) {
        sealed.push_back(Seal(unlocked.master, ready.pair->Private(), ready.pair->Public()));
    }
    Database database = Connect(Database::Mode::kExisting);
    Transaction transaction(database);
    Require(ReadPin(database).generation == unlocked.generation, Code::kNotInitialized,
            "the PIN was changed since it was verified");
    for (size_t i = 0; i < pairs.size(); ++i) {
        const int64_t id = KeepPair(database, pairs[i], sealed[i]);
        if (!pairs[i].certificate.empty()) {
            InstallCertificate(database, {id, pairs[i].certificate});
        }
    }
    for (const PairCertificate& item : certificates) {
        InstallCertificate(database, item);
    }
    transaction.Commit();
}

KeyPair KeyStore::Open(const Unlocked& unlocked, const StoredPair& pair) {
    const std::optional<SecretBytes> der =
        Unseal(unlocked.master, pair.sealed_private, pair.public_key);
    Require(der.has_value(), Code::kStoreDamaged, "a private key cannot be unsealed");
    return KeyPair::FromPrivate(*der);
}

void KeyStore::SetCertificates(const std::vector<PairCertificate>& certificates) {
    Database database = Connect(Database::Mode::kExisting);
    Transaction transaction(database);
    for (const PairCertificate& item : certificates) {
        InstallCertificate(database, item);
    }
    transaction.Commit();
}

void KeyStore::DeletePairs(const std::vector<int64_t>& ids) {
    Database database = Connect(Database::Mode::kExisting);
    Transaction transaction(database);
    for (const int64_t id : ids) {
        Statement(database, "DELETE FROM pairs WHERE id = ?").Bind(id).Run();
    }
    transaction.Commit();
}

}  // namespace softkey
