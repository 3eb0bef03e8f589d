// What pinentry is told and what its refusals do. Its answers are those of a script.
#include <sys/stat.h>

#include <algorithm>

#include "base/encoding.h"
#include "base/settings.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

// A line of the protocol has at most 1000 bytes with its end.
constexpr size_t kLongestLine = 999;
constexpr char kHangsUpOnLongLines[] = "[ ${#line} -le 999 ] || exit 1";
constexpr char kRefusesLongLines[] =
    "[ ${#line} -le 999 ] || { echo 'ERR 67109127 Line too long'; continue; }";
constexpr char kDigestOfAbc[] = "66C7F0F462EEEDD9D1F2D46BDC10E4E24167C4875CF2F7A2297DA02B8F4BA8E0";

std::string Repeated(const std::string& part, size_t bytes) {
    std::string text;
    while (text.size() + part.size() <= bytes) text += part;
    return text;
}

std::string Unescaped(const std::string& line) {
    std::string text;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '%') {
            text += line[i];
            continue;
        }
        text += static_cast<char>(FromHex(line.substr(i + 1, 2)).value().front());
        i += 2;
    }
    return text;
}

class Dialogs : public EntriesTest {
 protected:
    Dialogs() {
        GiveDualCertificates();
        Unplug();
        PlugWithDialog();
    }

    void Sit(const std::string& habit) const {
        UseScriptedPinentry("D 12345678\\nOK", "OK", habit);
    }

    // For tests that look at many confirmations.
    void CachePin() {
        Sit(":");
        ASSERT_EQ(kSuccess, key_.VerifyAndCachePin(kSerial, 0));
    }

    int32_t Sign(const std::string& warning) {
        char text[16384];
        int32_t length = sizeof text;
        WriteFile(Folder() + "/pinentry-record", "");
        EXPECT_EQ(kSuccess, key_.SetWarningMsg(kSerial, warning.c_str()));
        return key_.GMUsbKeyCriticalSign(kSerial, 1, 0, "abc", text, &length);
    }

    bool WasTold(const std::string& what) const {
        return PinentryRecord().find(what) != std::string::npos;
    }

    // The line of the record that holds what the user was asked to confirm.
    std::string ConfirmationLine() const {
        for (const std::string& line : Split(PinentryRecord(), "\n")) {
            if (line.rfind("SETDESC ", 0) == 0) return line;
        }
        return std::string();
    }

    bool IsShownWhole(const std::string& warning) {
        EXPECT_EQ(kSuccess, Sign(warning));
        return Unescaped(ConfirmationLine()).find(warning) != std::string::npos;
    }

    size_t LongestWholeWarning() {
        size_t shown = 0;
        size_t cut = 2000;
        while (shown + 1 < cut) {
            const size_t middle = (shown + cut) / 2;
            (IsShownWhole(std::string(middle, 'x')) ? shown : cut) = middle;
        }
        return shown;
    }
};

struct LanguageCase {
    const char* name;
    const char* head;
    const char* was_cut;
};
constexpr LanguageCase kLanguages[] = {
    {"en_US", "SETDESC Digest: ", "\nThe text is too long to be shown whole. It begins:\n"},
    {"zh_CN", "SETDESC 杂凑值：", "\n文字过长，无法全部显示。开头为：\n"},
};

// Digest and key come first, and what follows is all of the warning, or says that it was cut and
// gives as many whole characters as the line holds.
void ExpectAllThatFits(const std::string& line, const LanguageCase& language,
                       const std::string& warning, const std::string& widest) {
    SCOPED_TRACE(line);
    EXPECT_LE(line.size(), kLongestLine);
    const std::string text = Unescaped(line);
    const std::string head = std::string(language.head) + kDigestOfAbc + "\n";
    ASSERT_EQ(0U, text.find(head));
    EXPECT_NE(std::string::npos, text.find(kSerial));
    EXPECT_EQ(text, FromClient(text)) << "not UTF-8 any more";
    const size_t note = text.find(language.was_cut);
    if (note == std::string::npos) {
        EXPECT_EQ(warning, text.substr(text.size() - std::min(text.size(), warning.size())));
        return;
    }
    const std::string mark = "…";
    std::string shown = text.substr(note + std::string(language.was_cut).size());
    ASSERT_EQ(shown.size() - mark.size(), shown.rfind(mark));
    shown.resize(shown.size() - mark.size());
    EXPECT_EQ(shown, warning.substr(0, shown.size()));
    EXPECT_LT(shown.size(), warning.size());
    EXPECT_GT(line.size() + widest.size(), kLongestLine) << "there was room for more";
}

TEST_F(Dialogs, ALongWarningIsShownAsFarAsALineReachesAndSaysThatItWasCut) {
    CachePin();
    struct Text {
        const char* part;
        const char* widest;
    };
    for (const LanguageCase& language : kLanguages) {
        ASSERT_EQ(kSuccess, key_.UOS_SetLanguage(language.name, ""));
        for (const char* const habit : {kHangsUpOnLongLines, kRefusesLongLines}) {
            Sit(habit);
            for (const Text& text : {Text{"x", "x"}, Text{"付款", "付"}, Text{"a付😀", "😀"},
                                     Text{"%", "%25"}, Text{"100%\n", "%25"}}) {
                for (const size_t bytes : {1U, 300U, 869U, 870U, 871U, 1000U, 5000U, 100000U}) {
                    const std::string warning = "Pay?" + Repeated(text.part, bytes - 1);
                    ASSERT_EQ(kSuccess, Sign(warning)) << bytes << text.part;
                    ExpectAllThatFits(ConfirmationLine(), language, warning, text.widest);
                }
            }
        }
    }
}

