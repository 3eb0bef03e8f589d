#include "store/key_store.h"

#include <sys/stat.h>

#include <filesystem>

#include "entry/faults.h"
#include "key/backup.h"
#include "pin/sessions.h"
#include "softkey_test.h"
#include "store/home.h"

namespace softkey::testing {
namespace {

using KeyStoreTest = SoftKeyTest;

unsigned Mode(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
    return status.st_mode & 07777U;
}

TEST_F(KeyStoreTest, TheHomeAndTheKeyAreTheOwnersAlone) {
    CreateKey();
    EXPECT_EQ(0700U, Mode(HomePath()));
    EXPECT_EQ(0700U, Mode(KeysPath()));
    EXPECT_EQ(0600U, Mode(KeyPath(kSerial)));
}

TEST_F(KeyStoreTest, AHomeThatOthersCanReadIsTightenedAndItsDatabasesArePrivate) {
    std::filesystem::create_directories(Folder() + "/home/keys");
    chmod((Folder() + "/home").c_str(), 0755);
    chmod((Folder() + "/home/keys").c_str(), 0777);
    CreateKey();
    PlugWithPinFile();
    OrderFault({"GetData", 1, 1, 0, 0});
    for (const char* const part : {"", "/keys"}) {
        EXPECT_EQ(0700U, Mode(Folder() + "/home" + part)) << part;
    }
    for (const char* const part : {"/slots.db", "/faults.db"}) {
        EXPECT_EQ(0600U, Mode(Folder() + "/home" + part)) << part;
    }
}

TEST_F(KeyStoreTest, ASharedFolderIsNoHome) {
    std::filesystem::create_directories(Folder() + "/home");
    chmod((Folder() + "/home").c_str(), 01777);
    EXPECT_EQ(Code::kStoreUnreachable, CodeOfFailure([] { CreateKey(); }));
    EXPECT_EQ(01777U, Mode(Folder() + "/home"));
}

TEST_F(KeyStoreTest, AFolderOfKeysThatOthersCanEnterIsRefusedByTheKeyItself) {
    CreateKey();
    chmod(KeysPath().c_str(), 0705);
    EXPECT_EQ(Code::kStoreUnreachable, CodeOfFailure([] { KeyStore(kSerial).Pin(); }));
    chmod(KeysPath().c_str(), 0700);
    EXPECT_NO_THROW(KeyStore(kSerial).Pin());
}

TEST_F(KeyStoreTest, TheHomeMayBeReachedByALinkButNoFileMayBeOne) {
    std::filesystem::create_directories(Folder() + "/real");
    std::filesystem::create_symlink(Folder() + "/real", Folder() + "/link");
    setenv("ORVAL_SOFTKEY_HOME", (Folder() + "/link/home").c_str(), 1);
    CreateKey();
    PlugWithPinFile();
    EXPECT_NO_THROW(KeyStore(kSerial).Unlock(ToSecret(kPin)));
    std::filesystem::rename(KeyPath(kSerial), Folder() + "/elsewhere");
    std::filesystem::create_symlink(Folder() + "/elsewhere", KeyPath(kSerial));
    EXPECT_NE(Code::kOk, CodeOfFailure([] { KeyStore(kSerial).Pin(); }));
}

TEST_F(KeyStoreTest, ASerialNumberIsUsedOnce) {
    CreateKey();
    EXPECT_EQ(Code::kSerialTaken, CodeOfFailure([] { CreateKey(); }));
    EXPECT_EQ(1U, AllSerials().size());
    // Nothing half made stays behind.
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(KeysPath()), {}));
}

TEST_F(KeyStoreTest, SerialNumbersThatCouldBePathsAreRefused) {
    for (const char* const serial : {"", "../../etc/passwd", "OR0000000000000", "or00000000000001",
                                     "OR000000000000012", "OR0000000000000/"}) {
        EXPECT_EQ(Code::kInvalidParameter, CodeOfFailure([&] { CreateKey(serial); })) << serial;
    }
}

TEST_F(KeyStoreTest, PinsOfAnotherFormAreRefusedWithoutCostingATry) {
    CreateKey();
    KeyStore store(kSerial);
    EXPECT_EQ(Code::kPinLength, CodeOfFailure([&] { store.Unlock(ToSecret("12345")); }));
    EXPECT_EQ(Code::kPinLength,
              CodeOfFailure([&] { store.Unlock(ToSecret("12345678901234567")); }));
    EXPECT_EQ(Code::kPinInvalid, CodeOfFailure([&] { store.Unlock(ToSecret("123 5678")); }));
    EXPECT_EQ(kMaximumTries, store.Pin().tries_left);
}

