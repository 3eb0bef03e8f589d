#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>

#include "cli/checks.h"
#include "cli/table.h"
#include "cli/words.h"
#include "codes/catalogue.h"
#include "codes/notation.h"
#include "codes/texts.h"
#include "entry/faults.h"
#include "maker/entries.h"
#include "maker/token.h"
#include "store/home.h"
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

// The client's functions whose entries have other names. An entry is named first: GetCertInfo is
// the one behind GetCert, and the client's GetCertInfo has GetCertInfo_UOS behind it.
struct EntriesBehind {
    const char* function;
    const char* entries;
};

constexpr EntriesBehind kFunctions[] = {
    {"AsymDec", "GMUSBKeyAsymDec2"},
    {"Batch_ImportX509Cert", "GMWritePKCS7, GMImportPriKey"},
    {"Batch_InitAndGenerateCertRequest", "CustInitCard, VerifyPIN, GMCreatePKCS10Ex"},
    {"GenerateCertRequest", "VerifyPIN, GMCreatePKCS10"},
    {"GetCert", "GetCertInfo"},
    {"GetCertDN", "GM_GetCertDN"},
    {"GetCertInfo", "GetCertInfo_UOS"},
    {"GetErrorMsg", "X_ErrorConvert_UOS"},
    {"GetPrintNumber", "CheckDeviceEx"},
    {"ImportEncX509Cert", "GMImportPriKey, GMWritePKCS7"},
    {"ImportX509Cert", "GMWritePKCS7"},
    {"InitUKey, TestInitUKey", "CustInitCard"},
    {"RemovePinCache", "GM_RemoveUserPin"},
    {"SetCharset", "UOS_SetCharset"},
    {"SetLanguage", "UOS_SetLanguage"},
    {"Sign", "SetWarningMsg, GMUsbKeyCriticalSign"},
    {"SignHash", "GMUsbKeyCommonSign"},
    {"TestVerifyAndCachePin", "VerifyAndCachePin"},
    {"WaitForKeyEvent",
     "VexaT_GetSlotList, VexaT_GetDeviceInfo, VexaT_ContextInit, VexaT_WaitForEvent, "
     "VexaT_ContextFinal"},
};

std::string FunctionsAndEntries() {
    std::string text =
        cli::Say("Entries behind a client's functions; the others bear the function's name:") +
        "\n";
    for (const EntriesBehind& one : kFunctions) {
        std::string line = "  ";
        line += one.function;
        line.resize(36, ' ');
        text += line + one.entries + '\n';
    }
    return text;
}

constexpr int64_t kUntilCleared = -1;
constexpr int64_t kLongestDelay = 600000;

struct Options {
    std::string entry;
    std::string code;
    int64_t times = 1;
    bool always = false;
    int64_t after = 0;
    int64_t delay = 0;
    bool list = false;
    bool clear = false;
    bool json = false;
};

void CheckEntry(const std::string& entry) {
    const auto names_it = [&](const char* name) { return entry == name; };
    if (std::any_of(std::begin(maker::kEntryNames), std::end(maker::kEntryNames), names_it) ||
        std::any_of(std::begin(maker::kTokenNames), std::end(maker::kTokenNames), names_it)) {
        return;
    }
    throw Refusal(cli::Say("{1} is no entry", entry),
                  "softkey fault --help names the entries behind a client's functions",
                  cli::ExitStatus::kUsage);
}

// Decimal or hexadecimal, up to 32 bits: codes are written both as -401 and as 0xFFFFFE6F.
int32_t ReadCode(const std::string& text) {
    size_t end = 0;
    long long number = 0;
    try {
        number = std::stoll(text, &end, 0);
    } catch (const std::exception&) {
        end = 0;
    }
    Require(end == text.size() && end > 0 && number >= INT32_MIN && number <= UINT32_MAX,
            Code::kInvalidParameter, "the code is a number such as 0x0A000024 or -401");
    return static_cast<int32_t>(static_cast<uint32_t>(number));
}

std::vector<Fault> ReadFaults() {
    try {
        return OrderedFaults();
    } catch (const Error& error) {
        if (error.code() != Code::kStoreDamaged) {
            throw;
        }
        throw Refusal(
            cli::Say("the file of ordered faults is damaged, which counts as no faults: {1}",
                     FaultsPath()),
            "Remove it with: softkey fault --clear", cli::ExitStatus::kFile);
    }
}

