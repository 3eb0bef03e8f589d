// Scenarios are TOML. The reader tells where each value stands, and so do the mistakes.
#include <algorithm>
#include <cctype>
#include <limits>
#include <string_view>
#include <tuple>
#include <utility>

#include "cli/words.h"
#include "codes/notation.h"
#include "maker/entries.h"
#include "maker/token.h"
#include "scenario/fields.h"
#include "scenario/toml.h"
#include "store/home.h"
#include "store/key_store.h"

namespace softkey::scenario {
namespace {

constexpr Choice<Enrolled> kCertificates[] = {{"sm2", Enrolled::kSm2},
                                              {"sm2-both", Enrolled::kSm2Both},
                                              {"rsa", Enrolled::kRsa},
                                              {"rsa-encryption", Enrolled::kRsaEncryption}};
constexpr Choice<Confirmation> kConfirmations[] = {{"dialog", Confirmation::kDialog},
                                                   {"always", Confirmation::kAlways},
                                                   {"never", Confirmation::kNever}};

class Reader {
 public:
    explicit Reader(Reading& reading) : reading_(reading) {}

    void ReadAll(const toml::table& file) {
        Fields fields(file, reading_.mistakes);
        ReadKeys(fields);
        ReadDialogs(fields);
        ReadSteps(fields);
        fields.ComplainOfOthers();
    }

 private:
    Scenario& Made() { return reading_.scenario; }

    void ReadKeys(Fields& fields) {
        const toml::node* const keys = fields.Find("keys");
        const bool is_table = keys != nullptr && keys->is_table();
        if (!is_table || keys->as_table()->empty()) {
            fields.Complain(
                keys == nullptr || is_table ? "there are no keys" : "\"keys\" is no table",
                "begin with [keys.A]");
            return;
        }
        for (const auto& [name, value] : *keys->as_table()) {
            if (value.is_table()) {
                ReadKey(std::string(name.str()), *value.as_table());
            } else {
                fields.Complain(value.source(),
                                cli::Say("a key is a table: [keys.{1}]", std::string(name.str())));
            }
        }
    }

    void ReadKey(const std::string& name, const toml::table& table) {
        Fields fields(table, reading_.mistakes);
        Key key;
        key.name = name;
        const bool is_word = std::all_of(name.begin(), name.end(), [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '_';
        });
        if (!is_word) {
            fields.Complain(cli::Say("\"{1}\" is no name of a key", name),
                            "take letters, digits and _: it becomes part of a variable's name");
        }
        key.label = fields.Text("label").value_or(name);
        key.serial = fields.Text("serial").value_or("");
        if (!key.serial.empty() && !IsSerialNumber(key.serial)) {
            fields.Complain(fields.Find("serial")->source(),
                            "a serial number has 16 capital letters and digits");
        }
        key.pin = fields.Text("pin").value_or(key.pin);
        if (key.pin.size() < kMinimumPinLength || key.pin.size() > kMaximumPinLength) {
            fields.Complain(fields.Find("pin")->source(), "a PIN has 6 to 16 characters");
        }
        key.subject = fields.Text("subject").value_or("");
        key.plugged = fields.Flag("plugged").value_or(true);
        for (const auto& [word, where] : fields.Words("certificates")) {
            if (const auto kind = Choose(fields, word, where, kCertificates)) {
                key.certificates.push_back(*kind);
            }
        }
        for (const auto& [word, where] : fields.Words("confirm")) {
            key.confirm = Choose(fields, word, where, kConfirmations);
        }
        fields.ComplainOfOthers();
        Made().keys.push_back(std::move(key));
    }

    Names KeyNames() {
        Names names;
        for (const Key& key : Made().keys) {
            names.push_back(key.name);
        }
        return names;
    }

    void CheckKey(Fields& fields, const std::string& name, const std::string& field) {
        const Names names = KeyNames();
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            fields.Complain(fields.Find(field)->source(), cli::Say("there is no key {1}", name),
                            Suggest(name, names));
        }
    }

    void ReadDialogs(Fields& fields) {
        const toml::node* const dialogs = fields.Find("dialogs");
        if (dialogs == nullptr) {
            return;
        }
        Made().has_dialogs = true;
        if (!dialogs->is_array()) {
            fields.Complain(dialogs->source(), "\"dialogs\" is a list",
                            R"(for example: dialogs = ["wrong", "right"])");  // no message
            return;
        }
        for (const toml::node& one : *dialogs->as_array()) {
            ReadDialog(fields, one);
        }
    }

