#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "cli/checks.h"
#include "cli/table.h"
#include "cli/words.h"
#include "codes/catalogue.h"
#include "codes/notation.h"
#include "codes/texts.h"
#include "entry/faults.h"
#include "entry/outputs.h"
#include "maker/entries.h"
#include "maker/token.h"
#include "store/home.h"
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

std::string FunctionsAndEntries() {
    std::string text =
        cli::Say(
            "Entries behind a client's functions; the others bear the function's name. Under "
            "a function's name the first is meant, or the first in which it is possible:") +
        "\n";
    for (const Function& one : RenamedFunctions()) {
        std::string line = "  " + one.name;
        line.resize(36, ' ');
        for (const std::string& entry : one.entries) {
            line += (line.back() == ' ' ? "" : ", ") + entry;
        }
        text += line + '\n';
    }
    return text;
}

constexpr int64_t kLongestDelay = 600000;

struct Options {
    std::string entry;
    std::string what;
    std::string key;
    int64_t times = 1;
    int64_t after = 0;
    int64_t delay = 0;
    int64_t by = 1;
    bool all = false;
    bool function = false;
    bool always = false;
    bool then = false;
    bool list = false;
    bool clear = false;
    bool json = false;
};

[[noreturn]] void RefuseUse(const std::string& what, const std::string& next) {
    throw Refusal(what, next, cli::ExitStatus::kUsage);
}

// The entry that is meant by its own name, or by that of a client's function.
std::string ChosenEntry(const Options& options, Effect effect) {
    if (options.all) {
        return std::string(kEveryEntry);
    }
    if (!options.function && IsEntry(options.entry)) {
        return options.entry;
    }
    if (!IsFunction(options.entry)) {
        RefuseUse(cli::Say("{1} is no entry and no function that calls one", options.entry),
                  "softkey fault --help names the entries behind a client's functions");
    }
    const std::optional<std::string> entry = EntryBehind(options.entry, effect);
    return entry ? *entry : options.entry;
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
            Code::kInvalidParameter,
            "what happens is a code such as 0x0A000024 or -401, or a word of softkey fault --help");
    return static_cast<int32_t>(static_cast<uint32_t>(number));
}

