// Any text is a scenario or has mistakes, and each of those stands at a place of the text.
#include <algorithm>

#include "fuzz_target.h"
#include "scenario/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const softkey::scenario::Reading reading = softkey::scenario::Read(text);
    const int64_t lines = 1 + std::count(text.begin(), text.end(), '\n');
    for (const softkey::scenario::Mistake& mistake : reading.mistakes) {
        fuzz::Require(mistake.line >= 1 && mistake.line <= lines && mistake.column >= 1,
                      "a mistake stands in the text");
        fuzz::Require(!mistake.what.empty(), "a mistake says what is wrong");
    }
    fuzz::Require(!reading.mistakes.empty() || !reading.scenario.keys.empty(),
                  "a scenario without mistakes has a key");
    return 0;
}
