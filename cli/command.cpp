#include "cli/command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <sstream>

#include "cli/wording.h"
#include "cli/words.h"
#include "cli/wrapping.h"

namespace cli {

struct Shared {
    Chosen chosen;
    std::map<const CLI::Option*, Source> offers;
};

namespace {

constexpr size_t kUsualNameColumns = 30;

// A help that fits the terminal.
class FittingFormatter final : public CLI::Formatter {
 public:
    FittingFormatter() : width_(Width()), column_(std::min(kUsualNameColumns, width_ * 3 / 8)) {
        for (const char* const name : kLabels) {
            label(name, Say(name));
        }
    }

    std::string make_description(const CLI::App* app) const override {
        return Lay(app->get_description(), width_) + "\n";
    }

    std::string make_usage(const CLI::App* app, std::string name) const override {
        const std::string usage = CLI::Formatter::make_usage(app, std::move(name));
        return Fill(usage.substr(0, usage.find('\n')), 0, kContinuationIndent, width_) + "\n";
    }

    std::string make_group(std::string group, bool is_positional,
                           std::vector<const CLI::Option*> options) const override {
        return CLI::Formatter::make_group(Say(group), is_positional, std::move(options));
    }

    std::string make_footer(const CLI::App* app) const override {
        return Lay(app->get_footer(), width_);
    }

    std::string make_option(const CLI::Option* option, bool is_positional) const override {
        return Row(make_option_name(option, is_positional) + make_option_opts(option),
                   make_option_desc(option), kIndent, column_, width_);
    }

    std::string make_subcommand(const CLI::App* command) const override {
        return Row(command->get_display_name(true), command->get_description(), kIndent, column_,
                   width_);
    }

    // A group of options that exclude each other.
    std::string make_expanded(const CLI::App* group) const override {
        const bool needed = group->get_require_option_min() > 0;
        std::string text =
            "\n" + Say(needed ? "One of these is needed:" : "At most one of these:") + "\n";
        for (const CLI::Option* option : group->get_options()) {
            if (option != group->get_help_ptr()) {
                text += make_option(option, false);
            }
        }
        return text;
    }

 private:
    static constexpr size_t kIndent = 2;
    // What the parser's own parts of a help are called.
    static constexpr const char* kLabels[] = {
        Mark("Usage"),      Mark("Options"),     Mark("OPTIONS"),
        Mark("SUBCOMMAND"), Mark("SUBCOMMANDS"), Mark("Positionals"),
        Mark("REQUIRED"),   Mark("Excludes"),    Mark("Needs")};