Fault ReadFault(const Options& options) {
    Fault fault;
    fault.effect = EffectNamed(options.what).value_or(Effect::kCode);
    fault.code = fault.effect == Effect::kCode ? ReadCode(options.what) : 0;
    fault.entry = ChosenEntry(options, fault.effect);
    fault.key = options.key;
    fault.times = options.always ? kUntilCleared : options.times;
    fault.after = options.after;
    fault.delay_milliseconds = options.delay;
    fault.by = options.by;
    if (!IsPossible(fault.effect, fault.entry)) {
        RefuseUse(
            cli::Say("{1} gives nothing that \"{2}\" could be done to", fault.entry, options.what),
            "docs/software-key.md tells what is possible where");
    }
    if (!fault.key.empty() && fault.effect != Effect::kUnplug && !NamesKey(fault.entry)) {
        RefuseUse(cli::Say("a call of {1} is not about one key", fault.entry), "Leave --key out");
    }
    return fault;
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

std::string MeaningOf(const Fault& fault) {
    if (fault.effect != Effect::kCode) {
        return {};
    }
    return codes::TextOf(fault.code,
                         cli::IsChinese() ? codes::Language::kChinese : codes::Language::kEnglish);
}

cli::Json FaultsJson() {
    cli::Json faults = cli::Json::array();
    for (const Fault& fault : ReadFaults()) {
        cli::Json entry{{"entry", fault.entry},
                        {"key", nullptr},
                        {"effect", EffectName(fault.effect)},
                        {"code", nullptr},
                        {"hex", nullptr},
                        {"after", fault.after},
                        {"times", nullptr},
                        {"delay_ms", fault.delay_milliseconds}};
        if (!fault.key.empty()) {
            entry["key"] = fault.key;
        }
        if (fault.effect == Effect::kCode) {
            entry["code"] = fault.code;
            entry["hex"] = codes::Hexadecimal(fault.code);
        }
        if (fault.times >= 0) {
            entry["times"] = fault.times;
        }
        faults.push_back(entry);
    }
    return {{"faults", faults}};
}

void ListFaults(bool as_json) {
    if (as_json) {
        return tools::Answer(true, "fault", FaultsJson(), {});
    }
    std::vector<std::vector<std::string>> rows;
    for (const Fault& fault : ReadFaults()) {
        const bool is_code = fault.effect == Effect::kCode;
        rows.push_back({fault.entry, fault.key.empty() ? cli::Say("any") : fault.key,
                        is_code ? codes::Hexadecimal(fault.code) : EffectName(fault.effect),
                        std::to_string(fault.after),
                        fault.times < 0 ? cli::Say("always") : std::to_string(fault.times),
                        cli::Say("{1} ms", fault.delay_milliseconds), MeaningOf(fault)});
    }
    if (rows.empty()) {
        Say("No faults are ordered.");
    } else {
        std::cout << cli::Encoded(
            cli::InColumns({"ENTRY", "KEY", "WHAT", "AFTER", "TIMES", "DELAY", "MEANING"}, rows));
    }
}

void OrderOrClear(const Options& options) {
    if (options.list) {
        return ListFaults(options.json);
    }
    if (options.clear) {
        ClearFaults(options.entry.empty() && !options.all ? std::string()
                                                          : ChosenEntry(options, Effect::kCode));
        return ListFaults(options.json);
    }
    // With --all there is no entry, and the first word is what happens.
    Options whole = options;
    if (options.all && options.what.empty()) {
        std::swap(whole.entry, whole.what);
    }
    if ((whole.entry.empty() && !whole.all) || whole.what.empty()) {
        RefuseUse("an entry and a code are needed, or --list or --clear",
                  "For example: softkey fault VerifyPIN 0x0A000024");
    }
    OrderFault(ReadFault(whole), options.then ? Place::kBehind : Place::kInstead);
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
    for (const Function& function : RenamedFunctions()) {
        if (!IsEntry(function.name)) {
            entries.push_back({function.name, function.entries.front()});
        }
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
    for (const std::string& effect : EffectNames()) {
        codes.push_back({effect, {}});
    }
    return codes;
}

void AddWhen(cli::Command& command, Options& options) {
    const cli::Option times =
        command.Add("--times", options.times, "How many calls fail (default: 1)")
            .Checked(cli::WholeNumber(1));
    command.AddFlag("--always", options.always, "Until the fault is cleared").Excludes(times);
    command.Add("--after", options.after, "How many calls go well first (default: 0)")
        .Checked(cli::WholeNumber(0));
    command.Add("--delay", options.delay, "Milliseconds by which each such call is late")
        .Checked(cli::WholeNumber(0, kLongestDelay));
    command.AddFlag("--then", options.then,
                    "Behind the orders that the entry has, instead of in their place");
}

void AddWhere(cli::Command& command, Options& options) {
    command
        .Add("entry", options.entry,
             "The entry, e.g. VerifyPIN, GMCreatePKCS10 or VexaT_WaitForEvent, or a client's "
             "function, e.g. Sign")
        .Offers(Entries);
    command
        .Add("code", options.what,
             "What it answers, e.g. 0x0A000024 or -401; 0 only delays the call. With "
             "X_ErrorConvert_UOS any code gives no text. Or what else happens: a text that is "
             "longer, shorter, empty or unterminated; length-longer, length-shorter, "
             "foreign-certificate, foreign-signature, exception, crash, hang, unplug.")
        .Offers(CodesWithTexts);
    command.AddFlag("--all", options.all, "Every entry in which it is possible");
    command.AddFlag("--function", options.function,
                    "The name is a client's function, also where an entry bears it too "
                    "(GetCertInfo)");
    command.Add("--key", options.key, "Only in calls that are about this key")
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kAll));
    command
        .Add("--by", options.by,
             "By how many bytes a text or a length is longer or shorter (default: 1)")
        .Checked(cli::WholeNumber(1, std::numeric_limits<int32_t>::max()));
}

}  // namespace

void AddFault(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = program.AddCommand("fault",
                                              "Make an entry of the key's libraries fail on "
                                              "purpose, or give wrong data, in every process",
                                              Doing([options] { OrderOrClear(*options); }));
    command.Close(cli::Say("Example:") +
                  "\n  softkey fault VerifyPIN 0x0A000024 --times 2 --after 1\n"
                  "  softkey fault GetCert longer --by 100\n\n" +
                  FunctionsAndEntries() + "\n" + cli::TellStatusesOf(cli::kSoftkey));
    AddWhere(command, *options);
    AddWhen(command, *options);
    command.AddFlag("--list", options->list, "List the ordered faults");
    command.AddFlag("--clear", options->clear,
                    "Withdraw the entry's fault, or all faults; also a damaged file of faults");
    command.AddFlag("--json", options->json, "Print JSON: the faults that are then ordered");
}

}  // namespace softkey::tools
