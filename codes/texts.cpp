#include "codes/texts.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "base/error.h"

namespace softkey {
namespace {

constexpr int32_t Number(Code code) {
    return static_cast<int32_t>(code);
}

constexpr ErrorText kTexts[] = {
    {Number(Code::kOk), "Success.", "操作成功。"},
    {Number(Code::kFail), "The operation failed.", "操作失败。"},
    {Number(Code::kNotSupported), "The software key does not support this operation.",
     "软件钥匙不支持此操作。"},
    {Number(Code::kInvalidParameter), "A parameter is missing or invalid.", "参数缺失或无效。"},
    {Number(Code::kNameLength), "The label is too long.", "标签过长。"},
    {Number(Code::kKeyUsage), "The selected key may not be used for this purpose.",
     "所选密钥不能用于此用途。"},
    {Number(Code::kMemory), "There is not enough memory.", "内存不足。"},
    {Number(Code::kDataLength), "The data has a length that is not allowed.",
     "数据长度不符合要求。"},
    {Number(Code::kData), "The data is malformed.", "数据格式错误。"},
    {Number(Code::kKeyNotFound), "The key holds no such key pair.", "未找到对应的密钥对。"},
    {Number(Code::kCertificateNotFound), "The key holds no such certificate.",
     "未找到对应的证书。"},
    {Number(Code::kDecryption), "The ciphertext cannot be decrypted with this key.",
     "无法用此密钥解密。"},
    {Number(Code::kBufferTooSmall), "The buffer is too small.", "缓冲区不足。"},
    {Number(Code::kKeyInfoType), "The key type is not known.", "密钥类型无效。"},
    {Number(Code::kNoEvent), "No key was plugged or unplugged.", "没有设备插拔事件。"},
    {Number(Code::kDeviceRemoved), "The key is not plugged in.", "钥匙未插入。"},
    {Number(Code::kPinIncorrect), "The PIN is not correct.", "PIN 码错误。"},
    {Number(Code::kPinLocked), "The PIN is locked.", "PIN 码已锁定。"},
    {Number(Code::kPinInvalid), "The PIN contains characters that are not allowed.",
     "PIN 码含有不允许的字符。"},
    {Number(Code::kPinLength), "The PIN must have 6 to 16 characters.",
     "PIN 码长度须为 6 至 16 位。"},
    {Number(Code::kNotInitialized), "The PIN has not been verified.", "尚未验证 PIN 码。"},
    {Number(Code::kDataItemNotFound), "The data item does not exist.", "数据项不存在。"},
    {Number(Code::kTooManyKeyPairs),
     "The key holds too many key pairs without a certificate; delete some first.",
     "未签发证书的密钥对过多，请先删除。"},
    {Number(Code::kSelector), "A selector is outside its table.", "选择参数超出取值范围。"},
    {Number(Code::kKeyTypeHash), "The hash algorithm does not fit the key type.",
     "摘要算法与密钥类型不匹配。"},
    {Number(Code::kCancelled), "The user cancelled the dialog.", "用户已取消操作。"},
    {Number(Code::kNotConfirmed), "The user did not confirm the signature.", "用户未确认签名。"},
    {Number(Code::kNoDialog), "No PIN dialog can be shown: pinentry is missing or has no terminal.",
     "无法显示 PIN 码对话框：缺少 pinentry 或终端。"},
    {Number(Code::kPinSourceRefused),
     "The PIN file is refused: it must be yours and not accessible to others (mode 0600).",
     "PIN 码文件被拒绝：文件须归本人所有且他人不可访问（权限 0600）。"},
    {Number(Code::kPinSourceUnreadable), "The PIN cannot be read from its file or descriptor.",
     "无法从文件或描述符读取 PIN 码。"},
    {Number(Code::kPkcs7Malformed), "The text is not a PKCS#7 with certificates.",
     "内容不是含有证书的 PKCS#7。"},
    {Number(Code::kCertificateNotOurs), "No key pair on the key belongs to the certificate.",
     "钥匙中没有与证书匹配的密钥对。"},
    {Number(Code::kEnvelopeMalformed), "The text is not an SM2 enveloped key.",
     "内容不是 SM2 密钥信封。"},
    {Number(Code::kEnvelopeNotOurs), "No signing key on the key opens the enveloped key.",
     "钥匙中没有可打开该密钥信封的签名密钥。"},
    {Number(Code::kStoreReadOnly), "The key's store is read-only.", "钥匙存储为只读。"},
    {Number(Code::kStoreFull), "The disk that holds the key is full.", "钥匙所在磁盘已满。"},
    {Number(Code::kStoreBusy), "The key is in use by another program.", "钥匙正被其他程序使用。"},
    {Number(Code::kStoreDamaged), "The key's store is damaged or not a key's store.",
     "钥匙存储已损坏或不是钥匙文件。"},
    {Number(Code::kStoreUnreachable), "The key's store cannot be opened.", "无法打开钥匙存储。"},
    {Number(Code::kNoContext), "The context has not been initialised.", "上下文未初始化。"},
    {Number(Code::kNewPinMissing), "The unattended PIN source gives no new PIN in its second line.",
     "无人值守的 PIN 来源第二行没有新 PIN 码。"},
    {Number(Code::kAlreadyPlugged), "The key is plugged in.", "钥匙已插入。"},
    {Number(Code::kSerialTaken), "A key with this serial number exists already.",
     "该序列号的钥匙已存在。"},
    {Number(Code::kNoSuchKey), "There is no key with this serial number.", "没有该序列号的钥匙。"},
    {Number(Code::kDialogFailed),
     "The dialog failed: pinentry hung up or refused what it was to show.",
     "对话框失败：pinentry 中断或拒绝显示内容。"},
    {Number(Code::kCertificateUsage),
     "The certificate's key usage does not fit its key pair: one is for signing, the other for "
     "encryption.",
     "证书的密钥用途与其密钥对不符：一个用于签名，另一个用于加密。"},

    // The codes that the client library makes itself come to the same function for their texts.
    {-404, "The caller's buffer is too small.", "调用方缓冲区不足。"},
    {-401, "An argument is missing or invalid.", "参数缺失或无效。"},
    {-300, "The request is not supported.", "不支持该请求。"},
    {-109, "The library is not initialised.", "库未初始化。"},
    {-101, "The key's library cannot be loaded.", "无法加载钥匙库。"},
};

}  // namespace

const ErrorText* ErrorTexts(size_t* count) {
    *count = sizeof(kTexts) / sizeof(kTexts[0]);
    return kTexts;
}

const ErrorText* FindErrorText(int32_t code) {
    const auto* found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                     [code](const ErrorText& text) { return text.code == code; });
    return found == std::end(kTexts) ? nullptr : found;
}

std::string TextOf(int32_t code, Language language) {
    if (const ErrorText* const text = FindErrorText(code)) {
        return language == Language::kChinese ? text->chinese : text->english;
    }
    char number[64];
    std::snprintf(number, sizeof number,
                  language == Language::kChinese ? "未知错误码 0x%08X。" : "Unknown code 0x%08X.",
                  static_cast<unsigned>(code));
    return number;
}

}  // namespace softkey
