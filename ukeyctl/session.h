#ifndef UKEYCTL_SESSION_H
#define UKEYCTL_SESSION_H

#include <functional>
#include <optional>
#include <string>

#include "cli/command.h"
#include "cli/progress.h"
#include "key_choice.h"
#include "report.h"
#include "ukey.hpp"

// One run of the command: what every verb may be told, the library once a verb asks for it, and
// what the verb reports.
class Session {
 public:
    using Action = std::function<void(Session&)>;

    // Filled by the command line.
    std::string library_path;
    std::string serial_number;
    std::string charset;
    std::string language;
    bool json = false;

    // Set by the verb that takes a key.
    KeyUse key_use = KeyUse::kChanging;

    // The product that a verb would load, and what names it.
    struct LibraryChoice {
        std::string path;
        std::string by;
    };
    LibraryChoice WhichLibrary() const;

    // The product, loaded by the first verb that needs it.
    const ukey::Library& Library();

    // The key named on the command line, else the one that is plugged, as far as the verb may
    // choose it.
    ukey::Key Key();

    Report& Result() { return report_; }

    // The exit status of a verb that was carried out but tells more than that.
    void ConcludeWith(cli::ExitStatus status) { conclusion_ = status; }
    cli::ExitStatus Conclusion() const { return conclusion_; }

    // Shows the report now and starts another, for verbs that report as things happen.
    void Publish();

    // Shows a part of what the verb has to tell, for verbs with more of it than a report should
    // hold. A report that is empty is not shown then.
    void Stream(const std::string& text);

    // Does the verb's work, shows its report or failure, and gives the command's exit status.
    int Run(const cli::Chosen& chosen);

    // Shows the failure of a verb, or of the command where there is none, and gives the exit
    // status.
    int Fail(const std::string& verb, const cli::Failure& failure);

 private:
    void ApplySettings();
    std::string ChooseSerialNumber();
    void Complain(const cli::Failure& failure) const;
    void Show(const cli::Failure* failure);
    void Write(const std::string& text);

    std::string verb_;
    std::optional<ukey::Library> library_;
    Report report_;
    bool published_ = false;
    cli::ExitStatus conclusion_ = cli::ExitStatus::kDone;
};

// Has the key do its work, and gives what it gives. That may take long, and a dialog may ask for a
// PIN or a consent meanwhile.
template <typename Work>
auto WhileItWorks(const ukey::Key& key, const Work& work) {
    return cli::Meanwhile(cli::Mark("the key is at work"), [&key, &work] { return work(key); });
}

#endif
