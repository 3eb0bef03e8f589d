#ifndef ORVAL_TESTS_PRODUCT_API_FUNCTIONS_H
#define ORVAL_TESTS_PRODUCT_API_FUNCTIONS_H

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "api_test.h"
#include "common/commonfunction.h"

// The exported functions as data: kFunctions has a row for each, with what the function does where
// nothing is odd. ladder_test.cpp climbs through all rows; what a function does that no other does
// is told in the test of its family.

// How a program reaches an exported function. One that has functions of the same names defines it.
#ifndef ORVAL_EXPORTED
#define ORVAL_EXPORTED(name) name
#endif

namespace scripted {

// The arguments of a call by their parts in it. No two of them look alike.
struct Arguments {
    const char* serial_number = "SN0123456789";
    const char* text = nullptr;
    const char* other_text = nullptr;
    int32_t first = 11;
    int32_t second = 12;
    int32_t third = 13;
    int64_t wide = 14;
    void* parameter = const_cast<char*>(serial_number) + 1;
    char* buffer = nullptr;
    int32_t* length = nullptr;
};

enum Part { kSerialNumber, kText, kOtherText, kParameter, kBuffer, kLength };

// What an entry of the key can answer with, besides its code.
struct Outputs {
    char* buffer = nullptr;
    int32_t* length = nullptr;
    char** request = nullptr;       // takes a text from array new
    const char* message = nullptr;  // the result of the entry that returns a text
};

// An entry of the key, whatever its type.
struct AnyEntry {
    // What the entry does from now on; the answer's result is its code.
    std::function<void(std::function<int32_t(Outputs&)>)> answers;
    // The pointers among the arguments of one call, counted from 0.
    std::function<std::vector<const void*>(size_t)> pointers;
    std::function<void(CommonFunction&)> empty_slot;
};

// Notes a parameter that the entry answers through.
template <typename Parameter>
void FindOutput(Outputs& outputs, const Parameter& parameter) {
    if constexpr (std::is_same_v<Parameter, char*> || std::is_same_v<Parameter, void*>) {
        outputs.buffer = static_cast<char*>(parameter);
    } else if constexpr (std::is_same_v<Parameter, int32_t*>) {
        outputs.length = parameter;
    } else if constexpr (std::is_same_v<Parameter, char**>) {
        outputs.request = parameter;
    }
}

template <typename Result, typename... Parameters>
AnyEntry Any(Entry<Result(Parameters...)>& entry, Result (*CommonFunction::*slot)(Parameters...)) {
    const auto answers = [&entry](const std::function<int32_t(Outputs&)>& answer) {
        entry.Does([answer](Parameters... parameters) -> Result {
            Outputs outputs;
            (FindOutput(outputs, parameters), ...);
            const int32_t code = answer(outputs);
            if constexpr (std::is_pointer_v<Result>) {
                return outputs.message;
            } else {
                return code;
            }
        });
    };
    const auto pointers = [&entry](size_t call) {
        std::vector<const void*> found;
        const auto take = [&found](const auto& argument) {
            if constexpr (std::is_pointer_v<std::decay_t<decltype(argument)>>) {
                found.push_back(argument);
            }
        };
        std::apply([&take](const auto&... arguments) { (take(arguments), ...); },
                   entry.Arguments().at(call));
        return found;
    };
    return {answers, pointers, [slot](CommonFunction& slots) { slots.*slot = nullptr; }};
}

// A call of the key as it is recorded.
struct KeyCall {
    AnyEntry entry;
    const char* name;
    std::string arguments;

