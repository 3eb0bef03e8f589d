#include <algorithm>
#include <string_view>

#include "base/error.h"
#include "codes/texts.h"
#include "codes.h"
#include "ukey.hpp"

namespace {

// For a key's own code about which nothing better can be said.
constexpr const char* kAskTheMaker =
    "see what the key maker's documents say about the code; 'ukeyctl info' shows whether the key "
    "answers at all";
constexpr const char* kLookAtArguments =
    "look at what was given; {help} states its form and bounds";
constexpr const char* kLookAtSelectors =
    "look at the numbers given with --param1 and the like; the key maker's documents list them";
constexpr const char* kLookAtCertificates =
    "'ukeyctl cert dn --param1 N' shows which certificates the key holds; 'ukeyctl request' makes "
    "the request for another";
constexpr const char* kPlugAgain = "unplug the key, plug it in again, and try once more";
constexpr const char* kInitialiseFirst =
    "the key has to be initialised first, which erases it: ask who issued it, or see 'ukeyctl init "
    "--help'";
constexpr const char* kFreeMemory = "close other programs, or give a shorter input";
constexpr const char* kTryAnotherPort =
    "try another USB port or another machine; if it stays, the key is likely to be defective";
constexpr const char* kLookAtCiphertext =
    "check that the text is complete and was encrypted for this key's encryption certificate";
constexpr const char* kPlugIn =
    "plug the key in and try again; 'ukeyctl info' shows whether it answers";
constexpr const char* kCountTries =
    "see with 'ukeyctl pin info' how many tries are left before you try again";
constexpr const char* kUnlock =
    "only who issued the key can unlock it, or erase it for new use; more tries do not help";
constexpr const char* kChooseAnotherPin =
    "choose another one; the key maker's documents state its length and characters";
constexpr const char* kVerifyFirst = "verify the PIN with 'ukeyctl pin verify', then try again";
constexpr const char* kMakeRoom =
    "delete what is not needed any more, see 'ukeyctl cert delete --help'";
constexpr const char* kSeeSoftwareKeysPage =
    "the software key's page tells what it asks for and answers";
constexpr const char* kWriteItemFirst =
    "check the number of the item; 'ukeyctl data set' writes one";

// The codes that the library itself gives.
constexpr KnownCode kOwnCodes[] = {
    {ORVAL_OK, "ORVAL_OK", "success", "nothing needs to be done"},
    {ORVAL_BACKEND_UNAVAILABLE, "ORVAL_BACKEND_UNAVAILABLE",
     "the key maker's library libOrvalKPX.so cannot be loaded or lacks an entry point",
     "install or reinstall the key's software; the library belongs in "
     "/opt/apps/com.kpx.uosorval/files/bin"},
    {ORVAL_NOT_INITIALIZED, "ORVAL_NOT_INITIALIZED",
     "the call does not initialise the library on its own and nothing else has",
     "make any other call first, or call Initialize"},
    {ORVAL_UNSUPPORTED, "ORVAL_UNSUPPORTED",
     "the function or the selector is not supported, or the installation folder cannot be read",
     "some functions refuse every call; otherwise look at the selector given, and let 'ukeyctl "
     "check' tell whether the key's software is installed"},
    {ORVAL_INVALID_ARGUMENT, "ORVAL_INVALID_ARGUMENT",
     "an argument is missing, malformed, or its length is out of bounds", kLookAtArguments},
    {ORVAL_BUFFER_TOO_SMALL, "ORVAL_BUFFER_TOO_SMALL",
     "the caller's buffer is shorter than the output",
     "a client has to ask for the length first; from this command it means that the output grew "
     "each time it was fetched: try again"},
    {static_cast<int32_t>(ukey::Errc::kTextOutOfMemory), "out of memory",
     "the library's text handling ran out of memory (an exception, to a client in C++)",
     kFreeMemory},
    {static_cast<int32_t>(ukey::Errc::kTextMalformed), "malformed text",
     "the library's text handling met a malformed text (an exception, to a client in C++)",
     "look at the text given; the library throws this at a request description that ends in a "
     "field without its \"(\""},
};

// The codes of GM/T 0016 under its own names, two misspelt ones included. A key need not follow it,
// so that its own text is shown as well.
constexpr KnownCode kStandardCodes[] = {
    {0x0A000001, "SAR_FAIL", "the operation failed, for no reason that the key tells",
     kAskTheMaker},
    {0x0A000002, "SAR_UNKNOWNERR", "an unknown error", kAskTheMaker},
    {0x0A000003, "SAR_NOTSUPPORTYETERR", "the key does not support this operation",
     kLookAtSelectors},
    {0x0A000004, "SAR_FILEERR", "a file on the key cannot be worked on", kAskTheMaker},
    {0x0A000005, "SAR_INVALIDHANDLEERR", "a handle is not valid", kPlugAgain},
    {0x0A000006, "SAR_INVALIDPARAMERR", "an argument is missing or not valid", kLookAtArguments},
    {0x0A000007, "SAR_READFILEERR", "a file on the key cannot be read", kAskTheMaker},
    {0x0A000008, "SAR_WRITEFILEERR", "a file on the key cannot be written", kAskTheMaker},
    {0x0A000009, "SAR_NAMELENERR", "a name or a label is too long", "give a shorter one"},
    {0x0A00000A, "SAR_KEYUSAGEERR", "the key pair may not be used for this", kLookAtCertificates},
    {0x0A00000B, "SAR_MODULUSLENERR", "the modulus has a wrong length", kAskTheMaker},
    {0x0A00000C, "SAR_NOTINITIALIZEERR", "the key has not been initialised", kInitialiseFirst},
    {0x0A00000D, "SAR_OBJERR", "an object is not what it should be", kAskTheMaker},
    {0x0A00000E, "SAR_MEMORYERR", "there is not enough memory", kFreeMemory},
    {0x0A00000F, "SAR_TIMEOUTERR", "the key, or who should confirm on it, took too long",
     "try again; confirm on the key when it asks"},
    {0x0A000010, "SAR_INDATALENERR", "the data given has a length that is not allowed",
     kLookAtArguments},
    {0x0A000011, "SAR_INDATAERR", "the data given is malformed", kLookAtArguments},
    {0x0A000012, "SAR_GENRANDERR", "no random numbers can be made", kTryAnotherPort},
    {0x0A000013, "SAR_HASHOBJERR", "a digest is not in the state for this", kPlugAgain},
    {0x0A000014, "SAR_HASHERR", "a digest cannot be computed", kTryAnotherPort},
    {0x0A000015, "SAR_GENRSAKEYERR", "no RSA key pair can be made", kTryAnotherPort},
    {0x0A000016, "SAR_RSAMODULUSLENERR", "the RSA modulus has a wrong length", kLookAtArguments},
    {0x0A000017, "SAR_CSPIMPRTPUBKEYERR", "a public key cannot be imported", kLookAtArguments},
    {0x0A000018, "SAR_RSAENCERR", "the RSA encryption failed", kAskTheMaker},
    {0x0A000019, "SAR_RSADECERR", "the RSA decryption failed", kLookAtCiphertext},
    {0x0A00001A, "SAR_HASHNOTEQUALERR", "two digests differ", kAskTheMaker},
    {0x0A00001B, "SAR_KEYNOTFOUNTERR", "the key holds no such key pair", kLookAtCertificates},
    {0x0A00001C, "SAR_CERTNOTFOUNTERR", "the key holds no such certificate", kLookAtCertificates},
    {0x0A00001D, "SAR_NOTEXPORTERR", "this may not leave the key", kAskTheMaker},
    {0x0A00001E, "SAR_DECRYPTPADERR", "the ciphertext cannot be decrypted with this key",
     kLookAtCiphertext},
    {0x0A00001F, "SAR_MACLENERR", "the message authentication code has a wrong length",
     kLookAtArguments},
    {0x0A000020, "SAR_BUFFER_TOO_SMALL", "the buffer is too small", kAskTheMaker},
    {0x0A000021, "SAR_KEYINFOTYPEERR", "the type of key is not known", kLookAtArguments},
    {0x0A000022, "SAR_NOT_EVENTERR", "no key came or went",
     "plug or unplug a key while the command waits"},
    {0x0A000023, "SAR_DEVICE_REMOVED", "the key is not plugged in", kPlugIn},
    {0x0A000024, "SAR_PIN_INCORRECT", "the PIN is not correct", kCountTries},
    {0x0A000025, "SAR_PIN_LOCKED", "the PIN is locked after too many wrong tries", kUnlock},
    {0x0A000026, "SAR_PIN_INVALID", "the PIN has characters that are not allowed",
     kChooseAnotherPin},
    {0x0A000027, "SAR_PIN_LEN_RANGE", "the PIN is too short or too long", kChooseAnotherPin},
    {0x0A000028, "SAR_USER_ALREADY_LOGGED_IN", "the PIN has been verified already", kPlugAgain},
    {0x0A000029, "SAR_USER_PIN_NOT_INITIALIZED", "the key has no user PIN yet", kInitialiseFirst},
    {0x0A00002A, "SAR_USER_TYPE_INVALID", "the type of user is not known", kAskTheMaker},
    {0x0A00002B, "SAR_APPLICATION_NAME_INVALID", "the application's name on the key is not valid",
     kAskTheMaker},
    {0x0A00002C, "SAR_APPLICATION_EXISTS", "the application on the key exists already",
     kAskTheMaker},
    {0x0A00002D, "SAR_USER_NOT_LOGGED_IN", "the PIN has not been verified", kVerifyFirst},
    {0x0A00002E, "SAR_APPLICATION_NOT_EXISTS", "the application on the key does not exist",
     kInitialiseFirst},
    {0x0A00002F, "SAR_FILE_ALREADY_EXIST", "the file on the key exists already", kAskTheMaker},
    {0x0A000030, "SAR_NO_ROOM", "the key is full", kMakeRoom},
    {0x0A000031, "SAR_FILE_NOT_EXIST", "the file or data item does not exist on the key",
     kWriteItemFirst},
    {0x0A000032, "SAR_REACH_MAX_CONTAINER_COUNT", "the key holds as many key pairs as it can",
     kMakeRoom},
};

struct Advice {
    softkey::Code code;
    const char* next;
};

// What to do about the software key's own codes; their meanings are the key's texts.
constexpr Advice kSoftwareKeyAdvice[] = {
    {softkey::Code::kSelector,
     "look at the numbers given: the software key's page lists the ones that it knows under "
     "\"Selectors\""},
    {softkey::Code::kKeyTypeHash,
     "in the description HashType(0) fits every KeyType, HashType(1) is for KeyType(1), RSA, and "
     "HashType(3) for KeyType(2), SM2"},
    {softkey::Code::kCancelled, "try again, and answer the dialog"},
    {softkey::Code::kNotConfirmed,
     "try again, and confirm the signature; a key plugged with --confirm never refuses all"},
    {softkey::Code::kNoDialog,
     "install a pinentry program or name one in ORVAL_SOFTKEY_PINENTRY; where nobody is there to "
     "type, plug the key with 'softkey plug SERIAL --pin-file FILE'"},
    {softkey::Code::kPinSourceRefused, "make the PIN file yours alone with 'chmod 600 FILE'"},
    {softkey::Code::kPinSourceUnreadable,
     "the first line of the PIN file is the PIN; plug the key with one that can be read: 'softkey "
     "plug SERIAL --pin-file FILE'"},
    {softkey::Code::kPkcs7Malformed,
     "give what the authority answered: PKCS#7 with the certificate in it, as PEM, DER or Base64"},
    {softkey::Code::kCertificateNotOurs,
     "the certificate must have been issued for a request of this very key; 'ukeyctl request' "
     "makes "
     "one"},
    {softkey::Code::kEnvelopeMalformed,
     "give the enveloped key as the authority issued it; 'ukeyctl cert import-package' takes the "
     "whole answer"},
    {softkey::Code::kEnvelopeNotOurs,
     "the enveloped key must have been made for a request of this very key; 'ukeyctl init-request' "
     "makes one"},
    {softkey::Code::kStoreReadOnly,
     "make the software key's folder and its files writable for you; ORVAL_SOFTKEY_HOME names "
     "another folder"},
    {softkey::Code::kStoreFull, "free some space on the disk; nothing has been changed"},
    {softkey::Code::kStoreBusy, "wait until the other program is done, and try again"},
    {softkey::Code::kStoreDamaged, "bring the key back from a copy: see 'softkey restore --help'"},
    {softkey::Code::kStoreUnreachable,
     "check the owner and the permissions of the software key's folder; ORVAL_SOFTKEY_HOME names "
     "another one"},
    {softkey::Code::kNoContext,
     "a client makes a context before it waits with one; this is a fault "
     "of the program that called"},
    {softkey::Code::kNewPinMissing, "write the new PIN into the second line of the PIN file"},
    {softkey::Code::kAlreadyPlugged, "unplug it first with 'softkey unplug SERIAL'"},
    {softkey::Code::kSerialTaken, "choose another serial number; 'softkey list' shows the keys"},
    {softkey::Code::kNoSuchKey, "'softkey list' shows the keys that there are"},
    {softkey::Code::kDialogFailed,
     "try again; if it stays, name another pinentry program in ORVAL_SOFTKEY_PINENTRY, or plug the "
     "key with 'softkey plug SERIAL --pin-file FILE'"},
    {softkey::Code::kCertificateUsage,
     "the authority must issue the certificate for the use that was requested; CertType(1) asks "
     "for "
     "signing, CertType(2) for encryption"},
};
// Where a code means something of its own in some functions.

struct AdviceInPlace {
    int32_t code;
    const char* functions;  // with blanks between them
    const char* next;
};

constexpr int32_t Number(softkey::Code code) {
    return static_cast<int32_t>(code);
}

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
     "with --mode 1 it means that /opt/apps/com.kpx.uosorval/files/bin cannot be read: install the "
     "key's software; there is no other mode"},
    {ORVAL_UNSUPPORTED, "RegisterCert UnregisterCert RepairDriver",
     "nothing can be done: this function refuses every call"},
    {static_cast<int32_t>(ukey::Errc::kTextMalformed),
     "GenerateCertRequest Batch_InitAndGenerateCertRequest",
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
    {Number(softkey::Code::kSelector), "GenerateCertRequest Batch_InitAndGenerateCertRequest",
     "in the description the software key knows CertType 1 to 3 (3 with KeyType 2 only), KeyType 1 "
     "and 2, and HashType 0, 1 and 3"},
    {Number(softkey::Code::kSelector), "GetData SetData", "the software key has items 0 to 63"},
    {Number(softkey::Code::kSelector), "SetCharset",
     "the software key knows the character sets UTF-8 and GB18030"},
    {Number(softkey::Code::kSelector), "SetLanguage",
     "the software key knows the languages zh_CN and en_US"},
};

