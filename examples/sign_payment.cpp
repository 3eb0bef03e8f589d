// Signs a payment on the key that is plugged, in C++17; waits for a key when there is none.
//
//     c++ -std=c++17 sign_payment.cpp $(pkg-config --cflags orval_unified_kpxukey) -ldl -o sign
//     ./sign 'pay 100 to 4711'
//
// ukey.hpp loads the library by its name; nothing is linked.
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>

#include "ukey.hpp"

namespace {

constexpr int32_t kSigningCertificate = 1;  // the key's selectors: see the key's documents
constexpr int32_t kSignatureAsBase64 = 0;
constexpr std::chrono::seconds kPatience(30);

// The key that is plugged now, or the next one that is plugged.
ukey::Key WaitForKey(const ukey::Library& library) {
    ukey::EventSource events(library);
    try {
        return library.PluggedKey();
    } catch (const ukey::Error&) {
        std::cerr << "Please plug in your key.\n";
    }
    while (const auto event = events.NextFor(kPatience)) {
        if (event->kind == ukey::KeyEvent::Kind::kInserted) {
            return library.KeyOf(event->serial_number);
        }
    }
    throw std::runtime_error("no key was plugged in");
}

}  // namespace

int main(int argc, char** argv) {
    const std::string payment = argc > 1 ? argv[1] : "pay 100 to 4711";
    try {
        const ukey::Library library;
        const ukey::Key key = WaitForKey(library);
        // The key shows the warning and asks for its PIN itself.
        std::cout << key.Sign(kSigningCertificate, kSignatureAsBase64, payment,
                              "Sign this payment? " + payment)
                  << "\n";
        return EXIT_SUCCESS;
    } catch (const ukey::Error& error) {
        std::cerr << error.what() << "\n";
        return EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return EXIT_FAILURE;
    }
}
