// What a client's memory holds once it is done with its keys: the memory of a stopped process,
// searched for the private numbers of every key pair.
#include <fcntl.h>
#include <openssl/core_names.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>

#include "softkey_test.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

// A piece of a private number, and what it is a piece of. Freed memory is written over at its
// front, so that only pieces of a number may be left.
constexpr size_t kPiece = 16;
using Piece = std::array<unsigned char, kPiece>;
struct PieceHash {
    size_t operator()(const Piece& piece) const {
        size_t hash = 0;
        std::memcpy(&hash, piece.data(), sizeof hash);
        return hash;
    }
};
using Pieces = std::unordered_map<Piece, std::string, PieceHash>;

void AddPieces(const Bytes& number, const std::string& name, Pieces* pieces) {
    for (size_t begin = 0; begin + kPiece <= number.size(); begin += kPiece) {
        Piece piece{};
        std::copy_n(number.begin() + static_cast<std::ptrdiff_t>(begin), kPiece, piece.begin());
        (*pieces)[piece] = name;
    }
}

void AddNumber(const KeyPair& pair, const char* parameter, const std::string& name,
               Pieces* pieces) {
    BIGNUM* number = nullptr;
    ASSERT_EQ(1, EVP_PKEY_get_bn_param(pair.Get(), parameter, &number)) << parameter;
    const ssl::Number owner(number);
    Bytes bytes((static_cast<size_t>(BN_num_bytes(number)) + kPiece - 1) / kPiece * kPiece);
    BN_bn2binpad(number, bytes.data(), static_cast<int>(bytes.size()));
    AddPieces(bytes, name + parameter + " as it is written", pieces);
    std::reverse(bytes.begin(), bytes.end());
    AddPieces(bytes, name + parameter + " as a number", pieces);
}

// The private numbers of all pairs on the key.
Pieces PrivatePieces() {
    KeyStore store(kSerial);
    const Unlocked unlocked = store.Unlock(ToSecret(kPin));
    Pieces pieces;
    for (const StoredPair& stored : store.Pairs()) {
        const KeyPair pair = store.Open(unlocked, stored);
        const std::string name = "pair " + std::to_string(stored.id) + " ";
        if (stored.type == KeyType::kSm2) {
            AddNumber(pair, OSSL_PKEY_PARAM_PRIV_KEY, name, &pieces);
            continue;
        }
        for (const char* const parameter :
             {OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1, OSSL_PKEY_PARAM_RSA_FACTOR2,
              OSSL_PKEY_PARAM_RSA_EXPONENT1, OSSL_PKEY_PARAM_RSA_EXPONENT2,
              OSSL_PKEY_PARAM_RSA_COEFFICIENT1}) {
            AddNumber(pair, parameter, name, &pieces);
        }
    }
    return pieces;
}

// A process that does some work and then stands still, so that its memory can be read. It must be
// started before this process has seen any private key: a child inherits what its parent holds.
class StoppedClient {
 public:
    explicit StoppedClient(const std::function<void()>& work) : process_(fork()) {
        if (process_ == 0) {
            work();
            if (!::testing::Test::HasFailure()) {
                raise(SIGSTOP);
            }
            _exit(1);
        }
        int status = 0;
        waitpid(process_, &status, WUNTRACED);
        stopped_ = WIFSTOPPED(status);
    }
    ~StoppedClient() {
        if (stopped_) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }
    StoppedClient(const StoppedClient&) = delete;
    StoppedClient& operator=(const StoppedClient&) = delete;

    bool Stopped() const { return stopped_; }

    // Everything that the process can write to: heap, stacks, variables.
    std::vector<Bytes> Memory() const {
        const std::string folder = "/proc/" + std::to_string(process_);
        std::ifstream maps(folder + "/maps");
        const int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
        std::vector<Bytes> regions;
        for (std::string line; std::getline(maps, line);) {
            unsigned long begin = 0;
            unsigned long end = 0;
            char rights[5] = {};
            if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, rights) == 3 &&
                rights[1] == 'w' && end - begin < kReserved) {
                regions.push_back(Read(memory, begin, end - begin));
            }
        }
        close(memory);
        return regions;
    }

 private:
    // What is larger is address space that a sanitizer or an emulator has set aside.
    static constexpr unsigned long kReserved = 1UL << 26;

    static Bytes Read(int memory, unsigned long begin, size_t size) {
        Bytes bytes(size);
        const ssize_t count = pread(memory, bytes.data(), size, static_cast<off_t>(begin));
        bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return bytes;
    }

    pid_t process_;
    bool stopped_ = false;
};

