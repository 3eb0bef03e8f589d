#include "fake_product.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "orval_unified_kpxukey.h"

namespace QRV {

// As the product's own, with a way to make one.
class __attribute__((visibility("default"))) CQrvException final {
 public:
    explicit CQrvException(int32_t code) : code_(code) {}
    int32_t Code() const { return code_; }

 private:
    int32_t code_;
};

}  // namespace QRV

namespace {

std::atomic<bool> is_running{false};

std::string Show(const char* text) {
    return text == nullptr ? "null" : "\"" + std::string(text) + "\"";
}

template <typename T>
std::string Show(T number) {
    return std::to_string(number);
}

template <typename... Arguments>
void Record(const std::string& name, Arguments... arguments) {
    std::string call = name + "(";
    ((call += (call.back() == '(' ? "" : ", ") + Show(arguments)), ...);
    call += ")";
    TheFakeProduct()->calls.push_back(call);
    if (const char* path = std::getenv("FAKE_CALLS")) {
        std::ofstream(path, std::ios::app) << call << "\n";
    }
    if (const char* path = std::getenv("FAKE_WORKS_UNTIL")) {
        while (access(path, F_OK) != 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
}

// The code that the function gives instead of doing its work; 0 to go on.
int32_t CodeOf(const std::string& name) {
    FakeProduct& fake = *TheFakeProduct();
    if (const auto thrown = fake.exceptions.find(name); thrown != fake.exceptions.end()) {
        throw QRV::CQrvException(thrown->second);
    }
    const std::lock_guard<std::mutex> lock(fake.codes_mutex);
    const auto code = fake.codes.find(name);
    return fake.last_error = code == fake.codes.end() ? 0 : code->second;
}

template <typename... Arguments>
int32_t Plain(const std::string& name, Arguments... arguments) {
    Record(name, arguments...);
    return CodeOf(name);
}

// Not copied: a test looks for traces of the text in released memory.
const std::string& Output(const std::string& name) {
    std::deque<std::string>& texts = TheFakeProduct()->outputs[name];
    if (texts.size() > 1) {
        texts.pop_front();
    }
    if (texts.empty()) {
        texts.emplace_back();
    }
    return texts.front();
}

int32_t Length(const std::string& text) {
    return static_cast<int32_t>(text.size());
}

// A text of which the size query counts the terminator and the fetch does not.
int32_t CopyOut(const std::string& name, char* out, int32_t* length, bool short_counts_terminator) {
    if (const int32_t code = CodeOf(name)) {
        return code;
    }
    const std::string& text = Output(name);
    if (out == nullptr) {
        *length = Length(text) + 1;
        return 0;
    }
    if (*length < Length(text)) {
        *length = Length(text) + (short_counts_terminator ? 1 : 0);
        return ORVAL_BUFFER_TOO_SMALL;
    }
    *length = Length(text);
    std::memcpy(out, text.c_str(), text.size() + 1);
    return 0;
}

// An answer to the size query that has nothing to do with the output.
int32_t Bounded(const std::string& name, int32_t bound, char* out, int32_t* length) {
    if (out == nullptr) {
        *length = bound;
        return 0;
    }
    if (const int32_t code = CodeOf(name)) {
        return code;
    }
    const std::string& text = Output(name);
    if (*length < Length(text)) {
        *length = Length(text);
        return ORVAL_BUFFER_TOO_SMALL;
    }
    std::memcpy(out, text.data(), text.size());
    *length = Length(text);
    return 0;
}

// Exactly the text's bytes and no test of the capacity.
int32_t Constant(const std::string& name, char* out, int32_t* length) {
    Record(name);
    const std::string& text = Output(name);
    if (out != nullptr) {
        std::memcpy(out, text.data(), text.size());
    }
    *length = Length(text);
    return CodeOf(name);
}

int32_t Estimate(const char* text) {
    return static_cast<int32_t>((std::strlen(text) + 4096) * 2);
}

void ReadCodes(FakeProduct& fake, const char* text) {
    std::istringstream words(text == nullptr ? "" : text);
    for (std::string word; words >> word;) {
        const size_t at = word.find('=');
        fake.codes[word.substr(0, at)] = std::atoi(word.c_str() + at + 1);
    }
}

void ReadOutputs(FakeProduct& fake, const char* path) {
    std::ifstream lines(path == nullptr ? "" : path);
    std::map<std::string, std::deque<std::string>> given;
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.find('=');
        std::deque<std::string>& texts = given[line.substr(0, at)];
        texts.insert(texts.end(), texts.empty() ? 1 : 0, {});  // each call drops one first
        texts.push_back(line.substr(at + 1));
    }
    for (auto& [name, texts] : given) {
        fake.outputs[name] = std::move(texts);
    }
}

void ReadEvents(FakeProduct& fake, const char* text) {
    std::istringstream words(text == nullptr ? "" : text);
    for (std::string word; words >> word;) {
        fake.events.emplace_back(static_cast<uint32_t>(word[0] - '0'), word.substr(2));
    }
}

bool TakeEvent(std::pair<uint32_t, std::string>& event) {
    FakeProduct& fake = *TheFakeProduct();
    const std::lock_guard<std::mutex> lock(fake.events_mutex);
    if (fake.events.empty()) {
        return false;
    }
    event = fake.events.front();
    fake.events.pop_front();
    return true;
}

}  // namespace

FakeProduct::FakeProduct() {
    outputs["GetDriverVersion"] = {"1.2.3"};
    outputs["GetDllVersion"] = {"4.5.6"};
    outputs["GetVidAndPid"] = {"1111&2222"};
    outputs["GetPrintNumber"] = {"SN0123456789"};
    outputs["GetPinInfo"] = {std::string("\5\0\0\0\6\0\0\0", 8)};  // 5 of 6 tries left
    ReadCodes(*this, std::getenv("FAKE_CODES"));
    ReadOutputs(*this, std::getenv("FAKE_OUTPUTS"));
    ReadEvents(*this, std::getenv("FAKE_EVENTS"));
}

FakeProduct* TheFakeProduct() {
    static FakeProduct fake;
    return &fake;
}

namespace {

// A file that the library keeps open from its loading on.
[[maybe_unused]] const int kOpened =
    std::getenv("FAKE_OPENS") == nullptr ? -1 : open(std::getenv("FAKE_OPENS"), O_RDONLY);

}  // namespace

int32_t G_LastError = 0;
uint8_t g_initFlag = 0;

int32_t Initialize() {
    const int32_t code = Plain("Initialize");
    g_initFlag = code == 0 ? 1 : g_initFlag;
    return code;
}

void Finalize() {
    Record("Finalize");
    g_initFlag = 0;
}

void GetLastErrCode(int32_t* code) {
    Record("GetLastErrCode");
    *code = TheFakeProduct()->last_error;
}

int32_t GetErrorMsg(int32_t code, char* out, int32_t* length) {
    Record("GetErrorMsg", code);
    if (const auto thrown = TheFakeProduct()->exceptions.find("GetErrorMsg");
        thrown != TheFakeProduct()->exceptions.end()) {
        throw QRV::CQrvException(thrown->second);
    }
    if (out == nullptr) {
        *length = 200;
        return 0;
    }
    const bool scripted = TheFakeProduct()->outputs.count("GetErrorMsg") != 0;
    const std::string text = scripted ? Output("GetErrorMsg") : "text of " + std::to_string(code);
    const bool fits = Length(text) < *length;
    *length = Length(text) + 1;
    if (!fits) {
        return ORVAL_BUFFER_TOO_SMALL;
    }
    std::memcpy(out, text.c_str(), text.size() + 1);
    return 0;
}

int32_t GetDriverVersion(char* out, int32_t* length) {
    return Constant("GetDriverVersion", out, length);
}
int32_t GetDllVersion(char* out, int32_t* length) {
    return Constant("GetDllVersion", out, length);
}
int32_t GetVidAndPid(char* out, int32_t* length) {
    return Constant("GetVidAndPid", out, length);
}

int32_t GetPrintNumber(char* out, int32_t* length) {
    Record("GetPrintNumber");
    if (const int32_t code = CodeOf("GetPrintNumber")) {
        return code;
    }
    const std::string& text = Output("GetPrintNumber");
    if (out != nullptr) {
        std::memcpy(out, text.c_str(), text.size() + 1);
    }
    *length = Length(text);
    return 0;
}

int32_t GetVendorInfo(int32_t type, char* out, int32_t* length) {
    Record("GetVendorInfo", type);
    if (type < 0 || type > 2) {
        return ORVAL_UNSUPPORTED;
    }
    const char* name = type == 2 ? "Maker" : "\xE9\xA9\xAC";
    if (out == nullptr) {
        *length = static_cast<int32_t>(std::strlen(name));
    } else {
        std::strcpy(out, name);
    }
    return 0;
}

int32_t WaitForKeyEvent(uint32_t* event, char* serial_number, uint32_t* length) {
    if (serial_number == nullptr) {
        *length = 17;
        return 0;
    }
    is_running = true;
    // Not among `calls`: a test may look at them while a thread waits.
    if (const char* path = std::getenv("FAKE_CALLS")) {
        std::ofstream(path, std::ios::app) << "WaitForKeyEvent()\n";
    }
    std::pair<uint32_t, std::string> taken;
    // What has been taken is told, although a stop may have come meanwhile.
    while (!TakeEvent(taken)) {
        if (!is_running) {
            *event = ORVAL_WAIT_STOPPED;
            return 0;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    if (taken.first == 0) {
        return std::atoi(taken.second.c_str());
    }
    *event = taken.first;
    std::strcpy(serial_number, taken.second.c_str());
    *length = static_cast<uint32_t>(taken.second.size());
    return 0;
}

int32_t StopDetectUKey() {
    is_running = false;
    return 0;
}

int32_t CheckDriverIntegrity(int32_t mode) {
    return Plain("CheckDriverIntegrity", mode);
}
int32_t ChangePin(const char* sn) {
    return Plain("ChangePin", sn);
}
int32_t VerifyPIN(const char* sn) {
    return Plain("VerifyPIN", sn);
}
int32_t TestVerifyAndCachePin(const char* sn, intptr_t param) {
    return Plain("TestVerifyAndCachePin", sn, param);
}
int32_t GetPinInfo(const char* sn, void* info, int32_t* length) {
    Record("GetPinInfo", sn);
    return Bounded("GetPinInfo", 8, static_cast<char*>(info), length);
}
int32_t RemovePinCache() {
    return Plain("RemovePinCache");
}
int32_t SetCachePinFlag(const char* sn, intptr_t flag) {
    return g_initFlag == 0 ? ORVAL_BACKEND_UNAVAILABLE : Plain("SetCachePinFlag", sn, flag);
}
int32_t InitUKey(const char* sn) {
    return g_initFlag == 0 ? ORVAL_NOT_INITIALIZED : Plain("InitUKey", sn);
}
int32_t TestInitUKey(const char* sn, void* param) {
    return Plain("TestInitUKey", sn, param == nullptr ? "null" : "pointer");
}
int32_t GetLabel(const char* sn, char* out, int32_t* length) {
    Record("GetLabel", sn);
    return CopyOut("GetLabel", out, length, false);
}
int32_t SetLabel(const char* sn, const char* label) {
    return Plain("SetLabel", sn, label);
}
int32_t GetData(const char* sn, int32_t index, char* out, int32_t* length) {
    Record("GetData", sn, index);
    return CopyOut("GetData", out, length, true);
}
int32_t SetData(const char* sn, int32_t index, const char* data) {
    return Plain("SetData", sn, index, data);
}
int32_t SetCharset(const char* first, const char* second) {
    return Plain("SetCharset", first, second);
}
int32_t SetLanguage(const char* first, const char* second) {
    return Plain("SetLanguage", first, second);
}
int32_t Sign(const char* sn, int32_t param1, int32_t param2, const char* data, const char* warning,
             char* out, int32_t* length) {
    Record("Sign", sn, param1, param2, data, warning);
    return Bounded("Sign", Estimate(data), out, length);
}
int32_t SignHash(const char* sn, int32_t param1, int32_t param2, const char* data, int32_t param3,
                 char* out, int32_t* length) {
    Record("SignHash", sn, param1, param2, data, param3);
    return Bounded("SignHash", Estimate(data), out, length);
}
int32_t Batch_Sign(int32_t flags, const char* sn, int32_t param3, int32_t param4, const char* text,
                   const void* param6, int64_t param7, int32_t param8, int32_t param9,
                   const char* batch, int32_t param11, char* out, int32_t* length) {
    Record("Batch_Sign", flags, sn, param3, param4, text, static_cast<const char*>(param6), param7,
           param8, param9, batch, param11);
    return Bounded("Batch_Sign", 0, out, length);
}
int32_t AsymDec(const char* sn, int32_t param1, uint32_t param2, const char* cipher, char* out,
                int32_t* length) {
    Record("AsymDec", sn, param1, param2, cipher);
    return Bounded("AsymDec", Estimate(cipher), out, length);
}
int32_t GetCert(const char* sn, int32_t param1, int32_t param2, char* out, int32_t* length) {
    Record("GetCert", sn, param1, param2);
    return CopyOut("GetCert", out, length, false);
}
int32_t GetCertDN(const char* sn, int32_t param1, int32_t param2, char* out, int32_t* length) {
    Record("GetCertDN", sn, param1, param2);
    return CopyOut("GetCertDN", out, length, false);
}
int32_t GetCertInfo(const char* sn, intptr_t selector, void* info, int32_t* length) {
    Record("GetCertInfo", sn, selector);
    return Bounded("GetCertInfo", 1280, static_cast<char*>(info), length);
}
int32_t DelCertAndTempKey(const char* sn, int32_t param1, int32_t param2) {
    return Plain("DelCertAndTempKey", sn, param1, param2);
}
int32_t RegisterCert() {
    Record("RegisterCert");
    return ORVAL_UNSUPPORTED;
}
int32_t UnregisterCert() {
    Record("UnregisterCert");
    return ORVAL_UNSUPPORTED;
}
int32_t RepairDriver() {
    Record("RepairDriver");
    return ORVAL_UNSUPPORTED;
}
int32_t ImportX509Cert(const char* sn, const char* pkcs7) {
    return Plain("ImportX509Cert", sn, pkcs7);
}
int32_t ImportEncX509Cert(const char* sn, const char* pkcs7, const char* key) {
    return Plain("ImportEncX509Cert", sn, pkcs7, key);
}
int32_t Batch_ImportX509Cert(const char* sn, const char* package) {
    return Plain("Batch_ImportX509Cert", sn, package);
}
int32_t GenerateCertRequest(const char* sn, const char* description, char* out, int32_t* length) {
    Record("GenerateCertRequest", sn, description);
    return CopyOut("GenerateCertRequest", out, length, false);
}
int32_t Batch_InitAndGenerateCertRequest(const char* sn, uint32_t mode, const char* description,
                                         char* out, int32_t* length) {
    Record("Batch_InitAndGenerateCertRequest", sn, mode, description);
    return CopyOut("Batch_InitAndGenerateCertRequest", out, length, false);
}