    size_t width_;
    size_t column_;
};

bool IsNumber(const std::string& type) {
    return type == "INT" || type == "UINT" || type == "FLOAT";
}

// Once all commands and options are there: a number is called N in the help, and a flag takes no
// value.
void FinishOptions(CLI::App& program) {
    for (CLI::Option* option : program.get_options()) {
        if (option->get_expected_max() == 0) {
            option->disable_flag_override();
        }
        if (IsNumber(option->get_type_name())) {
            option->type_name("N");
        }
    }
    for (CLI::App* command : program.get_subcommands({})) {
        FinishOptions(*command);
    }
}

// In front of a word in brackets, which the parser would take for a list. No word begins with it.
constexpr char kAsItIs = '\x01';

bool IsInBrackets(const std::string& word) {
    return word.size() > 1 && word.front() == '[' && word.back() == ']';
}

CLI::Option* AsItIs(CLI::Option* option) {
    const auto without_mark = [](std::string& word) {
        word.erase(0, word.rfind(kAsItIs, 0) == 0 ? 1 : 0);
        return std::string();
    };
    return option->transform(CLI::Validator(without_mark, ""));
}

// The words for the parser. "--name=" with nothing behind it becomes "--name" and an empty word:
// the parser would take the next word for the value, whatever that is. Behind "--" nothing is an
// option.
std::vector<std::string> WordsFor(int count, char** arguments) {
    std::vector<std::string> words;
    bool has_options = true;
    for (char** argument = arguments; argument != arguments + count; ++argument) {
        const std::string word = *argument;
        has_options = has_options && word != "--";
        if (has_options && word.rfind("--", 0) == 0 && word.find('=') == word.size() - 1) {
            words.push_back(word.substr(0, word.size() - 1));
            words.emplace_back();
        } else {
            words.push_back(!has_options && IsInBrackets(word) ? kAsItIs + word : word);
        }
    }
    return words;
}

const CLI::App& Reached(const CLI::App& program) {
    const CLI::App* reached = &program;
    while (!reached->get_subcommands().empty()) {
        reached = reached->get_subcommands().front();
    }
    return *reached;
}

// "cert get": the words that lead to the command, without the program's own name.
std::string PathOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    if (parent == nullptr) {
        return {};
    }
    const std::string before = PathOf(*parent);
    return before.empty() ? command.get_name() : before + " " + command.get_name();
}

Mistake Explain(const CLI::App& program, const CLI::ParseError& error, const std::string& kind) {
    const CLI::App& reached = Reached(program);
    const std::string path = PathOf(reached);
    const std::vector<std::string> rest = program.remaining(true);
    const bool needs_command = reached.get_require_subcommand_min() > 0;
    const bool left_over =
        dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr || needs_command;
    return {path, left_over && !rest.empty() ? ExplainRest(rest, needs_command, path, kind)
                                             : InPlainWords(error.what(), kind)};
}

// A command that is followed by one of its own does nothing itself: what its own work needs need
// not be given then.
void LiftRequirements(CLI::App& parent, CLI::App& command) {
    command.preparse_callback([&parent](size_t /*words*/) {
        for (CLI::Option* option : parent.get_options()) {
            option->required(false);
        }
    });
}

// And what is given for it would be passed over.
void RefuseOptionsOf(const CLI::App& parent, const CLI::App& command) {
    if (parent.get_parent() == nullptr) {
        return;  // the program's own options are everybody's
    }
    for (const CLI::Option* option : parent.get_options()) {
        if (option->count() > 0) {
            throw CLI::ValidationError(option->get_name(),
                                       Say("does not go with {1}", command.get_name()));
        }
    }
}

// "TEXT:{pem,text}", as the help shows it: what the value is called, and what it may be.
Told::Value TellValue(const CLI::Option& option, const Shared& shared) {
    const std::string type = option.get_type_name();
    const size_t colon = type.find(":{");
    Told::Value value;
    value.name = option.get_positional() ? option.get_name(true) : option.get_name();
    value.kind = option.get_expected_max() == 0 ? std::string() : type.substr(0, colon);
    value.what = option.get_description();
    value.takes_all = option.get_expected_max() > 1;
    if (colon != std::string::npos) {
        std::istringstream rest(type.substr(colon + 2, type.size() - colon - 3));
        for (std::string one; std::getline(rest, one, ',');) {
            value.values.push_back(one);
        }
    }
    const auto offer = shared.offers.find(&option);
    if (offer != shared.offers.end()) {
        value.source = offer->second;
    }
    return value;
}

// The command as its help tells of it.
Told Tell(const CLI::App& command, const Shared& shared) {
    Told told;
    told.name = command.get_name();
    told.what = command.get_description();
    told.shares_options = command.get_fallthrough();
    for (const CLI::Option* option : command.get_options()) {
        std::vector<Told::Value>& values = option->get_positional() ? told.words : told.options;
        values.push_back(TellValue(*option, shared));
    }
    for (const CLI::App* part : command.get_subcommands([](const CLI::App*) { return true; })) {
        Told below = Tell(*part, shared);
        if (part->get_name().empty()) {  // options that exclude each other
            told.options.insert(told.options.end(), below.options.begin(), below.options.end());
        } else if (!part->get_group().empty()) {
            told.commands.push_back(std::move(below));
        }
    }
    return told;
}

bool AsksWhatMayFollow(int count, char** words) {
    return count > 1 && std::string(words[1]) == kComplete;
}

}  // namespace

Option& Option::Offers(Source source) {
    shared_->offers[option_] = std::move(source);
    return *this;
}

Option& Option::Takes(const std::string& what) {
    option_->type_name(what);
    return *this;
}

Option& Option::Required() {
    option_->required();
    return *this;
}

Option& Option::ShowDefault() {
    option_->capture_default_str();
    return *this;
}

Option& Option::Checked(const Check& check) {
    option_->check(check);
    return *this;
}

Option& Option::OneOf(const std::vector<std::string>& values) {
    option_->check(CLI::IsMember(values));
    return *this;
}

Option& Option::Excludes(const Option& other) {
    option_->excludes(other.option_);
    return *this;
}

bool Option::IsGiven() const {
    return option_->count() > 0;
}

