#include "entry/outputs.h"

#include <algorithm>
#include <iterator>

#include "maker/entries.h"
#include "maker/token.h"

namespace softkey {
namespace {

// What an entry has that can be wrong, as a set.
enum Output : unsigned {
    kNothing = 0,
    kText = 1U << 0,         // whose end is a terminator
    kBuffer = 1U << 1,       // of a known size, in which the text stands
    kMediaId = 1U << 2,      // a text that always fills its place
    kLength = 1U << 3,       // that is told beside what is written
    kCertificate = 1U << 4,  // in the text
    kSignature = 1U << 5,    // in the text
    kKey = 1U << 6,          // the call is about one key
    kMoment = 1U << 7,       // a client is in it for a while, and a key may come or go
};
constexpr unsigned kCounted = kText | kBuffer | kLength;
constexpr unsigned kOfKey = kKey | kMoment;

struct Row {
    std::string_view entry;
    unsigned outputs;
};

// In the order of the lists in maker/.
constexpr Row kRows[] = {
    {"CheckDeviceEx", kText | kBuffer | kOfKey},
    {"GetLabel", kText | kBuffer | kOfKey},
    {"SetLabel", kOfKey},
    {"ChangePin", kOfKey},
    {"CustInitCard", kOfKey},
    {"GMCreatePKCS10", kText | kOfKey},
    {"GMWritePKCS7", kOfKey},
    {"GetCertInfo", kCounted | kCertificate | kOfKey},
    {"GM_GetCertDN", kText | kBuffer | kOfKey},
    {"UOS_SetCharset", kOfKey},
    {"UOS_SetLanguage", kOfKey},
    {"SetWarningMsg", kOfKey},
    {"GMUsbKeyCriticalSign", kCounted | kSignature | kOfKey},
    {"GetMediaID", kOfKey},
    {"GM_RemoveUserPin", kNothing},
    {"GMImportPriKey", kOfKey},
    {"GMUsbKeyCommonSign", kCounted | kSignature | kOfKey},
    {"GMUSBKeyAsymDec2", kCounted | kOfKey},
    {"GMCreatePKCS10Ex", kText | kOfKey},
    {"X_ErrorConvert_UOS", kText},
    {"DelCertAndTempKey", kOfKey},
    {"VerifyPIN", kOfKey},
    {"VerifyAndCachePin", kOfKey},
    {"GetPinInfo", kLength | kOfKey},
    {"GetCertInfo_UOS", kCounted | kOfKey},
    {"SetData", kOfKey},
    {"GetData", kText | kBuffer | kOfKey},
    {"Batch_Sign", kCounted | kSignature | kOfKey},
    {"SetCachePinFlag", kOfKey},
    {"VexaT_ContextInit", kNothing},
    {"VexaT_ContextFinal", kNothing},
    {"VexaT_WaitForEvent", kMoment},
    {"VexaT_GetSlotList", kLength},
    {"VexaT_GetDeviceInfo", kMediaId | kKey},
};

constexpr bool IsAsListed() {
    size_t row = 0;
    for (const char* const name : maker::kEntryNames) {
        if (row == std::size(kRows) || kRows[row++].entry != name) {
            return false;
        }
    }
    for (const char* const name : maker::kTokenNames) {
        if (row == std::size(kRows) || kRows[row++].entry != name) {
            return false;
        }
    }
    return row == std::size(kRows);
}
static_assert(IsAsListed(), "a row for each function of the lists, in their order");

// An effect's name, and what an entry must have of these for it; nothing: any entry will do.
struct EffectRow {
    const char* name;
    Effect effect;
    unsigned any_of;
};

constexpr EffectRow kEffects[] = {
    {"", Effect::kCode, kNothing},
    {"longer", Effect::kLonger, kText},
    {"shorter", Effect::kShorter, kText | kMediaId},
    {"empty", Effect::kEmpty, kText | kMediaId},
    {"unterminated", Effect::kUnterminated, kBuffer},
    {"length-longer", Effect::kLongerLength, kLength},
    {"length-shorter", Effect::kShorterLength, kLength},
    {"foreign-certificate", Effect::kForeignCertificate, kCertificate},
    {"foreign-signature", Effect::kForeignSignature, kSignature},
    {"exception", Effect::kException, kNothing},
    {"crash", Effect::kCrash, kNothing},
    {"hang", Effect::kHang, kNothing},
    {"unplug", Effect::kUnplug, kMoment},
    {"plug", Effect::kPlug, kMoment},
};

constexpr bool EachIsInItsPlace() {
    for (size_t i = 0; i < std::size(kEffects); ++i) {
        if (static_cast<size_t>(kEffects[i].effect) != i) {
            return false;
        }
    }
    return true;
}
static_assert(EachIsInItsPlace(), "the rows stand in the order of the enumeration");

const EffectRow& RowOf(Effect effect) {
    return kEffects[static_cast<size_t>(effect)];
}

unsigned OutputsOf(std::string_view entry) {
    const auto* const row = std::find_if(std::begin(kRows), std::end(kRows),
                                         [&](const Row& one) { return one.entry == entry; });
    return row == std::end(kRows) ? kNothing : row->outputs;
}

// The functions of one entry of the same name.
constexpr std::string_view kSameName[] = {
    "Batch_Sign", "ChangePin", "DelCertAndTempKey", "GetData",  "GetLabel",
    "GetPinInfo", "SetData",   "SetCachePinFlag",   "SetLabel", "VerifyPIN",
};

}  // namespace

const char* EffectName(Effect effect) {
    return RowOf(effect).name;
}

std::optional<Effect> EffectNamed(std::string_view name) {
    for (const EffectRow& row : kEffects) {
        // Only a scenario has somebody who plugs a key at that moment.
        if (!name.empty() && name == row.name && row.effect != Effect::kPlug) {
            return row.effect;
        }
    }
    return std::nullopt;
}

std::vector<std::string> EffectNames() {
    std::vector<std::string> names;
    for (const EffectRow& row : kEffects) {
        if (EffectNamed(row.name)) {
            names.emplace_back(row.name);
        }
    }
    return names;
}

bool IsEntry(std::string_view name) {
    return std::any_of(std::begin(kRows), std::end(kRows),
                       [&](const Row& row) { return row.entry == name; });
}

bool NamesKey(std::string_view entry) {
    return entry == kEveryEntry || (OutputsOf(entry) & kKey) != 0;
}

bool IsPossible(Effect effect, std::string_view entry) {
    const unsigned any_of = RowOf(effect).any_of;
    return any_of == kNothing || entry == kEveryEntry || (OutputsOf(entry) & any_of) != 0;
}

const std::vector<Function>& RenamedFunctions() {
    static const std::vector<Function>& functions = *new std::vector<Function>{
        {"AsymDec", {"GMUSBKeyAsymDec2"}},
        {"Batch_ImportX509Cert", {"GMWritePKCS7", "GMImportPriKey"}},
        {"Batch_InitAndGenerateCertRequest", {"GMCreatePKCS10Ex", "CustInitCard", "VerifyPIN"}},
        {"GenerateCertRequest", {"GMCreatePKCS10", "VerifyPIN"}},
        {"GetCert", {"GetCertInfo"}},
        {"GetCertDN", {"GM_GetCertDN"}},
        {"GetCertInfo", {"GetCertInfo_UOS"}},
        {"GetErrorMsg", {"X_ErrorConvert_UOS"}},
        {"GetPrintNumber", {"CheckDeviceEx"}},
        {"ImportEncX509Cert", {"GMImportPriKey", "GMWritePKCS7"}},
        {"ImportX509Cert", {"GMWritePKCS7"}},
        {"InitUKey", {"CustInitCard"}},
        {"RemovePinCache", {"GM_RemoveUserPin"}},
        {"SetCharset", {"UOS_SetCharset"}},
        {"SetLanguage", {"UOS_SetLanguage"}},
        {"Sign", {"GMUsbKeyCriticalSign", "SetWarningMsg"}},
        {"SignHash", {"GMUsbKeyCommonSign"}},
        {"TestInitUKey", {"CustInitCard"}},
        {"TestVerifyAndCachePin", {"VerifyAndCachePin"}},
        {"WaitForKeyEvent",
         {"VexaT_ContextInit", "VexaT_GetSlotList", "VexaT_GetDeviceInfo", "VexaT_WaitForEvent",
          "VexaT_ContextFinal"}},
    };
    return functions;
}

bool IsFunction(std::string_view name) {
    const auto& renamed = RenamedFunctions();
    return std::find(std::begin(kSameName), std::end(kSameName), name) != std::end(kSameName) ||
           std::any_of(renamed.begin(), renamed.end(),
                       [&](const Function& one) { return one.name == name; });
}

std::optional<std::string> EntryBehind(std::string_view function, Effect effect) {
    for (const Function& one : RenamedFunctions()) {
        if (one.name != function) {
            continue;
        }
        for (const std::string& entry : one.entries) {
            if (IsPossible(effect, entry)) {
                return entry;
            }
        }
        return std::nullopt;
    }
    if (IsFunction(function) && IsPossible(effect, function)) {
        return std::string(function);
    }
    return std::nullopt;
}

}  // namespace softkey
