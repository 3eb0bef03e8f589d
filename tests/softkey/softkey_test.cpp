#include "softkey_test.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "authority/authority.h"
#include "base/encoding.h"
#include "hold_json.h"
#include "slots/slots.h"
#include "store/key_store.h"

namespace softkey::testing {
namespace {

void* Load(const char* name) {
    const std::string path = std::string(SOFTKEY_LIBRARIES) + "/" + name;
    void* const library = dlopen(path.c_str(), RTLD_LAZY);
    if (library == nullptr) throw std::runtime_error(dlerror());
    return library;
}

template <typename Function>
void Find(void* library, const char* name, Function* function) {
    void* const symbol = dlsym(library, name);
    if (symbol == nullptr) throw std::runtime_error(std::string("no entry ") + name);
    *function = reinterpret_cast<Function>(symbol);
}

std::string Taken(char* text) {
    const std::unique_ptr<char[]> owner(text);
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

KeyLibrary::KeyLibrary() {
    void* const library = Load("libOrvalKPX.so");
#define SOFTKEY_FIND(slot, name, result, arguments) Find(library, #name, &name);
    ORVAL_BACKEND_ENTRIES(SOFTKEY_FIND)
#undef SOFTKEY_FIND
}

TokenLibrary::TokenLibrary() {
    void* const library = Load("libR7Token_ORVAL.so");
#define SOFTKEY_FIND(name, arguments) Find(library, "VexaT_" #name, &name);
    ORVAL_TOKEN_FUNCTIONS(SOFTKEY_FIND)
#undef SOFTKEY_FIND
}

SoftKeyTest::SoftKeyTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "softkey-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder_ = pattern;
    setenv("ORVAL_SOFTKEY_HOME", (folder_ + "/home").c_str(), 1);
    // No dialog of the machine's own may ever appear.
    setenv("ORVAL_SOFTKEY_PINENTRY", "/nonexistent/pinentry", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
}

SoftKeyTest::~SoftKeyTest() {
    std::filesystem::remove_all(folder_);
}

std::string SoftKeyTest::WriteSecretFile(const std::string& name, const std::string& text) const {
    const std::string path = folder_ + "/" + name;
    WriteFile(path, text);
    chmod(path.c_str(), 0600);
    return path;
}

void SoftKeyTest::CreateKey(const std::string& serial, const std::string& label, Kind kind) {
    KeyStore::Create({serial, label, ToSecret(kPin), kind});
}

void SoftKeyTest::PlugWithPinFile(const std::string& serial, const std::string& lines) {
    PinSource source;
    source.file = WriteSecretFile("pin-" + serial, lines);
    source.confirmation = Confirmation::kAlways;
    Slots::OpenOrCreate().Plug(serial, source);
}

void SoftKeyTest::PlugWithDialog(const std::string& serial) {
    Slots::OpenOrCreate().Plug(serial, PinSource());
}

void SoftKeyTest::Unplug(const std::string& serial) {
    Slots::OpenOrCreate().Unplug(serial);
}

void SoftKeyTest::UseScriptedPinentry(const std::string& getpin_answer,
                                      const std::string& confirm_answer,
                                      const std::string& habit) const {
    const std::string path = folder_ + "/pinentry";
    WriteFile(path,
              "#!/bin/sh\nLC_ALL=C\necho OK ready\nwhile read -r line; do\n"
              "printf '%s\\n' \"$line\" >> '" +
                  folder_ + "/pinentry-record'\n" + habit +
                  "\ncase $line in\n"
                  "GETPIN) printf '" +
                  getpin_answer +
                  "\\n' ;;\n"
                  "CONFIRM) printf '" +
                  confirm_answer +
                  "\\n' ;;\n"
                  "*) echo OK ;;\nesac\ndone\n");
    chmod(path.c_str(), 0700);
    setenv("ORVAL_SOFTKEY_PINENTRY", path.c_str(), 1);
}

std::string SoftKeyTest::PinentryRecord() const {
    return ReadFile(folder_ + "/pinentry-record");
}

EntriesTest::EntriesTest() {
    CreateKey();
    PlugWithPinFile();
}

std::string EntriesTest::Request(int32_t cert_type, int32_t key_type, int32_t hash_type) {
    char* text = nullptr;
    EXPECT_EQ(kSuccess,
              key_.GMCreatePKCS10(kSerial, cert_type, key_type, hash_type, &text, nullptr, 0));
    return Taken(text);
}

std::string EntriesTest::DualRequest() {
    RequestEntry entry{1, 2, 3, 1, {}};
    char* text = nullptr;
    EXPECT_EQ(kSuccess, key_.GMCreatePKCS10Ex(kSerial, &entry, &text, 1, nullptr, 0));
    return Taken(text);
}

std::string EntriesTest::Answer(const std::string& requests, bool envelope_as_base64) {
    if (!std::filesystem::exists(AuthorityFolder())) {
        Authority::Create(AuthorityFolder(), "Test Root");
    }
    Authority::Terms terms;
    terms.envelope_as_base64 = envelope_as_base64;
    return Authority(AuthorityFolder()).Answer(requests, terms);
}

int32_t EntriesTest::WritePkcs7(const std::string& text) {
    // The string that belongs to the product: the key must not touch it.
    alignas(16) unsigned char foreign_string[64];
    std::fill(std::begin(foreign_string), std::end(foreign_string), 0xA5);
    std::string copy = text;
    const int32_t result =
        key_.GMWritePKCS7(kSerial, copy.data(), reinterpret_cast<QRV::CString&>(foreign_string));
    for (const unsigned char byte : foreign_string) EXPECT_EQ(0xA5, byte);
    return result;
}

int32_t EntriesTest::ImportKey(const std::string& text) {
    std::string copy = text;
    return key_.GMImportPriKey(kSerial, copy.data(), 0);
}

int32_t EntriesTest::Import(const std::string& answer) {
    if (answer.find('(') == std::string::npos) return WritePkcs7(answer);
    for (const std::string& item : ItemsOf(answer, "SignCert")) {
        if (const int32_t failure = WritePkcs7(item)) return failure;
    }
    for (const std::string& item : ItemsOf(answer, "EncPriKey")) {
        if (const int32_t failure = ImportKey(item)) return failure;
    }
    for (const std::string& item : ItemsOf(answer, "EncCert")) {
        if (const int32_t failure = WritePkcs7(item)) return failure;
    }
    return kSuccess;
}

void EntriesTest::GiveDualCertificates() {
    ASSERT_EQ(kSuccess, Import(Answer(DualRequest())));
}

void EntriesTest::GiveRsaCertificate() {
    ASSERT_EQ(kSuccess, Import(Answer(Request(1, 1))));
}

std::string EntriesTest::CertificatePem(int32_t selector) {
    char text[4096] = {};
    int32_t length = sizeof text;
    EXPECT_EQ(kSuccess, key_.GetCertInfo(kSerial, selector, 1, text, &length));
    return text;
}

std::string EntriesTest::SignatureOf(const std::string& data, int32_t selector, int32_t format,
                                     int32_t kind) {
    std::string text(2 * (data.size() + 4096), '\0');
    auto length = static_cast<int32_t>(text.size());
    EXPECT_EQ(kSuccess, key_.GMUsbKeyCommonSign(kSerial, selector, format, data.c_str(), kind,
                                                text.data(), &length));
    return text.c_str();
}

int32_t EntriesTest::TriesLeft(const char* serial) {
    int32_t info[2] = {};
    int32_t length = sizeof info;
    EXPECT_EQ(kSuccess, key_.GetPinInfo(serial, info, &length));
    return info[0];
}

std::vector<std::string> ItemsOf(const std::string& package, const std::string& name) {
    std::vector<std::string> items;
    const std::string opening = name + "(";
    for (size_t begin = package.find(opening); begin != std::string::npos;
         begin = package.find(opening, begin + 1)) {
        const size_t data = begin + opening.size();
        items.push_back(package.substr(data, package.find(')', data) - data));
    }
    return items;
}

Bytes FromBase64Text(const std::string& text) {
    const std::optional<Bytes> bytes = FromBase64(text);
    EXPECT_TRUE(bytes.has_value()) << text;
    return bytes.value_or(Bytes());
}

Bytes CertificateDer(const std::string& pem) {
    const std::optional<Bytes> bytes = FromBase64OrPem(pem);
    EXPECT_TRUE(bytes.has_value()) << pem;
    return bytes.value_or(Bytes());
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

CommandResult RunShell(const std::string& command_line) {
    FILE* const pipe = popen(("exec 2>&1; " + command_line).c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + command_line);
    std::string output;
    char chunk[4096];
    for (size_t count = 0; (count = fread(chunk, 1, sizeof chunk, pipe)) > 0;) {
        output.append(chunk, count);
    }
    const int status = pclose(pipe);
    if (command_line.find(" --json") != std::string::npos) {
        const bool of_softca = command_line.find("/softca ") != std::string::npos;
        HoldJson(of_softca ? "softca" : "softkey", output);
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::string ExportsCommand(const std::string& library) {
    return std::string(SOFTKEY_NM) + " -D --defined-only " + SOFTKEY_LIBRARIES + "/" + library;
}

std::string Program(const std::string& name) {
    return std::string(SOFTKEY_EMULATOR) + " " + SOFTKEY_PROGRAMS + "/" + name;
}

}  // namespace softkey::testing
