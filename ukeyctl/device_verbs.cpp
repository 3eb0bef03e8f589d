#include "cli/words.h"
#include "codes/notation.h"
#include "doctor/doctor.h"
#include "verbs.h"

namespace {

// The library tells by one code that nothing can be loaded; what it is, the installation tells.
// Nothing is thrown where nothing is seen to be wrong with that.
void ThrowReason(cli::ExitStatus status, const std::string& what, const std::string& why,
                 const ukey::Error* error = nullptr) {
    const doctor::Finding finding = doctor::WhyNoBackend(std::chrono::seconds(10));
    if (finding.verdict != doctor::Verdict::kBroken) {
        return;
    }
    cli::Failure failure =
        cli::MakeFailure(status, what, cli::Say("{1}: {2}", why, finding.reason),
                         cli::Say("{1}; 'ukeyctl doctor' looks at all of it", finding.next));
    if (error != nullptr) {
        failure.function = error->Function();
        failure.code = error->Code();
    }
    throw cli::CommandFailure(failure);
}

// The library's own check is content with a folder that can be read, so the library in it is tried
// too.
void Check(Session& session, int32_t mode) {
    try {
        session.Library().CheckDriverIntegrity(mode);
        session.Library().Initialize();
    } catch (const ukey::LoadError& error) {
        ThrowReason(cli::ExitStatus::kLibraryNotLoaded, "the key library is not usable",
                    error.what());
        throw;
    } catch (const ukey::Error& error) {
        if (error.Code() == ORVAL_BACKEND_UNAVAILABLE) {
            ThrowReason(cli::ExitStatus::kLibraryNotLoaded,
                        cli::Say("{1} failed", std::string(error.Function())),
                        codes::InBothForms(error.Code()), &error);
        }
        throw;
    }
    session.Result().Say(
        "The installation folder can be read, and the key maker's library in it is complete.");
}

void AddCheck(cli::Command& app, Session& session) {
    const auto mode = std::make_shared<int32_t>(1);
    cli::Command verb = AddVerb(app, "check", "Check that the key's software is installed", session,
                                [mode](Session& running) { Check(running, *mode); });
    verb.Add("--mode", *mode, "What to check; only 1 is supported").Takes("N").ShowDefault();
    AddExamples(verb, {"ukeyctl check"});
}

}  // namespace

void AddDeviceVerbs(cli::Command& app, Session& session) {
    AddCheck(app, session);
}
