// Signs a payment on the key that is plugged, in C++17; waits for a key when there is none.
//
//     c++ -std=c++17 sign_payment.cpp $(pkg-config --cflags orval_unified_kpxukey) -ldl -pthread -o
//     sign
//     ./sign 'pay 100 to 4711'
//
// ukey.hpp loads the library by its name; nothing is linked.
#include <cstdlib>
#include <iostream>

#include "ukey.hpp"

namespace {

constexpr int32_t kSigningCertificate = 1;  // the key's selectors: see the key's documents
constexpr int32_t kSignatureAsBase64 = 0;
constexpr std::chrono::seconds kPatience(30);

int SignPayment(const std::string& payment) {
    const ukey::Library library;
    std::optional<ukey::Key> key = library.WaitForKey(std::chrono::seconds(0));
    if (!key) {
        std::cerr << "Please plug in your key.\n";
        key = library.WaitForKey(kPatience);
    }
    if (!key) {
        std::cerr << "No key has come.\n";
        return EXIT_FAILURE;
    }
    // The key shows the warning and asks for its PIN itself.
    std::cout << key->Sign(kSigningCertificate, kSignatureAsBase64, payment,
                           "Sign this payment? " + payment)
              << "\n";
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return SignPayment(argc > 1 ? argv[1] : "pay 100 to 4711");
    } catch (const ukey::Exception& error) {
        std::cerr << (error.code() == ukey::Condition::kCancelled ? "Not signed: " : "")
                  << error.what() << "\n";
        return EXIT_FAILURE;
    }
}
