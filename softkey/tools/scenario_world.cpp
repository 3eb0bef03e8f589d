#include "tools/scenario_world.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "authority/authority.h"
#include "base/encoding.h"
#include "cli/files.h"
#include "cli/words.h"
#include "codes/texts.h"
#include "crypto/sealing.h"
#include "key/certificate_requests.h"
#include "key/certificates.h"
#include "key/device.h"
#include "slots/slots.h"
#include "store/home.h"
#include "store/key_store.h"
#include "tools/beside.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

namespace fs = std::filesystem;

using scenario::Enrolled;
using scenario::Key;
using scenario::Step;

void Set(const std::string& variable, const std::string& value) {
    setenv(variable.c_str(), value.c_str(), 1);
}

// What each kind asks of the key, in the interface's numbers.
RequestOrder OrderOf(Enrolled kind) {
    constexpr int64_t kSigningCert = 1;
    constexpr int64_t kEncryptionCert = 2;
    constexpr int64_t kBothCerts = 3;
    constexpr auto kRsaKey = static_cast<int64_t>(KeyType::kRsa2048);
    constexpr auto kSm2Key = static_cast<int64_t>(KeyType::kSm2);
    switch (kind) {
        case Enrolled::kSm2:
            return {kSigningCert, kSm2Key, 0, false};
        case Enrolled::kSm2Both:
            return {kBothCerts, kSm2Key, 0, true};
        case Enrolled::kRsa:
            return {kSigningCert, kRsaKey, 0, false};
        case Enrolled::kRsaEncryption:
            break;
    }
    return {kEncryptionCert, kRsaKey, 0, false};
}

// What stands behind "NAME(" in the authority's package.
std::string ItemOf(const std::string& package, const std::string& name) {
    const size_t begin = package.find(name + "(");
    if (begin == std::string::npos) {
        return {};
    }
    const size_t from = begin + name.size() + 1;
    return package.substr(from, package.find(')', from) - from);
}

void Import(Device& device, const std::string& answer) {
    const std::string signing = ItemOf(answer, "SignCert");
    if (signing.empty()) {
        WriteCertificates(device, answer);
        return;
    }
    WriteCertificates(device, signing);
    ImportEncryptionKey(device, ItemOf(answer, "EncPriKey"));
    WriteCertificates(device, ItemOf(answer, "EncCert"));
}

// The keys of a scenario serve one run, and nobody guesses at their PINs.
void MakeFixture(const std::string& serial, const Key& key) {
    KeyStore::Create({serial, key.label, ToSecret(key.pin), Kind::kFixture});
}

