#include "encoding.h"
#include "verbs.h"

namespace {

constexpr const char* kPinNote = "The key, or its own dialog, asks for the PIN.";

// What the key tells about the PIN: two 32-bit numbers, least significant byte first.
int64_t NumberAt(const std::string& record, size_t offset) {
    uint32_t number = 0;
    for (size_t at = offset + 4; at-- > offset;) {
        number = number << 8U | (at < record.size() ? static_cast<unsigned char>(record[at]) : 0U);
    }
    return number;
}

void ShowPinInfo(Session& session) {
    const std::string record = session.Key().GetPinInfo();
    Report& report = session.Result();
    report.Add("tries_left", "Tries left", NumberAt(record, 0));
    report.Add("tries_at_most", "Tries at most", NumberAt(record, 4));
    report.AddDetail("record_hex", Hex(record));
}

void AddChange(CLI::App& group, Session& session) {
    CLI::App* verb = AddVerb(group, "change", std::string("Change the PIN. ") + kPinNote, session,
                             [](Session& running) {
                                 running.Key().ChangePin();
                                 running.Result().Say("The PIN has been changed.");
                             });
    AddKeyOption(*verb, session);
    AddExamples(*verb, {"ukeyctl pin change"});
}

void AddVerify(CLI::App& group, Session& session) {
    CLI::App* verb = AddVerb(group, "verify", std::string("Verify the PIN. ") + kPinNote, session,
                             [](Session& running) {
                                 running.Key().VerifyPIN();
                                 running.Result().Say("The PIN is right.");
                             });
    AddKeyOption(*verb, session);
    AddExamples(*verb, {"ukeyctl pin verify", "ukeyctl pin verify --sn 1234567890123456"});
}

void AddCache(CLI::App& group, Session& session) {
    const auto param = std::make_shared<intptr_t>(0);
    CLI::App* verb = AddVerb(group, "cache", "Verify the PIN and keep it in the key's cache",
                             session, [param](Session& running) {
                                 running.Key().TestVerifyAndCachePin(*param);
                                 running.Result().Say("The PIN is right and in the cache.");
                             });
    AddKeyOption(*verb, session);
    verb->add_option("--param", *param, "For how long, passed to the key as it is")
        ->type_name("N")
        ->capture_default_str();
    AddExamples(*verb, {"ukeyctl pin cache", "ukeyctl pin cache --param 600"});
}

void AddForget(CLI::App& group, Session& session) {
    CLI::App* verb =
        AddVerb(group, "forget", "Empty the key's PIN cache", session, [](Session& running) {
            running.Library().RemovePinCache();
            running.Result().Say("The PIN cache is empty.");
        });
    AddExamples(*verb, {"ukeyctl pin forget"});
}

void AddCaching(CLI::App& group, Session& session) {
    const auto flag = std::make_shared<intptr_t>(0);
    CLI::App* verb =
        AddVerb(group, "caching", "Switch the key's PIN cache on or off", session,
                [flag](Session& running) {
                    running.Key().SetCachePinFlag(*flag);
                    running.Result().Say("The PIN cache flag is " + std::to_string(*flag) + ".");
                });
    AddKeyOption(*verb, session);
    verb->add_option("FLAG", *flag, "on, off, or a number that is passed to the key as it is")
        ->required()
        ->transform(CLI::Transformer({{"on", "1"}, {"off", "0"}}));
    AddExamples(*verb, {"ukeyctl pin caching on", "ukeyctl pin caching off"});
}

}  // namespace

void AddPinVerbs(CLI::App& app, Session& session) {
    CLI::App* group = AddGroup(app, "pin", "Change, verify and cache the PIN");
    AddChange(*group, session);
    AddVerify(*group, session);
    AddCache(*group, session);
    AddForget(*group, session);
    AddCaching(*group, session);
    CLI::App* info = AddVerb(*group, "info", "Show how many tries are left", session, ShowPinInfo);
    AddKeyOption(*info, session);
    AddExamples(*info, {"ukeyctl pin info", "ukeyctl pin info --json"});
}