// The numbers of which the memory holds a piece.
std::set<std::string> Search(const std::vector<Bytes>& regions, const Pieces& pieces) {
    std::vector<bool> fronts(1U << 16);
    const auto front = [](const unsigned char* bytes) {
        return static_cast<size_t>(bytes[0]) << 8 | bytes[1];
    };
    for (const auto& entry : pieces) {
        fronts[front(entry.first.data())] = true;
    }
    constexpr size_t kPage = 4096;
    static const unsigned char kUntouched[kPage] = {};
    std::set<std::string> found;
    Piece window{};
    for (const Bytes& region : regions) {
        for (size_t at = 0; at + kPiece <= region.size(); ++at) {
            if (at % kPage == 0 && at + kPage <= region.size() &&
                std::memcmp(region.data() + at, kUntouched, kPage) == 0) {
                at += kPage - 1;
                continue;
            }
            if (!fronts[front(region.data() + at)]) {
                continue;
            }
            std::copy_n(region.data() + at, kPiece, window.begin());
            const auto entry = pieces.find(window);
            if (entry != pieces.end()) {
                found.insert(entry->second);
            }
        }
    }
    return found;
}

class MemoryTest : public EntriesTest {
 protected:
    static constexpr int32_t kSm2Signing = 0x21;
    static constexpr int32_t kRsaSigning = 0x11;

    // The authority works in processes of its own: it makes private keys, too.
    void RunAuthority(const std::string& arguments) {
        const CommandResult result = RunShell("cd " + Folder() + " && " + Program("softca") +
                                              " --dir authority " + arguments);
        ASSERT_EQ(0, result.status) << result.output;
    }

    void AskAuthority(const std::string& requests) {
        WriteFile(Folder() + "/requests", requests);
        RunAuthority("issue --in requests --out answer");
        ASSERT_EQ(kSuccess, Import(ReadFile(Folder() + "/answer")));
    }

    std::string Encrypted(int32_t selector) {
        WriteFile(Folder() + "/certificate", CertificatePem(selector));
        const CommandResult result = RunShell(
            "cd " + Folder() +
            " && printf secret > plain && openssl x509 -noout -pubkey -in "
            "certificate > public && openssl pkeyutl -encrypt -pubin -inkey public -in plain | "
            "openssl base64 -A");
        EXPECT_EQ(0, result.status) << result.output;
        return result.output;
    }

    void Decrypt(int32_t selector) {
        const std::string cipher = Encrypted(selector);
        char plain[1024] = {};
        int32_t length = sizeof plain;
        ASSERT_EQ(kSuccess,
                  key_.GMUSBKeyAsymDec2(kSerial, selector, 0, cipher.c_str(), plain, &length));
        EXPECT_STREQ("secret", plain);
    }

    void SignConfirmed(int32_t selector) {
        char text[8192];
        int32_t length = sizeof text;
        ASSERT_EQ(kSuccess,
                  key_.GMUsbKeyCriticalSign(kSerial, selector, 0, "a payment", text, &length));
    }

    void SignBatch(int32_t selector) {
        char text[8192];
        int32_t length = sizeof text;
        ASSERT_EQ(kSuccess, key_.Batch_Sign(1, kSerial, selector, 0, "one", "Pay?", 0, selector, 0,
                                            "two||three", 0, text, &length));
    }

    void GetCertificates() {
        RunAuthority("init");
        AskAuthority(DualRequest());
        AskAuthority(Request(1, 1) + "||" + Request(2, 1));
    }

    void Start(const std::string& name, const std::function<void()>& work) {
        clients_.emplace_back(name, std::make_unique<StoppedClient>(work));
        ASSERT_TRUE(clients_.back().second->Stopped());
    }

    // A client that caches its PIN, does some work with its keys and forgets the PIN.
    void StartClient(const std::string& name, const std::function<void()>& work) {
        Start(name, [&] {
            ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
            work();
            ASSERT_EQ(kSuccess, key_.GM_RemoveUserPin());
        });
    }