    void ReadDialog(Fields& fields, const toml::node& node) {
        DialogAnswer answer;
        answer.line = node.source().begin.line;
        if (node.is_table()) {
            Fields own(*node.as_table(), reading_.mistakes);
            answer.pin = own.Text("pin").value_or("");
            answer.what = own.Text("answer").value_or(answer.pin.empty() ? "" : "pin");
            answer.late = own.Duration("late").value_or(Milliseconds(0));
            own.ComplainOfOthers();
        } else {
            answer.what = node.value_exact<std::string>().value_or("");
        }
        constexpr Choice<bool> kAnswers[] = {
            {"right", true}, {"wrong", true}, {"cancel", true}, {"hang-up", true}, {"never", true}};
        const bool types = answer.what == "pin" && !answer.pin.empty();
        if (types || Choose(fields, answer.what, node.source(), kAnswers)) {
            Made().dialogs.push_back(answer);
        }
    }

    void ReadSteps(Fields& fields) {
        const toml::node* const steps = fields.Find("steps");
        if (steps == nullptr) {
            return;
        }
        if (!steps->is_array_of_tables()) {
            fields.Complain(steps->source(), "a step is a table", "begin each one with [[steps]]");
            return;
        }
        for (const toml::node& one : *steps->as_array()) {
            ReadStep(*one.as_table());
        }
    }

    void ReadStep(const toml::table& table) {
        Fields fields(table, reading_.mistakes);
        Step step;
        step.line = table.source().begin.line;
        step.at = fields.Duration("at");
        const size_t before = reading_.mistakes.size();
        if (fields.Has("plug") || fields.Has("unplug")) {
            ReadMove(fields, step);
        } else {
            ReadFault(fields, step);
        }
        fields.ComplainOfOthers();
        if (reading_.mistakes.size() == before) {
            Made().steps.push_back(std::move(step));
            if (Made().steps.back().order) {
                Made().steps.back().order->step = static_cast<int64_t>(Made().steps.size());
            }
        }
    }

    void ReadMove(Fields& fields, Step& step) {
        const bool plugs = fields.Has("plug");
        const std::string word = plugs ? "plug" : "unplug";
        step.kind = plugs ? Step::Kind::kPlug : Step::Kind::kUnplug;
        step.key = fields.Text(word).value_or("");
        CheckKey(fields, step.key, word);
        step.told = word + " " + step.key;
        if (const std::optional<std::string> call = fields.Text("in")) {
            Fault order;
            order.effect = plugs ? Effect::kPlug : Effect::kUnplug;
            order.after = fields.Number("after", 0).value_or(0);
            order.entry = EntryOf(fields, "in", *call, order.effect, false);
            step.order = order;
            step.told += " in " + *call + AfterAsTold(order);
        } else if (fields.Has("after")) {
            fields.Complain(fields.Find("after")->source(),
                            "\"after\" counts calls, and there is no \"in\"",
                            R"(name a function: in = "Sign")");  // no message
        }
        step.told += AtAsTold(step);
    }

    static std::string AfterAsTold(const Fault& order) {
        return order.after == 0 ? std::string() : " after " + std::to_string(order.after);
    }
    static std::string AtAsTold(const Step& step) {
        return step.at ? " at " + std::to_string(step.at->count()) + " ms" : std::string();
    }

    // The entry behind a name: of a client's function, or, where it says so, an entry's own.
    std::string EntryOf(Fields& fields, const std::string& field, const std::string& name,
                        Effect effect, bool is_entry) {
        if (name == kEveryEntry) {
            return name;
        }
        if (is_entry ? !IsEntry(name) : !IsFunction(name)) {
            fields.Complain(fields.Find(field)->source(),
                            is_entry ? cli::Say("{1} is no entry", name)
                                     : cli::Say("{1} is no function that calls the key", name),
                            Suggest(name, is_entry ? EntryNames() : FunctionNames()));
            return {};
        }
        const std::optional<std::string> entry =
            is_entry ? std::optional<std::string>(name) : EntryBehind(name, effect);
        if (!entry || !IsPossible(effect, *entry)) {
            fields.Complain(fields.Find(field)->source(),
                            cli::Say("{1} gives nothing that \"{2}\" could be done to", name,
                                     std::string(EffectName(effect))),
                            "docs/software-key.md tells what is possible where");
            return {};
        }
        return *entry;
    }

