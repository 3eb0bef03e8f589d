// A back-end that loads and answers as the environment says, for whoever must tell what is wrong:
//
//     PATIENT_LOAD   crash, exit or hang, while it is loaded
//     PATIENT_TRIES  how many tries the PIN has left, of six
//     PATIENT_LABEL  the label; "?" refuses
//     PATIENT_CERTIFICATE  a file with the certificate's text; without it there is none
//     PATIENT_ASKED  crash, when it is asked for the label

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "maker/backend.h"

namespace {

constexpr int32_t kRefused = 0x0A00001C;

std::string Told(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

struct AtLoading {
    AtLoading() {
        const std::string what = Told("PATIENT_LOAD");
        if (what == "crash") {
            std::raise(SIGSEGV);
        } else if (what == "exit") {
            _exit(7);
        }
        while (what == "hang") {
            pause();
        }
    }
};

const AtLoading at_loading;

}  // namespace

// Texts for codes are its own, as a key maker's are.
const char* X_ErrorConvert_UOS(int64_t /*code*/) {
    return "a text of the patient";
}

int32_t GetLabel(char* /*serial_number*/, char label[maker::kLabelRoom]) {
    if (Told("PATIENT_ASKED") == "crash") {
        std::raise(SIGSEGV);
    }
    if (Told("PATIENT_LABEL") == "?") {
        return kRefused;
    }
    std::strcpy(label, Told("PATIENT_LABEL").c_str());
    return 0;
}

int32_t GetPinInfo(const char* /*serial_number*/, void* info, int32_t* length) {
    const std::string tries = Told("PATIENT_TRIES");
    const unsigned char record[maker::kPinInfoRoom] = {
        static_cast<unsigned char>(tries.empty() ? 6 : std::atoi(tries.c_str())),
        0,
        0,
        0,
        6,
        0,
        0,
        0};
    std::memcpy(info, record, sizeof record);
    *length = sizeof record;
    return 0;
}

int32_t GetCertInfo(const char* /*serial_number*/, int32_t param1, int32_t /*param2*/,
                    char* certificate, int32_t* length) {
    std::ifstream file(Told("PATIENT_CERTIFICATE"));
    std::ostringstream text;
    text << file.rdbuf();
    if (param1 != 1 || text.str().empty()) {
        return kRefused;
    }
    std::strcpy(certificate, text.str().c_str());
    *length = static_cast<int32_t>(text.str().size());
    return 0;
}