std::vector<std::string> LinesOf(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

World::World(const scenario::Scenario& scenario, const std::string& folder)
    : scenario_(scenario),
      folder_(folder),
      steps_(scenario.steps.begin(), scenario.steps.end()),
      done_(scenario.steps.size(), false) {
    MakeFolders();
    MakeKeys();
    WriteDialogs();
    TellClient();
    for (size_t i = 0; i < steps_.size(); ++i) {
        if (!scenario_.steps[i].at) {
            Do(i);
        }
    }
}

void World::MakeFolders() {
    Set("ORVAL_SOFTKEY_HOME", In("home"));
    Set("ORVAL_SOFTCA_HOME", In("authority"));
    fs::create_directory(ClientsTmp());
    EnsureHome();
}

void World::MakeKeys() {
    const auto has_certificates = [](const Key& key) { return !key.certificates.empty(); };
    if (std::any_of(scenario_.keys.begin(), scenario_.keys.end(), has_certificates)) {
        Authority::Create(In("authority"), "Scenario Authority");  // no message
    }
    for (const Key& key : scenario_.keys) {
        MakeKey(key);
    }
    for (const Key& key : scenario_.keys) {
        if (key.plugged) {
            Slots::OpenOrCreate().Plug(serials_[key.name], SourceOf(key));
        }
    }
}

void World::MakeKey(const Key& key) {
    const std::string serial = key.serial.empty() ? "OR" + ToHex(RandomBytes(7)) : key.serial;
    MakeFixture(serial, key);
    serials_[key.name] = serial;
    cli::WriteOutput(PinPath(serial), key.pin + "\n", cli::Readers::kOwner);
    if (!key.certificates.empty()) {
        Enroll(key, serial);
    }
}

void World::Enroll(const Key& key, const std::string& serial) {
    PinSource source;
    source.file = PinPath(serial);
    Slots::OpenOrCreate().Plug(serial, source);
    const Authority authority(In("authority"));
    Authority::Terms terms;
    terms.subject = key.subject;
    for (const Enrolled kind : key.certificates) {
        Device device = Device::Plugged(serial.c_str());
        const std::string request = CreateRequest(device, OrderOf(kind));
        Import(device, authority.Answer(request, terms));
    }
    Sessions::OfThisProcess().ForgetAll();
    Slots::OpenOrCreate().Unplug(serial);
}

PinSource World::SourceOf(const Key& key) const {
    PinSource source;
    if (!scenario_.has_dialogs) {
        source.file = PinPath(serials_.at(key.name));
    }
    source.confirmation =
        key.confirm.value_or(scenario_.has_dialogs ? Confirmation::kDialog : Confirmation::kAlways);
    return source;
}

// As scripts/scripted-pinentry reads it.
void World::WriteDialogs() const {
    std::string text;
    for (const Key& key : scenario_.keys) {
        text += "pin " + serials_.at(key.name) + " " + key.pin + "\n";
    }
    for (const scenario::DialogAnswer& answer : scenario_.dialogs) {
        const auto late = static_cast<double>(answer.late.count()) / 1000;
        text += "answer " + answer.what + " " + std::to_string(late) +
                (answer.pin.empty() ? "" : " " + answer.pin) + "\n";
    }
    cli::WriteOutput(In("dialogs"), text, cli::Readers::kOwner);
}

void World::TellClient() const {
    Set("ORVAL_SOFTKEY_DIALOGS", In("dialogs"));
    Set("ORVAL_SOFTKEY_PINENTRY", FindBeside(Beside::kScriptedPinentry));
    for (const auto& [name, serial] : serials_) {
        Set("ORVAL_SCENARIO_KEY_" + name, serial);
    }
}

const Key& World::KeyNamed(const std::string& name) const {
    return *std::find_if(scenario_.keys.begin(), scenario_.keys.end(),
                         [&](const Key& key) { return key.name == name; });
}

void World::OrderFor(const Step& step) const {
    Fault order = *step.order;
    if (!step.key.empty()) {
        order.key = serials_.at(step.key);
    }
    OrderFault(order, Place::kBehind);
}

void World::Move(const Step& step) const {
    const std::string& serial = serials_.at(step.key);
    if (step.kind == Step::Kind::kPlug) {
        Slots::OpenOrCreate().Plug(serial, SourceOf(KeyNamed(step.key)));
    } else {
        Slots::OpenOrCreate().Unplug(serial);
    }
}

// What a step's time brings: an order that calls will meet, or the plug or unplug itself.
void World::Do(size_t index) {
    StepReport& report = steps_[index];
    done_[index] = true;
    try {
        if (report.step->order) {
            OrderFor(*report.step);
            return;
        }
        Move(*report.step);
        report.times = 1;
        report.happened = true;
    } catch (const Error& error) {
        report.why_not =
            codes::TextOf(static_cast<int32_t>(error.code()),
                          cli::IsChinese() ? codes::Language::kChinese : codes::Language::kEnglish);
    }
}

void World::Look(std::chrono::milliseconds since_begin) {
    for (size_t i = 0; i < steps_.size(); ++i) {
        if (!done_[i] && *scenario_.steps[i].at <= since_begin) {
            Do(i);
        }
    }
    for (const Fault& order : OrderedFaults()) {
        if (order.effect != Effect::kPlug || order.met == 0 || order.step == 0) {
            continue;
        }
        StepReport& report = steps_[static_cast<size_t>(order.step) - 1];
        if (report.times == 0 && report.why_not.empty()) {
            report.times = 1;
            try {
                Move(*report.step);
            } catch (const Error&) {
                report.why_not = cli::Say("it was plugged already");
            }
        }
    }
}

std::vector<StepReport> World::Steps() const {
    std::vector<StepReport> reports = steps_;
    for (const Fault& order : OrderedFaults()) {
        if (order.step > 0) {
            StepReport& report = reports[static_cast<size_t>(order.step) - 1];
            report.times = order.met;
            report.happened = report.why_not.empty() && order.met > 0 && order.times <= 0;
        }
    }
    for (size_t i = 0; i < reports.size(); ++i) {
        StepReport& report = reports[i];
        if (report.happened || !report.why_not.empty()) {
            continue;
        }
        const int64_t wanted_after = report.step->order ? report.step->order->after : 0;
        const int64_t wanted = report.step->order ? report.step->order->times : 1;
        report.why_not =
            !done_[i] ? cli::Say("the client ended before")
            : report.times == 0
                ? cli::Say(wanted_after > 0 ? "too few such calls came" : "no such call came")
                : cli::Say("it came {1} times of {2}", report.times, wanted);
    }
    return reports;
}

std::vector<scenario::DialogAnswer> World::UnaskedDialogs() const {
    const std::vector<std::string> asked = LinesOf(In("dialogs.asked"));
    const auto answered = static_cast<size_t>(std::count_if(
        asked.begin(), asked.end(), [](const std::string& line) { return line[0] != '0'; }));
    const size_t first = std::min(answered, scenario_.dialogs.size());
    return {scenario_.dialogs.begin() + static_cast<std::ptrdiff_t>(first),
            scenario_.dialogs.end()};
}

size_t World::UnforeseenDialogs() const {
    const std::vector<std::string> asked = LinesOf(In("dialogs.asked"));
    return static_cast<size_t>(std::count_if(
        asked.begin(), asked.end(), [](const std::string& line) { return line[0] == '0'; }));
}

}  // namespace softkey::tools
