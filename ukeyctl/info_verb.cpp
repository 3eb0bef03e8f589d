#include "cli/words.h"
#include "key_list.h"
#include "verbs.h"

namespace {

constexpr int32_t kChineseName = 1;
constexpr int32_t kEnglishName = 2;

using Keys = std::vector<LabelledKey>;

void ListKeys(Session& session) {
    const Keys keys = ListLabelledKeys(session.Library());
    session.Result().AddOutput("keys", TableOf(keys));
    SayWhatIsMissing(session.Result(), keys);
}

// The list comes on top of what the library itself tells, so that its lack is no failure.
void ShowKeys(Session& session) {
    Report& report = session.Result();
    try {
        const Keys keys = ListLabelledKeys(session.Library());
        for (const LabelledKey& one : keys) {
            const std::string label = one.label && !one.label->empty() ? ", " + *one.label : "";
            report.Add("", cli::Say("Key in slot {1}", one.key.slot),
                       (one.key.serial_number.empty() ? "-" : one.key.serial_number) + label);
        }
        report.AddDetail("keys", TableOf(keys));
        SayWhatIsMissing(report, keys);
    } catch (const std::exception& error) {
        report.AddDetail("keys", TableOf({}));
        report.AddDetail("keys_problem", std::string(error.what()));
        report.Say(cli::Say("The plugged keys cannot be listed: {1}", error.what()));
    }
}

// The library's own values first: they are there even when no key answers, and the failure then
// says what is missing.
void ShowInfo(Session& session) {
    const ukey::Library& library = session.Library();
    Report& report = session.Result();
    report.Add("driver_version", "Driver version", library.GetDriverVersion());
    report.Add("library_version", "Library version", library.GetDllVersion());
    report.Add("usb_ids", "USB ids", library.GetVidAndPid());
    report.Add("vendor", "Vendor", library.GetVendorInfo(kEnglishName));
    report.Add("vendor_chinese", "Vendor (Chinese)", library.GetVendorInfo(kChineseName));
    std::exception_ptr no_key;
    try {
        report.Add("serial_number", "Serial number", library.GetPrintNumber());
    } catch (const ukey::Error&) {
        report.Add("serial_number", "Serial number", std::monostate());
        no_key = std::current_exception();
    }
    ShowKeys(session);
    if (no_key) {
        std::rethrow_exception(no_key);
    }
}

}  // namespace

void AddInfoVerbs(cli::Command& app, Session& session) {
    cli::Command info =
        AddVerb(app, "info", "Show versions, ids, vendor and the plugged keys", session, ShowInfo);
    AddExamples(info, {"ukeyctl info", "ukeyctl info --json | jq -r .serial_number"});
    cli::Command list = AddVerb(app, "list", "List the plugged keys: slot, serial number and label",
                                session, ListKeys);
    AddExamples(list, {"ukeyctl list", "ukeyctl list --json | jq -r .keys[].serial_number"});
}
