#include "logs/forms.h"

#include <algorithm>
#include <iterator>

namespace logs {
namespace {

constexpr std::string_view kEnd = "End G_LastError: ";
constexpr std::string_view kWait = "SKF_WaitForDevEvent";
constexpr std::string_view kArrival = "VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ";
constexpr std::string_view kRemoval = "VEXA_EVENT_INFO::SLOT_DEVICEREMOVE ";
constexpr std::string_view kWaiting = "WaitForKeyEvent";
constexpr std::string_view kImport = "ImportEncX509Cert";
constexpr std::string_view kBatchImport = "Batch_ImportX509Cert";
constexpr std::string_view kBatchRequest = "Batch_InitAndGenerateCertRequest";

// Of two rows for one name, the one with the longer opening comes first.
constexpr Form kForms[] = {
    {"GetDriverVersion", "pszVersion: ", Role::kBegins, Holds::kVersion, "GetDriverVersion"},
    {"GetDriverVersion", kEnd, Role::kEnds, Holds::kEndCode, "GetDriverVersion"},
    {"GetDllVersion", "Begin pnVersionLen = ", Role::kBegins, Holds::kCapacity, "GetDllVersion"},
    {"GetDllVersion", "pszVersion: ", Role::kGoesOn, Holds::kVersion, "GetDllVersion"},
    {"GetDllVersion", kEnd, Role::kEnds, Holds::kEndCode, "GetDllVersion"},
    {"GetVidAndPid", "Begin pnVidPidLen = ", Role::kBegins, Holds::kCapacity, "GetVidAndPid"},
    {"GetVidAndPid", "pszVidPid: ", Role::kGoesOn, Holds::kUsbIds, "GetVidAndPid"},
    {"GetVidAndPid", kEnd, Role::kEnds, Holds::kEndCode, "GetVidAndPid"},
    {"GetPrintNumber", "Begin pnSNLen = ", Role::kBegins, Holds::kCapacity, "GetPrintNumber"},
    {"GetPrintNumber", "m_SN: ", Role::kGoesOn, Holds::kSerialNumber, "GetPrintNumber"},
    {"GetPrintNumber", kEnd, Role::kEnds, Holds::kEndCode, "GetPrintNumber"},
    {"ChangePin", kEnd, Role::kEnds, Holds::kEndCode, "ChangePin"},
    {"ChangePin", "Begin", Role::kBegins, Holds::kNothing, "ChangePin"},
    {"InitUKey", kEnd, Role::kEnds, Holds::kEndCode, "InitUKey"},
    {"InitUKey", "Begin", Role::kBegins, Holds::kNothing, "InitUKey"},
    {"TestInitUKey", kEnd, Role::kEnds, Holds::kEndCode, "TestInitUKey"},
    {"TestInitUKey", "Begin", Role::kBegins, Holds::kNothing, "TestInitUKey"},
    {"szSN:", "", Role::kGoesOn, Holds::kHexSerialNumber, ""},
    {kWait, " end in catch ,G_LastError = ", Role::kGoesOn, Holds::kStep, kWaiting},
    {kWait, "end, G_LastError = ", Role::kEnds, Holds::kStep, kWaiting},
    {kWait, "begin", Role::kBegins, Holds::kNothing, kWaiting},
    {"X_getCurrentSlots", "before", Role::kGoesOn, Holds::kNothing, kWaiting},
    {"X_getCurrentSlots", "after", Role::kGoesOn, Holds::kNothing, kWaiting},
    {kArrival, " event.ei.slotEvent.u32SlotID = ", Role::kGoesOn, Holds::kSlot, kWaiting},
    {kArrival, " G_LastError = ", Role::kGoesOn, Holds::kStep, kWaiting},
    {kRemoval, "G_LastError = ", Role::kGoesOn, Holds::kStep, kWaiting},
    {kRemoval, " G_LastError = ", Role::kGoesOn, Holds::kStep, kWaiting},
    {"CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", "strPriKeyTemp:", Role::kIsAll,
     Holds::kKeyText, kImport},
    {"CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: ", Role::kBegins, Holds::kPackage,
     kBatchImport},
    {"CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:", "strPriKeyTemp:", Role::kGoesOn,
     Holds::kKeyText, kBatchImport},
    {"Batch_ImportX509Cert", "end, err: ", Role::kEnds, Holds::kDecimalCode, kBatchImport},
    {"CGMUsbKeyCommonEx", "end, err: ", Role::kEnds, Holds::kDecimalCode, kBatchImport},
    {kBatchRequest, "Begin szSN = ", Role::kIsAll, Holds::kRequest, kBatchRequest},
};

constexpr const char* kProcessEnded =
    "no end in the log: the process ended in the call or is still in it, or the log was cut";
constexpr const char* kNeverTold = "the log never tells how this call ends";

constexpr LoggedFunction kFunctions[] = {
    {"GetDriverVersion", true, kProcessEnded},
    {"GetDllVersion", true, kProcessEnded},
    {"GetVidAndPid", true, kProcessEnded},
    {"GetPrintNumber", true, kProcessEnded},
    {"ChangePin", true, kProcessEnded},
    {"InitUKey", true,
     "no end in the log: the library was not initialised (-109), or the process ended in the call "
     "or is still in it"},
    {"TestInitUKey", true, kProcessEnded},
    {kWaiting, false, "no end in the log: the wait goes on, was stopped, or its process ended"},
    {kImport, false, kNeverTold},
    {kBatchImport, false,
     "no end in the log, as after a success, or when the package was refused as a whole (-401)"},
    {kBatchRequest, false, kNeverTold},
};

struct Step {
    int line;
    std::string_view words;
};

constexpr Step kSteps[] = {
    {560, "size query"},
    {571, "the token library could not be opened"},
    {582, "the token library's wait threw an exception; the wait goes on"},
    {596, "a key was inserted"},
    {600, "the slot of the insertion"},
    {603, "the inserted key was asked for its serial number"},
    {606, "a key was removed"},
    {609, "the removed key's serial number was looked up"},
};

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

}  // namespace

const Form* FindForm(std::string_view name, std::string_view text) {
    const auto* const found =
        std::find_if(std::begin(kForms), std::end(kForms), [name, text](const Form& form) {
            const bool fits = form.holds == Holds::kNothing ? text == form.opening
                                                            : StartsWith(text, form.opening);
            return fits && form.name == name;
        });
    return found == std::end(kForms) ? nullptr : found;
}

bool IsKnownName(std::string_view name) {
    return std::any_of(std::begin(kForms), std::end(kForms),
                       [name](const Form& form) { return form.name == name; });
}

bool MayHoldAnything(std::string_view name, std::string_view text) {
    const Form* const form = FindForm(name, text);
    if (form == nullptr) {
        return false;
    }
    switch (form->holds) {
        case Holds::kVersion:
        case Holds::kUsbIds:
        case Holds::kSerialNumber:
        case Holds::kRequest:
            return true;
        case Holds::kKeyText:
            // The texts of a package have lost their line ends.
            return form->role == Role::kIsAll;
        default:
            return false;
    }
}

LoggedFunctions AllLogged() {
    return {std::begin(kFunctions), std::end(kFunctions)};
}

const LoggedFunction* FindLogged(std::string_view function) {
    const auto* const found =
        std::find_if(std::begin(kFunctions), std::end(kFunctions),
                     [function](const LoggedFunction& one) { return one.name == function; });
    return found == std::end(kFunctions) ? nullptr : found;
}

std::string_view StepInWords(int line) {
    const auto* const found = std::find_if(std::begin(kSteps), std::end(kSteps),
                                           [line](const Step& step) { return step.line == line; });
    return found == std::end(kSteps) ? std::string_view() : found->words;
}

}  // namespace logs
