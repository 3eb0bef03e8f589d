#ifndef SOFTKEY_SCENARIO_SCENARIO_H
#define SOFTKEY_SCENARIO_SCENARIO_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "entry/faults.h"
#include "slots/slots.h"

// A world that a client is tested in: keys, what is done to them and when, and who answers dialogs.
namespace softkey::scenario {

using Milliseconds = std::chrono::milliseconds;

// What a key has been given certificates of, as they are named in a scenario.
enum class Enrolled { kSm2, kSm2Both, kRsa, kRsaEncryption };

struct Key {
    std::string name;
    std::string label;
    std::string serial;  // empty: a fresh one
    std::string pin = "12345678";
    std::string subject;  // of its certificates; empty: what the key asks for
    std::vector<Enrolled> certificates;
    bool plugged = true;
    std::optional<Confirmation> confirm;
};

// What a dialog is answered, in the words of the scripted pinentry.
struct DialogAnswer {
    std::string what;
    std::string pin;
    Milliseconds late{0};
    int64_t line = 0;
};

struct Step {
    enum class Kind { kPlug, kUnplug, kFault };
    Kind kind = Kind::kFault;
    int64_t line = 0;
    std::string told;                // for people
    std::optional<Milliseconds> at;  // since the client began
    std::string key;                 // the scenario's name of it; empty: none
    // What is ordered for calls, unless a plug or an unplug comes by the clock. Its serial number
    // is filled in when there is one.
    std::optional<Fault> order;
};

struct Scenario {
    std::vector<Key> keys;
    std::vector<DialogAnswer> dialogs;
    bool has_dialogs = false;  // else PINs come unattended
    std::vector<Step> steps;
};

// A place in a scenario's file that makes no sense.
struct Mistake {
    int64_t line;
    int64_t column;
    std::string what;
    std::string next;  // may be empty
};

// The scenario that a text describes, and all that is wrong with it.
struct Reading {
    Scenario scenario;
    std::vector<Mistake> mistakes;
};
Reading Read(const std::string& text);

}  // namespace softkey::scenario

#endif
