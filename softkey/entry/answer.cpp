#include "entry/answer.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "slots/slots.h"
#include "trace/traced_call.h"

namespace softkey {
namespace {

// Plain pointers, which a thread that ends has no destructor for.
thread_local const Fault* ordered_data = nullptr;

void UnplugQuietly(const std::string& serial) {
    try {
        const ssl::ErrorMark mark;
        if (std::optional<Slots> slots = Slots::OpenExisting()) {
            slots->Unplug(serial);
        }
    } catch (const std::exception&) {
        // It is gone already: the call will see it.
    }
}

[[noreturn]] void Crash() {
    std::raise(SIGSEGV);
    std::abort();  // for a client that ignores the signal
}

[[noreturn]] void Hang() {
    for (;;) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

}  // namespace

CallInProgress::CallInProgress(const char* entry, const KeyOfCall& key) : before_(ordered_data) {
    ordered_data = nullptr;
    for (const Fault& fault : MetFaults(entry, key)) {
        NoteFault();
        std::this_thread::sleep_for(std::chrono::milliseconds(fault.delay_milliseconds));
        switch (fault.effect) {
            case Effect::kCode:
                if (fault.code != 0) {
                    code_ = fault.code;
                }
                break;
            case Effect::kException:
                ordered_data = before_;
                throw std::runtime_error("an exception that was ordered");
            case Effect::kCrash:
                Crash();
            case Effect::kHang:
                Hang();
            case Effect::kUnplug:
                UnplugQuietly(fault.key.empty() ? key() : fault.key);
                break;
            case Effect::kPlug:
                break;
            default:
                data_ = fault;
                ordered_data = &*data_;
        }
    }
}

CallInProgress::~CallInProgress() {
    ordered_data = before_;
}

const Fault* CallInProgress::OrderedData() {
    return ordered_data;
}

}  // namespace softkey
