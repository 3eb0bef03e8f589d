#ifndef SOFTKEY_CORE_SLOTS_H
#define SOFTKEY_CORE_SLOTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"

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
// number is taken, from 1.
class Slots {
 public:
    // Empty while nothing was ever plugged.
    static std::optional<Slots> OpenExisting();
    static Slots OpenOrCreate();

    // Records an arrival and wakes the waiting processes. Throws kAlreadyPlugged.
    PluggedKey Plug(std::string_view serial, const PinSource& source);

    // Records a removal. Throws kDeviceRemoved.
    PluggedKey Unplug(std::string_view serial);

    std::vector<PluggedKey> Plugged();
    std::optional<PluggedKey> Find(std::string_view serial);

    // The journal keeps the last kJournalLength events.
    static constexpr int64_t kJournalLength = 4096;
    int64_t LastSequence();
    std::optional<SlotEvent> NextEvent(int64_t after);

    // One consistent view: the plugged keys and the last event that led to them.
    struct Snapshot {
        std::vector<PluggedKey> plugged;
        int64_t last_sequence;
        int64_t first_sequence;  // of what the journal still holds; 0 when it is empty
    };
    Snapshot Look();

 private:
    explicit Slots(Database::Mode mode);
    void Record(EventKind kind, const PluggedKey& key);

    Database database_;
};

}  // namespace softkey

#endif
