#ifndef CLI_PROGRESS_H
#define CLI_PROGRESS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "cli/words.h"

namespace cli {

// That long work goes on, and how far it is: one line on the terminal that standard error is, which
// is gone when the work is done. Nothing is shown of work that takes less than a second, without a
// terminal, and with --json.
class Progress {
 public:
    enum class Measure { kPerCent, kCount };

    // When the line is there first, and how often it is drawn anew.
    struct Pace {
        std::chrono::milliseconds first{1000};
        std::chrono::milliseconds next{250};
    };

    // Of work whose parts cannot be counted a clock is shown.
    explicit Progress(const Word& what) : Progress(what, 0, Measure::kCount, Pace{}) {}
    Progress(const Word& what, uint64_t total, Measure measure)
        : Progress(what, total, measure, Pace{}) {}
    Progress(const Word& what, uint64_t total, Measure measure, Pace pace);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Advance(uint64_t some = 1);

    // Shows something else, which the line must not stand in front of.
    void Aside(const std::function<void()>& show);

 private:
    using Clock = std::chrono::steady_clock;

    void Run();
    void DrawWhenDue();
    void Draw();
    void Clear();
    std::string Line() const;

    // In the user's language and the terminal's character set, with {2} and so on for the numbers:
    // what both are looked up with is the working thread's.
    const std::string sentence_;
    const uint64_t total_;
    const Measure measure_;
    const Pace pace_;
    const bool is_wanted_;
    const Clock::time_point begin_ = Clock::now();

    std::mutex mutex_;  // of all below
    std::condition_variable ending_;
    Clock::time_point due_;
    uint64_t done_ = 0;
    bool is_shown_ = false;
    bool has_ended_ = false;
    std::thread drawer_;
};

// Does the work, and gives what it gives; meanwhile a clock is shown.
template <typename Work>
auto Meanwhile(const Word& what, const Work& work) {
    const Progress clock(what);
    return work();
}

}  // namespace cli

#endif
