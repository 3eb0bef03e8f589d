#ifndef UKEYCTL_COMMAND_LINE_H
#define UKEYCTL_COMMAND_LINE_H

#include <initializer_list>
#include <memory>
#include <string>

#include "cli/command.h"
#include "session.h"

// A verb: what it is called, one sentence for the help, and its work.
cli::Command AddVerb(cli::Command& parent, const std::string& name, const std::string& summary,
                     Session& session, Session::Action action);

void AddExamples(cli::Command& verb, std::initializer_list<const char*> examples);

// For completion: the plugged keys' serial numbers and labels, as far as they answer in time.
cli::Source PluggedSerialNumbers(const Session& session);
cli::Source PluggedLabels(const Session& session);

// --sn, for verbs that concern one key. What the verb does with it decides whether the key must be
// named when several are plugged.
void AddKeyOption(cli::Command& verb, Session& session, KeyUse use);

// Whether an empty text is taken for what is meant: with --allow-empty, where a verb offers that.
struct EmptyText {
    bool is_offered = false;
    bool is_allowed = false;
};
void AddAllowEmpty(cli::Command& verb, EmptyText& empty);

// Throws a usage failure that says where the empty text came from.
void CheckNotEmpty(const std::string& text, const std::string& source, EmptyText empty = {});

// A text given on the command line or in a file.
struct InputText {
    std::string name;
    std::string text;
    std::string file;
    // The text, looked at with CheckNotEmpty.
    std::string Read(EmptyText empty = {}) const;
};

// The contents of a file that must not be empty; "-" is standard input.
std::string ReadGiven(const std::string& path);

// --NAME TEXT or --NAME-file FILE: exactly one of them.
void AddText(cli::Command& verb, const std::string& name, const std::string& description,
             InputText& input);

// The same, or neither of them: the result tells whether one was given.
cli::Command AddOptionalText(cli::Command& verb, const std::string& name,
                             const std::string& description, InputText& input);

// --out FILE, for what people would otherwise get on standard output.
void AddOutOption(cli::Command& verb, std::string& path);

// Puts the verb's output into the report, or into the file if one was named.
void Deliver(Session& session, const std::string& key, const Report::Value& value,
             const std::string& path);

// The same for parts that the library joins with "||": scripts get a list.
void DeliverJoined(Session& session, const std::string& key, const std::string& joined,
                   const std::string& path);

// The two selectors by which the key tells its certificates and formats apart.
struct Selectors {
    int32_t param1 = 1;
    int32_t param2 = 0;
};
void AddSelectors(cli::Command& verb, Selectors& selectors);

// --format, one of the names; the first is the default.
void AddFormat(cli::Command& verb, std::string& format, std::initializer_list<const char*> names);

#endif
