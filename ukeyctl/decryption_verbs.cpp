#include "verbs.h"

namespace {

struct DecryptOptions {
    int32_t param1 = 2;
    uint32_t param2 = 0;
    InputText cipher;
    std::string out;
};

void RunDecrypt(Session& session, const DecryptOptions& options) {
    const std::string cipher = options.cipher.Read();
    const ukey::Secret plain = WhileItWorks(session.Key(), [&](const ukey::Key& key) {
        return key.AsymDec(options.param1, options.param2, cipher);
    });
    Deliver(session, "plain", plain.Text(), options.out);
}

}  // namespace

void AddDecryptionVerbs(cli::Command& app, Session& session) {
    const auto options = std::make_shared<DecryptOptions>();
    cli::Command verb =
        AddVerb(app, "decrypt", "Decrypt a text with the key's private key", session,
                [options](Session& running) { RunDecrypt(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddText(verb, "cipher", "The ciphertext; line breaks do not matter", options->cipher);
    verb.Add("--param1", options->param1,
             "Which certificate: 2 encryption, or what else the key knows")
        .Takes("N")
        .ShowDefault();
    verb.Add("--param2", options->param2, "Which formats, passed to the key as it is")
        .Takes("N")
        .ShowDefault();
    AddOutOption(verb, options->out);
    AddExamples(verb, {"ukeyctl decrypt --cipher-file message.txt",
                       "ukeyctl decrypt --cipher-file - --out plain.txt < message.txt"});
}
