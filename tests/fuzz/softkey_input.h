#ifndef ORVAL_TESTS_FUZZ_SOFTKEY_INPUT_H
#define ORVAL_TESTS_FUZZ_SOFTKEY_INPUT_H

#include <initializer_list>
#include <string>

#include "base/encoding.h"
#include "base/error.h"
#include "crypto/seeds.h"
#include "fuzz_target.h"

// What the targets of the software key's readers share.
namespace fuzz {

// The text that a reader is given. Structures are binary and are read as text: an input that begins
// with T is that text, with H the bytes whose hexadecimal text is meant, else those whose Base64
// is.
inline std::string TakeStructure(Input& input) {
    const uint8_t encoding = input.TakeByte();
    const std::string rest = input.TakeRest();
    return encoding == 'T'   ? rest
           : encoding == 'H' ? softkey::ToHex(softkey::ToBytes(rest))
                             : softkey::ToBase64(softkey::ToBytes(rest));
}

// A key pair that is the same in every process.
inline const softkey::KeyPair& KnownPair() {
    static const softkey::KeyPair pair =
        softkey::PairOfSeed(softkey::ToSecret("fuzz"), softkey::KeyType::kSm2, 1);
    return pair;
}

// Whether the work was done; a failure has one of these codes.
template <typename Work>
bool Succeeds(Work work, std::initializer_list<softkey::Code> codes) {
    try {
        work();
        return true;
    } catch (const softkey::Error& error) {
        bool expected = false;
        for (const softkey::Code code : codes) {
            expected = expected || error.code() == code;
        }
        Require(expected, std::string("a failure has a code of its own: ") + error.what());
        return false;
    }
}

}  // namespace fuzz

#endif
