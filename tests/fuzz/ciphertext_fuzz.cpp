// A ciphertext for the software key's SM2 key is decrypted or refused, whatever it is; what comes
// out is the same when it is encrypted and decrypted again.
#include "softkey_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const bool is_hex = size > 0 && data[0] == 'H';
    const std::string text = fuzz::TakeStructure(input);
    const std::optional<softkey::Bytes> cipher =
        is_hex ? softkey::FromHex(text) : softkey::FromBase64(text);
    if (!cipher || cipher->empty()) {
        return 0;
    }
    softkey::SecretBytes plain;
    const bool decrypted = fuzz::Succeeds([&] { plain = fuzz::KnownPair().Sm2Decrypt(*cipher); },
                                          {softkey::Code::kDecryption});
    if (decrypted && !plain.empty()) {
        const softkey::Bytes again = fuzz::KnownPair().Sm2Encrypt(plain);
        fuzz::Require(fuzz::KnownPair().Sm2Decrypt(again) == plain,
                      "what was decrypted is the same after another turn");
    }
    return 0;
}