Command Command::AddCommand(const std::string& name, const std::string& summary, Work work) {
    CLI::App* const added = command_->add_subcommand(name, Say(summary));
    added->group(Say("Subcommands"));
    LiftRequirements(*command_, *added);
    Chosen* const chosen = &shared_->chosen;
    added->callback([added, chosen, work = std::move(work)] {
        if (added->get_subcommands().empty()) {
            RefuseOptionsOf(*added->get_parent(), *added);
            *chosen = {PathOf(*added), work};
        }
    });
    return {added, shared_};
}

Command Command::AddGroup(const std::string& name, const std::string& summary) {
    CLI::App* const added = command_->add_subcommand(name, Say(summary));
    added->group(Say("Subcommands"));
    added->require_subcommand(1);
    added->footer("");
    return {added, shared_};
}

Command Command::Find(const std::string& name) const {
    return {command_->get_subcommand(name), shared_};
}

Option Command::Add(const std::string& name, std::string& value, const std::string& help) {
    return {AsItIs(command_->add_option(name, value, Say(help))), shared_};
}

Option Command::Add(const std::string& name, std::optional<std::string>& value,
                    const std::string& help) {
    return {AsItIs(command_->add_option(name, value, Say(help))), shared_};
}

Option Command::Add(const std::string& name, int32_t& value, const std::string& help) {
    return {command_->add_option(name, value, Say(help)), shared_};
}

Option Command::Add(const std::string& name, uint32_t& value, const std::string& help) {
    return {command_->add_option(name, value, Say(help)), shared_};
}

Option Command::Add(const std::string& name, int64_t& value, const std::string& help) {
    return {command_->add_option(name, value, Say(help)), shared_};
}

Option Command::Add(const std::string& name, double& value, const std::string& help) {
    return {command_->add_option(name, value, Say(help)), shared_};
}

Option Command::Add(const std::string& name, std::vector<std::string>& values,
                    const std::string& help) {
    return {AsItIs(command_->add_option(name, values, Say(help))), shared_};
}

Option Command::AddFlag(const std::string& name, bool& value, const std::string& help) {
    return {command_->add_flag(name, value, Say(help)), shared_};
}

void Command::AddVersion(const std::string& text) {
    command_->set_version_flag("--version", text,
                               Say("Display program version information and exit"));
}

Command Command::AddAlternatives(const std::string& name, Need need) {
    CLI::Option_group* const group = command_->add_option_group(name);
    group->require_option(need == Need::kOne ? 1 : 0, 1);
    return {group, shared_};
}

bool Command::IsGiven() const {
    return command_->count_all() > 0;
}

void Command::Describe(const std::string& text) {
    command_->description(Say(text));
}

void Command::Close(const std::string& text) {
    command_->footer(Say(text));
}

void Command::ShareOptions() {
    command_->fallthrough();
}

void Command::OnceParsed(std::function<void()> action) {
    command_->parse_complete_callback(std::move(action));
}

void Command::Retire() {
    command_->group("");
    command_->fallthrough(false);
    command_->allow_extras();
    command_->set_help_flag();
}

Program::Program(const std::string& name, const std::string& kind)
    : kind_(kind),
      parser_(std::make_unique<CLI::App>()),
      shared_(std::make_unique<Shared>()),
      top_(parser_.get(), shared_.get()) {
    parser_->name(name);
    parser_->require_subcommand(1);
    parser_->set_help_flag("-h,--help", Say("Print this help message and exit"));
    parser_->formatter(std::make_shared<FittingFormatter>());
}

Program::~Program() = default;

std::optional<Chosen> Program::Parse(int count, char** words) {
    FinishOptions(*parser_);
    if (AsksWhatMayFollow(count, words)) {
        Complete(Tell(*parser_, *shared_), {words + 2, words + count});
        return std::nullopt;
    }
    try {
        std::vector<std::string> for_parser = WordsFor(count, words);
        std::vector<char*> pointers;
        pointers.reserve(for_parser.size());
        for (std::string& word : for_parser) {
            pointers.push_back(word.data());
        }
        parser_->parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
            throw Explain(*parser_, error, kind_);
        }
        std::ostringstream shown;
        parser_->exit(error, shown, shown);
        std::cout << Encoded(shown.str());
        return std::nullopt;
    }
    return shared_->chosen;
}

}  // namespace cli
