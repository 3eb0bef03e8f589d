// Wrong data that was ordered with `softkey fault`, and what the library and ukey.hpp make of each
// kind of it. That nothing is written beside a buffer is what the sanitizers see.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include "key_wait.h"
#include "software_key.h"
#include "ukey.hpp"

namespace lifecycle {
namespace {

using testing::EndsWith;
using testing::StartsWith;

constexpr char kDescription[] = "CertType(1)KeyType(2)HashType(3)";
constexpr char kSecret[] = "secret";

// A client in C: asks, allocates one byte more, clears, fetches, and takes the text up to its end,
// which may be that of its buffer.
std::string AsInC(const TextCall& call) {
    int32_t length = 0;
    EXPECT_EQ(ORVAL_OK, call(nullptr, &length));
    const auto capacity = static_cast<size_t>(length);
    const auto buffer = std::make_unique<char[]>(capacity + 1);
    const int32_t code = call(buffer.get(), &length);
    return code == ORVAL_OK ? std::string(buffer.get(), strnlen(buffer.get(), capacity))
                            : "code " + std::to_string(code);
}

struct Customer {
    std::string key;
    std::string cipher;
};

// A function that gives a text, as both kinds of client call it.
struct Use {
    const char* function;
    TextCall (*in_c)(const Customer& customer);
    std::string (*in_cpp)(const ukey::Library& library, const Customer& customer);
    bool repeats;     // gives the same text each time
    bool has_buffer;  // of the key maker's or the client's, in which the text stands
    bool has_length;  // that the key tells
};

#define IN_C [](const Customer& customer) -> TextCall
#define CALL(call)                                     \
    return [customer](char* buffer, int32_t* length) { \
        static_cast<void>(customer);                   \
        return call;                                   \
    }
#define IN_CPP [](const ukey::Library& library, const Customer& customer) -> std::string
#define KEY library.KeyOf(customer.key)

const Use kUses[] = {{"GetLabel", IN_C{CALL(GetLabel(customer.key.c_str(), buffer, length));
}  // namespace
, IN_CPP {
    return KEY.GetLabel();
}
, true, true, false
}  // namespace lifecycle
, {"GetData", IN_C{CALL(GetData(customer.key.c_str(), 0, buffer, length));
}
, IN_CPP {
    return KEY.GetData(0);
}
, true, true, false
}
, {"GetCert", IN_C{CALL(GetCert(customer.key.c_str(), kSigning, kPem, buffer, length));
}
, IN_CPP {
    return KEY.GetCert(kSigning, kPem);
}
, true, true, true
}
, {"GetCertDN", IN_C{CALL(GetCertDN(customer.key.c_str(), kSigning, kSubject, buffer, length));
}
, IN_CPP {
    return KEY.GetCertDN(kSigning, kSubject);
}
, true, true, false
}
, {"Sign", IN_C{CALL(Sign(customer.key.c_str(), kSigning, 0, "order", "Pay?", buffer, length));
}
, IN_CPP {
    return KEY.Sign(kSigning, 0, "order", "Pay?");
}
, false, true, true
}
, {"SignHash", IN_C{CALL(SignHash(customer.key.c_str(), kSigning, 0, "order", 0, buffer, length));
}
, IN_CPP {
    return KEY.SignHash(kSigning, 0, "order", 0);
}
, false, true, true
}
, {"AsymDec", IN_C{CALL(AsymDec(customer.key.c_str(), kEncryption, 0, customer.cipher.c_str(),
                                buffer, length));
}
, IN_CPP {
    return KEY.AsymDec(kEncryption, 0, customer.cipher).Text();
}
, true, true, true
}
, {"GenerateCertRequest",
   IN_C{CALL(GenerateCertRequest(customer.key.c_str(), kDescription, buffer, length));
}
, IN_CPP {
    return KEY.GenerateCertRequest(kDescription);
}
, false, false, false
}
, {"GetPrintNumber", IN_C{CALL(GetPrintNumber(buffer, length));
}
, IN_CPP {
    static_cast<void>(customer);
    return library.GetPrintNumber();
}
, true, true, false
}
, {"GetErrorMsg", IN_C{CALL(GetErrorMsg(0x0A000025, buffer, length));
}
, IN_CPP {
    static_cast<void>(customer);
    return library.GetErrorMsg(0x0A000025);
}
, true, false, false
}
,
}
;

#undef IN_C
#undef CALL
#undef IN_CPP
#undef KEY

class WrongData : public SoftwareKeyTest {
 protected:
    WrongData() : library_(ORVAL_PRODUCT_PATH) {
        customer_.key = NewDualKey();
        EXPECT_EQ(kOk, Checked(SetData(customer_.key.c_str(), 0, "a data item")));
        const Certificate certificate(Given(CertificateOf(customer_.key, kEncryption)));
        customer_.cipher = ToBase64(certificate.Encrypt(kSecret));
        EXPECT_EQ(kOk, Checked(TestVerifyAndCachePin(customer_.key.c_str(), 0)));
    }