template <size_t Count>
std::optional<KnownCode> FindIn(const KnownCode (&codes)[Count], int32_t code) {
    const auto* found = std::find_if(std::begin(codes), std::end(codes),
                                     [code](const KnownCode& known) { return known.code == code; });
    return found == std::end(codes) ? std::nullopt : std::optional<KnownCode>(*found);
}

// Null for a code of another's, and where the key says something else of it.
const softkey::ErrorText* TextOfSoftwareKey(int32_t code, const std::string& key_text) {
    constexpr int32_t kFirst = 0x0A100000;
    constexpr int32_t kLast = 0x0A10FFFF;
    const softkey::ErrorText* text =
        code >= kFirst && code <= kLast ? softkey::FindErrorText(code) : nullptr;
    const bool is_its = text != nullptr && (key_text.empty() || key_text == text->english ||
                                            key_text == text->chinese);
    return is_its ? text : nullptr;
}

std::optional<KnownCode> FindOfSoftwareKey(int32_t code, const std::string& key_text) {
    const softkey::ErrorText* text = TextOfSoftwareKey(code, key_text);
    if (text == nullptr) {
        return std::nullopt;
    }
    const auto* advice =
        std::find_if(std::begin(kSoftwareKeyAdvice), std::end(kSoftwareKeyAdvice),
                     [code](const Advice& known) { return Number(known.code) == code; });
    const bool advised = advice != std::end(kSoftwareKeyAdvice);
    return KnownCode{code, nullptr, text->english, advised ? advice->next : kSeeSoftwareKeysPage};
}

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

}  // namespace