    static Names EntryNames() {
        Names names(std::begin(maker::kEntryNames), std::end(maker::kEntryNames));
        names.insert(names.end(), std::begin(maker::kTokenNames), std::end(maker::kTokenNames));
        return names;
    }
    static Names FunctionNames() {
        Names names;
        for (const Function& function : RenamedFunctions()) {
            names.push_back(function.name);
        }
        for (const std::string& entry : EntryNames()) {
            if (IsFunction(entry)) {
                names.push_back(entry);
            }
        }
        return names;
    }

    void ReadFault(Fields& fields, Step& step) {
        const bool is_entry = fields.Has("entry");
        const std::string field = is_entry ? "entry" : "call";
        const std::optional<std::string> name = fields.Text(field);
        if (!name || (is_entry && fields.Has("call"))) {
            fields.Complain("a step has one of \"plug\", \"unplug\", \"call\" and \"entry\"",
                            R"(for example: call = "Sign")");  // no message
            return;
        }
        Fault order;
        const std::string answer = ReadAnswer(fields, order);
        order.delay_milliseconds = fields.Duration("late").value_or(Milliseconds(0)).count();
        order.after = fields.Number("after", 0).value_or(0);
        order.by = fields.Number("by", 1).value_or(1);
        if (!fields.Has("answer") && !fields.Has("late")) {
            fields.Complain("nothing happens to these calls", "give them an answer, or late");
        }
        order.times = ReadTimes(fields, answer.empty());
        order.entry = EntryOf(fields, field, *name, order.effect, is_entry);
        if (const std::optional<std::string> key = fields.Text("key")) {
            CheckKey(fields, *key, "key");
            step.key = *key;
        }
        const std::string late =
            std::to_string(order.delay_milliseconds) + " ms late";  // no message
        step.told = field + " " + *name + (answer.empty() ? "" : " answers " + answer) +
                    (order.delay_milliseconds == 0 ? "" : " " + late) + AfterAsTold(order) +
                    AtAsTold(step);
        step.order = order;
    }

    // What is answered, as it stands in the file; nothing where calls are only late.
    std::string ReadAnswer(Fields& fields, Fault& order) {
        const toml::node* const node = fields.Find("answer");
        if (node == nullptr) {
            return {};
        }
        if (const auto code = node->value_exact<int64_t>()) {
            if (*code < std::numeric_limits<int32_t>::min() ||
                *code > std::numeric_limits<uint32_t>::max()) {
                fields.Complain(node->source(), "a code has 32 bits");
            }
            order.code = static_cast<int32_t>(static_cast<uint32_t>(*code));
            return codes::Hexadecimal(order.code);
        }
        std::string word = node->value_exact<std::string>().value_or("");
        const std::optional<Effect> effect = EffectNamed(word);
        if (!effect) {
            fields.Complain(
                node->source(),
                cli::Say("\"{1}\" is no answer: a code such as 0x0A000024, or a word", word),
                Suggest(word, EffectNames()));
            return {};
        }
        order.effect = *effect;
        return word;
    }

    // Calls that are only late are all so.
    static int64_t ReadTimes(Fields& fields, bool only_late) {
        const toml::node* const node = fields.Find("times");
        if (node != nullptr && node->value_exact<std::string>() == "always") {
            return kUntilCleared;
        }
        return fields.Number("times", 1).value_or(only_late ? kUntilCleared : 1);
    }

    Reading& reading_;
};

}  // namespace

Reading Read(const std::string& text) {
    Reading reading;
    try {
        const toml::table file = toml::parse(text);
        Reader(reading).ReadAll(file);
    } catch (const toml::parse_error& error) {
        const toml::source_position place = error.source().begin;
        reading.mistakes.push_back({place.line, place.column, std::string(error.description()),
                                    "the file is TOML: see docs/scenarios.md"});
    }
    std::stable_sort(reading.mistakes.begin(), reading.mistakes.end(),
                     [](const Mistake& a, const Mistake& b) {
                         return std::tie(a.line, a.column) < std::tie(b.line, b.column);
                     });
    return reading;
}

}  // namespace softkey::scenario
