#include "verbs.h"

namespace {

void AddInit(cli::Command& app, Session& session) {
    const auto consent = std::make_shared<bool>(false);
    cli::Command verb = AddVerb(
        app, "init", "Initialise the key: everything on it is erased", session,
        [consent](Session& running) {
            CheckConsent(*consent, "erases everything on the key");
            const ukey::Key key = running.Key();
            key.InitUKey();
            running.Result().Say("The key " + key.SerialNumber() + " has been initialised.");
        });
    AddKeyOption(verb, session, KeyUse::kChanging);
    RequireConsent(verb, consent);
    AddExamples(verb, {"ukeyctl init --yes --sn 1234567890123456"});
}

void AddLabel(cli::Command& app, Session& session) {
    cli::Command group = app.AddGroup("label", "Read and write the key's label");
    cli::Command get = AddVerb(group, "get", "Show the label", session, [](Session& running) {
        running.Result().AddOutput("label", running.Key().GetLabel());
    });
    AddKeyOption(get, session, KeyUse::kReading);
    AddExamples(get, {"ukeyctl label get"});

    struct Options {
        std::string label;
        EmptyText empty;
    };
    const auto options = std::make_shared<Options>();
    cli::Command set =
        AddVerb(group, "set", "Write the label", session, [options](Session& running) {
            CheckNotEmpty(options->label, "the label", options->empty);
            running.Key().SetLabel(options->label);
            running.Result().Say("The label has been written.");
        });
    AddKeyOption(set, session, KeyUse::kChanging);
    set.Add("LABEL", options->label, "The new label").Required().Offers(PluggedLabels(session));
    AddAllowEmpty(set, options->empty);
    AddExamples(set, {"ukeyctl label set \"Accounts, second floor\""});
}

// Which items a key has it does not tell; the software key has these.
cli::Candidates ItemNumbers(const cli::OnLine& /*given*/) {
    constexpr int kItems = 64;
    cli::Candidates items;
    for (int item = 0; item < kItems; ++item) {
        items.push_back({std::to_string(item), {}});
    }
    return items;
}

void AddIndex(cli::Command& verb, int32_t& index) {
    verb.Add("INDEX", index, "Which item, passed to the key as it is")
        .Required()
        .Offers(ItemNumbers);
}

void AddGetData(cli::Command& group, Session& session) {
    const auto index = std::make_shared<int32_t>(0);
    cli::Command verb =
        AddVerb(group, "get", "Show a data item", session, [index](Session& running) {
            running.Result().AddOutput("data", running.Key().GetData(*index));
        });
    AddKeyOption(verb, session, KeyUse::kReading);
    AddIndex(verb, *index);
    AddExamples(verb, {"ukeyctl data get 1"});
}

void AddSetData(cli::Command& group, Session& session) {
    struct Options {
        int32_t index = 0;
        InputText data;
        EmptyText empty;
    };
    const auto options = std::make_shared<Options>();
    cli::Command verb = AddVerb(group, "set", "Write a data item of at most 300 bytes", session,
                                [options](Session& running) {
                                    const std::string data = options->data.Read(options->empty);
                                    running.Key().SetData(options->index, data);
                                    running.Result().Say("The item has been written.");
                                });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddIndex(verb, options->index);
    AddText(verb, "data", "The item's text", options->data);
    AddAllowEmpty(verb, options->empty);
    AddExamples(verb, {"ukeyctl data set 1 --data \"customer 4711\"",
                       "ukeyctl data set 1 --data-file item.txt"});
}

}  // namespace

void AddStorageVerbs(cli::Command& app, Session& session) {
    AddInit(app, session);
    AddLabel(app, session);
    cli::Command data = app.AddGroup("data", "Read and write the key's small data items");
    AddGetData(data, session);
    AddSetData(data, session);
}
