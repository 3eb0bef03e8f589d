// A client as careful as the guide asks for, in C and with ukey.hpp, for scenarios.
//
//   scenario-client WORK...      label, certificate, signature, verify, wait
//
// Prints a line for each work: what came, or why nothing did.
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "outside.h"
#include "ukey.hpp"

namespace {

constexpr char kData[] = "pay 100 to 4711";

std::string Serial() {
    const char* const serial = std::getenv("ORVAL_SCENARIO_KEY_A");
    return serial == nullptr ? std::string() : serial;
}

template <typename Call>
std::string InC(Call call) {
    int32_t length = 0;
    int32_t code = call(nullptr, &length);
    if (code != ORVAL_OK) {
        return "code " + std::to_string(code);
    }
    const auto capacity = static_cast<size_t>(length);
    const auto buffer = std::make_unique<char[]>(capacity + 1);
    code = call(buffer.get(), &length);
    return code == ORVAL_OK ? std::string(buffer.get(), strnlen(buffer.get(), capacity))
                            : "code " + std::to_string(code);
}

void Tell(const std::string& in_c, const std::string& in_cpp) {
    std::cout << in_c.size() << ' ' << in_c.substr(0, 10) << ' '
              << (in_c == in_cpp ? "alike" : "otherwise " + in_cpp.substr(0, 40)) << std::endl;
}

void Label(const ukey::Library& library) {
    const std::string serial = Serial();
    const std::string in_cpp = library.KeyOf(serial).GetLabel();
    Tell(InC([&](char* text, int32_t* length) { return GetLabel(serial.c_str(), text, length); }),
         in_cpp);
}

void Certificate(const ukey::Library& library) {
    const std::string serial = Serial();
    Tell(InC([&](char* text, int32_t* length) {
             return GetCert(serial.c_str(), 1, 1, text, length);
         }),
         library.KeyOf(serial).GetCert(1, 1));
}

void Signature(const ukey::Library& library) {
    const ukey::Key key = library.KeyOf(Serial());
    const std::string signature = key.Sign(1, 0, kData, "Pay?");
    const lifecycle::Certificate certificate(key.GetCert(1, 1));
    std::cout << (certificate.Verifies(kData, lifecycle::FromBase64(signature)) ? "good" : "bad")
              << std::endl;
}

void Verify(const ukey::Library& library) {
    library.KeyOf(Serial()).VerifyPIN();
    std::cout << "verified" << std::endl;
}

void Wait(const ukey::Library& library) {
    const ukey::KeyEvent event = library.WaitForKeyEvent();
    std::cout << (event.kind == ukey::KeyEvent::Kind::kInserted ? "inserted " : "other ")
              << (event.serial_number == Serial() ? "A" : event.serial_number) << std::endl;
}

struct Work {
    const char* name;
    void (*work)(const ukey::Library& library);
};
constexpr Work kWorks[] = {{"label", Label},
                           {"certificate", Certificate},
                           {"signature", Signature},
                           {"verify", Verify},
                           {"wait", Wait}};

}  // namespace

int main(int argc, char** argv) {
    const ukey::Library library;
    int failures = 0;
    for (int i = 1; i < argc; ++i) {
        for (const Work& work : kWorks) {
            if (std::strcmp(work.name, argv[i]) != 0) {
                continue;
            }
            try {
                work.work(library);
            } catch (const std::exception& error) {
                std::cout << error.what() << std::endl;
                ++failures;
            }
        }
    }
    return failures;
}
