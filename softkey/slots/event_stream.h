#ifndef SOFTKEY_SLOTS_EVENT_STREAM_H
#define SOFTKEY_SLOTS_EVENT_STREAM_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "slots/slots.h"

namespace softkey {

// This process's place in the journal of plugs and unplugs, and the slots as the events delivered
// so far add up to. Once a context was opened the place is kept, also while no context is open:
// what happens between two waits is delivered by the second, in order, and until then a key that
// was pulled in between is still listed, so that its removal can be told with its serial number.
// Safe for several threads; an event goes to one of them.
class EventStream {
 public:
    static EventStream& OfThisProcess();

    void OpenContext();
    void CloseContext();  // throws kNoContext when none is open

    // The next event, if there is one. Throws kNoContext.
    std::optional<SlotEvent> Next();

    // Slot to serial number.
    using View = std::map<uint32_t, std::string>;
    View List();

    // Empty for a slot without a key. Does not move this process's place: a client asks for each
    // slot that it listed, and what happens meanwhile must still be delivered.
    std::optional<std::string> SerialIn(uint32_t slot);

 private:
    void TakePlaceAtPresent();
    void FillGap(const Slots::Snapshot& present);

    int open_contexts_ = 0;
    bool following_ = false;
    std::optional<int64_t> place_;
    View view_;
    std::deque<SlotEvent> gap_;
};

}  // namespace softkey

#endif