    // Each use with the order for its function, and once more without it: nothing is left of it.
    void ForEach(const std::string& effect, const std::function<bool(const Use&)>& chosen,
                 const std::function<void(const Use&, const std::string& right,
                                          const std::string& wrong)>& expect) {
        for (const Use& use : kUses) {
            if (!chosen(use)) {
                continue;
            }
            SCOPED_TRACE(std::string(use.function) + " " + effect);
            const TextCall in_c = use.in_c(customer_);
            const std::string right = AsInC(in_c);
            OrderFault(use.function, effect + " --always");
            expect(use, right, AsInC(in_c));
            expect(use, right, use.in_cpp(library_, customer_));
            Program("softkey", "fault --clear");
            const std::string after = use.in_cpp(library_, customer_);
            EXPECT_TRUE(use.repeats ? after == right : after.size() + 8 > right.size()) << after;
        }
    }

    Customer customer_;
    ukey::Library library_;
};

bool Every(const Use& /*use*/) {
    return true;
}

TEST_F(WrongData, ALongerTextReachesTheClientWhole) {
    ForEach("longer", Every,
            [](const Use& use, const std::string& right, const std::string& wrong) {
                EXPECT_THAT(wrong, EndsWith("x"));
                EXPECT_TRUE(!use.repeats || wrong == right + "x") << wrong;
            });
}

TEST_F(WrongData, AShorterTextReachesTheClientAsItIs) {
    ForEach("shorter", Every,
            [](const Use& use, const std::string& right, const std::string& wrong) {
                EXPECT_TRUE(!use.repeats || wrong + right.back() == right) << wrong;
                EXPECT_FALSE(wrong.empty());
            });
}

TEST_F(WrongData, AnEmptyTextIsEmpty) {
    ForEach("empty", Every,
            [](const Use&, const std::string&, const std::string& wrong) { EXPECT_EQ("", wrong); });
}

// Up to the end of the room, which the library knows, and of the buffer, which its caller told it.
TEST_F(WrongData, ATextWithoutAnEndEndsWithItsBuffer) {
    ForEach(
        "unterminated", [](const Use& use) { return use.has_buffer; },
        [](const Use& use, const std::string& right, const std::string& wrong) {
            EXPECT_GT(wrong.size(), right.size());
            EXPECT_THAT(wrong, EndsWith("xxx"));
            EXPECT_TRUE(!use.repeats || wrong.rfind(right, 0) == 0);
        });
}

TEST_F(WrongData, ALengthThatIsTooLongChangesNoText) {
    for (const char* const by : {" --by 1", " --by 5000"}) {
        ForEach(
            std::string("length-longer") + by, [](const Use& use) { return use.has_length; },
            [](const Use& use, const std::string& right, const std::string& wrong) {
                EXPECT_TRUE(use.repeats ? wrong == right : wrong.find("code") != 0) << wrong;
            });
    }
}

// By one byte, which both clients have to spare. By more, GetCert writes behind its caller's
// buffer: the length is the key's word, and SECURITY.md says so.
TEST_F(WrongData, ALengthThatIsTooShortByOneChangesNoText) {
    ForEach(
        "length-shorter", [](const Use& use) { return use.has_length; },
        [](const Use& use, const std::string& right, const std::string& wrong) {
            const bool is_whole = use.repeats
                                      ? wrong.rfind(right.substr(0, right.size() - 1), 0) == 0
                                      : wrong.find("code") != 0;
            EXPECT_TRUE(is_whole) << wrong;
        });
}

// ukey.hpp has room for the longest certificate, whatever the size query says.
TEST_F(WrongData, ALengthOfACertificateThatIsFarTooShortStaysInTheBufferOfTheWrapper) {
    const std::string right = Given(CertificateOf(customer_.key, kSigning));
    OrderFault("GetCert", "length-shorter --by 600 --always");
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(right.substr(0, right.size() - 600),
                  library_.KeyOf(customer_.key).GetCert(kSigning, kPem));
    }
}

// Where the key's length is all that there is, it is what the client gets; ukey.hpp stays inside
// its own buffer.
TEST_F(WrongData, LengthsBeyondAllMeasureAreHandedOnAndKeptInside) {
    const std::string key = customer_.key;
    for (const char* const function : {"Sign", "SignHash"}) {
        OrderFault(function, "length-longer --by 2147483647 --always");
        char buffer[16384] = {};
        int32_t length = sizeof buffer;
        const bool is_sign = std::string(function) == "Sign";
        const int32_t code = is_sign
                                 ? Sign(key.c_str(), kSigning, 0, "order", "Pay?", buffer, &length)
                                 : SignHash(key.c_str(), kSigning, 0, "order", 0, buffer, &length);
        EXPECT_EQ(ORVAL_OK, code);
        EXPECT_EQ(INT32_MAX, length);
        const std::string text = is_sign ? library_.KeyOf(key).Sign(kSigning, 0, "order", "Pay?")
                                         : library_.KeyOf(key).SignHash(kSigning, 0, "order", 0);
        EXPECT_LT(text.size(), 200U);
        OrderFault(function, "length-shorter --by 2147483647 --always");
        EXPECT_EQ("", is_sign ? library_.KeyOf(key).Sign(kSigning, 0, "order", "Pay?")
                              : library_.KeyOf(key).SignHash(kSigning, 0, "order", 0));
    }
    OrderFault("GetCert", "length-longer --by 2147483647 --always");
    EXPECT_THROW(library_.KeyOf(key).GetCert(kSigning, kPem), ukey::Error);
}

TEST_F(WrongData, ALengthOfTheSlotListThatLiesIsKeptInsideTheArray) {
    {
        OrderFault("VexaT_GetSlotList", "length-longer --by 1000000");
        KeyWait wait;
        Unplug(customer_.key);
        EXPECT_EQ(Removed(customer_.key), wait.Result());
    }
    OrderFault("VexaT_GetSlotList", "length-shorter");
    KeyWait wait;
    Plug(customer_.key);
    EXPECT_EQ(Inserted(customer_.key), wait.Result());
}

TEST_F(WrongData, TheForeignCertificateHasTheNamesAndAnotherKey) {
    const std::string key = customer_.key;
    const Certificate own(Given(CertificateOf(key, kSigning)));
    OrderFault("GetCert", "foreign-certificate --always");
    const std::string text = Given(CertificateOf(key, kSigning));
    const Certificate foreign(text);
    EXPECT_EQ(own.Subject(), foreign.Subject());
    EXPECT_NE(own.Der(), foreign.Der());
    EXPECT_FALSE(foreign.IsIssuedBy(Sm2Root()));
    const std::string signature = FromBase64(Given(Signature(key, "order")));
    EXPECT_TRUE(own.Verifies("order", signature));
    EXPECT_FALSE(foreign.Verifies("order", signature));
    EXPECT_EQ(text, library_.KeyOf(key).GetCert(kSigning, kPem)) << "another one each time";
}

TEST_F(WrongData, TheForeignSignatureIsOfOtherData) {
    const std::string key = customer_.key;
    const Certificate own(Given(CertificateOf(key, kSigning)));
    for (const char* const function : {"Sign", "SignHash", "Batch_Sign"}) {
        OrderFault(function, "foreign-signature");
    }
    for (const std::string& signature :
         {Given(ConfirmedSignature(key, "order", "Pay?")), Given(Signature(key, "order")),
          Given(BatchSignatures(key, "order||"))}) {
        EXPECT_FALSE(own.Verifies("order", FromBase64(signature)));
        EXPECT_TRUE(own.Verifies("1rder", FromBase64(signature)));
    }
}

TEST_F(WrongData, AnExceptionPassesThroughTheLibraryAndLeavesItWhole) {
    for (const Use& use : kUses) {
        OrderFault(use.function, "exception");
        int32_t length = 16384;
        const auto buffer = std::make_unique<char[]>(16384);
        EXPECT_THROW(use.in_c(customer_)(buffer.get(), &length), std::runtime_error)
            << use.function;
        OrderFault(use.function, "exception");
        EXPECT_THROW(use.in_cpp(library_, customer_), std::runtime_error) << use.function;
        EXPECT_FALSE(use.in_cpp(library_, customer_).empty()) << use.function;
    }
}

TEST_F(WrongData, AWaitOutlastsAnExceptionOfTheTokenLibrary) {
    OrderFault("VexaT_WaitForEvent", "exception --times 3");
    KeyWait wait;
    Unplug(customer_.key);
    EXPECT_EQ(Removed(customer_.key), wait.Result());
}

TEST_F(WrongData, ACrashEndsTheClient) {
    OrderFault("VerifyPIN", "crash");
    const int status = OtherProcess([this] { VerifyPIN(customer_.key.c_str()); }).Join();
    // A sanitizer turns the signal into a status.
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) != 0) << status;
    EXPECT_EQ(kOk, Checked(VerifyPIN(customer_.key.c_str())));
}

