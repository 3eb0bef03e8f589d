#ifndef DOCTOR_FINDING_H
#define DOCTOR_FINDING_H

#include <string>
#include <utility>

namespace doctor {

// What a check comes to, in the order of their weight.
enum class Verdict { kWell, kUnknown, kDoubtful, kBroken };

struct Finding {
    Verdict verdict;
    std::string reason;
    std::string next;  // the exact next step; empty where that is another finding's, or nothing
};

inline Finding Well(std::string reason) {
    return {Verdict::kWell, std::move(reason), {}};
}
inline Finding Unknown(std::string reason, std::string next) {
    return {Verdict::kUnknown, std::move(reason), std::move(next)};
}
inline Finding Doubtful(std::string reason, std::string next) {
    return {Verdict::kDoubtful, std::move(reason), std::move(next)};
}
inline Finding Broken(std::string reason, std::string next) {
    return {Verdict::kBroken, std::move(reason), std::move(next)};
}

inline constexpr const char* kReinstall = "install or reinstall the key's software";

}  // namespace doctor

#endif
