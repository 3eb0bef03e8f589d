#ifndef SOFTKEY_SLOTS_SLOTS_H
#define SOFTKEY_SLOTS_SLOTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/database.h"

namespace softkey {

// What answers for the user when a critical signature asks for confirmation.
enum class Confirmation : int { kDialog = 0, kAlways = 1, kNever = 2 };

// Where a plugged key takes PINs from: a dialog, unless a file or descriptor was named.
struct PinSource {
    std::optional<std::string> file;
    std::optional<int> descriptor;
    Confirmation confirmation = Confirmation::kDialog;

    bool IsUnattended() const { return file.has_value() || descriptor.has_value(); }
};

struct PluggedKey {
    uint32_t slot;
    std::string serial;
    int64_t plug_id;  // another number after each plug, also for the same key and slot
    PinSource source;
};

enum class EventKind : uint32_t { kArrival = 1, kRemoval = 2 };

struct SlotEvent {
    int64_t sequence;
    EventKind kind;
    uint32_t slot;
    std::string serial;
};

// The slots of all software keys and the journal of what was plugged and unplugged, shared by all
// processes through one file. A slot keeps its number while its key is plugged; the lowest free
// number is taken, from 1. A file that is damaged holds nothing worth keeping: nothing counts as
// plugged, and the next plug makes a new one.
class Slots {
 public:
    // Empty while nothing was ever plugged, and for a damaged file.
    static std::optional<Slots> OpenExisting();
    static Slots OpenOrCreate();

    // Records an arrival. Throws kAlreadyPlugged.
    PluggedKey Plug(std::string_view serial, const PinSource& source);

    // Records a removal. Throws kDeviceRemoved.
    PluggedKey Unplug(std::string_view serial);

    std::vector<PluggedKey> Plugged();
    std::optional<PluggedKey> Find(std::string_view serial);

    // The journal keeps the last kJournalLength events.
    static constexpr int64_t kJournalLength = 4096;
    int64_t LastSequence();

    // One consistent view: the plugged keys and the journal that led to them. A journal begins with
    // a sequence number that no journal before it has reached: whoever stands in an earlier one
    // sees that it is another, and no plug of the same key has the id of an earlier one.
    struct Snapshot {
        std::vector<PluggedKey> plugged;
        int64_t last_sequence = 0;   // 0: there is no journal
        int64_t first_sequence = 1;  // of what the journal still holds, or will hold
        std::optional<SlotEvent> next;
        bool damaged = false;

        const PluggedKey* Find(std::string_view serial) const;
    };
    // `next` is the first event after that place. Whoever asks again and again from the same place
    // costs the machine little.
    static Snapshot Present(int64_t place = 0);

 private:
    Slots();
    static void MakeAnew();
    static Snapshot Look(int64_t place);
    static Snapshot LookAt(Database& database, int64_t place);
    void Record(EventKind kind, const PluggedKey& key);

    Database database_;
};

}  // namespace softkey

#endif
