#include "session.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "cli/files.h"
#include "cli/last_resort.h"
#include "cli/printable.h"
#include "cli/words.h"
#include "codes/advice.h"
#include "codes/notation.h"

namespace {

constexpr const char* kLibraryVariable = "ORVAL_LIBRARY";

// The library installed or built beside this command, or just its name for the loader to find.
Session::LibraryChoice DefaultLibrary() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto beside = program.parent_path().parent_path() / "lib" / ukey::kLibraryName;
    if (!error && std::filesystem::exists(beside, error)) {
        return {beside.string(), cli::Mark("its place beside this command")};
    }
    return {ukey::kLibraryName, cli::Mark("the loader")};
}

cli::Failure FailureOf(const ukey::Error& error, const std::string& verb) {
    const std::string text = error.code().message();  // once: the key is asked for it
    cli::Failure failure;
    failure.status = codes::StatusFor(error.Code(), text);
    failure.what = cli::Say("{1} failed", std::string(error.Function()));
    failure.why = codes::InBothForms(error.Code()) + ": " + text;
    failure.next = codes::NextFor(error.Code(), error.Function(), text,
                                  cli::Say("'ukeyctl {1} --help'", verb));
    failure.function = error.Function();
    failure.code = error.Code();
    return failure;
}

cli::Failure FailureOf(const ukey::ZeroByteError& error) {
    return cli::MakeFailure(
        cli::ExitStatus::kUsage, "not carried out",
        cli::Say("a text for {1} has a zero byte, behind which the key would not see it",
                 error.Function()),
        "give a text without zero bytes; binary data goes in hexadecimal or Base64 where the key "
        "takes that");
}

cli::Failure FailureOf(const ukey::LoadError& error) {
    return cli::MakeFailure(
        cli::ExitStatus::kLibraryNotLoaded, "the key library is not usable", error.what(),
        "name the library with --library PATH or the environment variable ORVAL_LIBRARY; if it is "
        "the maker's library that is missing, install the key's software; 'ukeyctl doctor' tells "
        "which");
}

cli::Failure OutputFailure() {
    return cli::MakeFailure(cli::ExitStatus::kFile, "cannot write to standard output",
                            cli::SayError(errno), "check where the output goes");
}

cli::Failure InternalFailure(const char* why) {
    return cli::MakeFailure(cli::ExitStatus::kInternal, cli::kOwnFault, why, cli::kNextForOwnFault);
}

}  // namespace

Session::LibraryChoice Session::WhichLibrary() const {
    if (!library_path.empty()) {
        return {library_path, "--library"};
    }
    const char* variable = std::getenv(kLibraryVariable);
    const bool named = variable != nullptr && *variable != '\0';
    return named ? LibraryChoice{variable, kLibraryVariable} : DefaultLibrary();
}

const ukey::Library& Session::Library() {
    if (!library_) {
        library_.emplace(WhichLibrary().path);
        ApplySettings();
    }
    return *library_;
}

void Session::ApplySettings() {
    if (!charset.empty()) {
        library_->SetCharset(serial_number, charset);
    }
    if (!language.empty()) {
        library_->SetLanguage(serial_number, language);
    }
}

ukey::Key Session::Key() {
    const std::string chosen = serial_number.empty() ? ChooseSerialNumber() : serial_number;
    report_.AddDetail("serial_number", chosen);
    return Library().KeyOf(chosen);
}

std::string Session::ChooseSerialNumber() {
    const KeyChoice choice = ChooseKey(Library(), key_use);
    if (!choice.notice.empty()) {
        std::fputs(
            cli::Encoded("ukeyctl " + verb_ + ": " + cli::Printable(choice.notice) + "\n").c_str(),
            stderr);
    }
    return choice.serial_number;
}

void Session::Publish() {
    Show(nullptr);
    report_ = Report();
    published_ = true;
}

void Session::Stream(const std::string& text) {
    Write(text);
    published_ = true;
}

void Session::Show(const cli::Failure* failure) {
    using Destination = Report::Destination;
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    Write(json ? report_.ForScripts(verb_, failure)
               : report_.ForPeople(terminal ? Destination::kTerminal : Destination::kFile));
}

void Session::Write(const std::string& text) {
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0 || !cli::IsKept(STDOUT_FILENO)) {
        throw cli::CommandFailure(OutputFailure());
    }
}

int Session::Fail(const std::string& verb, const cli::Failure& failure) {
    verb_ = verb;
    Complain(failure);
    try {
        Show(&failure);
    } catch (const cli::CommandFailure& unwritable) {
        Complain(unwritable.Details());
    }
    return static_cast<int>(failure.status);
}

void Session::Complain(const cli::Failure& failure) const {
    const std::string name = verb_.empty() ? "ukeyctl" : "ukeyctl " + verb_;
    std::fputs(cli::Describe(name, failure, cli::Layout::kAligned).c_str(), stderr);
}

int Session::Run(const cli::Chosen& chosen) {
    verb_ = chosen.path;
    try {
        const cli::ExitStatus status = chosen.work();
        if (!published_) {
            Publish();
        }
        return static_cast<int>(status);
    } catch (const cli::CommandFailure& failure) {
        return Fail(verb_, failure.Details());
    } catch (const ukey::ZeroByteError& error) {
        return Fail(verb_, FailureOf(error));
    } catch (const ukey::Error& error) {
        return Fail(verb_, FailureOf(error, verb_));
    } catch (const ukey::LoadError& error) {
        return Fail(verb_, FailureOf(error));
    } catch (const std::system_error& error) {
        return Fail(verb_, cli::MakeFailure(cli::ExitStatus::kFile, error.what(), {},
                                            "check the path, the permissions and the free space"));
    } catch (const std::bad_alloc&) {
        return Fail(verb_, cli::LackOfMemory());
    } catch (const std::exception& error) {
        return Fail(verb_, InternalFailure(error.what()));
    }
}
