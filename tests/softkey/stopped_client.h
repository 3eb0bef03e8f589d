#ifndef ORVAL_TESTS_SOFTKEY_STOPPED_CLIENT_H
#define ORVAL_TESTS_SOFTKEY_STOPPED_CLIENT_H

#include <sys/types.h>

#include <array>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/secret.h"

// Secrets, looked for in the memory of a process that stands still.
namespace softkey::testing {

// A piece of a secret, and what it is a piece of. Freed memory is written over at its front, so
// that only pieces of a secret may be left.
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

// Whole pieces only: what is shorter than one, or behind the last, is not looked for.
template <typename Container>
void AddPieces(const Container& secret, const std::string& name, Pieces* pieces) {
    for (size_t begin = 0; begin + kPiece <= secret.size(); begin += kPiece) {
        Piece piece{};
        for (size_t at = 0; at < kPiece; ++at) {
            piece[at] = static_cast<unsigned char>(secret[begin + at]);
        }
        (*pieces)[piece] = name;
    }
}

// The private numbers of all pairs on a key.
Pieces PrivatePieces(const std::string& serial, const SecretBytes& pin);

// A process that does some work and then stands still, so that its memory can be read. It must be
// started before this process has seen any of the secrets: a child inherits what its parent holds.
class StoppedClient {
 public:
    explicit StoppedClient(const std::function<void()>& work);
    ~StoppedClient();
    StoppedClient(const StoppedClient&) = delete;
    StoppedClient& operator=(const StoppedClient&) = delete;

    bool Stopped() const { return stopped_; }

    // Everything that the process can write to: heap, stacks, variables.
    std::vector<Bytes> Memory() const { return Regions(false); }
    // The part of it that a core file would have.
    std::vector<Bytes> Core() const { return Regions(true); }

 private:
    std::vector<Bytes> Regions(bool of_core) const;

    pid_t process_;
    bool stopped_ = false;
};

// The names of the secrets of which the memory holds a piece.
std::set<std::string> Search(const std::vector<Bytes>& regions, const Pieces& pieces);

}  // namespace softkey::testing

#endif
