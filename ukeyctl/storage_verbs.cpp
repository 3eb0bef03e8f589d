#include "change.h"
#include "cli/words.h"
#include "verbs.h"

namespace {

// What SetData takes.
constexpr size_t kLongestItem = 300;

void Init(Session& session, const ChangeOptions& options) {
    Change change;
    change.function = "InitUKey";
    change.items = {{cli::Mark("erasure"), {}, "everything on the key"}};
    change.consequence = "erases everything on the key";
    change.question = "Erase everything on key {1}?";
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options, change, key)) {
        WhileItWorks(*key, [](const ukey::Key& its) { its.InitUKey(); });
        session.Result().Say(cli::Say("The key {1} has been initialised.", key->SerialNumber()));
    }
}

void AddInit(cli::Command& app, Session& session) {
    const auto options = std::make_shared<ChangeOptions>();
    cli::Command verb = AddVerb(app, "init", "Initialise the key: everything on it is erased",
                                session, [options](Session& running) { Init(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddConsent(verb, *options, "Do it: what is lost does not come back");
    AddDryRun(verb, *options);
    AddExamples(verb, {"ukeyctl init --yes --sn 1234567890123456", "ukeyctl init --dry-run"});
}

struct LabelOptions {
    std::string label;
    EmptyText empty;
    ChangeOptions change;
};

void SetLabel(Session& session, const LabelOptions& options) {
    CheckNotEmpty(options.label, cli::Say("the label"), options.empty);
    Change change;
    change.function = "SetLabel";
    change.arguments = {{"szLabel", options.label}};
    change.items = {{"label", static_cast<int64_t>(options.label.size()), {}}};
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        key->SetLabel(options.label);
        session.Result().Say("The label has been written.");
    }
}

void AddLabel(cli::Command& app, Session& session) {
    cli::Command group = app.AddGroup("label", "Read and write the key's label");
    cli::Command get = AddVerb(group, "get", "Show the label", session, [](Session& running) {
        running.Result().AddOutput("label", running.Key().GetLabel());
    });
    AddKeyOption(get, session, KeyUse::kReading);
    AddExamples(get, {"ukeyctl label get"});

    const auto options = std::make_shared<LabelOptions>();
    cli::Command set = AddVerb(group, "set", "Write the label", session,
                               [options](Session& running) { SetLabel(running, *options); });
    AddKeyOption(set, session, KeyUse::kChanging);
    set.Add("LABEL", options->label, "The new label").Required().Offers(PluggedLabels(session));
    AddAllowEmpty(set, options->empty);
    AddDryRun(set, options->change);
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

struct DataOptions {
    int32_t index = 0;
    InputText data;
    EmptyText empty;
    ChangeOptions change;
};

void SetData(Session& session, const DataOptions& options) {
    const std::string data = options.data.Read(options.empty);
    Change change;
    change.function = "SetData";
    CheckPassable(change, {data});
    change.arguments = {{"nIndex", int64_t{options.index}}, {"szData", Masked(data)}};
    change.items = {
        {"data item", static_cast<int64_t>(data.size()), cli::Say("item {1}", options.index)}};
    if (data.size() > kLongestItem) {
        change.verdict = lint::Verdict::kRefused;
        change.remark =
            cli::Say("SetData refuses it with -401: an item has at most {1} bytes", kLongestItem);
    }
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        key->SetData(options.index, data);
        session.Result().Say("The item has been written.");
    }
}

void AddSetData(cli::Command& group, Session& session) {
    const auto options = std::make_shared<DataOptions>();
    static_assert(kLongestItem == 300, "a help is a text that stands: manual pages are made of it");
    cli::Command verb = AddVerb(group, "set", "Write a data item of at most 300 bytes", session,
                                [options](Session& running) { SetData(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddIndex(verb, options->index);
    AddText(verb, "data", "The item's text", options->data);
    AddAllowEmpty(verb, options->empty);
    AddDryRun(verb, options->change);
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
