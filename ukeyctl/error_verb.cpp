#include "codes.h"
#include "verbs.h"

namespace {

// The key's own text. Known codes are explained even where no library can be loaded.
Report::Value TextOf(Session& session, int32_t code) {
    try {
        return session.Library().GetErrorMsg(code);
    } catch (const std::runtime_error&) {
        if (FindKnownCode(code) == nullptr) {
            throw;
        }
        return std::monostate();
    }
}

void ShowError(Session& session, const std::string& given) {
    const int32_t code = ParseCode(given);
    const KnownCode* known = FindKnownCode(code);
    Report& report = session.Result();
    report.Add("code", "Code", int64_t{code});
    report.Add("hex", "Hexadecimal", ukey::detail::Hexadecimal(code));
    report.Add("name", "Name", known != nullptr ? Report::Value(known->name) : std::monostate());
    report.Add("defined_by", "Defined by", DefinedBy(code));
    report.Add("meaning", "Meaning",
               known != nullptr ? Report::Value(known->meaning) : std::monostate());
    report.Add("text", "The key's text", TextOf(session, code));
    report.Add("next", "What to do", NextFor(code));
}

}  // namespace

void AddErrorVerb(CLI::App& app, Session& session) {
    const auto code = std::make_shared<std::string>();
    CLI::App* verb = AddVerb(app, "error", "Explain a code", session,
                             [code](Session& running) { ShowError(running, *code); });
    verb->add_option("CODE", *code, "Decimal, 0x and hexadecimal digits, or as in the log")
        ->required();
    AddExamples(*verb, {"ukeyctl error -401", "ukeyctl error 0x0A000001",
                        "ukeyctl error FFFFFE6F        as the log shows -401"});
}
