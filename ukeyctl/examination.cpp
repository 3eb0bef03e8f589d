#include "examination.h"

#include <cmath>

#include "cli/checks.h"
#include "plugged_keys.h"

namespace {

std::vector<doctor::ListedKey> ListKeys(const ukey::Library& library) {
    std::vector<doctor::ListedKey> listed;
    for (const PluggedKey& key : ListPluggedKeys(library)) {
        listed.push_back({key.slot, key.serial_number, key.problem});
    }
    return listed;
}

}  // namespace

void AddExaminationOptions(cli::Command& verb, ExaminationOptions& options) {
    verb.Add("--client", options.client, "A client's program: would it find the library?")
        .Takes("PROGRAM")
        .Checked(cli::CheckNotEmpty);
    verb.Add("--timeout", options.limit,
             "How long a library may take to load, and the keys to answer")
        .Takes("SECONDS")
        .Checked(cli::Seconds(3600))
        .ShowDefault();
}

doctor::Question QuestionOf(const Session& session, const ExaminationOptions& options) {
    doctor::Question question;
    const Session::LibraryChoice choice = session.WhichLibrary();
    question.library = choice.path;
    question.chosen_by = choice.by;
    question.client = options.client;
    question.limit = std::chrono::milliseconds(std::llround(options.limit * 1000));
    question.list_keys = ListKeys;
    return question;
}
