#include <cmath>

#include "cli/checks.h"
#include "codes/notation.h"
#include "doctor/doctor.h"
#include "verbs.h"

namespace {

struct WaitOptions {
    double timeout = -1;
    int32_t count = 1;
};

std::string NameOf(ukey::KeyEvent::Kind kind) {
    return kind == ukey::KeyEvent::Kind::kInserted ? "inserted" : "removed";
}

std::optional<ukey::KeyEvent> AwaitEvent(ukey::EventSource& events, double timeout) {
    if (timeout < 0) {
        return events.Next();
    }
    return events.NextFor(std::chrono::milliseconds(std::llround(timeout * 1000)));
}

[[noreturn]] void ThrowNoEvent() {
    cli::Throw(cli::ExitStatus::kNoEvent, "no key came or went",
               "the time given with --timeout has passed",
               "plug or unplug a key while the command waits, or give it more time");
}

void Wait(Session& session, const WaitOptions& options) {
    ukey::EventSource events(session.Library());
    for (int32_t seen = 0; options.count == 0 || seen < options.count; ++seen) {
        const std::optional<ukey::KeyEvent> event = AwaitEvent(events, options.timeout);
        if (!event) {
            ThrowNoEvent();
        }
        Report& report = session.Result();
        report.Add("event", "Event", NameOf(event->kind));
        report.Add("serial_number", "Serial number", event->serial_number);
        if (event->code != ORVAL_OK) {
            report.Add("", "Code", codes::InBothForms(event->code));
            report.AddDetail("code", int64_t{event->code});
            report.AddDetail("hex", codes::Hexadecimal(event->code));
        }
        session.Publish();
    }
}

void AddWait(cli::Command& app, Session& session) {
    const auto options = std::make_shared<WaitOptions>();
    cli::Command verb = AddVerb(app, "wait", "Wait until a key is plugged or unplugged", session,
                                [options](Session& running) { Wait(running, *options); });
    verb.Add("--timeout", options->timeout,
             "Give up when nothing has happened for so long; without it, never")
        .Takes("SECONDS")
        .Checked(cli::Seconds(1000000));
    verb.Add("--count", options->count, "End after so many events; 0 goes on")
        .Checked(cli::WholeNumber(0, INT32_MAX))
        .ShowDefault();
    AddExamples(verb, {"ukeyctl wait", "ukeyctl wait --timeout 30 || echo 'no key'",
                       "ukeyctl wait --count 0 --json        one JSON object per event"});
}

// The library tells by one code that nothing can be loaded; what it is, the installation tells.
// Nothing is thrown where nothing is seen to be wrong with that.
void ThrowReason(cli::ExitStatus status, const std::string& what, const std::string& why,
                 const ukey::Error* error = nullptr) {
    const doctor::Finding finding = doctor::WhyNoBackend(std::chrono::seconds(10));
    if (finding.verdict != doctor::Verdict::kBroken) {
        return;
    }
    cli::Failure failure = cli::MakeFailure(status, what, why + ": " + finding.reason,
                                            finding.next + "; 'ukeyctl doctor' looks at all of it");
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
                        std::string(error.Function()) + " failed", codes::InBothForms(error.Code()),
                        &error);
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
    AddWait(app, session);
    AddCheck(app, session);
}