TEST_F(Dialogs, TheLongestLabelLeavesRoomForDigestAndWarning) {
    ASSERT_EQ(kSuccess, key_.SetLabel(kSerial, std::string(255, '%').c_str()));
    for (const LanguageCase& language : kLanguages) {
        ASSERT_EQ(kSuccess, key_.UOS_SetLanguage(language.name, ""));
        Sit(kHangsUpOnLongLines);
        const std::string warning = "Pay 100 to Bob?" + std::string(5000, 'x');
        ASSERT_EQ(kSuccess, Sign(warning));
        ExpectAllThatFits(ConfirmationLine(), language, warning, "x");
        EXPECT_TRUE(WasTold("Pay 100 to Bob?"));
        EXPECT_EQ(kSuccess, key_.ChangePin(kSerial));
        EXPECT_EQ(kSuccess, key_.CustInitCard(kSerial, 1, nullptr, 0));
        GiveDualCertificates();
    }
}

TEST_F(Dialogs, ThePageTellsHowLongAWarningMayBe) {
    CachePin();
    Sit(kHangsUpOnLongLines);
    const size_t without_label = LongestWholeWarning();
    ASSERT_EQ(kSuccess, key_.UOS_SetLanguage("zh_CN", ""));
    const size_t in_chinese = LongestWholeWarning();
    ASSERT_EQ(kSuccess, key_.SetLabel(kSerial, "Alice"));
    // The label and the blank behind it.
    EXPECT_EQ(in_chinese - sizeof "Alice", LongestWholeWarning());
    const std::string sentence = "Up to " + std::to_string(without_label) + " bytes (" +
                                 std::to_string(in_chinese) + " in a Chinese dialog)";
    EXPECT_NE(std::string::npos, ReadFile(SOFTKEY_PAGE).find(sentence)) << sentence;
}

TEST_F(Dialogs, ARefusedLineEndsTheSignature) {
    for (const char* const line :
         {"OPTION lc-ctype*", "OPTION ttytype*", "SETTITLE*", "SETDESC*", "SETOK*", "SETCANCEL*"}) {
        setenv("TERM", "xterm", 1);
        Sit("case $line in " + std::string(line) +
            ") echo 'ERR 83886254 Refused'; continue;; esac");
        EXPECT_EQ(Number(Code::kDialogFailed), Sign("Pay 100 to Bob?")) << line;
        EXPECT_FALSE(WasTold("CONFIRM")) << line;
        EXPECT_FALSE(WasTold("GETPIN")) << line;
    }
    // Also with the words of a user who cancels: nobody has been asked yet.
    Sit("case $line in SETDESC*) echo 'ERR 83886179 Cancelled'; continue;; esac");
    EXPECT_EQ(Number(Code::kDialogFailed), Sign("Pay 100 to Bob?"));
}

TEST_F(Dialogs, ARefusedLineEndsAPinDialog) {
    for (const char* const line : {"SETPROMPT*", "SETDESC*"}) {
        Sit("case $line in " + std::string(line) +
            ") echo 'ERR 83886254 Refused'; continue;; esac");
        WriteFile(Folder() + "/pinentry-record", "");
        EXPECT_EQ(Number(Code::kDialogFailed), key_.VerifyPIN(kSerial)) << line;
        EXPECT_FALSE(WasTold("GETPIN")) << line;
    }
    EXPECT_EQ(6, TriesLeft());
}

TEST_F(Dialogs, APinentryThatHangsUpIsNotCalledMissing) {
    for (const char* const line : {"OPTION*", "SETTITLE*", "SETDESC*", "CONFIRM", "GETPIN"}) {
        Sit("case $line in " + std::string(line) + ") exit 1;; esac");
        EXPECT_EQ(Number(Code::kDialogFailed), Sign("Pay 100 to Bob?")) << line;
    }
    const std::string silent = WriteSecretFile("silent", "#!/bin/sh\nexit 0\n");
    chmod(silent.c_str(), 0700);
    setenv("ORVAL_SOFTKEY_PINENTRY", silent.c_str(), 1);
    EXPECT_EQ(Number(Code::kDialogFailed), Sign("Pay 100 to Bob?"));
    EXPECT_EQ("The dialog failed: pinentry hung up or refused what it was to show.",
              std::string(key_.X_ErrorConvert_UOS(Number(Code::kDialogFailed))));
}

TEST_F(Dialogs, AWindowThatIsTooSmallIsNotCalledMissing) {
    UseScriptedPinentry("D 12345678\\nOK", "ERR 83886365 Screen or window too small");
    EXPECT_EQ(Number(Code::kDialogFailed), Sign("Pay 100 to Bob?"));
    EXPECT_FALSE(WasTold("GETPIN"));
}

// A variable of the environment is not a second line, nor a longer one.
TEST_F(Dialogs, ATerminalTypeThatIsNoLineEndsTheSignature) {
    for (const std::string& type : {std::string("xterm\nCONFIRM"), std::string(1000, 'x')}) {
        setenv("TERM", type.c_str(), 1);
        Sit(":");
        EXPECT_EQ(Number(Code::kDialogFailed), Sign("Pay 100 to Bob?"));
        EXPECT_FALSE(WasTold("CONFIRM"));
    }
}

}  // namespace
}  // namespace softkey::testing