TEST_F(KeyStoreTest, SixWrongTriesLockAndTheLockSurvivesReopening) {
    CreateKey();
    for (int32_t left = kMaximumTries - 1; left >= 0; --left) {
        KeyStore store(kSerial);
        EXPECT_EQ(left > 0 ? Code::kPinIncorrect : Code::kPinLocked,
                  CodeOfFailure([&] { store.Unlock(ToSecret(kOtherPin)); }));
        EXPECT_EQ(left, store.Pin().tries_left);
    }
    KeyStore store(kSerial);
    EXPECT_EQ(Code::kPinLocked, CodeOfFailure([&] { store.Unlock(ToSecret(kPin)); }));
    EXPECT_EQ(Code::kPinLocked,
              CodeOfFailure([&] { store.ChangePin(ToSecret(kPin), ToSecret(kOtherPin)); }));
}

TEST_F(KeyStoreTest, ARightPinGivesAllTriesBack) {
    CreateKey();
    KeyStore store(kSerial);
    EXPECT_EQ(Code::kPinIncorrect, CodeOfFailure([&] { store.Unlock(ToSecret(kOtherPin)); }));
    store.Unlock(ToSecret(kPin));
    EXPECT_EQ(kMaximumTries, store.Pin().tries_left);
}

// The page says so: the counter does not bind who owns the file.
TEST_F(KeyStoreTest, AnEarlierCopyOfTheFileBringsAllTriesBack) {
    CreateKey();
    const std::string copy = Folder() + "/copy";
    std::filesystem::copy_file(KeyPath(kSerial), copy);
    KeyStore store(kSerial);
    while (store.Pin().tries_left > 0) {
        EXPECT_NE(Code::kOk, CodeOfFailure([&] { store.Unlock(ToSecret(kOtherPin)); }));
    }
    std::filesystem::copy_file(copy, KeyPath(kSerial),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(kMaximumTries, KeyStore(kSerial).Pin().tries_left);
    EXPECT_NO_THROW(KeyStore(kSerial).Unlock(ToSecret(kPin)));
}

int64_t CostOfThePin() {
    Database database(KeyPath(kSerial), Database::Mode::kReading);
    Statement cost(database, "SELECT cost * block_size FROM pin");
    return cost.Step() ? cost.Integer(0) : 0;
}

// What the derivation of a real key's PIN costs who guesses it.
TEST_F(KeyStoreTest, ARealKeysPinIsDerivedAtACost) {
    CreateKey(kSerial, "", Kind::kReal);
    EXPECT_EQ(Kind::kReal, KeyStore(kSerial).WhatKind());
    EXPECT_EQ(32768 * 8, CostOfThePin());
    EXPECT_NO_THROW(KeyStore(kSerial).Unlock(ToSecret(kPin)));
    EXPECT_EQ(Code::kPinIncorrect,
              CodeOfFailure([] { KeyStore(kSerial).Unlock(ToSecret(kOtherPin)); }));
}

TEST_F(KeyStoreTest, WhatAKeyIsWorthNeverChanges) {
    for (const Kind kind : {Kind::kReal, Kind::kFixture}) {
        CreateKey(kSerial, "", kind);
        const int64_t cost = CostOfThePin();
        const auto expect_same = [&](const char* after) {
            EXPECT_EQ(kind, KeyStore(kSerial).WhatKind()) << after;
            EXPECT_EQ(cost, CostOfThePin()) << after;
        };
        KeyStore store(kSerial);
        store.ChangePin(ToSecret(kPin), ToSecret(kOtherPin));
        expect_same("a change of the PIN");
        store.Initialize("again", ToSecret(kPin));
        expect_same("an initialisation");
        const std::string copy = Folder() + "/copy" + std::to_string(static_cast<int>(kind));
        BackUpKey(kSerial, copy);
        DeleteKey(kSerial);
        RestoreKey(copy);
        expect_same("a backup and its restoration");
        DeleteKey(kSerial);
    }
}

TEST_F(KeyStoreTest, AKeyOfAnUnknownKindIsNoKeyOfThisProgram) {
    CreateKey();
    Database(KeyPath(kSerial), Database::Mode::kExisting).Execute("PRAGMA user_version = 99");
    EXPECT_EQ(Code::kStoreDamaged, CodeOfFailure([] { KeyStore(kSerial).WhatKind(); }));
}

TEST_F(KeyStoreTest, ChangingThePinKeepsThePrivateKeys) {
    CreateKey(kSerial, "", Kind::kReal);
    KeyStore store(kSerial);
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    store.AddPair(store.Unlock(ToSecret(kPin)), Usage::kSigning, false, pair);
    store.ChangePin(ToSecret(kPin), ToSecret(kOtherPin));
    EXPECT_EQ(Code::kPinIncorrect, CodeOfFailure([&] { store.Unlock(ToSecret(kPin)); }));
    const KeyPair opened = store.Open(store.Unlock(ToSecret(kOtherPin)), store.Pairs().front());
    EXPECT_EQ(pair.Sm2Scalar(), opened.Sm2Scalar());
}

TEST_F(KeyStoreTest, AVerificationFromBeforeAPinChangeNoLongerAddsKeys) {
    CreateKey();
    KeyStore store(kSerial);
    const Unlocked before = store.Unlock(ToSecret(kPin));
    store.ChangePin(ToSecret(kPin), ToSecret(kOtherPin));
    EXPECT_EQ(Code::kNotInitialized, CodeOfFailure([&] {
                  store.AddPair(before, Usage::kSigning, false, KeyPair::Generate(KeyType::kSm2));
              }));
}

TEST_F(KeyStoreTest, TheFileGivesAwayNeitherThePinNorAPrivateKey) {
    CreateKey();
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    {
        KeyStore store(kSerial);
        store.AddPair(store.Unlock(ToSecret(kPin)), Usage::kSigning, false, pair);
    }
    const std::string file = ReadFile(KeyPath(kSerial));
    const SecretBytes scalar = pair.Sm2Scalar();
    EXPECT_EQ(std::string::npos, file.find(std::string(scalar.begin(), scalar.end())));
    EXPECT_EQ(std::string::npos, file.find(kPin));
    const Bytes point = pair.Sm2Point();
    EXPECT_NE(std::string::npos, file.find(std::string(point.begin(), point.end())));
}

TEST_F(KeyStoreTest, ErasedPrivateKeysLeaveNoTraceInTheFile) {
    CreateKey();
    Bytes sealed;
    {
        KeyStore store(kSerial);
        store.AddPair(store.Unlock(ToSecret(kPin)), Usage::kSigning, false,
                      KeyPair::Generate(KeyType::kSm2));
        sealed = store.Pairs().front().sealed_private;
        store.Initialize("", ToSecret(kPin));
    }
    EXPECT_EQ(std::string::npos,
              ReadFile(KeyPath(kSerial)).find(std::string(sealed.begin(), sealed.end())));
}

TEST_F(KeyStoreTest, APairThatIsKeptAlreadyTakesTheCertificateThatComesWithItAgain) {
    CreateKey();
    KeyStore store(kSerial);
    const Unlocked unlocked = store.Unlock(ToSecret(kPin));
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    const Bytes certificate = ToBytes("certificate");
    store.AddPairs(unlocked, {{Usage::kSigning, false, &pair, {}}}, {});
    store.AddPairs(unlocked, {{Usage::kSigning, false, &pair, certificate}}, {});
    ASSERT_EQ(1U, store.Pairs().size());
    EXPECT_EQ(certificate, store.Pairs().front().certificate);
}

TEST_F(KeyStoreTest, LookingWhatAFileIsLeavesNoneOpen) {
    CreateKey(kSerial, "", Kind::kFixture);
    const auto open_files = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = open_files();
    EXPECT_EQ(Kind::kFixture, KindOfFile(KeyPath(kSerial)));
    EXPECT_FALSE(KindOfFile("/dev/null").has_value());
    EXPECT_EQ(before, open_files());
}

TEST_F(KeyStoreTest, ASealedKeyMovedToAnotherRowDoesNotOpen) {
    CreateKey();
    KeyStore store(kSerial);
    const Unlocked unlocked = store.Unlock(ToSecret(kPin));
    store.AddPair(unlocked, Usage::kSigning, false, KeyPair::Generate(KeyType::kSm2));
    store.AddPair(unlocked, Usage::kSigning, false, KeyPair::Generate(KeyType::kSm2));
    StoredPair first = store.Pairs()[0];
    first.sealed_private = store.Pairs()[1].sealed_private;
    EXPECT_EQ(Code::kStoreDamaged, CodeOfFailure([&] { store.Open(unlocked, first); }));
}

TEST_F(KeyStoreTest, InitializationErasesEverythingAndUnlocks) {
    CreateKey(kSerial, "before", Kind::kReal);
    KeyStore store(kSerial);
    store.AddPair(store.Unlock(ToSecret(kPin)), Usage::kSigning, false,
                  KeyPair::Generate(KeyType::kSm2));
    store.SetData(0, "text");
    for (int i = 0; i < kMaximumTries; ++i) {
        CodeOfFailure([&] { store.Unlock(ToSecret(kOtherPin)); });
    }
    store.Initialize("after", ToSecret(kOtherPin));
    EXPECT_EQ("after", store.Label());
    EXPECT_TRUE(store.Pairs().empty());
    EXPECT_FALSE(store.Data(0).has_value());
    EXPECT_NO_THROW(store.Unlock(ToSecret(kOtherPin)));
}

TEST_F(KeyStoreTest, TheNumberOfTemporaryPairsIsBounded) {
    CreateKey();
    KeyStore store(kSerial);
    const Unlocked unlocked = store.Unlock(ToSecret(kPin));
    for (int64_t i = 0; i < kMaximumTemporaryPairs; ++i) {
        store.AddPair(unlocked, Usage::kSigning, false, KeyPair::Generate(KeyType::kSm2));
    }
    EXPECT_EQ(Code::kTooManyKeyPairs, CodeOfFailure([&] {
                  store.AddPair(unlocked, Usage::kSigning, false, KeyPair::Generate(KeyType::kSm2));
              }));
}

// Each multiplies the time of a guess, during which the key is locked to all others.
TEST_F(KeyStoreTest, AGuessThatADamagedKeyMakesEndlessIsRefused) {
    CreateKey();
    Database(KeyPath(kSerial), Database::Mode::kExisting).Execute("UPDATE pin SET parallel = 5");
    KeyStore store(kSerial);
    EXPECT_EQ(Code::kStoreDamaged, CodeOfFailure([&] { store.Unlock(ToSecret(kPin)); }));
    EXPECT_EQ(kMaximumTries, store.Pin().tries_left);
}

TEST_F(KeyStoreTest, FilesThatAreNoKeysAreRefused) {
    CreateKey();
    CreateKey(kOtherSerial);
    std::filesystem::copy_file(KeyPath(kOtherSerial), KeyPath(kSerial),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(Code::kStoreDamaged, CodeOfFailure([] { KeyStore(kSerial).Pin(); }));
    WriteFile(KeyPath(kSerial), std::string(8192, 'x'));
    EXPECT_EQ(Code::kStoreDamaged, CodeOfFailure([] { KeyStore(kSerial).Pin(); }));
    std::filesystem::remove(KeyPath(kSerial));
    EXPECT_EQ(Code::kStoreUnreachable, CodeOfFailure([] { KeyStore(kSerial).Pin(); }));
}

TEST_F(KeyStoreTest, WhatCannotBeLookedAtIsNotTakenForAbsent) {
    EXPECT_FALSE(Exists(Folder() + "/nothing"));
    EXPECT_FALSE(Exists(HomePath() + "/nothing/slots.db"));
    const std::string loop = Folder() + "/loop";
    std::filesystem::create_symlink(loop, loop);
    EXPECT_TRUE(Exists(loop));
    EXPECT_EQ(Code::kStoreUnreachable, CodeOfFailure([&] { Exists(loop + "/slots.db"); }));
}

TEST_F(KeyStoreTest, ABackupRestoresAKeyWithItsPinAndPairs) {
    CreateKey(kSerial, "label", Kind::kReal);
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    {
        KeyStore store(kSerial);
        store.AddPair(store.Unlock(ToSecret(kPin)), Usage::kSigning, false, pair);
    }
    const std::string copy = Folder() + "/copy";
    BackUpKey(kSerial, copy);
    EXPECT_EQ(0600U, Mode(copy));
    EXPECT_EQ(Code::kSerialTaken, CodeOfFailure([&] { BackUpKey(kSerial, copy); }));
    EXPECT_EQ(Code::kSerialTaken, CodeOfFailure([&] { RestoreKey(copy); }));
    DeleteKey(kSerial);
    EXPECT_EQ(kSerial, RestoreKey(copy).serial);
    KeyStore store(kSerial);
    EXPECT_EQ("label", store.Label());
    EXPECT_EQ(pair.Sm2Scalar(),
              store.Open(store.Unlock(ToSecret(kPin)), store.Pairs().front()).Sm2Scalar());
}

TEST_F(KeyStoreTest, APluggedKeyIsNotDeleted) {
    CreateKey();
    PlugWithDialog();
    EXPECT_EQ(Code::kAlreadyPlugged, CodeOfFailure([] { DeleteKey(kSerial); }));
    Unplug();
    DeleteKey(kSerial);
    EXPECT_TRUE(AllSerials().empty());
    EXPECT_EQ(Code::kNoSuchKey, CodeOfFailure([] { PlugWithDialog(); }));
}

}  // namespace
}  // namespace softkey::testing
