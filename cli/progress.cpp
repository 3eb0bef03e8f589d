#include "cli/progress.h"

#include <pthread.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <initializer_list>
#include <string_view>
#include <system_error>

namespace cli {
namespace {

constexpr std::string_view kClearLine = "\r\x1B[K";

void Write(const std::string& text) {
    static_cast<void>(!write(STDERR_FILENO, text.data(), text.size()));
}

// A dialog on the terminal, such as one for a PIN, takes the echo away. Who was sent to the
// background has no say on it either.
bool IsOurs() {
    termios settings{};
    if (tcgetattr(STDERR_FILENO, &settings) != 0 || (settings.c_lflag & ECHO) == 0 ||
        (settings.c_lflag & ICANON) == 0) {
        return false;
    }
    const pid_t front = tcgetpgrp(STDERR_FILENO);
    return front < 0 || front == getpgrp();
}

std::string SentenceOf(const Word& what, uint64_t total, Progress::Measure measure) {
    const char* const sentence = total == 0 ? Mark("{1}: {2} s")
                                 : measure == Progress::Measure::kPerCent
                                     ? Mark("{1}: {2} %, {3} s")
                                     : Mark("{1}: {2} of {3}, {4} s");
    return Encoded(
        SayWith(sentence, {what, std::string("{2}"), std::string("{3}"), std::string("{4}")}));
}

// The numbers in the places of {2}, {3} and so on.
std::string Filled(std::string sentence, std::initializer_list<uint64_t> numbers) {
    int place = 2;
    for (const uint64_t number : numbers) {
        const std::string name = "{" + std::to_string(place++) + "}";
        if (const size_t at = sentence.find(name); at != std::string::npos) {
            sentence.replace(at, name.size(), std::to_string(number));
        }
    }
    return sentence;
}

// Signals are for the thread that works.
class WithoutSignals {
 public:
    WithoutSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;

 private:
    sigset_t before_{};
};

}  // namespace

Progress::Progress(const Word& what, uint64_t total, Measure measure, Pace pace)
    : sentence_(SentenceOf(what, total, measure)),
      total_(total),
      measure_(measure),
      pace_(pace),
      is_wanted_(!IsForScripts() && isatty(STDERR_FILENO) != 0),
      due_(begin_ + pace.first) {
    if (!is_wanted_) {
        return;
    }
    const WithoutSignals meanwhile;
    try {
        drawer_ = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        return;  // the work itself still shows how far it is
    }
}

Progress::~Progress() {
    {
        const std::lock_guard lock(mutex_);
        has_ended_ = true;
        Clear();
    }
    ending_.notify_all();
    if (drawer_.joinable()) {
        drawer_.join();
    }
}

void Progress::Run() {
    std::unique_lock lock(mutex_);
    while (!has_ended_) {
        DrawWhenDue();
        // The desktop's C library cannot wait by a steady clock; that of the day does not hurt
        // here.
        ending_.wait_until(lock, std::chrono::system_clock::now() + (due_ - Clock::now()));
    }
}

void Progress::Advance(uint64_t some) {
    if (is_wanted_) {
        const std::lock_guard lock(mutex_);
        done_ += some;
        DrawWhenDue();
    }
}

void Progress::Aside(const std::function<void()>& show) {
    const std::lock_guard lock(mutex_);
    Clear();
    show();
}

void Progress::DrawWhenDue() {
    const Clock::time_point now = Clock::now();
    if (now < due_) {
        return;
    }
    due_ = now + pace_.next;
    if (IsOurs()) {
        Draw();
    }
}

void Progress::Draw() {
    Write("\r" + Line() + "\x1B[K");
    is_shown_ = true;
}

void Progress::Clear() {
    if (is_shown_) {
        Write(std::string(kClearLine));
        is_shown_ = false;
    }
}

std::string Progress::Line() const {
    const auto seconds = static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin_).count());
    const uint64_t done = std::min(done_, total_);
    if (total_ == 0) {
        return Filled(sentence_, {seconds});
    }
    return measure_ == Measure::kPerCent ? Filled(sentence_, {done * 100 / total_, seconds})
                                         : Filled(sentence_, {done, total_, seconds});
}

}  // namespace cli