    // A client that has signed under a cached PIN, which then ends in some way or another. The key
    // is afterwards as it was before.
    void StartSigner(const std::string& name, const std::function<void()>& ending) {
        const std::string copy = Folder() + "/copy";
        std::filesystem::copy_file(KeyPath(kSerial), copy,
                                   std::filesystem::copy_options::overwrite_existing);
        Start(name, [&] {
            ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
            SignatureOf("a payment", kSm2Signing);
            SignatureOf("a payment", kRsaSigning);
            ending();
        });
        std::filesystem::copy_file(copy, KeyPath(kSerial),
                                   std::filesystem::copy_options::overwrite_existing);
    }

    std::vector<std::pair<std::string, std::unique_ptr<StoppedClient>>> clients_;
};

TEST_F(MemoryTest, NothingOfAPrivateKeyIsLeftInAClient) {
    StartClient("requests and imports", [&] { GetCertificates(); });
    for (const int32_t selector : {1, 0x11}) {
        const std::string key = selector == 1 ? "SM2 " : "RSA ";
        StartClient(key + "SignHash", [&] { SignatureOf("a payment", selector); });
        StartClient(key + "Sign", [&] { SignConfirmed(selector); });
        StartClient(key + "Batch_Sign", [&] { SignBatch(selector); });
        StartClient(key + "AsymDec", [&] { Decrypt(selector + 1); });
    }
    // Seen by this process only now, so that no client can have it from here.
    const Pieces pieces = PrivatePieces();
    ASSERT_EQ(2 * (2 * 2U + 2 * (16 + 5 * 8)), pieces.size());
    for (const auto& [name, client] : clients_) {
        EXPECT_EQ(std::set<std::string>(), Search(client->Memory(), pieces)) << name;
    }
}

TEST_F(MemoryTest, UnderACachedPinAKeyThatSignsStaysOpen) {
    StartClient("certificates", [&] { GetCertificates(); });
    StartSigner("signer", [] {});
    EXPECT_FALSE(Search(clients_.back().second->Memory(), PrivatePieces()).empty());
}

TEST_F(MemoryTest, APrivateKeyEndsWithWhatKeepsThePin) {
    StartClient("certificates", [&] { GetCertificates(); });
    Start("no cache", [&] {
        ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
        SignatureOf("a payment", kSm2Signing);
        SignatureOf("a payment", kRsaSigning);
    });
    StartSigner("flag", [&] { ASSERT_EQ(kSuccess, key_.SetCachePinFlag(kSerial, 0)); });
    StartSigner("another PIN", [&] {
        KeyStore(kSerial).ChangePin(ToSecret(kPin), ToSecret(kOtherPin));
        ASSERT_EQ(Number(Code::kPinIncorrect), key_.VerifyPIN(kSerial));
    });
    StartSigner("deleted", [&] {
        ASSERT_EQ(kSuccess, key_.DelCertAndTempKey(kSerial, kSm2Signing, 0));
        ASSERT_EQ(kSuccess, key_.DelCertAndTempKey(kSerial, kRsaSigning, 0));
    });
    StartSigner("deleted by others", [&] {
        KeyStore(kSerial).Initialize("", ToSecret(kPin));
        ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    });
    StartSigner("forked", [] {
        const pid_t child = fork();
        if (child == 0) _exit(0);
        ASSERT_EQ(child, waitpid(child, nullptr, 0));
    });
    CreateKey(kOtherSerial);
    PlugWithPinFile(kOtherSerial);
    StartSigner("time is up", [&] {
        ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 1));
        SignatureOf("a payment", kSm2Signing);
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        ASSERT_EQ(kSuccess, key_.VerifyPIN(kOtherSerial));
    });
    StartSigner("unplugged", [&] {
        Unplug();
        // Any call for any key.
        ASSERT_EQ(kSuccess, key_.VerifyPIN(kOtherSerial));
    });
    const Pieces pieces = PrivatePieces();
    for (const auto& [name, client] : clients_) {
        EXPECT_EQ(std::set<std::string>(), Search(client->Memory(), pieces)) << name;
    }
}

TEST_F(MemoryTest, ASearchFindsWhatAClientHolds) {
    Bytes held;
    StartClient("holder", [&] {
        Request(1, 2);
        KeyStore store(kSerial);
        const SecretBytes scalar =
            store.Open(store.Unlock(ToSecret(kPin)), store.Pairs().at(0)).Sm2Scalar();
        held.assign(scalar.begin(), scalar.end());
    });
    EXPECT_EQ(1U, Search(clients_.at(0).second->Memory(), PrivatePieces())
                      .count("pair 1 priv as it is written"));
}

}  // namespace
}  // namespace softkey::testing
