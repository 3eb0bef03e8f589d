// What the software key reads as an enveloped key is opened, is for another key or is refused; what
// is opened is a key pair whose public half stands beside it, and it can be sealed again.
#include "crypto/enveloped_key.h"
#include "softkey_input.h"

namespace {

using softkey::Code;
using softkey::EnvelopedKey;
using softkey::KeyPair;

void RequireSealable(const KeyPair& pair) {
    using Structure = EnvelopedKey::Structure;
    for (const Structure structure : {Structure::kGbt35276, Structure::kGmt0016}) {
        const std::string text =
            softkey::ToBase64(EnvelopedKey::Seal(pair, fuzz::KnownPair(), structure));
        const auto opened = EnvelopedKey::Parse(text).Open(fuzz::KnownPair());
        fuzz::Require(opened && opened->Public() == pair.Public(), "what was opened can be sealed");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const std::string text = fuzz::TakeStructure(input);
    std::optional<KeyPair> pair;
    fuzz::Succeeds([&] { pair = EnvelopedKey::Parse(text).Open(fuzz::KnownPair()); },
                   {Code::kEnvelopeMalformed, Code::kNotSupported});
    if (pair) {
        RequireSealable(*pair);
    }
    return 0;
}
