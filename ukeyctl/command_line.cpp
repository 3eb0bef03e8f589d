#include "command_line.h"

#include "files.h"
#include "cli/arguments.h"

namespace {

// "cert get": the words that lead to the verb, without the command's own name.
std::string PathOf(const CLI::App& verb) {
    const CLI::App* parent = verb.get_parent();
    if (parent == nullptr) {
        return {};
    }
    const std::string before = PathOf(*parent);
    return before.empty() ? verb.get_name() : before + " " + verb.get_name();
}

}  // namespace

CLI::App* AddVerb(CLI::App& parent, const std::string& name, const std::string& summary,
                  Session& session, Session::Action action) {
    CLI::App* verb = parent.add_subcommand(name, summary);
    verb->callback(
        [verb, &session, action = std::move(action)] { session.Choose(PathOf(*verb), action); });
    return verb;
}

CLI::App* AddGroup(CLI::App& parent, const std::string& name, const std::string& summary) {
    CLI::App* group = parent.add_subcommand(name, summary);
    group->require_subcommand(1);
    group->footer("");
    return group;
}

void AddExamples(CLI::App& verb, std::initializer_list<const char*> examples) {
    std::string footer = "Examples:";
    for (const char* example : examples) {
        footer += std::string("\n  ") + example;
    }
    verb.footer(footer + "\n");
}

void AddKeyOption(CLI::App& verb, Session& session, KeyUse use) {
    verb.add_option("--sn", session.serial_number,
                    use == KeyUse::kChanging
                        ? "The key's serial number; needed when several keys are plugged"
                        : "The key's serial number; without it the library's choice of those "
                          "that are plugged, which is told")
        ->type_name("SN")
        ->check(cli::CheckSerialNumber);
    verb.parse_complete_callback([&session, use] { session.key_use = use; });
}

void RequireValue(CLI::Option& option) {
    option.check(cli::CheckValue);
}

void RequireConsent(CLI::App& verb, const std::shared_ptr<bool>& consent) {
    verb.add_flag("--yes", *consent, "Do it: what is lost does not come back");
}

void CheckConsent(bool consent, const std::string& consequence) {
    if (!consent) {
        ThrowUsage("this " + consequence, "add --yes if that is what you want");
    }
}

void AddAllowEmpty(CLI::App& verb, EmptyText& empty) {
    empty.is_offered = true;
    verb.add_flag("--allow-empty", empty.is_allowed, "Take an empty text for what is meant");
}

void CheckNotEmpty(const std::string& text, const std::string& source, EmptyText empty) {
    if (!text.empty() || empty.is_allowed) {
        return;
    }
    ThrowUsage(source + " is empty: a shell variable may be unset, or a program may have failed",
               std::string("give what is meant") +
                   (empty.is_offered ? ", or --allow-empty if an empty text is" : ""));
}

namespace {

std::string SourceName(const std::string& path) {
    return path == "-" ? "standard input" : "the file " + path;
}

}  // namespace

std::string InputText::Read(EmptyText empty) const {
    std::string given = file.empty() ? text : ReadInput(file);
    CheckNotEmpty(given, file.empty() ? "the text of --" + name : SourceName(file), empty);
    return given;
}

std::string ReadGiven(const std::string& path) {
    std::string contents = ReadInput(path);
    CheckNotEmpty(contents, SourceName(path));
    return contents;
}

namespace {

CLI::Option_group* AddTextGroup(CLI::App& verb, const std::string& name,
                                const std::string& description, InputText& input) {
    CLI::Option_group* group = verb.add_option_group(name);
    group->add_option("--" + name, input.text, description)->type_name("TEXT");
    RequireValue(*group
                      ->add_option("--" + name + "-file", input.file,
                                   "The same from a file; - is standard input")
                      ->type_name("FILE"));
    input.name = name;
    return group;
}

}  // namespace

void AddText(CLI::App& verb, const std::string& name, const std::string& description,
             InputText& input) {
    AddTextGroup(verb, name, description, input)->require_option(1);
}

CLI::Option_group* AddOptionalText(CLI::App& verb, const std::string& name,
                                   const std::string& description, InputText& input) {
    CLI::Option_group* group = AddTextGroup(verb, name, description, input);
    group->require_option(0, 1);
    return group;
}

void AddOutOption(CLI::App& verb, std::string& path) {
    RequireValue(*verb.add_option("--out", path, "Write it to this file instead of standard output")
                      ->type_name("FILE"));
}

void Deliver(Session& session, const std::string& key, const Report::Value& value,
             const std::string& path) {
    if (path.empty()) {
        session.Result().AddOutput(key, value);
        return;
    }
    Report output;
    output.AddOutput(key, value);
    // A file gets the bytes and nothing else: a line end would make a decrypted message another
    // one.
    const auto* text = std::get_if<std::string>(&value);
    WriteOutput(path, text != nullptr ? *text : output.ForPeople(Report::Destination::kFile));
    session.Result().Add("file", "Written to", path);
}

void AddSelectors(CLI::App& verb, Selectors& selectors) {
    verb.add_option("--param1", selectors.param1,
                    "Which certificate: 1 signing, 2 encryption, or what else the key knows")
        ->type_name("N")
        ->capture_default_str();
    verb.add_option("--param2", selectors.param2, "Which format, passed to the key as it is")
        ->type_name("N")
        ->capture_default_str();
}

void AddFormat(CLI::App& verb, std::string& format, std::initializer_list<const char*> names) {
    format = *names.begin();
    verb.add_option("--format", format, "How it is written")
        ->check(CLI::IsMember(std::vector<std::string>(names.begin(), names.end())))
        ->capture_default_str();
}