cli::Json FaultsJson() {
    cli::Json faults = cli::Json::array();
    for (const Fault& fault : ReadFaults()) {
        cli::Json entry{
            {"entry", fault.entry}, {"code", fault.code}, {"hex", codes::Hexadecimal(fault.code)},
            {"after", fault.after}, {"times", nullptr},   {"delay_ms", fault.delay_milliseconds}};
        if (fault.times >= 0) {
            entry["times"] = fault.times;
        }
        faults.push_back(entry);
    }
    return {{"faults", faults}};
}

void ListFaults(bool as_json) {
    if (as_json) {
        return Answer(true, "fault", FaultsJson(), {});
    }
    std::vector<std::vector<std::string>> rows;
    for (const Fault& fault : ReadFaults()) {
        rows.push_back({fault.entry, codes::Hexadecimal(fault.code), std::to_string(fault.after),
                        fault.times < 0 ? cli::Say("always") : std::to_string(fault.times),
                        cli::Say("{1} ms", fault.delay_milliseconds),
                        codes::TextOf(fault.code, cli::IsChinese() ? codes::Language::kChinese
                                                                   : codes::Language::kEnglish)});
    }
    if (rows.empty()) {
        Say("No faults are ordered.");
    } else {
        std::cout << cli::Encoded(
            cli::InColumns({"ENTRY", "CODE", "AFTER", "TIMES", "DELAY", "MEANING"}, rows));
    }
}

void OrderOrClear(const Options& options) {
    if (options.list) {
        return ListFaults(options.json);
    }
    if (!options.entry.empty()) {
        CheckEntry(options.entry);
    }
    if (options.clear) {
        ClearFaults(options.entry);
        return ListFaults(options.json);
    }
    if (options.entry.empty() || options.code.empty()) {
        throw Refusal("an entry and a code are needed, or --list or --clear",
                      "For example: softkey fault VerifyPIN 0x0A000024", cli::ExitStatus::kUsage);
    }
    OrderFault({options.entry, ReadCode(options.code),
                options.always ? kUntilCleared : options.times, options.after, options.delay});
    ListFaults(options.json);
}

cli::Candidates Entries(const cli::OnLine& /*given*/) {
    cli::Candidates entries;
    for (const char* name : maker::kEntryNames) {
        entries.push_back({name, {}});
    }
    for (const char* name : maker::kTokenNames) {
        entries.push_back({name, {}});
    }
    return entries;
}

cli::Candidates CodesWithTexts(const cli::OnLine& /*given*/) {
    cli::Candidates codes;
    for (const codes::Row& row : codes::All()) {
        if (row.english != nullptr) {
            codes.push_back({codes::Hexadecimal(row.code), row.english});
        }
    }
    return codes;
}

}  // namespace

void AddFault(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = program.AddCommand(
        "fault", "Make an entry of the key's libraries fail on purpose, for every key and process",
        Doing([options] { OrderOrClear(*options); }));
    command.Close(cli::Say("Example:") +
                  "\n  softkey fault VerifyPIN 0x0A000024 --times 2 --after 1\n\n" +
                  FunctionsAndEntries() + "\n" + cli::TellStatusesOf(cli::kSoftkey));
    command
        .Add("entry", options->entry,
             "The entry, e.g. VerifyPIN, GMCreatePKCS10 or VexaT_WaitForEvent")
        .Offers(Entries);
    command
        .Add("code", options->code,
             "What it answers, e.g. 0x0A000024 or -401; 0 only delays the call. With "
             "X_ErrorConvert_UOS any code gives no text.")
        .Offers(CodesWithTexts);
    const cli::Option times =
        command.Add("--times", options->times, "How many calls fail (default: 1)")
            .Checked(cli::WholeNumber(1));
    command.AddFlag("--always", options->always, "Until the fault is cleared").Excludes(times);
    command.Add("--after", options->after, "How many calls go well first (default: 0)")
        .Checked(cli::WholeNumber(0));
    command.Add("--delay", options->delay, "Milliseconds by which each such call is late")
        .Checked(cli::WholeNumber(0, kLongestDelay));
    command.AddFlag("--list", options->list, "List the ordered faults");
    command.AddFlag("--clear", options->clear,
                    "Withdraw the entry's fault, or all faults; also a damaged file of faults");
    command.AddFlag("--json", options->json, "Print JSON: the faults that are then ordered");
}

}  // namespace softkey::tools