TEST_F(WrongData, AHangLastsUntilTheClientIsEnded) {
    OrderFault("VerifyPIN", "hang");
    const pid_t client = fork();
    if (client == 0) {
        VerifyPIN(customer_.key.c_str());
        _exit(0);
    }
    EXPECT_TRUE(
        Eventually([] { return Program("softkey", "fault --list") == "No faults are ordered."; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(0, waitpid(client, nullptr, WNOHANG));
    kill(client, SIGKILL);
    int status = 0;
    EXPECT_EQ(client, waitpid(client, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status));
}

TEST_F(WrongData, AKeyMayGoInTheMiddleOfACall) {
    OrderFault("Sign", "unplug");
    EXPECT_EQ(Code::kDeviceRemoved, ConfirmedSignature(customer_.key, "order", "Pay?").code);
    EXPECT_EQ(Code::kDeviceRemoved, AskForText(GetPrintNumber).code);
    Plug(customer_.key);
    EXPECT_EQ(kOk, ConfirmedSignature(customer_.key, "order", "Pay?").code);
}

TEST_F(WrongData, OneKeyMayBeMeantAlone) {
    const std::string other = NewPluggedKey("Other");
    OrderFault("GetLabel", "-401 --always --key " + other);
    EXPECT_EQ(Code::kInvalidArgument, LabelOf(other).code);
    EXPECT_EQ(kOk, LabelOf(customer_.key).code);
    // Two queues: what one key meets does not use up what is for the other.
    OrderFault("GetLabel", "0x0A00000E --key " + customer_.key);
    EXPECT_EQ(Code::kInvalidArgument, LabelOf(other).code);
    EXPECT_EQ(Code::kMemory, LabelOf(customer_.key).code);
    // The one that answers for whichever key is plugged: the first.
    OrderFault("GetPrintNumber", "-401 --key " + other);
    EXPECT_EQ(kOk, AskForText(GetPrintNumber).code);
    OrderFault("GetPrintNumber", "-401 --key " + customer_.key);
    EXPECT_EQ(Code::kInvalidArgument, AskForText(GetPrintNumber).code);
}

TEST_F(WrongData, OrdersForOneEntryAreMetOneAfterTheOther) {
    OrderFault("VerifyPIN", "0x0A000024 --after 1");
    OrderFault("VerifyPIN", "0x0A000025 --times 2 --then");
    OrderFault("VerifyPIN", "-401 --after 1 --then");
    std::vector<Code> codes;
    for (int i = 0; i < 7; ++i) {
        codes.push_back(Checked(VerifyPIN(customer_.key.c_str())));
    }
    EXPECT_THAT(codes, testing::ElementsAre(kOk, Code::kPinIncorrect, Code::kPinLocked,
                                            Code::kPinLocked, kOk, Code::kInvalidArgument, kOk));
}

TEST_F(WrongData, AllEntriesMayBeSlowBesideWhatIsOrderedForOne) {
    Program("softkey", "fault --all 0 --delay 100 --always");
    OrderFault("SetLabel", "0x0A00000E");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Code::kMemory, Checked(SetLabel(customer_.key.c_str(), "Slow")));
    EXPECT_EQ(kOk, Checked(SetLabel(customer_.key.c_str(), "Slow")));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
    Program("softkey", "fault --all -401");
    EXPECT_EQ(Code::kInvalidArgument, Checked(RemovePinCache()));
    EXPECT_EQ(kOk, Checked(RemovePinCache()));
}

}  // namespace
}  // namespace lifecycle
