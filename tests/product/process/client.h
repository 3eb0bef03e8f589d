#ifndef ORVAL_TESTS_PRODUCT_PROCESS_CLIENT_H
#define ORVAL_TESTS_PRODUCT_PROCESS_CLIENT_H

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "loaded_product.h"
#include "plain_key.h"

// What clients do with the product, each of them in a process of its own.

constexpr int kFine = 42;

// Runs `body` in a child that leaves through exit, and returns the child's status; a crash is -1.
template <typename Body>
int StatusOfChild(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        body();
        std::exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline bool CallsOfEveryKindWork(const LoadedProduct& product) {
    int32_t length = 64;
    char text[64] = {};
    uint32_t number_length = 0;
    return FUNCTION(product, VerifyPIN)("SN") == 0 &&
           FUNCTION(product, GetErrorMsg)(5, text, &length) == 0 &&
           std::string(text) == "plain text" &&
           FUNCTION(product, ImportX509Cert)("SN", "A,B,C") == 0 &&
           FUNCTION(product, GetDllVersion)(nullptr, &length) == 0 &&
           FUNCTION(product, GenerateCertRequest)("SN", "CertType(1)", nullptr, &length) == 0 &&
           FUNCTION(product, WaitForKeyEvent)(nullptr, nullptr, &number_length) == 0 &&
           FUNCTION(product, Batch_ImportX509Cert)("SN", "SignCert(A)|EncCert(B)") == 0;
}

// Copies a file and returns the copy's path.
inline std::string CopyOf(const std::string& file, const std::string& path) {
    std::ifstream from(file, std::ios::binary);
    std::ofstream to(path, std::ios::binary);
    to << from.rdbuf();
    return path;
}

// Has `call` run at the beginning of every call of the token library.
inline void WatchToken(const LoadedProduct& product, PlainTokenCall call) {
    *product.Find<PlainTokenCall>("plain_token_called") = call;
}

class WaitingThread final {
 public:
    explicit WaitingThread(const LoadedProduct& product)
        : stop_(FUNCTION(product, StopDetectUKey)),
          thread_([this, wait = FUNCTION(product, WaitForKeyEvent)] {
              uint32_t length = 0;
              char number[17] = {};
              result_ = wait(&event_, number, &length);
              returned_ = true;
          }) {}

    // The stop is forgotten until the wait has begun, so it is repeated.
    void StopAndJoin() {
        while (!returned_) {
            stop_();
            std::this_thread::yield();
        }
        thread_.join();
    }

    uint32_t Event() const { return event_; }
    int32_t Result() const { return result_; }

 private:
    decltype(&StopDetectUKey) stop_;
    uint32_t event_ = 0;
    int32_t result_ = -1;
    std::atomic<bool> returned_{false};
    std::thread thread_;
};

#endif