std::optional<KnownCode> FindKnownCode(int32_t code, const std::string& key_text) {
    if (const auto own = FindIn(kOwnCodes, code)) {
        return own;
    }
    const auto standard = FindIn(kStandardCodes, code);
    return standard ? standard : FindOfSoftwareKey(code, key_text);
}

std::string NextFor(int32_t code, const std::string& function, const std::string& key_text) {
    const std::optional<KnownCode> known = FindKnownCode(code, key_text);
    if (!known) {
        return kAskTheMaker;
    }
    const auto* place =
        std::find_if(std::begin(kInPlace), std::end(kInPlace), [&](const AdviceInPlace& advice) {
            return advice.code == code && HasWord(advice.functions, function);
        });
    return place != std::end(kInPlace) ? place->next : known->next;
}

std::string NamingHelp(std::string next, const std::string& verb) {
    constexpr std::string_view kPlace = "{help}";
    const size_t at = next.find(kPlace);
    if (at == std::string::npos) {
        return next;
    }
    return next.replace(at, kPlace.size(),
                        verb.empty() ? "the verb's --help" : "'ukeyctl " + verb + " --help'");
}

const char* DefinedBy(int32_t code, const std::string& key_text) {
    if (FindIn(kOwnCodes, code)) {
        return "the library";
    }
    if (FindIn(kStandardCodes, code)) {
        return "GM/T 0016";
    }
    return FindOfSoftwareKey(code, key_text) ? "the software key" : "the key's maker";
}
