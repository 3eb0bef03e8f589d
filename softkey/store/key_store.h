#ifndef SOFTKEY_STORE_KEY_STORE_H
#define SOFTKEY_STORE_KEY_STORE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/secret.h"
#include "crypto/key_pair.h"
#include "maker/rooms.h"
#include "store/database.h"

namespace softkey {

enum class Usage : int { kSigning = 1, kEncryption = 2 };

constexpr int32_t kMaximumTries = 6;  // unless the key was made with another number
constexpr size_t kMinimumPinLength = 6;
constexpr size_t kMaximumPinLength = 16;
constexpr size_t kMaximumLabelLength = 255;
constexpr size_t kMaximumDataLength = maker::kDataRoom - 1;
constexpr int32_t kDataItems = 64;
constexpr int64_t kMaximumTemporaryPairs = 64;

// Throws kPinLength or kPinInvalid. Checked before a try is spent.
void CheckPinForm(const SecretBytes& pin);

struct PinState {
    int32_t tries_left;
    int32_t tries_maximum;
    int64_t generation;  // another number after each change of the PIN or of the key it protects
};

// What a key is worth. Decided when it is made, for good; stands in the store's user_version.
enum class Kind : int {
    kReal = 0,
    kFixture = 1,  // for tests: its PIN is derived cheaply, so that it protects nothing
    kSeeded = 2,   // a fixture whose key pairs a seed decides
};

// The kind of a key's file, by its first bytes alone; nothing for what is no key's file. Not for a
// process that has the file open: closing it here takes SQLite's locks away.
std::optional<Kind> KindOfFile(const std::string& path);

// A key pair that is to be kept on a key.
struct ReadyPair {
    Usage usage;
    bool dual;
    const KeyPair* pair;
    Bytes certificate;  // DER; empty: none yet
};

// A key that is to be made.
struct KeyPlan {
    std::string serial;
    std::string label;
    SecretBytes pin;
    Kind kind = Kind::kReal;
    SecretBytes seed{};  // of a seeded key: what its key pairs are made from
    int32_t tries = kMaximumTries;
    std::vector<ReadyPair> pairs{};  // with their certificates
    int64_t drawn = 0;               // how many of them the seed gave
};

// What a verified PIN gives: the key under which the private keys are sealed.
struct Unlocked {
    SecretBytes master;
    int64_t generation = 0;
};

// A key pair on the key. Without a certificate it is temporary: made for a request that has not
// been answered.
struct StoredPair {
    int64_t id;
    Usage usage;
    KeyType type;
    bool dual;  // made for a request that asks for an encryption certificate too
    Bytes public_key;
    Bytes sealed_private;
    Bytes certificate;  // DER, empty for a temporary pair

    bool IsTemporary() const { return certificate.empty(); }
};

// One software key's durable state: an SQLite file. Each member is one transaction, so that
// another process or a sudden death sees all of it or nothing, and sees the file as it is then:
// what a process keeps of its last look serves only while SQLite tells that nothing has changed.
class KeyStore {
 public:
    // Makes the file under its final name in one step; a key is never seen half made.
    static void Create(const KeyPlan& plan);

    // Makes many, in little more time than their files need. All are on the disk when it returns.
    // made: called for each, when its file is written.
    static void CreateAll(const std::vector<KeyPlan>& plans, const std::function<void()>& made);

    explicit KeyStore(std::string_view serial);

    const std::string& Serial() const { return serial_; }

    // A connection to the file, once it is seen to be this key's.
    Database Connect(Database::Mode mode) const;

    // The number of the key whose store this is, or a copy of it. Throws kStoreDamaged for any
    // other database.
    static std::string SerialIn(Database& database);

    // What a key is used by, as it is at one moment.
    struct Snapshot {
        Kind kind;
        std::string label;
        PinState pin;
        std::vector<StoredPair> pairs;
    };
    static Snapshot LookAt(Database& database);

    // The same object as long as the file has not changed and no other key was looked at.
    std::shared_ptr<const Snapshot> Look() const;

    // As Look, once all of the file is read. Throws kStoreDamaged when any of it is damaged.
    Snapshot LookAtWhole() const;

    PinState Pin() const { return Look()->pin; }

    // Spends a try before it looks at the PIN and gives all tries back when it is right, so that a
    // process killed in between gains nothing. Programs take turns. Throws kPinIncorrect or
    // kPinLocked.
    Unlocked Unlock(const SecretBytes& pin);
    void ChangePin(const SecretBytes& old_pin, const SecretBytes& new_pin);

    // Without the PIN, which is needed as ever afterwards. Who owns the file could bring an earlier
    // copy of it back.
    void GiveTriesBack();

    // Makes another key with this number, which holds and has all that this one does.
    void CloneAs(std::string_view serial, const SecretBytes& pin);

    // Erases key pairs, certificates and data items and sets a new PIN with all its tries.
    Unlocked Initialize(std::string_view label, const SecretBytes& new_pin);

    Kind WhatKind() const { return Look()->kind; }

    std::string Label() const { return Look()->label; }
    void SetLabel(std::string_view label);

    std::optional<std::string> Data(int32_t index) const;
    void SetData(int32_t index, std::string_view text);

    std::vector<StoredPair> Pairs() const { return Look()->pairs; }

    // A new pair for a request, which is not kept yet. A seeded key's are the same on every
    // machine, in their order; each is made once.
    KeyPair NewPair(KeyType type);

    // Keeps a new pair, sealed. A pair that is kept already stays as it is.
    void AddPair(const Unlocked& unlocked, Usage usage, bool dual, const KeyPair& pair);
    KeyPair Open(const Unlocked& unlocked, const StoredPair& pair);

    // Pairs with or without certificates, and certificates for pairs that are kept already, as by
    // SetCertificates: all of it or nothing.
    struct PairCertificate {
        int64_t pair_id;
        Bytes certificate;
    };
    void AddPairs(const Unlocked& unlocked, const std::vector<ReadyPair>& pairs,
                  const std::vector<PairCertificate>& certificates);

    // Gives each certificate to its pair and removes the pair that had one for the same use and
    // type before. A pair that is gone fails the whole with kKeyNotFound.
    void SetCertificates(const std::vector<PairCertificate>& certificates);
    void DeletePairs(const std::vector<int64_t>& ids);

 private:
    std::string path_;
    std::string serial_;

    void RequireOwn(Database& database) const;
    Bytes PinContext() const { return ToBytes(serial_); }
    std::optional<SecretBytes> TryPin(const SecretBytes& pin) const;
    void SpendTry() const;
    void ReturnTry() const;
};

}  // namespace softkey

#endif
