// What the plugged keys tell, without a PIN.

#include <algorithm>

#include "cli/words.h"
#include "codes/catalogue.h"
#include "codes/code.h"
#include "doctor/certificate_dates.h"
#include "doctor/checks.h"

namespace doctor {
namespace {

constexpr std::time_t kDay = 86400;
constexpr std::time_t kSoon = 30 * kDay;

// What is said of several keys is as heavy as the heaviest, and each is named.
class AllKeys {
 public:
    void Add(const KeyFacts& key, const Finding& finding) {
        const std::string one =
            cli::Say("{1}: {2}",
                     key.serial_number.empty() ? cli::Say("slot {1}", key.slot) : key.serial_number,
                     finding.reason);
        all_.reason = all_.reason.empty() ? one : cli::Say("{1}; {2}", all_.reason, one);
        if (finding.verdict > all_.verdict || all_.next.empty()) {
            all_.next = finding.next;
        }
        all_.verdict = std::max(all_.verdict, finding.verdict);
    }
    const Finding& Get() const { return all_; }

 private:
    Finding all_{Verdict::kWell, {}, {}};
};

template <typename Look>
Finding LookAtEach(const Examination& examination, const Look& look) {
    AllKeys all;
    for (const KeyFacts& key : examination.keys) {
        all.Add(key, key.serial_number.empty()
                         ? Unknown(key.problem, "unplug the key, and plug it in again")
                         : look(key));
    }
    return examination.keys.empty() ? Unknown("there is no key to ask", {}) : all.Get();
}

Finding LookAtPin(const KeyFacts& key) {
    if (key.tries_left.empty()) {
        return Unknown(key.pin_problem.text.empty() ? "the key tells no tries of the PIN"
                                                    : key.pin_problem.text,
                       key.pin_problem.next);
    }
    const std::string tries = cli::Say("{1} of {2} tries left", key.tries_left, key.tries_at_most);
    if (key.tries_left == "0") {
        return Broken(cli::Say("the PIN is locked: {1}", tries),
                      "have whoever issued the key unlock it; 'ukeyctl init' would erase it");
    }
    if (key.tries_left == "1") {
        return Doubtful(cli::Say("{1}: the next wrong PIN locks the key", tries),
                        "make sure of the PIN before it is entered; a right one gives all tries "
                        "back");
    }
    return Well(tries);
}

// A code of which nothing is known is the maker's way to say that there is none.
bool IsAbsent(const Certificate& certificate) {
    const int32_t code = certificate.problem.code;
    return code == codes::Number(codes::Code::kCertificateNotFound) || codes::Find(code) == nullptr;
}

Finding LookAtAbsence(const Certificate& certificate) {
    const Problem& problem = certificate.problem;
    if (!IsAbsent(certificate)) {
        return Unknown(cli::Say("the {1} certificate cannot be read: {2}", certificate.use.c_str(),
                                problem.text),
                       problem.next);
    }
    const bool known = codes::Find(problem.code) != nullptr;
    const std::string none = cli::Say("no {1} certificate", certificate.use.c_str());
    const std::string reason =
        known || problem.text.empty()
            ? none
            : cli::Say("no {1} certificate: {2}", certificate.use.c_str(), problem.text);
    return certificate.use == "signing" ? Doubtful(reason, "ask for one: ukeyctl request --help")
                                        : Well(none);
}

Finding LookAtCertificate(const Certificate& certificate, std::time_t now) {
    if (certificate.text.empty()) {
        return LookAtAbsence(certificate);
    }
    const std::optional<Validity> validity = ReadValidity(certificate.text);
    if (!validity) {
        return Unknown(
            cli::Say("the {1} certificate's dates cannot be read", certificate.use.c_str()),
            "look at it: ukeyctl cert get | openssl x509 -text");
    }
    const std::string name = cli::Say("{1} certificate", certificate.use.c_str());
    if (now < validity->from) {
        return Broken(cli::Say("{1} not valid before {2}", name, DayOf(validity->from)),
                      "check this computer's clock, then ask the issuer");
    }
    if (now > validity->until) {
        return Broken(cli::Say("{1} expired on {2}", name, DayOf(validity->until)),
                      "have it renewed by its issuer");
    }
    if (validity->until - now < kSoon) {
        return Doubtful(cli::Say("{1} expires on {2}", name, DayOf(validity->until)),
                        "have it renewed by its issuer before then");
    }
    return Well(cli::Say("{1} until {2}", name, DayOf(validity->until)));
}

Finding LookAtCertificatesOf(const KeyFacts& key) {
    Finding all = Well({});
    for (const Certificate& certificate : key.certificates) {
        const Finding one = LookAtCertificate(certificate, std::time(nullptr));
        all.reason += (all.reason.empty() ? "" : ", ") + one.reason;
        if (one.verdict > all.verdict) {
            all.verdict = one.verdict;
            all.next = one.next;
        }
    }
    return all;
}

std::string SerialNumbers(const Examination& examination) {
    std::vector<std::string> shown;
    for (const KeyFacts& key : examination.keys) {
        shown.push_back(
            cli::Say("{1} in slot {2}",
                     key.serial_number.empty() ? cli::Say("no serial number") : key.serial_number,
                     key.slot));
    }
    return Joined(shown);
}

}  // namespace

Finding LookAtPlugged(const Examination& examination) {
    const Apart& asking = examination.asking;
    if (asking.end == Apart::End::kNotStarted) {
        return Unknown("not asked: the product is not usable", {});
    }
    if (!asking.IsDone()) {
        return Broken(
            cli::Say("asking for {1} {2}", asking.Last("asking").c_str(), asking.Ending()),
            "unplug the key and plug it in again; if it stays so, report it to the key's "
            "maker");
    }
    if (asking.Has("threw")) {
        return Broken(asking.Last("threw"), "unplug the keys, plug them in again");
    }
    if (examination.keys.empty()) {
        return Doubtful("no key is plugged in",
                        examination.IsSoftwareKey()
                            ? "softkey plug SERIAL; 'softkey list' shows them"
                            : "plug the key in, and run this again");
    }
    AllKeys all;
    for (const KeyFacts& key : examination.keys) {
        if (key.serial_number.empty()) {
            all.Add(key, Broken(key.problem, "unplug the key, and plug it in again"));
        }
    }
    return all.Get().reason.empty() ? Well(SerialNumbers(examination)) : all.Get();
}

Finding LookAtLabels(const Examination& examination) {
    return LookAtEach(examination, [](const KeyFacts& key) {
        if (!key.label_problem.text.empty() || !key.label) {
            return Doubtful(key.label_problem.text, key.label_problem.next);
        }
        return Well(key.label->empty() ? "no label" : "\"" + *key.label + "\"");
    });
}

Finding LookAtPins(const Examination& examination) {
    return LookAtEach(examination, LookAtPin);
}

Finding LookAtCertificates(const Examination& examination) {
    return LookAtEach(examination, LookAtCertificatesOf);
}

}  // namespace doctor
