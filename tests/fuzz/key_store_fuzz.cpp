// A software key's file of which any bytes and any values were changed is read as far as it is
// sound, and refused with a code where it is not, by everything that reads or writes it.
//
// The input is a list of changes to a sound store: what is changed, and what it takes.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "softkey_input.h"
#include "store/database.h"
#include "store/home.h"
#include "store/key_store.h"

namespace {

using fuzz::Input;
using softkey::Code;
using softkey::Database;
using softkey::EnsureHome;
using softkey::Error;
using softkey::KeyPath;
using softkey::KeyPlan;
using softkey::KeyStore;
using softkey::KeyType;
using softkey::Kind;
using softkey::KindOfFile;
using softkey::Statement;
using softkey::StoredPair;
using softkey::ToBytes;
using softkey::ToSecret;
using softkey::Unlocked;
using softkey::Usage;

constexpr char kSerial[] = "OR00000000000001";
constexpr char kPin[] = "12345678";
constexpr size_t kLongestText = 60;

std::string& SoundStore() {
    static std::string bytes;
    return bytes;
}

void ReadSoundStore() {
    std::ifstream file(KeyPath(kSerial), std::ios::binary);
    SoundStore().assign(std::istreambuf_iterator<char>(file), {});
}

// A name of the schema, and a value of any of SQLite's types.
constexpr std::array kColumns = {
    "key SET format",        "key SET serial",        "key SET label",
    "pin SET tries_left",    "pin SET tries_max",     "pin SET generation",
    "pin SET salt",          "pin SET cost",          "pin SET block_size",
    "pin SET parallel",      "pin SET sealed_master", "pairs SET usage",
    "pairs SET type",        "pairs SET dual",        "pairs SET sealed_private",
    "pairs SET certificate", "pairs SET public_key",  "data SET item",
    "data SET text",         "seed SET bytes",        "seed SET drawn",
};

int64_t TakeNumber(Input& input) {
    uint64_t number = 0;
    for (size_t bytes = input.TakeByte() % (sizeof(number) + 1); bytes > 0; --bytes) {
        number = number << 8U | input.TakeByte();
    }
    return static_cast<int64_t>(number);
}

void ChangeValue(Input& input, const std::string& path) {
    Database database(path, Database::Mode::kExisting);
    const std::string sql =
        std::string("UPDATE ") + kColumns[input.TakeByte() % kColumns.size()] + " = ?";
    Statement statement(database, sql.c_str());
    switch (input.TakeByte() % 4) {
        case 0:
            statement.Bind(TakeNumber(input)).Run();
            return;
        case 1:
            statement.Bind(std::string_view(input.TakeText(input.TakeByte() % kLongestText))).Run();
            return;
        case 2:
            statement.Bind(ToBytes(input.TakeText(input.TakeByte()))).Run();
            return;
        default:
            statement.BindNull().Run();
    }
}

void ChangeKind(Input& input, const std::string& path) {
    Database database(path, Database::Mode::kExisting);
    database.Execute(("PRAGMA user_version = " + std::to_string(input.TakeByte())).c_str());
}

void ChangeBytes(Input& input, const std::string& path) {
    const auto size = std::filesystem::file_size(path);
    if (size == 0) {
        return;
    }
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(static_cast<uint64_t>(TakeNumber(input)) % size));
    file << input.TakeText(input.TakeByte() % kLongestText);
}

void Cut(Input& input, const std::string& path) {
    const auto size = std::filesystem::file_size(path);
    std::filesystem::resize_file(path, static_cast<uint64_t>(TakeNumber(input)) % (size + 1));
}

// A failure is a failure of the software key, with a code and words. What the store's makers must
// never see is any other exception.
template <typename Work>
void Try(Work work) {
    try {
        work();
    } catch (const Error& error) {
        fuzz::Require(error.code() != Code::kOk, "a failure has a code");
    }
}

void Change(Input& input, const std::string& path) {
    using Way = void (*)(Input&, const std::string&);
    constexpr std::array<Way, 4> kWays = {ChangeValue, ChangeKind, ChangeBytes, Cut};
    const Way way = kWays[input.TakeByte() % kWays.size()];
    Try([&] { way(input, path); });
}

void UseAll() {
    Try([] { KindOfFile(KeyPath(kSerial)); });
    Try([] { KeyStore(kSerial).LookAtWhole(); });
    Try([] { KeyStore(kSerial).Label(); });
    Try([] {
        KeyStore store(kSerial);
        const Unlocked unlocked = store.Unlock(ToSecret(kPin));
        for (const StoredPair& pair : store.Pairs()) {
            Try([&] { store.Open(unlocked, pair).Public(); });
        }
        store.AddPair(unlocked, Usage::kSigning, false, store.NewPair(KeyType::kSm2));
    });
    for (const int32_t item : {0, 1}) {
        Try([item] { KeyStore(kSerial).Data(item); });
    }
    Try([] { KeyStore(kSerial).SetData(1, "data"); });
    Try([] { KeyStore(kSerial).SetLabel("label"); });
    Try([] { KeyStore(kSerial).GiveTriesBack(); });
    Try([] {
        // A real key's PIN is meant to take long.
        if (KindOfFile(KeyPath(kSerial)) != Kind::kReal) {
            KeyStore(kSerial).ChangePin(ToSecret(kPin), ToSecret(kPin));
            KeyStore(kSerial).Initialize("new", ToSecret(kPin));
        }
    });
}

void WriteStore(const std::string& path) {
    std::filesystem::remove(path);
    const int descriptor = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    const ssize_t written = write(descriptor, SoundStore().data(), SoundStore().size());
    close(descriptor);
    fuzz::Require(written == static_cast<ssize_t>(SoundStore().size()), "the store is written");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Another process of a merge may have left one.
    std::filesystem::remove_all("/tmp/fuzzed-home");
    setenv("ORVAL_SOFTKEY_HOME", "/tmp/fuzzed-home", 1);
    EnsureHome();
    KeyPlan plan;
    plan.serial = kSerial;
    plan.label = "label";
    plan.pin = ToSecret(kPin);
    plan.kind = Kind::kSeeded;
    plan.seed = ToSecret("fuzz");
    KeyStore::Create(plan);
    KeyStore store(kSerial);
    const Unlocked unlocked = store.Unlock(plan.pin);
    store.AddPair(unlocked, Usage::kSigning, false, store.NewPair(KeyType::kSm2));
    store.SetData(1, "data");
    ReadSoundStore();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = KeyPath(kSerial);
    WriteStore(path);
    Input input(data, size);
    while (!input.IsEmpty()) {
        Change(input, path);
    }
    UseAll();
    return 0;
}