    std::string Text() const { return name + ("(" + arguments + ")"); }
};

#define ORVAL_KEY_CALL(name, arguments)                          \
    KeyCall {                                                    \
        Any(Key().name, &CommonFunction::name), #name, arguments \
    }

// A line of the log. In its text, {code} is the last error and {capacity} the length given, both as
// the log has them; a line with {buffer}, the caller's buffer as a text, needs one.
struct Line {
    const char* tag;
    std::string text;
};

// When the call binds the back-end: at its start, or not at all.
enum Binding { kBinds, kNeverBinds };

// A row, read from the top: what nothing is said of is not there.
class Function {
 public:
    Function(const char* function_name, int32_t (*function)(const Arguments&),
             Binding when = kBinds)
        : name(function_name), call(function), binding(when) {}

    // What the call works on.
    Function& On(const char* text, const char* other_text = nullptr) {
        usual.text = text;
        return Set(usual.other_text, other_text);
    }
    // Without one of them the answer is -401, with a buffer and without.
    Function& Requires(std::vector<Part> parts) { return Set(required, std::move(parts)); }
    // What the key is asked, in order.
    Function& Asks(std::vector<KeyCall> calls) {
        last_entry = calls.back().name;
        return Set(asked, std::move(calls));
    }
    // The last entry, where it is not one of the key's.
    Function& EndsAt(const char* entry) { return Set(last_entry, entry); }
    // Those arguments that the key gets as they are; of the others it gets copies, or none.
    Function& HandsOn(std::vector<Part> parts) { return Set(handed_on, std::move(parts)); }
    // What the key is asked last when the numbers are INT32_MIN, -1, -401 and INT64_MIN.
    Function& AtTheExtremes(const char* arguments) { return Set(at_the_extremes, arguments); }
    // What the key is asked when that argument is null.
    Function& AsksWithout(Part part, std::vector<std::string> calls) {
        without = part;
        return Set(asked_without, std::move(calls));
    }
    // The code of the call before is gone when the key is asked; otherwise it stays until then.
    Function& ResetsTheLastErrorFirst() { return Set(resets_first, true); }
    // A success leaves the code of the call before.
    Function& KeepsTheLastError() { return Set(keeps_last_error, true); }
    // The bytes of the buffer that the key writes to, where it is not the caller's.
    Function& Room(size_t bytes) { return Set(room, bytes); }
    // The length of the text is the one that the key tells; otherwise the text itself is measured.
    Function& TakesTheKeysLength() { return Set(takes_the_keys_length, true); }
    // Requests for text memory, at least, that come before the key is asked, or all along.
    Function& Copies(int texts) { return Set(copies, texts); }
    Function& CopiesOnTheWay(int texts) {
        on_the_way = true;
        return Copies(texts);
    }
    // A length query is answered with (length of the text + 4096) * 2.
    Function& Estimates() { return Set(estimates, true); }
    Function& Logs(std::vector<Line> lines) { return Set(log, std::move(lines)); }
    // The log of some calls is told in the test of the family.
    Function& LogsRefusedArgumentsToo() { return Set(logs_refused_arguments, true); }
    Function& LogsFailuresInItsOwnWay() { return Set(logs_failures_in_its_own_way, true); }
    Function& LogsInItsOwnWay() { return Set(logs_in_its_own_way, true); }
    // What comes before a call that is to succeed.
    Function& After(void (*preparation)()) { return Set(prepare, preparation); }
    Function& Gives(int32_t code) { return Set(success, code); }
    // The code of a call that does not bind, when nothing is bound.
    Function& GivesUnbound(int32_t code) { return Set(unbound, code); }

    const char* name;
    int32_t (*call)(const Arguments&);
    Binding binding;
    Arguments usual = {};
    std::vector<Part> required = {};
    std::vector<KeyCall> asked = {};
    const char* last_entry = nullptr;
    std::vector<Part> handed_on = {};
    const char* at_the_extremes = nullptr;
    Part without = kLength;
    std::vector<std::string> asked_without = {};
    bool resets_first = false;
    bool keeps_last_error = false;
    size_t room = 0;
    bool takes_the_keys_length = false;
    int copies = 0;
    bool on_the_way = false;
    bool estimates = false;
    std::vector<Line> log = {};
    bool logs_refused_arguments = false;
    bool logs_failures_in_its_own_way = false;
    bool logs_in_its_own_way = false;
    void (*prepare)() = [] {};
    int32_t success = 0;
    int32_t unbound = 0;

