#include "command_line.h"

#include "cli/checks.h"
#include "cli/encoding.h"
#include "cli/files.h"
#include "cli/words.h"

cli::Command AddVerb(cli::Command& parent, const std::string& name, const std::string& summary,
                     Session& session, Session::Action action) {
    return parent.AddCommand(name, summary, [&session, action = std::move(action)] {
        action(session);
        return session.Conclusion();
    });
}

void AddExamples(cli::Command& verb, std::initializer_list<const char*> examples) {
    std::string footer = cli::Say("Examples:");
    for (const char* example : examples) {
        footer += std::string("\n  ") + example;
    }
    verb.Close(footer + "\n");
}

void AddKeyOption(cli::Command& verb, Session& session, KeyUse use) {
    verb.Add("--sn", session.serial_number,
             use == KeyUse::kChanging
                 ? "The key's serial number; needed when several keys are plugged"
                 : "The key's serial number; without it the library's choice of those "
                   "that are plugged, which is told")
        .Takes("SN")
        .Checked(cli::CheckSerialNumber)
        .Offers(PluggedSerialNumbers(session));
    verb.OnceParsed([&session, use] { session.key_use = use; });
}

void AddAllowEmpty(cli::Command& verb, EmptyText& empty) {
    empty.is_offered = true;
    verb.AddFlag("--allow-empty", empty.is_allowed, "Take an empty text for what is meant");
}

void CheckNotEmpty(const std::string& text, const std::string& source, EmptyText empty) {
    if (!text.empty() || empty.is_allowed) {
        return;
    }
    cli::ThrowUsage(
        cli::Say("{1} is empty: a shell variable may be unset, or a program may have failed",
                 source),
        empty.is_offered ? "give what is meant, or --allow-empty if an empty text is"
                         : "give what is meant");
}

namespace {

std::string SourceName(const std::string& path) {
    return path == "-" ? cli::Say("standard input") : cli::Say("the file {1}", path);
}

}  // namespace

std::string InputText::Read(EmptyText empty) const {
    std::string given = file.empty() ? text : cli::ReadInput(file);
    CheckNotEmpty(given, file.empty() ? cli::Say("the text of --{1}", name) : SourceName(file),
                  empty);
    return given;
}

std::string ReadGiven(const std::string& path) {
    std::string contents = cli::ReadInput(path);
    CheckNotEmpty(contents, SourceName(path));
    return contents;
}

namespace {

cli::Command AddTextGroup(cli::Command& verb, const std::string& name,
                          const std::string& description, cli::Need need, InputText& input) {
    cli::Command group = verb.AddAlternatives(name, need);
    group.Add("--" + name, input.text, description).Takes("TEXT");
    group.Add("--" + name + "-file", input.file, "The same from a file; - is standard input")
        .Takes("FILE")
        .Checked(cli::CheckNotEmpty);
    input.name = name;
    return group;
}

}  // namespace

void AddText(cli::Command& verb, const std::string& name, const std::string& description,
             InputText& input) {
    AddTextGroup(verb, name, description, cli::Need::kOne, input);
}

cli::Command AddOptionalText(cli::Command& verb, const std::string& name,
                             const std::string& description, InputText& input) {
    return AddTextGroup(verb, name, description, cli::Need::kOneAtMost, input);
}

void AddOutOption(cli::Command& verb, std::string& path) {
    verb.Add("--out", path, "Write it to this file instead of standard output")
        .Takes("FILE")
        .Checked(cli::CheckNotEmpty);
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
    cli::WriteOutput(path, text != nullptr ? *text : output.ForPeople(Report::Destination::kFile),
                     cli::Readers::kOwner);
    session.Result().Add("file", "Written to", path);
}

void DeliverJoined(Session& session, const std::string& key, const std::string& joined,
                   const std::string& path) {
    if (session.json && path.empty()) {
        Deliver(session, key, cli::SplitJoined(joined), path);
    } else {
        Deliver(session, key, joined, path);
    }
}

void AddSelectors(cli::Command& verb, Selectors& selectors) {
    verb.Add("--param1", selectors.param1,
             "Which certificate: 1 signing, 2 encryption, or what else the key knows")
        .Takes("N")
        .ShowDefault();
    verb.Add("--param2", selectors.param2, "Which format, passed to the key as it is")
        .Takes("N")
        .ShowDefault();
}

void AddFormat(cli::Command& verb, std::string& format, std::initializer_list<const char*> names) {
    format = *names.begin();
    verb.Add("--format", format, "How it is written")
        .OneOf(std::vector<std::string>(names.begin(), names.end()))
        .ShowDefault();
}
