#include "cli/words.h"
#include "verbs.h"

namespace {

constexpr int32_t kSigningCertificate = 1;

struct SignOptions {
    Selectors selectors;
    int32_t param3 = 0;
    InputText data;
    EmptyText empty;
    std::string warning;
    std::string out;
};

struct BatchSignOptions {
    BatchSignOptions() { input.param8 = kSigningCertificate; }

    ukey::BatchSignInput input;
    InputText batch;
    EmptyText empty;
    std::optional<cli::Command> batch_given;
    std::string param6;
    std::string out;
};

void AddNumber(cli::Command& verb, const std::string& name, int32_t& value) {
    verb.Add(name, value, "Passed to the key as it is").Takes("N").ShowDefault();
}

void RunSign(Session& session, const SignOptions& options) {
    const auto [param1, param2] = options.selectors;
    const std::string data = options.data.Read(options.empty);
    CheckNotEmpty(options.warning, cli::Say("the text of --warning"), options.empty);
    Deliver(session, "signature",
            WhileItWorks(session.Key(),
                         [&, p1 = param1, p2 = param2](const ukey::Key& key) {
                             return key.Sign(p1, p2, data, options.warning);
                         }),
            options.out);
}

void RunSignHash(Session& session, const SignOptions& options) {
    const auto [param1, param2] = options.selectors;
    const std::string data = options.data.Read(options.empty);
    Deliver(session, "signature",
            WhileItWorks(session.Key(),
                         [&, p1 = param1, p2 = param2](const ukey::Key& key) {
                             return key.SignHash(p1, p2, data, options.param3);
                         }),
            options.out);
}

void AddSign(cli::Command& app, Session& session) {
    const auto options = std::make_shared<SignOptions>();
    cli::Command verb =
        AddVerb(app, "sign", "Sign a text after the key's holder has confirmed a warning", session,
                [options](Session& running) { RunSign(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddText(verb, "data", "The text to sign", options->data);
    AddAllowEmpty(verb, options->empty);
    verb.Add("--warning", options->warning, "What the holder is asked to confirm")
        .Takes("TEXT")
        .Required();
    AddSelectors(verb, options->selectors);
    AddOutOption(verb, options->out);
    AddExamples(verb,
                {"ukeyctl sign --data \"pay 100 to 4711\" --warning \"Pay 100 to 4711?\"",
                 "ukeyctl sign --data-file order.xml --warning \"Order 12\" --out order.sig"});
}

void AddSignHash(cli::Command& app, Session& session) {
    const auto options = std::make_shared<SignOptions>();
    cli::Command verb =
        AddVerb(app, "signhash", "Sign a text or a digest without a confirmation", session,
                [options](Session& running) { RunSignHash(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddText(verb, "data", "The text or digest to sign", options->data);
    AddAllowEmpty(verb, options->empty);
    AddSelectors(verb, options->selectors);
    AddNumber(verb, "--param3", options->param3);
    AddOutOption(verb, options->out);
    AddExamples(verb,
                {"ukeyctl signhash --data hello", "ukeyctl signhash --data-file message.txt"});
}

void RunBatchSign(Session& session, BatchSignOptions& options) {
    ukey::BatchSignInput& input = options.input;
    const bool has_batch = options.batch_given->IsGiven();
    if (!has_batch && !input.text) {
        cli::ThrowUsage("there is nothing to sign", "give --batch, --batch-file or --text");
    }
    if (has_batch) {
        input.batch = options.batch.Read(options.empty);
    }
    if (input.text) {
        CheckNotEmpty(*input.text, cli::Say("the text of --text"), options.empty);
    }
    input.param6 = options.param6.empty() ? nullptr : options.param6.c_str();
    DeliverJoined(session, "signatures",
                  WhileItWorks(session.Key(),
                               [&input](const ukey::Key& key) { return key.Batch_Sign(input); }),
                  options.out);
}

// The options are named for the arguments' positions: what they mean is the key's affair.
void AddBatchParameters(cli::Command& verb, BatchSignOptions& options) {
    AddNumber(verb, "--flags", options.input.flags);
    AddNumber(verb, "--param3", options.input.param3);
    AddNumber(verb, "--param4", options.input.param4);
    verb.Add("--text", options.input.text, "Fifth argument; needed when bit 0 of the flags is set")
        .Takes("TEXT");
    verb.Add("--param6", options.param6, "Sixth argument, as a text; needed like --text")
        .Takes("TEXT");
    verb.Add("--param7", options.input.param7, "Passed to the key as it is")
        .Takes("N")
        .ShowDefault();
    AddNumber(verb, "--param8", options.input.param8);
    AddNumber(verb, "--param9", options.input.param9);
    AddNumber(verb, "--param11", options.input.param11);
}

void AddBatchSign(cli::Command& app, Session& session) {
    const auto options = std::make_shared<BatchSignOptions>();
    cli::Command verb =
        AddVerb(app, "batch-sign", "Sign several items, separated by ||, in one step", session,
                [options](Session& running) { RunBatchSign(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    options->batch_given =
        AddOptionalText(verb, "batch", "The items, separated by ||", options->batch);
    AddAllowEmpty(verb, options->empty);
    AddBatchParameters(verb, *options);
    AddOutOption(verb, options->out);
    AddExamples(
        verb,
        {"ukeyctl batch-sign --batch 'order 1||order 2||order 3'",
         "ukeyctl batch-sign --flags 1 --param3 1 --text 'pay 100 to 4711' --param6 'Pay 100?'"});
}

}  // namespace

void AddSigningVerbs(cli::Command& app, Session& session) {
    AddSign(app, session);
    AddSignHash(app, session);
    AddBatchSign(app, session);
}
