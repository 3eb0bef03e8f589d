#ifndef ORVAL_TESTS_COMMANDS_UKEYCTL_FAKE_PRODUCT_H
#define ORVAL_TESTS_COMMANDS_UKEYCTL_FAKE_PRODUCT_H

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// A stand-in for the product: the same functions with the same length rules, but every text, code
// and event is what a test asked for. A program in another process is told by the environment:
//
//     FAKE_CODES    "VerifyPIN=167772161 GetCert=-401"
//     FAKE_OUTPUTS  a file with lines "GetLabel=text"; several of a name: one after another
//     FAKE_EVENTS   "1:SN0001 2:SN0001"
//     FAKE_OPENS    a file that is opened when the product is loaded, and stays open
//     FAKE_CALLS    a file to which every call is appended, as in `calls`
//     FAKE_WORKS_UNTIL  a file; every call takes until it is there
struct FakeProduct {
    FakeProduct();

    // What every call was given, size queries and fetches alike.
    std::vector<std::string> calls;
    // Functions that give this code and do nothing. Locked by who changes them beside a call.
    std::mutex codes_mutex;
    std::map<std::string, int32_t> codes;
    // Functions that throw the string library's exception with this code.
    std::map<std::string, int32_t> exceptions;
    // The text at the next call, the one after it, and so on; the last one stays.
    std::map<std::string, std::deque<std::string>> outputs;
    // Kind and serial number, or a code alone: kind 0 and the code as text.
    std::mutex events_mutex;
    std::deque<std::pair<uint32_t, std::string>> events;
    int32_t last_error = 0;
};

// Under a C name, so that it can also be looked up.
extern "C" __attribute__((visibility("default"))) FakeProduct* TheFakeProduct();

#endif
