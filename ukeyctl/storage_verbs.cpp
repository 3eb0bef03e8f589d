#include "verbs.h"

namespace {

void AddInit(CLI::App& app, Session& session) {
    const auto consent = std::make_shared<bool>(false);
    CLI::App* verb = AddVerb(
        app, "init", "Initialise the key: everything on it is erased", session,
        [consent](Session& running) {
            CheckConsent(*consent, "erases everything on the key");
            const ukey::Key key = running.Key();
            key.InitUKey();
            running.Result().Say("The key " + key.SerialNumber() + " has been initialised.");
        });
    AddKeyOption(*verb, session);
    RequireConsent(*verb, consent);
    AddExamples(*verb, {"ukeyctl init --yes --sn 1234567890123456"});
}

void AddLabel(CLI::App& app, Session& session) {
    CLI::App* group = AddGroup(app, "label", "Read and write the key's label");
    CLI::App* get = AddVerb(*group, "get", "Show the label", session, [](Session& running) {
        running.Result().AddOutput("label", running.Key().GetLabel());
    });
    AddKeyOption(*get, session);
    AddExamples(*get, {"ukeyctl label get"});

    const auto label = std::make_shared<std::string>();
    CLI::App* set = AddVerb(*group, "set", "Write the label", session, [label](Session& running) {
        running.Key().SetLabel(*label);
        running.Result().Say("The label has been written.");
    });
    AddKeyOption(*set, session);
    set->add_option("LABEL", *label, "The new label")->required();
    AddExamples(*set, {"ukeyctl label set \"Accounts, second floor\""});
}

void AddIndex(CLI::App& verb, int32_t& index) {
    verb.add_option("INDEX", index, "Which item, passed to the key as it is")->required();
}

void AddGetData(CLI::App& group, Session& session) {
    const auto index = std::make_shared<int32_t>(0);
    CLI::App* verb = AddVerb(group, "get", "Show a data item", session, [index](Session& running) {
        running.Result().AddOutput("data", running.Key().GetData(*index));
    });
    AddKeyOption(*verb, session);
    AddIndex(*verb, *index);
    AddExamples(*verb, {"ukeyctl data get 1"});
}

void AddSetData(CLI::App& group, Session& session) {
    const auto index = std::make_shared<int32_t>(0);
    const auto data = std::make_shared<InputText>();
    CLI::App* verb = AddVerb(group, "set", "Write a data item of at most 300 bytes", session,
                             [index, data](Session& running) {
                                 running.Key().SetData(*index, data->Read());
                                 running.Result().Say("The item has been written.");
                             });
    AddKeyOption(*verb, session);
    AddIndex(*verb, *index);
    AddText(*verb, "data", "The item's text", *data);
    AddExamples(*verb, {"ukeyctl data set 1 --data \"customer 4711\"",
                        "ukeyctl data set 1 --data-file item.txt"});
}

using Setting = void (ukey::Library::*)(const std::string&, const std::string&) const;

void AddSetting(CLI::App& app, Session& session, const std::string& name,
                const std::string& summary, Setting setting, const char* example) {
    const auto texts = std::make_shared<std::pair<std::string, std::string>>();
    CLI::App* verb = AddVerb(app, name, summary, session, [texts, setting, name](Session& running) {
        (running.Library().*setting)(texts->first, texts->second);
        running.Result().Say("The " + name + " has been set.");
    });
    verb->add_option("FIRST", texts->first, "The function's first text: a serial number, or ''")
        ->required();
    verb->add_option("SECOND", texts->second, "The function's second text: the " + name)
        ->required();
    AddExamples(*verb, {example});
}

}  // namespace

void AddStorageVerbs(CLI::App& app, Session& session) {
    AddInit(app, session);
    AddLabel(app, session);
    CLI::App* data = AddGroup(app, "data", "Read and write the key's small data items");
    AddGetData(*data, session);
    AddSetData(*data, session);
    AddSetting(app, session, "charset",
               "Try a character set; it holds for one process, so see --charset as well",
               &ukey::Library::SetCharset, "ukeyctl charset '' GB18030");
    AddSetting(app, session, "language",
               "Try a language; it holds for one process, so see --language as well",
               &ukey::Library::SetLanguage, "ukeyctl language '' zh_CN");
}
