#include "slots/event_stream.h"

#include <algorithm>

#include "base/error.h"
#include "base/process_lock.h"

namespace softkey {
namespace {

EventStream::View ViewOf(const Slots::Snapshot& snapshot) {
    EventStream::View view;
    for (const PluggedKey& key : snapshot.plugged) {
        view[key.slot] = key.serial;
    }
    return view;
}

// Whether the journal does not go on where this place is. Place 0 is before the first journal: all
// that a journal holds is news, unless it has dropped its beginning.
bool LeavesGap(const Slots::Snapshot& present, int64_t place) {
    if (place == 0) {
        const int64_t held = present.last_sequence - present.first_sequence + 1;
        return held >= Slots::kJournalLength;
    }
    return present.last_sequence < place || present.first_sequence > place + 1;
}

}  // namespace

EventStream& EventStream::OfThisProcess() {
    // Never destroyed: clients call as late as from exit handlers.
    static auto* const stream = new EventStream;
    return *stream;
}

void EventStream::OpenContext() {
    const ProcessLock lock;
    if (!place_) {
        TakePlaceAtPresent();
    }
    following_ = true;
    ++open_contexts_;
}

void EventStream::CloseContext() {
    const ProcessLock lock;
    Require(open_contexts_ > 0, Code::kNoContext, "no context is open");
    --open_contexts_;
}

EventStream::View EventStream::List() {
    const ProcessLock lock;
    // A list taken before the first context is where that context will begin.
    if (!following_) {
        TakePlaceAtPresent();
    }
    return view_;
}

std::optional<std::string> EventStream::SerialIn(uint32_t slot) {
    const ProcessLock lock;
    if (!following_ && view_.count(slot) == 0) {
        TakePlaceAtPresent();
    }
    const auto key = view_.find(slot);
    if (key == view_.end()) {
        return std::nullopt;
    }
    return key->second;
}

void EventStream::TakePlaceAtPresent() {
    const Slots::Snapshot present = Slots::Present();
    place_ = present.last_sequence;
    view_ = ViewOf(present);
}

// The journal no longer reaches back to this process's place, or is another one: deliver what
// leads from the slots as known here to the slots as they are.
void EventStream::FillGap(const Slots::Snapshot& present) {
    const View now = ViewOf(present);
    for (const auto& [slot, serial] : view_) {
        const auto found = now.find(slot);
        if (found == now.end() || found->second != serial) {
            gap_.push_back({present.last_sequence, EventKind::kRemoval, slot, serial});
        }
    }
    for (const auto& [slot, serial] : now) {
        const auto found = view_.find(slot);
        if (found == view_.end() || found->second != serial) {
            gap_.push_back({present.last_sequence, EventKind::kArrival, slot, serial});
        }
    }
    place_ = present.last_sequence;
}

std::optional<SlotEvent> EventStream::Next() {
    const ProcessLock lock;
    Require(open_contexts_ > 0, Code::kNoContext, "no context is open");
    std::optional<SlotEvent> event;
    if (gap_.empty()) {
        const Slots::Snapshot present = Slots::Present(*place_);
        if (LeavesGap(present, *place_)) {
            FillGap(present);
        } else {
            event = present.next;
        }
    }
    if (!gap_.empty()) {
        event = gap_.front();
        gap_.pop_front();
    }
    if (!event) {
        return std::nullopt;
    }
    place_ = std::max(*place_, event->sequence);
    if (event->kind == EventKind::kArrival) {
        view_[event->slot] = event->serial;
    }
    if (event->kind == EventKind::kRemoval) {
        view_.erase(event->slot);
    }
    return event;
}

}  // namespace softkey
