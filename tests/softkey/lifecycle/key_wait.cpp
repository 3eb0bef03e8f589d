#include "key_wait.h"

#include <chrono>
#include <ostream>
#include <stdexcept>

#include "processes.h"

namespace lifecycle {
namespace {

constexpr char kLogPath[] = "/tmp/VexaPinpad_ORVAL.log";
constexpr char kListed[] = "[after]";
constexpr uint32_t kSerialRoom = 17;

}  // namespace

void PrintTo(const KeyEvent& event, std::ostream* output) {
    *output << "event " << event.kind << " of \"" << event.serial << "\", code ";
    PrintTo(event.code, output);
}

KeyEvent Inserted(const std::string& serial) {
    return {kOk, ORVAL_KEY_INSERTED, serial};
}

KeyEvent Removed(const std::string& serial) {
    return {kOk, ORVAL_KEY_REMOVED, serial};
}

KeyEvent WaitForKey() {
    KeyEvent event;
    char serial[kSerialRoom] = {};
    uint32_t length = 0;
    event.code = static_cast<Code>(WaitForKeyEvent(&event.kind, serial, &length));
    event.serial.assign(serial, length);
    return event;
}

int WaitsBegun() {
    return static_cast<int>(Split(ReadFile(kLogPath), kListed).size()) - 1;
}

KeyWait::KeyWait() {
    const int before = WaitsBegun();
    result_ = std::async(std::launch::async, WaitForKey);
    if (!Eventually([&] { return WaitsBegun() > before; })) {
        Stop();
        throw std::runtime_error("the wait does not begin");
    }
}

KeyWait::~KeyWait() {
    Stop();
}

bool KeyWait::HasEnded() {
    return !result_.valid() ||
           result_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

// Again and again: a stop is forgotten that comes before the wait listens to it.
void KeyWait::Stop() {
    while (!HasEnded()) {
        StopDetectUKey();
        result_.wait_for(std::chrono::milliseconds(10));
    }
}

KeyEvent KeyWait::Result() {
    if (!Eventually([&] { return HasEnded(); })) {
        Stop();
        throw std::runtime_error("the wait does not end");
    }
    return result_.get();
}

}  // namespace lifecycle
