#ifndef ORVAL_TESTS_SOFTKEY_LIFECYCLE_KEY_WAIT_H
#define ORVAL_TESTS_SOFTKEY_LIFECYCLE_KEY_WAIT_H

#include <cstdint>
#include <future>
#include <iosfwd>
#include <string>

#include "client.h"

namespace lifecycle {

// What a wait for a key reported.
struct KeyEvent {
    Code code = kOk;
    uint32_t kind = 0;
    std::string serial;

    bool operator==(const KeyEvent& other) const {
        return code == other.code && kind == other.kind && serial == other.serial;
    }
};
void PrintTo(const KeyEvent& event, std::ostream* output);

KeyEvent Inserted(const std::string& serial);
KeyEvent Removed(const std::string& serial);

// Waits on the calling thread.
KeyEvent WaitForKey();

// How many waits, of all processes, have listed the keys that were there when they began.
int WaitsBegun();

// A wait on a thread of its own. Once constructed, it has listed the keys that are there; until it
// has ended nothing but StopDetectUKey may be called.
class KeyWait final {
 public:
    KeyWait();
    ~KeyWait();
    KeyWait(const KeyWait&) = delete;
    KeyWait& operator=(const KeyWait&) = delete;

    bool HasEnded();
    void Stop();  // and waits until it has ended
    KeyEvent Result();

 private:
    std::future<KeyEvent> result_;
};

}  // namespace lifecycle

#endif
