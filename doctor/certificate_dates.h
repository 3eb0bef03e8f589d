#ifndef DOCTOR_CERTIFICATE_DATES_H
#define DOCTOR_CERTIFICATE_DATES_H

#include <ctime>
#include <optional>
#include <string>

namespace doctor {

struct Validity {
    std::time_t from;
    std::time_t until;
};

// From when until when a certificate is valid (RFC 5280, 4.1.2.5), of its Base64 or PEM text. No
// library of cryptography is linked for the sake of two dates. Nothing for what is no certificate.
std::optional<Validity> ReadValidity(const std::string& text);

// "2026-11-22"
std::string DayOf(std::time_t time);

}  // namespace doctor

#endif
