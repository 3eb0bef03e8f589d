#include <algorithm>

#include "codes.h"
#include "ukey.hpp"

namespace {

// For a key's own code about which nothing better can be said.
constexpr const char* kAskTheMaker =
    "the code is the key's own: check that the key is plugged in, and see what the key maker's "
    "documents say about it";
constexpr const char* kLookAtArguments =
    "look at the arguments given; 'ukeyctl VERB --help' states their form and bounds";
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
     "look at the text given: in a request description every field needs its \"(\" and a digit"},
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

const KnownCode* Find(const KnownCode* first, const KnownCode* last, int32_t code) {
    const auto* found =
        std::find_if(first, last, [code](const KnownCode& known) { return known.code == code; });
    return found == last ? nullptr : found;
}

const KnownCode* FindOwn(int32_t code) {
    return Find(std::begin(kOwnCodes), std::end(kOwnCodes), code);
}

const KnownCode* FindStandard(int32_t code) {
    return Find(std::begin(kStandardCodes), std::end(kStandardCodes), code);
}

}  // namespace

const KnownCode* FindKnownCode(int32_t code) {
    const KnownCode* own = FindOwn(code);
    return own != nullptr ? own : FindStandard(code);
}

const char* NextFor(int32_t code) {
    const KnownCode* known = FindKnownCode(code);
    return known != nullptr ? known->next : kAskTheMaker;
}

const char* DefinedBy(int32_t code) {
    if (FindOwn(code) != nullptr) {
        return "the library";
    }
    return FindStandard(code) != nullptr ? "GM/T 0016" : "the key's maker";
}
