#include "pin/dialogs.h"

#include "base/error.h"
#include "base/settings.h"
#include "pin/pin_source.h"
#include "pin/pinentry.h"

namespace softkey {
namespace {

struct DialogTexts {
    const char* title;
    const char* key;
    const char* pin_prompt;
    const char* new_pin_prompt;
    const char* repeat_prompt;
    const char* repeat_error;
    const char* enter_pin;
    const char* enter_old_pin;
    const char* enter_new_pin;
    const char* erase;
    const char* tries;
    const char* confirm;
    const char* digest;
    const char* warning_was_cut;
    const char* ok;
    const char* cancel;
    const char* sign;
    const char* refuse;
};

constexpr DialogTexts kEnglish = {
    "Software key",
    "Key: ",
    "PIN:",
    "New PIN:",
    "Repeat:",
    "The two PINs differ.",
    "Enter the PIN.",
    "Enter the present PIN.",
    "Choose a new PIN of 6 to 16 characters.",
    "The key will be erased. Choose its new PIN of 6 to 16 characters.",
    "Tries left: ",
    "Sign this?",
    "Digest: ",
    "The text is too long to be shown whole. It begins:",
    "OK",
    "Cancel",
    "Sign",
    "Refuse",
};

constexpr DialogTexts kChinese = {
    "软件钥匙",
    "钥匙：",
    "PIN 码：",
    "新 PIN 码：",
    "再次输入：",
    "两次输入的 PIN 码不一致。",
    "请输入 PIN 码。",
    "请输入当前 PIN 码。",
    "请设置新 PIN 码（6 至 16 位）。",
    "钥匙内容将被清除。请设置新 PIN 码（6 至 16 位）。",
    "剩余次数：",
    "是否签名？",
    "杂凑值：",
    "文字过长，无法全部显示。开头为：",
    "确定",
    "取消",
    "签名",
    "拒绝",
};

const DialogTexts& Texts() {
    return CurrentLanguage() == Language::kChinese ? kChinese : kEnglish;
}

std::string KeyLine(const DialogSubject& subject) {
    const std::string label = subject.label.empty() ? "" : subject.label + " ";
    return Texts().key + label + "(" + subject.key.serial + ")";
}

constexpr char kDescribe[] = "SETDESC";

void Describe(Pinentry& pinentry, const std::string& description, const char* ok,
              const char* cancel) {
    pinentry.Set("SETTITLE", Texts().title);
    pinentry.Set(kDescribe, description);
    pinentry.Set("SETOK", ok);
    pinentry.Set("SETCANCEL", cancel);
}

// A full counter is not worth a line; anything less is a warning.
std::string TriesLine(const PinState& state) {
    if (state.tries_left == state.tries_maximum) {
        return std::string();
    }
    return "\n" + std::string(Texts().tries) + std::to_string(state.tries_left);
}

// What is signed stands first, so that no warning, however long, can push it out of the line or off
// the screen.
std::string ConfirmationText(const DialogSubject& subject, const std::string& warning,
                             const std::string& digest) {
    std::string head = Texts().digest + digest + "\n" + KeyLine(subject) + "\n" + Texts().confirm;
    if (warning.empty()) {
        return head;
    }
    const std::string whole = head + "\n\n";
    if (Pinentry::FittingPart(kDescribe, whole, warning) == warning) {
        return whole + warning;
    }
    const std::string cut = whole + Texts().warning_was_cut + "\n";
    const std::string mark = "…";
    return cut + std::string(Pinentry::FittingPart(kDescribe, cut + mark, warning)) + mark;
}

SecretBytes AskPresentPin(const DialogSubject& subject, const PinState& state,
                          const char* instruction) {
    Pinentry pinentry;
    Describe(pinentry, std::string(instruction) + "\n" + KeyLine(subject) + TriesLine(state),
             Texts().ok, Texts().cancel);
    pinentry.Set("SETPROMPT", Texts().pin_prompt);
    return pinentry.GetPin();
}

// The second entry is asked for here and not by pinentry: not every pinentry can.
SecretBytes AskNewPin(const DialogSubject& subject, const char* instruction) {
    std::string problem;
    for (;;) {
        Pinentry pinentry;
        Describe(pinentry, std::string(instruction) + "\n" + KeyLine(subject), Texts().ok,
                 Texts().cancel);
        if (!problem.empty()) {
            pinentry.Set("SETERROR", problem);
        }
        pinentry.Set("SETPROMPT", Texts().new_pin_prompt);
        SecretBytes first = pinentry.GetPin();
        try {
            CheckPinForm(first);
        } catch (const Error& error) {
            problem = TextOf(static_cast<int32_t>(error.code()), CurrentLanguage());
            continue;
        }
        Describe(pinentry, KeyLine(subject), Texts().ok, Texts().cancel);
        pinentry.Set("SETPROMPT", Texts().repeat_prompt);
        if (pinentry.GetPin() == first) {
            return first;
        }
        problem = Texts().repeat_error;
    }
}

}  // namespace

SecretBytes AskForPin(const DialogSubject& subject, const PinState& state) {
    if (subject.key.source.IsUnattended()) {
        return ReadPinLine(subject.key.source, 0);
    }
    return AskPresentPin(subject, state, Texts().enter_pin);
}

PinChange AskForPinChange(const DialogSubject& subject, const PinState& state) {
    if (subject.key.source.IsUnattended()) {
        SecretBytes old_pin = ReadPinLine(subject.key.source, 0);
        return {std::move(old_pin), ReadPinLine(subject.key.source, 1)};
    }
    SecretBytes old_pin = AskPresentPin(subject, state, Texts().enter_old_pin);
    return {std::move(old_pin), AskNewPin(subject, Texts().enter_new_pin)};
}

SecretBytes AskForInitialPin(const DialogSubject& subject) {
    if (subject.key.source.IsUnattended()) {
        return ReadPinLine(subject.key.source, 0);
    }
    return AskNewPin(subject, Texts().erase);
}

void AskForConfirmation(const DialogSubject& subject, const std::string& warning,
                        const std::string& digest) {
    switch (subject.key.source.confirmation) {
        case Confirmation::kAlways:
            return;
        case Confirmation::kNever:
            throw Error(Code::kNotConfirmed, "the key is plugged in with confirmation refused");
        case Confirmation::kDialog:
            break;
    }
    Pinentry pinentry;
    Describe(pinentry, ConfirmationText(subject, warning, digest), Texts().sign, Texts().refuse);
    pinentry.Confirm();
}

}  // namespace softkey
