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
    AddKeyOption(*verb, session, KeyUse::kChanging);
    RequireConsent(*verb, consent);
    AddExamples(*verb, {"ukeyctl init --yes --sn 1234567890123456"});
}

void AddLabel(CLI::App& app, Session& session) {
    CLI::App* group = AddGroup(app, "label", "Read and write the key's label");
    CLI::App* get = AddVerb(*group, "get", "Show the label", session, [](Session& running) {
        running.Result().AddOutput("label", running.Key().GetLabel());
    });
    AddKeyOption(*get, session, KeyUse::kReading);
    AddExamples(*get, {"ukeyctl label get"});

    struct Options {
        std::string label;
        EmptyText empty;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* set = AddVerb(*group, "set", "Write the label", session, [options](Session& running) {
        CheckNotEmpty(options->label, "the label", options->empty);
        running.Key().SetLabel(options->label);
        running.Result().Say("The label has been written.");
    });
    AddKeyOption(*set, session, KeyUse::kChanging);
    set->add_option("LABEL", options->label, "The new label")->required();
    AddAllowEmpty(*set, options->empty);
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
    AddKeyOption(*verb, session, KeyUse::kReading);
    AddIndex(*verb, *index);
    AddExamples(*verb, {"ukeyctl data get 1"});
}

void AddSetData(CLI::App& group, Session& session) {
    struct Options {
        int32_t index = 0;
        InputText data;
        EmptyText empty;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* verb = AddVerb(group, "set", "Write a data item of at most 300 bytes", session,
                             [options](Session& running) {
                                 const std::string data = options->data.Read(options->empty);
                                 running.Key().SetData(options->index, data);
                                 running.Result().Say("The item has been written.");
                             });
    AddKeyOption(*verb, session, KeyUse::kChanging);
    AddIndex(*verb, options->index);
    AddText(*verb, "data", "The item's text", options->data);
    AddAllowEmpty(*verb, options->empty);
    AddExamples(*verb, {"ukeyctl data set 1 --data \"customer 4711\"",
                        "ukeyctl data set 1 --data-file item.txt"});
}

}  // namespace

void AddStorageVerbs(CLI::App& app, Session& session) {
    AddInit(app, session);
    AddLabel(app, session);
    CLI::App* data = AddGroup(app, "data", "Read and write the key's small data items");
    AddGetData(*data, session);
    AddSetData(*data, session);
}
