#ifndef CALLS_VALUES_H
#define CALLS_VALUES_H

#include <nlohmann/json.hpp>
#include <optional>

#include "functions.h"
#include "masking.h"
#include "passed.h"

// Arguments as a recording has them, and back. Of a text that is longer than the masker says there
// is only the beginning, as an object that also has its whole length.
namespace calls {

using Json = nlohmann::ordered_json;

// What a call was given, by the arguments' names. Without a masker, everything as it is.
Json Given(const Function& function, const Passed* arguments, Masker* masker);

// What a call may change and what tells how much of a buffer is its own, before it was made.
class Before {
 public:
    Before(const Function& function, const Passed* arguments);

    // What the call gave back, by the arguments' names. Nothing is read that it did not write.
    Json Taken(int64_t code, Masker& masker) const;

    // Gives back what a recording tells. False where it does not fit into what the caller has.
    bool Put(const Json& taken) const;

 private:
    // What the call left behind an argument; nothing where that cannot be told from what was there.
    std::optional<Json> TakenFrom(size_t index, bool succeeded, Masker& masker) const;
    std::optional<Json> TakenDevice(const _S_DEV_CONFIG& record, bool succeeded,
                                    Masker& masker) const;
    std::optional<Json> TakenEvent(const VEXA_EVENT_INFO& event, bool succeeded) const;
    std::optional<Json> TakenHanded(const char* text, bool succeeded, Masker& masker) const;
    std::optional<Json> TakenString(const char* text, bool succeeded, Masker& masker) const;
    Json TakenOfSuccess(size_t index, Masker& masker) const;
    Json TakenBuffer(size_t index, Masker& masker) const;
    bool PutInto(size_t index, const Json& value) const;
    // The bytes that a buffer has, and those of them that a successful call filled.
    size_t Room(size_t index) const;
    size_t Filled(size_t index) const;

    const Function& function_;
    const Passed* arguments_;
    int64_t number_ = 0;
    const char* handed_ = nullptr;
    char media_id_[maker::kMediaIdRoom] = {};
    uint32_t event_[2] = {0, 0};
};

// A text that the key's library keeps itself.
Json KeptText(const char* text, Masker& masker);

// Whether a call was given what a recorded one was: as it is, or masked.
bool IsGiven(const Json& recorded, const Json& plain, const Json& masked);

}  // namespace calls

#endif
