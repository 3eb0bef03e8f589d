// Signs a payment on the key that is plugged, in C++17; waits for a key when there is none.
//
//     c++ -std=c++17 sign_payment.cpp $(pkg-config --cflags orval_unified_kpxukey) -ldl -pthread -o
//     sign
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
constexpr std::chrono::seconds kBetweenLooks(1);

// Waits until a key comes or goes, or it is time to look again. The source is gone when this
// returns: nothing else may be asked of the library while it waits.
void AwaitChange(const ukey::Library& library) {
    ukey::EventSource events(library);
    events.NextFor(kBetweenLooks);
}

// The key that is plugged now, or the next one that is plugged. A key that comes just before a wait
// begins is found by the look after it.
ukey::Key WaitForKey(const ukey::Library& library) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    bool asked = false;
    for (;;) {
        try {
            return library.PluggedKey();
        } catch (const ukey::Error&) {
            if (std::chrono::steady_clock::now() > deadline) {
                throw;
            }
        }
        if (!asked) {
            std::cerr << "Please plug in your key.\n";
            asked = true;
        }
        AwaitChange(library);
    }
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
