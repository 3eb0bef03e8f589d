#include "codes/advice.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "cli/words.h"
#include "maker/places.h"
#include "orval_unified_kpxukey.h"

namespace codes {
namespace {

// Where a code means something of its own in some functions.
struct AdviceInPlace {
    int32_t code;
    const char* functions;  // with blanks between them
    const char* next;
};

constexpr AdviceInPlace kInPlace[] = {
    {ORVAL_INVALID_ARGUMENT, "GetLabel", "give a serial number that is not empty"},
    {ORVAL_INVALID_ARGUMENT, "GetData", "give a serial number of 10 to 16 bytes"},
    {ORVAL_INVALID_ARGUMENT, "SetData",
     "give a text of at most 300 bytes, and a serial number of 10 to 16"},
    {ORVAL_INVALID_ARGUMENT, "GenerateCertRequest",
     "a record of the description has fields CertType(D), KeyType(D) and HashType(D), and nothing "
     "else"},
    {ORVAL_INVALID_ARGUMENT, "Batch_InitAndGenerateCertRequest",
     "the mode is 0 or 1; the description has at most three records of CertType(D), KeyType(D) and "
     "HashType(D), and CertType(3) goes with KeyType(2) only"},
    {ORVAL_INVALID_ARGUMENT, "ImportEncX509Cert",
     "the enveloped key has at most 1023 characters: give it alone, as the authority issued it"},
    {ORVAL_INVALID_ARGUMENT, "Batch_ImportX509Cert",
     "the package has items SignCert(..), EncPriKey(..) and EncCert(..) with a | between them, or "
     "is a PKCS#7 text; an enveloped key in it has at most 1023 characters"},
    {ORVAL_INVALID_ARGUMENT, "Batch_Sign",
     "with bit 0 of --flags give --text and --param6 as well"},
    {ORVAL_UNSUPPORTED, "CheckDriverIntegrity",
     "with --mode 1 it means that " ORVAL_APPLICATION_DIRECTORY
     " cannot be read: install the key's software; there is no other mode"},
    {ORVAL_UNSUPPORTED, "RegisterCert UnregisterCert RepairDriver",
     "nothing can be done: this function refuses every call"},
    {kTextMalformed, "GenerateCertRequest Batch_InitAndGenerateCertRequest",
     "a record of the description ends in a name without its \"(\": every field is a name and a "
     "digit in parentheses, as in 'CertType(1)KeyType(2)HashType(3)'"},
    {0x0A000006, "GetLabel SetLabel GetData SetData GetCert GetCertDN GetCertInfo",
     "look at the serial number given with --sn; {help} states the form of the rest"},
    {0x0A000009, "SetLabel", "give a shorter label; the software key takes 255 bytes"},
    {0x0A000010, "SetData",
     "give a shorter text: this key takes less than the library's 300 bytes, the software key 259"},
    {0x0A000010, "Sign SignHash Batch_Sign",
     "give a shorter text or warning, or a digest of the length that its algorithm has"},
    {0x0A000010, "GenerateCertRequest Batch_InitAndGenerateCertRequest",
     "ask for fewer requests at once"},
    {0x0A000011, "SetLabel",
     "a label is text without control characters, in the character set of --charset"},
    {0x0A000011, "Sign SignHash Batch_Sign",
     "give the data in the encoding that was selected; a batch has no empty items"},
    {0x0A000011, "AsymDec", kLookAtCiphertext},
    {Number(Code::kSelector), "GenerateCertRequest Batch_InitAndGenerateCertRequest",
     "in the description the software key knows CertType 1 to 3 (3 with KeyType 2 only), KeyType 1 "
     "and 2, and HashType 0, 1 and 3"},
    {Number(Code::kSelector), "GetData SetData", "the software key has items 0 to 63"},
    {Number(Code::kSelector), "SetCharset",
     "the software key knows the character sets UTF-8 and GB18030"},
    {Number(Code::kSelector), "SetLanguage",
     "the software key knows the languages zh_CN and en_US"},
};

bool HasWord(std::string_view words, std::string_view word) {
    const size_t at = words.find(word);
    if (word.empty() || at == std::string_view::npos) {
        return false;
    }
    const size_t end = at + word.size();
    const bool begins = at == 0 || words[at - 1] == ' ';
    const bool ends = end == words.size() || words[end] == ' ';
    return (begins && ends) || HasWord(words.substr(at + 1), word);
}

const char* AdviceFor(const Row& row, const std::string& function) {
    const auto* place =
        std::find_if(std::begin(kInPlace), std::end(kInPlace), [&](const AdviceInPlace& advice) {
            return advice.code == row.code && HasWord(advice.functions, function);
        });
    return place != std::end(kInPlace) ? place->next : row.next;
}

std::string Naming(const std::string& help, std::string next) {
    constexpr std::string_view kPlace = "{help}";
    const size_t at = next.find(kPlace);
    return at == std::string::npos ? next : next.replace(at, kPlace.size(), help);
}

}  // namespace

const Row* FindKnown(int32_t code, const std::string& key_text) {
    const Row* const row = Find(code);
    const bool is_anothers = row != nullptr && OwnerOf(*row) == Owner::kSoftwareKey &&
                             !key_text.empty() && key_text != row->english &&
                             key_text != row->chinese;
    return is_anothers ? nullptr : row;
}

std::string DefinedBy(int32_t code, const std::string& key_text) {
    const Row* const row = FindKnown(code, key_text);
    if (row == nullptr) {
        return cli::Say("the key's maker");
    }
    switch (OwnerOf(*row)) {
        case Owner::kLibrary:
            return cli::Say("the library");
        case Owner::kStandard:
            return "GM/T 0016";
        default:
            return cli::Say("the software key");
    }
}

cli::ExitStatus StatusFor(int32_t code, const std::string& key_text) {
    const Row* const row = FindKnown(code, key_text);
    return row == nullptr ? cli::ExitStatus::kFailed : row->status;
}

std::string NextFor(int32_t code, const std::string& function, const std::string& key_text,
                    const std::string& help) {
    const Row* const row = FindKnown(code, key_text);
    return Naming(help, cli::Say(row == nullptr ? kAskTheMaker : AdviceFor(*row, function)));
}

std::string NextForSoftkey(Code code) {
    const Row* const row = Find(Number(code));
    return cli::Say(row == nullptr || row->softkey_next == nullptr
                        ? "The command's --help tells what it takes"
                        : row->softkey_next);
}

}  // namespace codes
