#ifndef SOFTKEY_ENTRY_OUTPUTS_H
#define SOFTKEY_ENTRY_OUTPUTS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What each entry gives, and so what an order can make of it: data that the entries, the orders and
// the commands share.
namespace softkey {

// What an order makes of a call.
enum class Effect {
    kCode,  // the call answers a code; 0 lets it go on
    kLonger,
    kShorter,
    kEmpty,
    kUnterminated,  // all of the buffer is text, and no terminator ends it
    kLongerLength,  // the length that is reported is more than the text has
    kShorterLength,
    kForeignCertificate,  // one like the key's own, for a key pair that nobody has
    kForeignSignature,    // a true signature, of other data
    kException,
    kCrash,
    kHang,
    kUnplug,  // the key goes while the call is on its way, and the call goes on
    kPlug     // a moment for whoever plays a scenario to plug a key
};

// "longer"; for kCode nothing.
const char* EffectName(Effect effect);
std::optional<Effect> EffectNamed(std::string_view name);
std::vector<std::string> EffectNames();

// Stands for every entry of both libraries, where an order is for.
inline constexpr std::string_view kEveryEntry = "*";

bool IsEntry(std::string_view name);
bool NamesKey(std::string_view entry);
bool IsPossible(Effect effect, std::string_view entry);

// A client's function and the entries behind it. The first is the one that an order by the
// function's name meets, unless what is ordered is possible only in a later one.
struct Function {
    std::string name;
    std::vector<std::string> entries;
};

// Those whose entries have other names: the others call one entry of their own name.
const std::vector<Function>& RenamedFunctions();

// The entry that an order for a client's function meets; nothing for a name that is no function's,
// or where the effect is possible in none of its entries.
bool IsFunction(std::string_view name);
std::optional<std::string> EntryBehind(std::string_view function, Effect effect);

}  // namespace softkey

#endif
