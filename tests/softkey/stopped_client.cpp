#include "stopped_client.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <optional>

#include "store/key_store.h"

namespace softkey::testing {
namespace {

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

// What is larger is address space that a sanitizer or an emulator has set aside.
constexpr unsigned long kReserved = 1UL << 26;

struct Region {
    unsigned long begin;
    unsigned long end;
    bool left_out;
};

// The writable mappings of a process. Where the kernel, or an emulator in its place, does not tell
// what is left out of a core file, nothing is.
std::vector<Region> WritableRegions(const std::string& folder) {
    std::vector<Region> regions;
    std::ifstream mappings(folder + "/smaps");
    bool counts = false;
    for (std::string line; std::getline(mappings, line);) {
        Region region{};
        char rights[5] = {};
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &region.begin, &region.end, rights) == 3) {
            counts = rights[1] == 'w' && region.end - region.begin < kReserved;
            if (counts) {
                regions.push_back(region);
            }
        } else if (counts && line.rfind("VmFlags:", 0) == 0) {
            regions.back().left_out = line.find(" dd") != std::string::npos;
        }
    }
    return regions;
}

Bytes ReadRegion(int memory, const Region& region) {
    Bytes bytes(region.end - region.begin);
    const ssize_t count =
        pread(memory, bytes.data(), bytes.size(), static_cast<off_t>(region.begin));
    bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
    return bytes;
}

}  // namespace

Pieces PrivatePieces(const std::string& serial, const SecretBytes& pin) {
    KeyStore store(serial);
    const Unlocked unlocked = store.Unlock(pin);
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

StoppedClient::StoppedClient(const std::function<void()>& work) : process_(fork()) {
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

StoppedClient::~StoppedClient() {
    if (stopped_) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

std::vector<Bytes> StoppedClient::Regions(bool of_core) const {
    const std::string folder = "/proc/" + std::to_string(process_);
    const int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<Bytes> regions;
    for (const Region& region : WritableRegions(folder)) {
        if (!of_core || !region.left_out) {
            regions.push_back(ReadRegion(memory, region));
        }
    }
    close(memory);
    return regions;
}

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

}  // namespace softkey::testing