 private:
    template <typename Member, typename Value>
    Function& Set(Member& member, Value&& value) {
        member = std::forward<Value>(value);
        return *this;
    }
};

inline void PrintTo(const Function& function, std::ostream* out) {
    *out << function.name;
}

inline void DeliverAnArrival() {
    Token().WaitForEvent.Does([](auto, auto, VEXA_EVENT_INFO* event, auto) {
        std::memcpy(event, "\1", 1);
        return 0U;
    });
    Token().GetDeviceInfo.Does([](auto, auto, _S_DEV_CONFIG* config) {
        std::memcpy(reinterpret_cast<char*>(config) + 248, "SN0123456789", 13);
        return 0U;
    });
}

#define ORVAL_CALL(name, arguments) \
#name, [](const Arguments& a) -> int32_t { \
        static_cast<void>(a); \
        return ORVAL_EXPORTED(name) arguments; \
    }

// In the order of the header; Initialize, Finalize and GetLastErrCode are told in their families.
inline const std::vector<Function> kFunctions = {
    Function(ORVAL_CALL(GetErrorMsg, (a.first, a.buffer, a.length)))
        .Requires({kLength})
        .Asks({ORVAL_KEY_CALL(X_ErrorConvert_UOS, "11")})
        .AtTheExtremes("-2147483648")
        .KeepsTheLastError()
        .CopiesOnTheWay(1),
    Function(ORVAL_CALL(GetDriverVersion, (a.buffer, a.length)))
        .Logs({{"GetDriverVersion", "pszVersion: {buffer}"},
               {"GetDriverVersion", "End G_LastError: {code}"}}),
    Function(ORVAL_CALL(GetDllVersion, (a.buffer, a.length)))
        .Logs({{"GetDllVersion", "Begin pnVersionLen = {capacity}"},
               {"GetDllVersion", "pszVersion: {buffer}"},
               {"GetDllVersion", "End G_LastError: {code}"}}),
    Function(ORVAL_CALL(GetVidAndPid, (a.buffer, a.length)))
        .Logs({{"GetVidAndPid", "Begin pnVidPidLen = {capacity}"},
               {"GetVidAndPid", "pszVidPid: {buffer}"},
               {"GetVidAndPid", "End G_LastError: {code}"}}),
    Function(ORVAL_CALL(GetPrintNumber, (a.buffer, a.length)))
        .Asks({ORVAL_KEY_CALL(CheckDeviceEx, "&0, zeroed[396], 1, zeroed[1024]")})
        .ResetsTheLastErrorFirst()
        .Room(1024)
        .Logs({{"GetPrintNumber", "Begin pnSNLen = {capacity}"},
               {"GetPrintNumber", "m_SN: {buffer}"},
               {"GetPrintNumber", "End G_LastError: {code}"}}),
    Function(ORVAL_CALL(GetVendorInfo, (2, a.buffer, a.length))),
    Function("WaitForKeyEvent",
             [](const Arguments& a) {
                 uint32_t event = 0;
                 return ORVAL_EXPORTED(WaitForKeyEvent)(&event, a.buffer,
                                                        reinterpret_cast<uint32_t*>(a.length));
             })
        .After(DeliverAnArrival)
        .EndsAt("VexaT_ContextFinal")
        .LogsInItsOwnWay(),
    Function(ORVAL_CALL(StopDetectUKey, ())),
    Function(ORVAL_CALL(CheckDriverIntegrity, (1))),
    Function(ORVAL_CALL(ChangePin, (a.serial_number)))
        .Asks({ORVAL_KEY_CALL(ChangePin, R"("SN0123456789")")})
        .HandsOn({kSerialNumber})
        .ResetsTheLastErrorFirst()
        .Logs({{"ChangePin", "Begin"},
               {"szSN:", "534E30313233343536373839"},
               {"ChangePin", "End G_LastError: {code}"}}),
    Function(ORVAL_CALL(VerifyPIN, (a.serial_number)))
        .Asks({ORVAL_KEY_CALL(VerifyPIN, R"("SN0123456789")")})
        .HandsOn({kSerialNumber})
        .AsksWithout(kSerialNumber, {"VerifyPIN(null)"}),
    Function(ORVAL_CALL(TestVerifyAndCachePin, (a.serial_number, a.wide)))
        .Asks({ORVAL_KEY_CALL(VerifyAndCachePin, R"("SN0123456789", 14)")})
        .HandsOn({kSerialNumber})
        .AtTheExtremes(R"("SN0123456789", -9223372036854775808)")
        .AsksWithout(kSerialNumber, {"VerifyAndCachePin(null, 14)"}),
    Function(ORVAL_CALL(GetPinInfo, (a.serial_number, a.buffer, a.length)))
        .Requires({kLength})
        .Asks({ORVAL_KEY_CALL(GetPinInfo, R"("SN0123456789", pointer, &100)")})
        .HandsOn({kSerialNumber, kBuffer, kLength})
        .AsksWithout(kSerialNumber, {"GetPinInfo(null, pointer, &100)"}),
    Function(ORVAL_CALL(RemovePinCache, ()))
        .Asks({ORVAL_KEY_CALL(GM_RemoveUserPin, "")})
        .ResetsTheLastErrorFirst(),
    Function(ORVAL_CALL(SetCachePinFlag, (a.serial_number, a.wide)), kNeverBinds)
        .GivesUnbound(-101)
        .Asks({ORVAL_KEY_CALL(SetCachePinFlag, R"("SN0123456789", 14)")})
        .HandsOn({kSerialNumber})
        .AtTheExtremes(R"("SN0123456789", -9223372036854775808)")
        .AsksWithout(kSerialNumber, {"SetCachePinFlag(null, 14)"})
        .ResetsTheLastErrorFirst(),
    Function(ORVAL_CALL(InitUKey, (a.serial_number)), kNeverBinds)
        .GivesUnbound(-109)
        .Asks({ORVAL_KEY_CALL(CustInitCard, R"("SN0123456789", 0, null, 0)")})
        .HandsOn({kSerialNumber})
        .ResetsTheLastErrorFirst()
        .Logs({{"InitUKey", "Begin"},
               {"szSN:", "534E30313233343536373839"},
               {"InitUKey", "End G_LastError: {code}"}}),
    Function(ORVAL_CALL(TestInitUKey, (a.serial_number, a.parameter)))
        .Asks({ORVAL_KEY_CALL(CustInitCard, R"("SN0123456789", 0, pointer, 0)")})
        .HandsOn({kSerialNumber, kParameter})
        .AsksWithout(kParameter, {R"(CustInitCard("SN0123456789", 0, null, 0))"})
        .ResetsTheLastErrorFirst()
        .Logs({{"TestInitUKey", "Begin"}, {"TestInitUKey", "End G_LastError: {code}"}}),
    Function(ORVAL_CALL(GetLabel, (a.serial_number, a.buffer, a.length)))
        .Requires({kSerialNumber, kLength})
        .Asks({ORVAL_KEY_CALL(GetLabel, R"("SN0123456789", zeroed[512])")})
        .ResetsTheLastErrorFirst()
        .Room(512)
        .Copies(1),
    Function(ORVAL_CALL(SetLabel, (a.serial_number, a.text)))
        .On("My key")
        .Requires({kSerialNumber, kText})
        .Asks({ORVAL_KEY_CALL(SetLabel, R"("SN0123456789", "My key")")})
        .HandsOn({kSerialNumber, kText}),
    Function(ORVAL_CALL(GetData, (a.serial_number, a.first, a.buffer, a.length)))
        .Requires({kSerialNumber, kLength})
        .Asks({ORVAL_KEY_CALL(GetData, R"("SN0123456789", 11, zeroed[260])")})
        .HandsOn({kSerialNumber})
        .AtTheExtremes(R"("SN0123456789", -2147483648, zeroed[260])")
        .ResetsTheLastErrorFirst()
        .Room(260),
    Function(ORVAL_CALL(SetData, (a.serial_number, a.first, a.text)))
        .On("data")
        .Requires({kSerialNumber, kText})
        .Asks({ORVAL_KEY_CALL(SetData, R"("SN0123456789", 11, "data")")})
        .HandsOn({kSerialNumber, kText})
        .AtTheExtremes(R"("SN0123456789", -2147483648, "data")"),
    Function(ORVAL_CALL(SetCharset, (a.text, a.other_text)))
        .On("first", "second")
        .Requires({kText, kOtherText})
        .Asks({ORVAL_KEY_CALL(UOS_SetCharset, R"("second", "first")")})
        .HandsOn({kOtherText, kText}),
    Function(ORVAL_CALL(SetLanguage, (a.text, a.other_text)))
        .On("first", "second")
        .Requires({kText, kOtherText})
        .Asks({ORVAL_KEY_CALL(UOS_SetLanguage, R"("second", "first")")})
        .HandsOn({kOtherText, kText}),
    Function(ORVAL_CALL(Sign, (a.serial_number, a.first, a.second, a.text, a.other_text, a.buffer,
                               a.length)))
        .On("abc", "Pay 5?")
        .Requires({kText, kOtherText, kLength})
        .Asks({ORVAL_KEY_CALL(SetWarningMsg, R"("SN0123456789", "Pay 5?")"),
               ORVAL_KEY_CALL(GMUsbKeyCriticalSign,
                              R"("SN0123456789", 11, 12, "abc", buffer, &100)")})
        .HandsOn({kSerialNumber, kOtherText, kSerialNumber, kText, kBuffer, kLength})
        .AtTheExtremes(R"("SN0123456789", -2147483648, -1, "abc", buffer, &100)")
        .AsksWithout(kSerialNumber, {R"(SetWarningMsg(null, "Pay 5?"))",
                                     R"(GMUsbKeyCriticalSign(null, 11, 12, "abc", buffer, )"
                                     "&100)"})
        .Estimates(),
    Function(ORVAL_CALL(SignHash,
                        (a.serial_number, a.first, a.second, a.text, a.third, a.buffer, a.length)))
        .On("abc")
        .Requires({kText, kLength})
        .Asks({ORVAL_KEY_CALL(GMUsbKeyCommonSign,
                              R"("SN0123456789", 11, 12, "abc", 13, zeroed[8198], &100)")})
        .HandsOn({kLength})
        .AtTheExtremes(R"("SN0123456789", -2147483648, -1, "abc", -401, zeroed[8198], &100)")
        .AsksWithout(kSerialNumber,
                     {R"(GMUsbKeyCommonSign("", 11, 12, "abc", 13, zeroed[8198], &100))"})
        .ResetsTheLastErrorFirst()
        .Room(8198)
        .TakesTheKeysLength()
        .Copies(2)
        .Estimates(),
    Function(ORVAL_CALL(Batch_Sign,
                        (1, a.serial_number, a.first, a.second, a.text, a.parameter, a.wide,
                         a.third, a.third + 2, a.other_text, a.third + 3, a.buffer, a.length)))
        .On("abc", "x||y||z")
        .Requires({kLength})
        .Asks({ORVAL_KEY_CALL(Batch_Sign, R"(1, "SN0123456789", 11, 12, "abc", pointer, 14, )"
                                          R"(13, 15, "x||y||z", 16, buffer, &100)")})
        .HandsOn({kSerialNumber, kText, kParameter, kOtherText, kBuffer, kLength})
        .AtTheExtremes(R"(1, "SN0123456789", -2147483648, -1, "abc", pointer, )"
                       R"(-9223372036854775808, -401, -399, "x||y||z", -398, )"
                       "buffer, &100")
        .AsksWithout(kOtherText, {R"(Batch_Sign(1, "SN0123456789", 11, 12, "abc", pointer, )"
                                  "14, 13, 15, null, 16, buffer, &100)"}),
    Function(ORVAL_CALL(AsymDec, (a.serial_number, a.first, static_cast<uint32_t>(a.second), a.text,
                                  a.buffer, a.length)))
        .On("c1ph3r")
        .Requires({kText, kLength})
        .Asks({ORVAL_KEY_CALL(GMUSBKeyAsymDec2,
                              R"("SN0123456789", 11, 12, "c1ph3r", zeroed[8204], &8204)")})
        .AtTheExtremes(R"("SN0123456789", -2147483648, 4294967295, "c1ph3r", zeroed[8204], &8204)")
        .AsksWithout(kSerialNumber,
                     {R"(GMUSBKeyAsymDec2("", 11, 12, "c1ph3r", zeroed[8204], &8204))"})
        .ResetsTheLastErrorFirst()
        .Room(8204)
        .TakesTheKeysLength()
        .Copies(2)
        .Estimates(),
    Function(ORVAL_CALL(GetCert, (a.serial_number, a.first, a.second, a.buffer, a.length)))
        .Requires({kSerialNumber, kLength})
        .Asks({ORVAL_KEY_CALL(GetCertInfo, R"("SN0123456789", 11, 12, zeroed[4096], &4096)")})
        .HandsOn({kSerialNumber})
        .AtTheExtremes(R"("SN0123456789", -2147483648, -1, zeroed[4096], &4096)")
        .Room(4096)
        .TakesTheKeysLength(),
    Function(ORVAL_CALL(GetCertDN, (a.serial_number, a.first, a.second, a.buffer, a.length)))
        .Requires({kSerialNumber, kLength})
        .Asks({ORVAL_KEY_CALL(GM_GetCertDN, R"("SN0123456789", 11, 12, zeroed[1024])")})
        .HandsOn({kSerialNumber})
        .AtTheExtremes(R"("SN0123456789", -2147483648, -1, zeroed[1024])")
        .ResetsTheLastErrorFirst()
        .Room(1024),
    Function(ORVAL_CALL(GetCertInfo, (a.serial_number, a.wide, a.buffer, a.length)))
        .Requires({kLength})
        .Asks({ORVAL_KEY_CALL(GetCertInfo_UOS, R"("SN0123456789", 14, pointer, &100)")})
        .HandsOn({kSerialNumber, kBuffer, kLength})
        .AtTheExtremes(R"("SN0123456789", -9223372036854775808, pointer, &100)")
        .AsksWithout(kSerialNumber, {"GetCertInfo_UOS(null, 14, pointer, &100)"}),
    Function(ORVAL_CALL(DelCertAndTempKey, (a.serial_number, a.first, a.second)))
        .Asks({ORVAL_KEY_CALL(DelCertAndTempKey, R"("SN0123456789", 11, 12)")})
        .HandsOn({kSerialNumber})
        .AtTheExtremes(R"("SN0123456789", -2147483648, -1)")
        .AsksWithout(kSerialNumber, {"DelCertAndTempKey(null, 11, 12)"}),
    Function(ORVAL_CALL(RegisterCert, ()), kNeverBinds)
        .KeepsTheLastError()
        .Gives(-300)
        .GivesUnbound(-300),
    Function(ORVAL_CALL(UnregisterCert, ()), kNeverBinds)
        .KeepsTheLastError()
        .Gives(-300)
        .GivesUnbound(-300),
    Function(ORVAL_CALL(RepairDriver, ()), kNeverBinds)
        .KeepsTheLastError()
        .Gives(-300)
        .GivesUnbound(-300),
    Function(ORVAL_CALL(ImportX509Cert, (a.serial_number, a.text)))
        .On("M,I\r\nI")
        .Requires({kSerialNumber, kText})
        .Asks({ORVAL_KEY_CALL(GMWritePKCS7, R"("SN0123456789", "MII", "")")})
        .HandsOn({kSerialNumber})
        .Copies(1),
    Function(ORVAL_CALL(ImportEncX509Cert, (a.serial_number, a.text, a.other_text)))
        .On("M,II", "12,34")
        .Requires({kSerialNumber, kText, kOtherText})
        .Asks({ORVAL_KEY_CALL(GMImportPriKey, R"("SN0123456789", "1234" in zeroed[1024], 0)"),
               ORVAL_KEY_CALL(GMWritePKCS7, R"("SN0123456789", "MII", "")")})
        .ResetsTheLastErrorFirst()
        .Copies(1)
        .Logs({{"CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", "strPriKeyTemp:1234"}}),
    Function(ORVAL_CALL(Batch_ImportX509Cert, (a.serial_number, a.text)))
        .On("EncCert(Z)|SignCert(X,\r\nX)|EncPriKey(Y)\n")
        .Requires({kSerialNumber, kText})
        .Asks({ORVAL_KEY_CALL(GMWritePKCS7, R"("SN0123456789", "XX", "")"),
               ORVAL_KEY_CALL(GMImportPriKey, R"("SN0123456789", "Y" in zeroed[1024], 0)"),
               ORVAL_KEY_CALL(GMWritePKCS7, R"("SN0123456789", "Z", "")")})
        .ResetsTheLastErrorFirst()
        .CopiesOnTheWay(2)
        .Logs({{"CKPXUSBKey::Batch_ImportX509Cert",
                "begin, strP7: EncCert(Z)|SignCert(XX)|EncPriKey(Y)"},
               {"CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:", "strPriKeyTemp:Y"}})
        .LogsFailuresInItsOwnWay(),
    Function(ORVAL_CALL(GenerateCertRequest, (a.serial_number, a.text, a.buffer, a.length)))
        .On("CertType(1)")
        .Requires({kSerialNumber, kText, kLength})
        .Asks({ORVAL_KEY_CALL(VerifyPIN, R"("SN0123456789")"),
               ORVAL_KEY_CALL(GMCreatePKCS10, R"("SN0123456789", 1, 0, 0, &null, null, 0)")})
        .HandsOn({kSerialNumber, kSerialNumber})
        .ResetsTheLastErrorFirst()
        .CopiesOnTheWay(2),
    Function(ORVAL_CALL(Batch_InitAndGenerateCertRequest,
                        (a.serial_number, 0, a.text, a.buffer, a.length)))
        .On("CertType(1)KeyType(1)")
        .Requires({kText, kLength})
        .Asks({ORVAL_KEY_CALL(VerifyPIN, R"("SN0123456789")"),
               ORVAL_KEY_CALL(GMCreatePKCS10Ex,
                              R"("SN0123456789", {1, 1, 0, 0}, &null, 1, null, 0)")})
        .HandsOn({kSerialNumber})
        .AsksWithout(kSerialNumber, {"VerifyPIN(null)",
                                     R"(GMCreatePKCS10Ex("", {1, 1, 0, 0}, &null, 1, null, 0))"})
        .ResetsTheLastErrorFirst()
        .CopiesOnTheWay(3)
        .Logs({{"Batch_InitAndGenerateCertRequest",
                "Begin szSN = SN0123456789,requestInfo = CertType(1)KeyType(1)"}})
        .LogsRefusedArgumentsToo(),
};

}  // namespace scripted

#endif
