#ifndef DOCTOR_FINDING_H
#define DOCTOR_FINDING_H

#include <string>

#include "cli/words.h"

namespace doctor {

// What a check comes to, in the order of their weight.
enum class Verdict { kWell, kUnknown, kDoubtful, kBroken };

struct Finding {
    Verdict verdict;
    std::string reason;
    std::string next;  // the exact next step; empty where that is another finding's, or nothing
};

// The sentences are said in the user's language where they are not yet.
inline Finding Well(const std::string& reason) {
    return {Verdict::kWell, cli::Say(reason), {}};
}
inline Finding Unknown(const std::string& reason, const std::string& next) {
    return {Verdict::kUnknown, cli::Say(reason), cli::Say(next)};
}
inline Finding Doubtful(const std::string& reason, const std::string& next) {
    return {Verdict::kDoubtful, cli::Say(reason), cli::Say(next)};
}
inline Finding Broken(const std::string& reason, const std::string& next) {
    return {Verdict::kBroken, cli::Say(reason), cli::Say(next)};
}

inline constexpr const char* kReinstall = "install or reinstall the key's software";

}  // namespace doctor

#endif
