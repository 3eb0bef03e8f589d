#include "verbs.h"

namespace {

constexpr int32_t kChineseName = 1;
constexpr int32_t kEnglishName = 2;

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
    try {
        report.Add("serial_number", "Serial number", library.GetPrintNumber());
    } catch (const ukey::Error&) {
        report.Add("serial_number", "Serial number", std::monostate());
        throw;
    }
}

}  // namespace

void AddInfoVerb(CLI::App& app, Session& session) {
    CLI::App* verb = AddVerb(app, "info", "Show versions, ids, vendor and the key's serial number",
                             session, ShowInfo);
    AddExamples(*verb, {"ukeyctl info", "ukeyctl info --json | jq -r .serial_number"});
}
