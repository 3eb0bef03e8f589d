#include "cli/words.h"
#include "codes/advice.h"
#include "codes/notation.h"
#include "verbs.h"

namespace {

// The key's own text; empty when it has none. Known codes are explained even where no library can
// be loaded.
std::string TextOf(Session& session, int32_t code) {
    try {
        return session.Library().GetErrorMsg(code);
    } catch (const std::runtime_error&) {
        if (codes::FindKnown(code) == nullptr) {
            throw;
        }
        return {};
    }
}

int32_t ReadCode(const std::string& given) {
    const std::optional<int32_t> code = codes::Parse(given);
    if (!code) {
        cli::ThrowUsage(cli::Say("\"{1}\" is not a 32-bit code", given),
                        "give it in decimal (-401), in hexadecimal (0x0A000001), or as the log "
                        "shows it (FFFFFE6F)");
    }
    return *code;
}

Report::Value OrNone(const char* text) {
    return text != nullptr ? Report::Value(text) : std::monostate();
}

void ShowError(Session& session, const std::string& given) {
    const int32_t code = ReadCode(given);
    const std::string text = TextOf(session, code);
    const codes::Row* const known = codes::FindKnown(code, text);
    Report& report = session.Result();
    report.Add("code", "Code", int64_t{code});
    report.Add("hex", "Hexadecimal", codes::Hexadecimal(code));
    report.Add("name", "Name", OrNone(known != nullptr ? known->name : nullptr));
    report.Add("defined_by", "Defined by", codes::DefinedBy(code, text));
    report.Add("meaning", "Meaning",
               known != nullptr ? Report::Value(codes::MeaningOf(*known)) : std::monostate());
    report.Add("text", "The key's text", OrNone(text.empty() ? nullptr : text.c_str()));
    report.Add("next", "What to do", codes::NextFor(code, {}, text, "the verb's --help"));
}

cli::Candidates KnownCodes(const cli::OnLine& /*given*/) {
    cli::Candidates known;
    for (const codes::Row& row : codes::All()) {
        known.push_back({codes::Hexadecimal(row.code), codes::MeaningOf(row)});
    }
    return known;
}

}  // namespace

void AddErrorVerb(cli::Command& app, Session& session) {
    const auto code = std::make_shared<std::string>();
    cli::Command verb = AddVerb(app, "error", "Explain a code", session,
                                [code](Session& running) { ShowError(running, *code); });
    verb.Add("CODE", *code, "Decimal, 0x and hexadecimal digits, or as in the log")
        .Required()
        .Offers(KnownCodes);
    AddExamples(verb, {"ukeyctl error -401", "ukeyctl error 0x0A000001",
                       "ukeyctl error FFFFFE6F        as the log shows -401"});
}
