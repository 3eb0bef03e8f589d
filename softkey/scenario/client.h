#ifndef SOFTKEY_SCENARIO_CLIENT_H
#define SOFTKEY_SCENARIO_CLIENT_H

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace softkey::scenario {

// How a client ended.
struct Ending {
    bool signalled = false;
    int number = 0;          // its exit status, or the signal
    int interrupted_by = 0;  // the signal that this process was sent meanwhile, or 0
    bool out_of_time = false;

    // As a shell tells it.
    int Status() const { return signalled ? 128 + number : number; }
};

// The signals that would end this process wait as long as this lives, so that it can clear away
// what it made.
class HeldSignals {
 public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    // How they were before, for a client.
    const sigset_t& Before() const { return before_; }

 private:
    sigset_t before_;
};

// A client's process and all that it starts, none of which outlives this object. Signals that end
// this process end the client first. There is one at a time in a process, which has one thread.
class Client {
 public:
    explicit Client(const HeldSignals& signals);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Start(const std::vector<std::string>& command);

    // Waits for the end, and calls `look` every few milliseconds until then. The client is ended
    // when its time is over.
    Ending Wait(std::optional<std::chrono::milliseconds> time, const std::function<void()>& look);

 private:
    void Interrupt(int signal, Ending& ending);
    bool HasEnded(Ending& ending);
    void EndAll();

    const HeldSignals& signals_;
    pid_t process_ = -1;
};

}  // namespace softkey::scenario

#endif
