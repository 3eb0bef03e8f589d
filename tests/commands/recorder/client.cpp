#include "client.h"

#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "orval_unified_kpxukey.h"
#include "recorded_key.h"

namespace client {

namespace {

constexpr const char* kKey = recorded::kSerialNumber;

// What a call gave.
struct Given {
    int32_t code = 0;
    int32_t length = 0;
};

// The code, and the length of what a call put into a buffer of the caller's.
template <typename Ask>
Given IntoBuffer(int32_t capacity, Ask ask) {
    std::vector<char> buffer(20000);
    Given given{0, capacity};
    given.code = ask(buffer.data(), &given.length);
    return given;
}

std::string Secret(size_t which, unsigned random) {
    return kSecrets[which] + std::to_string(random % 5);
}

using Step = std::function<Given(unsigned random)>;

// What any thread may do at any time: the product keeps nothing between such calls.
const std::vector<Step>& Steps() {
    static const std::vector<Step> steps = {
        [](unsigned random) {
            return IntoBuffer(random % 2 == 0 ? 500 : 3,
                              [](char* out, int32_t* n) { return GetLabel(kKey, out, n); });
        },
        [](unsigned random) {
            return IntoBuffer(300, [random](char* out, int32_t* n) {
                return GetData(kKey, static_cast<int32_t>(random % 4), out, n);
            });
        },
        [](unsigned random) {
            return Given{SetData(kKey, 1, Secret(0, random).c_str()), 0};
        },
        [](unsigned /*random*/) {
            return IntoBuffer(1024,
                              [](char* out, int32_t* n) { return GetCertDN(kKey, 1, 0, out, n); });
        },
        [](unsigned /*random*/) {
            return IntoBuffer(8, [](char* out, int32_t* n) { return GetPinInfo(kKey, out, n); });
        },
        [](unsigned random) {
            return IntoBuffer(random % 3 == 0 ? 5 : 4096,
                              [](char* out, int32_t* n) { return GetCert(kKey, 1, 0, out, n); });
        },
        [](unsigned random) {
            return IntoBuffer(9000, [random](char* out, int32_t* n) {
                return SignHash(kKey, 1, 0, Secret(1, random).c_str(), 0, out, n);
            });
        },
        [](unsigned random) {
            return IntoBuffer(9000, [random](char* out, int32_t* n) {
                return Sign(kKey, 1, 0, "to confirm", Secret(2, random).c_str(), out, n);
            });
        },
        [](unsigned random) {
            return IntoBuffer(9000, [random](char* out, int32_t* n) {
                return AsymDec(kKey, 1, random % 2, "cipher", out, n);
            });
        },
        [](unsigned random) {
            return Given{ImportEncX509Cert(kKey, "certificate", Secret(3, random).c_str()), 0};
        },
        [](unsigned random) {
            return IntoBuffer(500, [random](char* out, int32_t* n) {
                return GetErrorMsg(static_cast<int32_t>(random % 100), out, n);
            });
        },
        [](unsigned random) {
            return IntoBuffer(random % 2 == 0 ? 2000 : 4, [](char* out, int32_t* n) {
                return GenerateCertRequest(kKey, "CertType(1)KeyType(2)|HashType(3)", out, n);
            });
        },
        [](unsigned /*random*/) {
            return IntoBuffer(100, [](char* out, int32_t* n) { return GetPrintNumber(out, n); });
        },
    };
    return steps;
}

std::string ManySteps(unsigned seed, int count) {
    std::minstd_rand random(seed);
    std::string report;
    for (int i = 0; i < count; ++i) {
        const size_t step = random() % Steps().size();
        const Given given = Steps()[step](static_cast<unsigned>(random()));
        report += std::to_string(step) + ":" + std::to_string(given.code) + "," +
                  std::to_string(given.length) + "\n";
    }
    return report;
}

}  // namespace

std::string MixedCalls(unsigned seed, int calls) {
    Initialize();
    std::string of_other;
    std::thread other([&] { of_other = ManySteps(seed + 1, calls / 2); });
    const std::string own = ManySteps(seed, calls - calls / 2);
    other.join();
    return own + of_other;
}

}  // namespace client
