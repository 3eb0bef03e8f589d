#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "authority/authority.h"
#include "authority/issuers.h"
#include "base/encoding.h"
#include "cli/checks.h"
#include "cli/progress.h"
#include "cli/words.h"
#include "crypto/sealing.h"
#include "crypto/seeds.h"
#include "store/home.h"
#include "store/key_store.h"
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/key_views.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

constexpr int64_t kMostKeys = 1000000;
// As many as a process may have files open, and by far as many as share the cost of a disk's turn.
constexpr int64_t kAtOnce = 250;
constexpr int64_t kMostTries = 255;
constexpr size_t kSerialBytes = 7;
constexpr size_t kKeySeedLength = 32;

struct Options {
    std::string serial;
    std::string label;
    std::string pin_file;
    std::string seed;
    int64_t count = 1;
    int32_t tries = kMaximumTries;
    bool counted = false;
    bool fixture = false;
    bool real = false;
    bool enroll = false;
    bool json = false;
};

Kind KindOf(const Options& options) {
    if (!options.seed.empty()) {
        return Kind::kSeeded;
    }
    return options.fixture ? Kind::kFixture : Kind::kReal;
}

// "OR" and 14 hexadecimal digits: nobody takes it for the number of a real key.
std::string SerialOf(const SecretBytes& bytes) {
    return "OR" + ToHex(Bytes(bytes.begin(), bytes.end()));
}

std::string SerialFor(const Options& options, int64_t number) {
    if (!options.serial.empty()) {
        return options.serial;
    }
    if (options.seed.empty()) {
        return FreshSerial();
    }
    const std::string purpose = "serial number " + std::to_string(number);  // no message
    return SerialOf(BytesOfSeed(ToSecret(options.seed), purpose, kSerialBytes));
}

KeyPlan PlanOf(const Options& options, const SecretBytes& pin, int64_t number) {
    KeyPlan plan;
    plan.serial = SerialFor(options, number);
    plan.label = options.label;
    if (options.counted && !plan.label.empty()) {
        plan.label += " " + std::to_string(number);
    }
    plan.pin = pin;
    plan.tries = options.tries;
    plan.kind = KindOf(options);
    if (plan.kind == Kind::kSeeded) {
        plan.seed = BytesOfSeed(ToSecret(options.seed), "key " + plan.serial, kKeySeedLength);
    }
    return plan;
}

// What a plan refers to as long as the key is made.
struct Enrolment {
    KeyPair signing;
    Authority::Enrolled by_authority;
};

Authority OpenOrMakeAuthority() {
    const std::string folder = AuthorityFolder();
    if (IssuersIn(folder).empty()) {
        Authority::Create(folder, kAuthorityName);
    }
    return Authority(folder);
}

// The key as it is once a client has asked for both certificates and installed the answer.
std::unique_ptr<Enrolment> Enroll(const Authority& authority, KeyPlan& plan) {
    const bool seeded = plan.kind == Kind::kSeeded;
    KeyPair signing =
        seeded ? PairOfSeed(plan.seed, KeyType::kSm2, 1) : KeyPair::Generate(KeyType::kSm2);
    Authority::Enrolled enrolled = authority.Enroll(signing, plan.serial);
    auto enrolment =
        std::make_unique<Enrolment>(Enrolment{std::move(signing), std::move(enrolled)});
    const Authority::Enrolled& by_authority = enrolment->by_authority;
    plan.pairs = {
        {Usage::kSigning, true, &enrolment->signing, by_authority.signing_certificate},
        {Usage::kEncryption, false, &by_authority.encryption, by_authority.encryption_certificate}};
    plan.drawn = seeded ? 1 : 0;
    return enrolment;
}

void RequireNew(const Options& options, const std::vector<KeyPlan>& plans) {
    for (const KeyPlan& plan : plans) {
        if (options.seed.empty() || !Exists(KeyPath(plan.serial))) {
            continue;
        }
        throw Error(Code::kSerialTaken, cli::Say("the seed gives the key {1}", plan.serial),
                    cli::Say("Use it, delete it, or name another seed or another "
                             "ORVAL_SOFTKEY_HOME"));
    }
}

// Keys that are made together, and what their plans refer to.
struct Batch {
    std::vector<KeyPlan> plans;
    std::vector<std::unique_ptr<Enrolment>> enrolments;
};

Batch PlanBatch(const Options& options, const SecretBytes& pin,
                const std::optional<Authority>& authority, int64_t first, int64_t last) {
    Batch batch;
    for (int64_t number = first; number <= last; ++number) {
        batch.plans.push_back(PlanOf(options, pin, number));
        if (authority) {
            batch.enrolments.push_back(Enroll(*authority, batch.plans.back()));
        }
    }
    return batch;
}

