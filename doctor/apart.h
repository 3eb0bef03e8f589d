#ifndef DOCTOR_APART_H
#define DOCTOR_APART_H

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace doctor {

// What was tried in a process of its own, so that a library that crashes, ends the process or hangs
// is a finding and not our end: what it told up to then, and how it ended.
struct Apart {
    enum class End { kDone, kExit, kSignal, kTimeLimit, kNotStarted };

    End end = End::kNotStarted;
    int number = 0;  // exit status, signal, seconds or error number
    std::vector<std::pair<std::string, std::string>> told;

    bool IsDone() const { return end == End::kDone; }
    bool Has(const std::string& name) const;
    // Empty where nothing was told under that name; the last of several.
    std::string Last(const std::string& name) const;
    std::vector<std::string> All(const std::string& name) const;
    // "ended by signal 11 (Segmentation fault)"
    std::string Ending() const;
};

// Hands over a fact, under a name. Neither has a zero byte.
class Teller {
 public:
    explicit Teller(int pipe) : pipe_(pipe) {}
    void operator()(const std::string& name, const std::string& text = {}) const;

 private:
    int pipe_;
};

using Work = std::function<void(const Teller&)>;

// Does the work in a child, which has no standard streams. An exception is told as "threw".
Apart RunApart(const Work& work, std::chrono::milliseconds limit);

// Runs a program; what it says on standard error is told as "said", on one line. Its exit status is
// the number.
Apart RunProgram(const std::vector<std::string>& words, std::chrono::milliseconds limit);

// Where the program is that a shell would run; empty where there is none.
std::string FindProgram(const std::string& name);

}  // namespace doctor

#endif
