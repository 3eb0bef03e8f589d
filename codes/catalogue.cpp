#include "codes/catalogue.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "cli/words.h"
#include "maker/places.h"
#include "orval_unified_kpxukey.h"

namespace codes {
namespace {

using Status = cli::ExitStatus;

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

constexpr Row kRows[] = {
    // The codes that the library itself gives.
    {ORVAL_OK, Status::kDone, "ORVAL_OK", nullptr, "Success.", "操作成功。",
     "nothing needs to be done"},

    // The codes of GM/T 0016 under its own names, two misspelt ones included. A key need not follow
    // it,
    // so that its own text is shown as well.
    {Number(Code::kFail), Status::kFailed, "SAR_FAIL",
     "the operation failed, for no reason that the key tells", "The operation failed.",
     "操作失败。", kAskTheMaker},
    {0x0A000002, Status::kFailed, "SAR_UNKNOWNERR", "an unknown error", nullptr, nullptr,
     kAskTheMaker},
    {Number(Code::kNotSupported), Status::kFailed, "SAR_NOTSUPPORTYETERR",
     "the key does not support this operation", "The software key does not support this operation.",
     "软件钥匙不支持此操作。", kLookAtSelectors},
    {0x0A000004, Status::kFailed, "SAR_FILEERR", "a file on the key cannot be worked on", nullptr,
     nullptr, kAskTheMaker},
    {0x0A000005, Status::kFailed, "SAR_INVALIDHANDLEERR", "a handle is not valid", nullptr, nullptr,
     kPlugAgain},
    {Number(Code::kInvalidParameter), Status::kFailed, "SAR_INVALIDPARAMERR", nullptr,
     "A parameter is missing or invalid.", "参数缺失或无效。", kLookAtArguments},
    {0x0A000007, Status::kFailed, "SAR_READFILEERR", "a file on the key cannot be read", nullptr,
     nullptr, kAskTheMaker},
    {0x0A000008, Status::kFailed, "SAR_WRITEFILEERR", "a file on the key cannot be written",
     nullptr, nullptr, kAskTheMaker},
    {Number(Code::kNameLength), Status::kFailed, "SAR_NAMELENERR", "a name or a label is too long",
     "The label is too long.", "标签过长。", "give a shorter one",
     "Choose a label of at most 255 bytes"},
    {Number(Code::kKeyUsage), Status::kFailed, "SAR_KEYUSAGEERR", nullptr,
     "The selected key may not be used for this purpose.", "所选密钥不能用于此用途。",
     kLookAtCertificates},
    {0x0A00000B, Status::kFailed, "SAR_MODULUSLENERR", "the modulus has a wrong length", nullptr,
     nullptr, kAskTheMaker},
    {0x0A00000C, Status::kFailed, "SAR_NOTINITIALIZEERR", "the key has not been initialised",
     nullptr, nullptr, kInitialiseFirst},
    {0x0A00000D, Status::kFailed, "SAR_OBJERR", "an object is not what it should be", nullptr,
     nullptr, kAskTheMaker},
    {Number(Code::kMemory), Status::kFailed, "SAR_MEMORYERR", nullptr,
     "There is not enough memory.", "内存不足。", kFreeMemory},
    {0x0A00000F, Status::kNoEvent, "SAR_TIMEOUTERR",
     "the key, or who should confirm on it, took too long", nullptr, nullptr,
     "try again; confirm on the key when it asks"},
    {Number(Code::kDataLength), Status::kFailed, "SAR_INDATALENERR", nullptr,
     "The data has a length that is not allowed.", "数据长度不符合要求。", kLookAtArguments},
    {Number(Code::kData), Status::kFailed, "SAR_INDATAERR", nullptr, "The data is malformed.",
     "数据格式错误。", kLookAtArguments},
    {0x0A000012, Status::kFailed, "SAR_GENRANDERR", "no random numbers can be made", nullptr,
     nullptr, kTryAnotherPort},
    {0x0A000013, Status::kFailed, "SAR_HASHOBJERR", "a digest is not in the state for this",
     nullptr, nullptr, kPlugAgain},
    {0x0A000014, Status::kFailed, "SAR_HASHERR", "a digest cannot be computed", nullptr, nullptr,
     kTryAnotherPort},
    {0x0A000015, Status::kFailed, "SAR_GENRSAKEYERR", "no RSA key pair can be made", nullptr,
     nullptr, kTryAnotherPort},
    {0x0A000016, Status::kFailed, "SAR_RSAMODULUSLENERR", "the RSA modulus has a wrong length",
     nullptr, nullptr, kLookAtArguments},
    {0x0A000017, Status::kFailed, "SAR_CSPIMPRTPUBKEYERR", "a public key cannot be imported",
     nullptr, nullptr, kLookAtArguments},
    {0x0A000018, Status::kFailed, "SAR_RSAENCERR", "the RSA encryption failed", nullptr, nullptr,
     kAskTheMaker},
    {0x0A000019, Status::kFailed, "SAR_RSADECERR", "the RSA decryption failed", nullptr, nullptr,
     kLookAtCiphertext},
    {0x0A00001A, Status::kFailed, "SAR_HASHNOTEQUALERR", "two digests differ", nullptr, nullptr,
     kAskTheMaker},
    {Number(Code::kKeyNotFound), Status::kFailed, "SAR_KEYNOTFOUNTERR", nullptr,
     "The key holds no such key pair.", "未找到对应的密钥对。", kLookAtCertificates},
    {Number(Code::kCertificateNotFound), Status::kFailed, "SAR_CERTNOTFOUNTERR", nullptr,
     "The key holds no such certificate.", "未找到对应的证书。", kLookAtCertificates},
    {0x0A00001D, Status::kFailed, "SAR_NOTEXPORTERR", "this may not leave the key", nullptr,
     nullptr, kAskTheMaker},
    {Number(Code::kDecryption), Status::kFailed, "SAR_DECRYPTPADERR", nullptr,
     "The ciphertext cannot be decrypted with this key.", "无法用此密钥解密。", kLookAtCiphertext},
    {0x0A00001F, Status::kFailed, "SAR_MACLENERR",
     "the message authentication code has a wrong length", nullptr, nullptr, kLookAtArguments},
    {Number(Code::kBufferTooSmall), Status::kTooSmall, "SAR_BUFFER_TOO_SMALL", nullptr,
     "The buffer is too small.", "缓冲区不足。", kAskTheMaker},
    {Number(Code::kKeyInfoType), Status::kFailed, "SAR_KEYINFOTYPEERR", nullptr,
     "The key type is not known.", "密钥类型无效。", kLookAtArguments},
    {Number(Code::kNoEvent), Status::kNoEvent, "SAR_NOT_EVENTERR", nullptr,
     "No key was plugged or unplugged.", "没有设备插拔事件。",
     "plug or unplug a key while the command waits"},
    {Number(Code::kDeviceRemoved), Status::kNoKey, "SAR_DEVICE_REMOVED", nullptr,
     "The key is not plugged in.", "钥匙未插入。", kPlugIn,
     "Plug the key in with: softkey plug SERIAL"},
    {Number(Code::kPinIncorrect), Status::kPinWrong, "SAR_PIN_INCORRECT", nullptr,
     "The PIN is not correct.", "PIN 码错误。", kCountTries,
     "Try again; softkey show SERIAL tells how many tries are left"},
    {Number(Code::kPinLocked), Status::kPinLocked, "SAR_PIN_LOCKED",
     "the PIN is locked after too many wrong tries", "The PIN is locked.", "PIN 码已锁定。",
     kUnlock, "Erase the key and set a new PIN with: softkey reset SERIAL"},
    {Number(Code::kPinInvalid), Status::kFailed, "SAR_PIN_INVALID", nullptr,
     "The PIN contains characters that are not allowed.", "PIN 码含有不允许的字符。",
     kChooseAnotherPin, "Choose 6 to 16 letters, digits or signs of ASCII"},
    {Number(Code::kPinLength), Status::kFailed, "SAR_PIN_LEN_RANGE",
     "the PIN is too short or too long", "The PIN must have 6 to 16 characters.",
     "PIN 码长度须为 6 至 16 位。", kChooseAnotherPin,
     "Choose 6 to 16 letters, digits or signs of ASCII"},
    {0x0A000028, Status::kFailed, "SAR_USER_ALREADY_LOGGED_IN", "the PIN has been verified already",
     nullptr, nullptr, kPlugAgain},
    {0x0A000029, Status::kFailed, "SAR_USER_PIN_NOT_INITIALIZED", "the key has no user PIN yet",
     nullptr, nullptr, kInitialiseFirst},
    {0x0A00002A, Status::kFailed, "SAR_USER_TYPE_INVALID", "the type of user is not known", nullptr,
     nullptr, kAskTheMaker},
    {0x0A00002B, Status::kFailed, "SAR_APPLICATION_NAME_INVALID",
     "the application's name on the key is not valid", nullptr, nullptr, kAskTheMaker},
    {0x0A00002C, Status::kFailed, "SAR_APPLICATION_EXISTS",
     "the application on the key exists already", nullptr, nullptr, kAskTheMaker},
    {Number(Code::kNotInitialized), Status::kFailed, "SAR_USER_NOT_LOGGED_IN", nullptr,
     "The PIN has not been verified.", "尚未验证 PIN 码。", kVerifyFirst},
    {0x0A00002E, Status::kFailed, "SAR_APPLICATION_NOT_EXISTS",
     "the application on the key does not exist", nullptr, nullptr, kInitialiseFirst},
    {0x0A00002F, Status::kFailed, "SAR_FILE_ALREADY_EXIST", "the file on the key exists already",
     nullptr, nullptr, kAskTheMaker},
    {0x0A000030, Status::kFailed, "SAR_NO_ROOM", "the key is full", nullptr, nullptr, kMakeRoom},
    {Number(Code::kDataItemNotFound), Status::kFailed, "SAR_FILE_NOT_EXIST",
     "the file or data item does not exist on the key", "The data item does not exist.",
     "数据项不存在。", kWriteItemFirst},
    {Number(Code::kTooManyKeyPairs), Status::kFailed, "SAR_REACH_MAX_CONTAINER_COUNT",
     "the key holds as many key pairs as it can",
     "The key holds too many key pairs without a certificate; delete some first.",
     "未签发证书的密钥对过多，请先删除。", kMakeRoom},

    // The software key's own.
    {Number(Code::kSelector), Status::kFailed, nullptr, nullptr, "A selector is outside its table.",
     "选择参数超出取值范围。",
     "look at the numbers given: the software key's page lists the ones that it knows under "
     "\"Selectors\""},
    {Number(Code::kKeyTypeHash), Status::kFailed, nullptr, nullptr,
     "The hash algorithm does not fit the key type.", "杂凑算法与密钥类型不匹配。",
     "in the description HashType(0) fits every KeyType, HashType(1) is for KeyType(1), RSA, and "
     "HashType(3) for KeyType(2), SM2"},
    {Number(Code::kCancelled), Status::kDeclined, nullptr, nullptr,
     "The user cancelled the dialog.", "用户已取消操作。", "try again, and answer the dialog"},
    {Number(Code::kNotConfirmed), Status::kDeclined, nullptr, nullptr,
     "The user did not confirm the signature.", "用户未确认签名。",
     "try again, and confirm the signature; a key plugged with --confirm never refuses all"},
    {Number(Code::kNoDialog), Status::kDeclined, nullptr, nullptr,
     "No PIN dialog can be shown: pinentry is missing or has no terminal.",
     "无法显示 PIN 码对话框：缺少 pinentry 或终端。",
     "install a pinentry program or name one in ORVAL_SOFTKEY_PINENTRY; where nobody is there to "
     "type, plug the key with 'softkey plug SERIAL --pin-file FILE'"},
    {Number(Code::kPinSourceRefused), Status::kFile, nullptr, nullptr,
     "The PIN file is refused: it must be yours and not accessible to others (mode 0600).",
     "PIN 码文件被拒绝：文件须归本人所有且他人不可访问（权限 0600）。",
     "make the PIN file yours alone with 'chmod 600 FILE'",
     "Make the file yours alone with: chmod 600 FILE"},
    {Number(Code::kPinSourceUnreadable), Status::kFile, nullptr, nullptr,
     "The PIN cannot be read from its file or descriptor.", "无法从文件或描述符读取 PIN 码。",
     "the first line of the PIN file is the PIN; plug the key with one that can be read: 'softkey "
     "plug SERIAL --pin-file FILE'",
     "The first line of the file is the PIN; make it with: (umask 077; echo PIN > FILE)"},
    {Number(Code::kPkcs7Malformed), Status::kFailed, nullptr, nullptr,
     "The text is not a PKCS#7 with certificates.", "内容不是含有证书的 PKCS#7。",
     "give what the authority answered: PKCS#7 with the certificate in it, as PEM, DER or Base64"},
    {Number(Code::kCertificateNotOurs), Status::kFailed, nullptr, nullptr,
     "No key pair on the key belongs to the certificate.", "钥匙中没有与证书匹配的密钥对。",
     "the certificate must have been issued for a request of this very key; 'ukeyctl request' "
     "makes one"},
    {Number(Code::kEnvelopeMalformed), Status::kFailed, nullptr, nullptr,
     "The text is not an SM2 enveloped key.", "内容不是 SM2 密钥信封。",
     "give the enveloped key as the authority issued it; 'ukeyctl cert import-package' takes the "
     "whole answer"},
    {Number(Code::kEnvelopeNotOurs), Status::kFailed, nullptr, nullptr,
     "No signing key on the key opens the enveloped key.", "钥匙中没有可打开该密钥信封的签名密钥。",
     "the enveloped key must have been made for a request of this very key; 'ukeyctl init-request' "
     "makes one"},
    {Number(Code::kStoreReadOnly), Status::kFile, nullptr, nullptr, "The key's store is read-only.",
     "钥匙存储为只读。",
     "make the software key's folder and its files writable for you; ORVAL_SOFTKEY_HOME names "
     "another folder",
     "Check the owner and the permissions of the software key's folder; ORVAL_SOFTKEY_HOME names "
     "another one"},
    {Number(Code::kStoreFull), Status::kFile, nullptr, nullptr,
     "The disk that holds the key is full.", "钥匙所在磁盘已满。",
     "free some space on the disk; nothing has been changed",
     "Free some space on the disk; nothing was changed"},
    {Number(Code::kStoreBusy), Status::kFailed, nullptr, nullptr,
     "The key is in use by another program.", "钥匙正被其他程序使用。",
     "wait until the other program is done, and try again"},
    {Number(Code::kStoreDamaged), Status::kFile, nullptr, nullptr,
     "The key's store is damaged or not a key's store.", "钥匙存储已损坏或不是钥匙文件。",
     "bring the key back from a copy: see 'softkey restore --help'",
     "Bring the key back from a copy with: softkey restore FILE; without one, delete it with: "
     "softkey delete SERIAL"},
    {Number(Code::kStoreUnreachable), Status::kFile, nullptr, nullptr,
     "The key's store cannot be opened.", "无法打开钥匙存储。",
     "check the owner and the permissions of the software key's folder; ORVAL_SOFTKEY_HOME names "
     "another one",
     "Check the owner and the permissions of the software key's folder; ORVAL_SOFTKEY_HOME names "
     "another one"},
    {Number(Code::kNoContext), Status::kFailed, nullptr, nullptr,
     "The context has not been initialised.", "上下文未初始化。",
     "a client makes a context before it waits with one; this is a fault of the program that "
     "called"},
    {Number(Code::kNewPinMissing), Status::kFailed, nullptr, nullptr,
     "The unattended PIN source gives no new PIN in its second line.",
     "无人值守的 PIN 来源第二行没有新 PIN 码。",
     "write the new PIN into the second line of the PIN file"},
    {Number(Code::kAlreadyPlugged), Status::kFailed, nullptr, nullptr, "The key is plugged in.",
     "钥匙已插入。", "unplug it first with 'softkey unplug SERIAL'",
     "Unplug it first with: softkey unplug SERIAL"},
    {Number(Code::kSerialTaken), Status::kFailed, nullptr, nullptr,
     "A key with this serial number exists already.", "该序列号的钥匙已存在。",
     "choose another serial number; 'softkey list' shows the keys",
     "Choose another serial number or leave it out; a key that a copy is to replace goes with: "
     "softkey delete SERIAL"},
    {Number(Code::kNoSuchKey), Status::kNoKey, nullptr, nullptr,
     "There is no key with this serial number.", "没有该序列号的钥匙。",
     "'softkey list' shows the keys that there are", "See the keys with: softkey list"},
    {Number(Code::kDialogFailed), Status::kFailed, nullptr, nullptr,
     "The dialog failed: pinentry hung up or refused what it was to show.",
     "对话框失败：pinentry 中断或拒绝显示内容。",
     "try again; if it stays, name another pinentry program in ORVAL_SOFTKEY_PINENTRY, or plug the "
     "key with 'softkey plug SERIAL --pin-file FILE'"},
    {Number(Code::kCertificateUsage), Status::kFailed, nullptr, nullptr,
     "The certificate's key usage does not fit its key pair: one is for signing, the other for "
     "encryption.",
     "证书的密钥用法与其密钥对不符：一个用于签名，另一个用于加密。",
     "the authority must issue the certificate for the use that was requested; CertType(1) asks "
     "for signing, CertType(2) for encryption"},

    // The library's again: those of its text handling, which are exceptions to a client in C++, and
    // its
    // negative ones.
    {kTextOutOfMemory, Status::kFailed, "out of memory",
     "the library's text handling ran out of memory (an exception, to a client in C++)", nullptr,
     nullptr, kFreeMemory},
    {kTextMalformed, Status::kFailed, "malformed text",
     "the library's text handling met a malformed text (an exception, to a client in C++)", nullptr,
     nullptr,
     "look at the text given; the library throws this at a request description that ends in a "
     "field without its \"(\""},
    {ORVAL_BUFFER_TOO_SMALL, Status::kTooSmall, "ORVAL_BUFFER_TOO_SMALL", nullptr,
     "The caller's buffer is too small.", "调用方缓冲区不足。",
     "a client has to ask for the length first; from this command it means that the output grew "
     "each time it was fetched: try again"},
    {ORVAL_INVALID_ARGUMENT, Status::kFailed, "ORVAL_INVALID_ARGUMENT",
     "an argument is missing, malformed, or its length is out of bounds",
     "An argument is missing or invalid.", "参数缺失或无效。", kLookAtArguments},
    {ORVAL_UNSUPPORTED, Status::kFailed, "ORVAL_UNSUPPORTED",
     "the function or the selector is not supported, or the installation folder cannot be read",
     "The request is not supported.", "不支持该请求。",
     "some functions refuse every call; otherwise look at the selector given, and let 'ukeyctl "
     "check' tell whether the key's software is installed"},
    {ORVAL_NOT_INITIALIZED, Status::kFailed, "ORVAL_NOT_INITIALIZED",
     "the call does not initialise the library on its own and nothing else has",
     "The library is not initialised.", "库未初始化。",
     "make any other call first, or call Initialize"},
    {ORVAL_BACKEND_UNAVAILABLE, Status::kLibraryNotLoaded, "ORVAL_BACKEND_UNAVAILABLE",
     "the key maker's library libOrvalKPX.so cannot be loaded or lacks an entry point",
     "The key's library cannot be loaded.", "无法加载钥匙库。",
     "install or reinstall the key's software; the library belongs "
     "in " ORVAL_APPLICATION_DIRECTORY "; 'ukeyctl doctor' tells what is wrong"},
};

constexpr bool IsSound(const Row& row) {
    return row.next != nullptr && (row.english == nullptr) == (row.chinese == nullptr) &&
           (row.meaning != nullptr || row.english != nullptr) &&
           (row.softkey_next == nullptr || row.english != nullptr);
}

constexpr bool AreSoundAndAscend() {
    for (size_t i = 0; i < std::size(kRows); ++i) {
        const bool ascends = i == 0 || static_cast<uint32_t>(kRows[i - 1].code) <
                                           static_cast<uint32_t>(kRows[i].code);
        if (!ascends || !IsSound(kRows[i])) {
            return false;
        }
    }
    return true;
}

static_assert(AreSoundAndAscend(),
              "a row is out of order, or lacks a meaning, a text in one language or advice");

}  // namespace

const Row* Find(int32_t code) {
    const Row* const found = std::find_if(std::begin(kRows), std::end(kRows),
                                          [code](const Row& row) { return row.code == code; });
    return found == std::end(kRows) ? nullptr : found;
}

Rows All() {
    return {std::begin(kRows), std::end(kRows)};
}

Owner OwnerOf(const Row& row) {
    constexpr int32_t kFirstOfStandard = 0x0A000001;
    constexpr int32_t kFirstOfSoftwareKey = 0x0A100000;
    if (row.code < kFirstOfStandard) {
        return Owner::kLibrary;
    }
    return row.code < kFirstOfSoftwareKey ? Owner::kStandard : Owner::kSoftwareKey;
}

std::string MeaningOf(const Row& row) {
    if (row.meaning != nullptr) {
        return cli::Say(row.meaning);
    }
    if (cli::IsChinese()) {
        return row.chinese;
    }
    std::string text = row.english;
    if (OwnerOf(row) == Owner::kSoftwareKey) {
        return text;
    }
    // A sentence of the key's, put as the other meanings are.
    text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
    text.pop_back();
    return text;
}

}  // namespace codes