// Prints their serial numbers, or keeps what is to be printed of all keys together.
void Tell(const Options& options, const Batch& batch, std::vector<KeySummary>* made) {
    for (const KeyPlan& plan : batch.plans) {
        options.json ? made->push_back(SummaryOf(plan)) : Say(plan.serial);
    }
    std::cout.flush();
}

void New(const Options& options) {
    // Before a PIN is asked for.
    static_cast<void>(KeyPath(options.serial.empty() ? FreshSerial() : options.serial));
    if (!options.real) {
        RequireFitsHome(KindOf(options));
    }
    const SecretBytes pin = ObtainNewPin(options.pin_file);
    std::optional<Authority> authority;
    if (options.enroll) {
        authority.emplace(OpenOrMakeAuthority());
    }
    std::vector<KeySummary> made;
    const uint64_t total = options.count > 1 ? static_cast<uint64_t>(options.count) : 0;
    cli::Progress progress(cli::Mark("making keys"), total, cli::Progress::Measure::kCount);
    for (int64_t first = 1; first <= options.count; first += kAtOnce) {
        const int64_t last = std::min(options.count, first + kAtOnce - 1);
        const Batch batch = PlanBatch(options, pin, authority, first, last);
        RequireNew(options, batch.plans);
        KeyStore::CreateAll(batch.plans, [&progress] { progress.Advance(); });
        // Now that they are on the disk.
        progress.Aside([&] { Tell(options, batch, &made); });
    }
    if (options.json) {
        options.counted ? ShowNewAsJson(made) : ShowNewAsJson(made.front());
    }
}

}  // namespace

std::string FreshSerial() {
    return SerialOf(RandomSecret(kSerialBytes));
}

void RequireFitsHome(Kind kind) {
    const Kind unfit = kind == Kind::kSeeded ? Kind::kReal : Kind::kSeeded;
    if (kind == Kind::kFixture) {
        return;
    }
    EnsureHome();  // its folders are made the owner's alone before anything in them is looked at
    for (const std::string& serial : AllSerials()) {
        if (KindOfFile(KeyPath(serial)) != unfit) {
            continue;
        }
        if (kind == Kind::kSeeded) {
            throw Refusal(
                cli::Say("{1} is a real key, and keys from a seed are secret to nobody", serial),
                "Keep them apart: set ORVAL_SOFTKEY_HOME to a folder for keys from seeds");
        }
        throw Refusal(
            cli::Say("{1} is a key from a seed, and real keys do not belong beside it", serial),
            "Give --fixture for a key for tests, --real for a real one all the same, or "
            "set ORVAL_SOFTKEY_HOME to another folder");
    }
}

void AddNew(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    const auto count = std::make_shared<std::optional<cli::Option>>();
    cli::Command command = program.AddCommand(
        "new", "Make a key. Prints its serial number; the PIN is asked for on the terminal.",
        Doing([options, count] {
            options->counted = (*count)->IsGiven();
            New(*options);
        }));
    command.Add("--label", options->label, "A name for people: UTF-8, at most 255 bytes");
    const cli::Option serial =
        command
            .Add("--serial", options->serial,
                 "Serial number: 16 capital letters and digits (default: a fresh one)")
            .Checked(cli::CheckSerialNumber);
    command.Add("--pin-file", options->pin_file,
                "Take the PIN from the first line of this file (mode 0600)");
    const cli::Option fixture =
        command.AddFlag("--fixture", options->fixture,
                        "A key for tests: its PIN takes no time, as it protects nothing; for good");
    const cli::Option seed =
        command
            .Add("--seed", options->seed,
                 "A fixture with the same serial number and key pairs on every machine, made from "
                 "this text; they are secret to nobody")
            .Takes("TEXT")
            .Checked(cli::CheckNotEmpty);
    command.AddFlag("--real", options->real, "A real key, also in a folder with keys from seeds")
        .Excludes(fixture)
        .Excludes(seed);
    *count = command
                 .Add("--count", options->count,
                      "Make so many keys with the same PIN; their number stands behind the label")
                 .Takes("N")
                 .Checked(cli::WholeNumber(1, kMostKeys))
                 .Excludes(serial);
    command.Add("--tries", options->tries, "How many wrong PINs in a row lock it (default: 6)")
        .Takes("N")
        .Checked(cli::WholeNumber(1, kMostTries));
    command.AddFlag(
        "--enroll", options->enroll,
        "With an SM2 signing and an encryption certificate of softca's authority, which is "
        "made where there is none");
    command.AddFlag("--json", options->json, "Print JSON");
}

}  // namespace softkey::tools
