#include "view.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "cli/words.h"
#include "engine.h"
#include "maker/places.h"

namespace recorder {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRunner = "run-client";
constexpr const char* kEngineName = "liborval_recorder.so";
constexpr int kSignalled = 128;
constexpr int kNotFound = 127;

using Words = std::vector<std::string>;

void Add(Words& words, std::initializer_list<std::string> more) {
    words.insert(words.end(), more);
}

std::vector<fs::path> Places() {
    return {maker::kBackendPath, maker::kTokenPath};
}

bool AreThere() {
    const std::vector<fs::path> places = Places();
    return fs::is_regular_file(places[0]) && fs::is_regular_file(places[1]);
}

// Where a mount lies that a path names: behind its symbolic links.
std::string Resolved(const fs::path& path) {
    return fs::canonical(path).string();
}

// The real libraries under another place, beside all that lies beside them: they may look there for
// more of the maker's.
Words KeepReal(const std::string& folder) {
    const fs::path real = fs::path(folder) / kRealFolder;
    fs::create_directory(real);
    Words view;
    for (const auto& file : fs::directory_iterator(maker::kApplicationDirectory)) {
        const fs::path name = file.path().filename();
        if (file.path() == maker::kBackendPath || file.path() == maker::kTokenPath) {
            Add(view, {"--ro-bind", Resolved(file.path()), (real / name).string()});
        } else {
            fs::create_symlink(file.path(), real / name);
        }
    }
    return view;
}

// A folder cannot be given new files without root, so that the nearest one that exists is made
// anew, with all that is in it but what leads to the libraries.
Words MakeFolder() {
    fs::path existing = maker::kApplicationDirectory;
    while (!fs::is_directory(existing)) {
        existing = existing.parent_path();
    }
    if (existing == existing.root_path()) {
        throw NoView("there is no folder /opt");
    }
    Words view = {"--tmpfs", existing.string()};
    for (const auto& file : fs::directory_iterator(existing)) {
        const std::string name = file.path().string();
        const bool is_library =
            file.path() == maker::kBackendPath || file.path() == maker::kTokenPath;
        if (!is_library && file.is_symlink()) {
            Add(view, {"--symlink", fs::read_symlink(file.path()).string(), name});
        } else if (!is_library) {
            Add(view, {"--dev-bind", name, name});
        }
    }
    return view;
}

Words ViewOf(const Settings& settings, const std::string& libraries) {
    const bool are_there = AreThere();
    Words view;
    if (settings.mode == Settings::Mode::kRecord) {
        if (!are_there) {
            throw NothingInstalled(cli::Say("the maker's two libraries are not both in {1}",
                                            maker::kApplicationDirectory));
        }
        view = KeepReal(settings.folder);
    } else if (!are_there) {
        view = MakeFolder();
    }
    for (const fs::path& place : Places()) {
        Add(view, {"--ro-bind", (fs::path(libraries) / place.filename()).string(),
                   are_there ? Resolved(place) : place.string()});
    }
    return view;
}

[[noreturn]] void Execute(const Words& words) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(kNotFound);
}

int Run(const Words& words) {
    // A key pressed to end the client must not end what writes its end down.
    const auto interrupt = std::signal(SIGINT, SIG_IGN);
    const auto quit = std::signal(SIGQUIT, SIG_IGN);
    const pid_t child = fork();
    if (child == 0) {
        Execute(words);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    std::signal(SIGINT, interrupt);
    std::signal(SIGQUIT, quit);
    return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Outcome ReadOutcome(const std::string& folder, int status) {
    std::ifstream file(folder + "/" + kOutcomeFile);
    std::string way;
    Outcome outcome;
    if (!(file >> way >> outcome.number)) {
        throw NoView(status == kNotFound ? "bwrap is missing"
                                         : cli::Say("bwrap ended with {1}", status));
    }
    outcome.way = way == "signal" ? Outcome::Way::kSignal : Outcome::Way::kExit;
    return outcome;
}

}  // namespace

Workplace::Workplace() {
    std::string pattern = (fs::temp_directory_path() / "ukeyctl-recorder.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    folder_ = pattern;
}

Workplace::~Workplace() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

int Outcome::Status() const {
    return way == Way::kSignal ? kSignalled + number : number;
}

Outcome RunInView(const Settings& settings, const std::string& libraries,
                  const std::vector<std::string>& command) {
    Words words = {"bwrap", "--dev-bind", "/", "/", "--die-with-parent"};
    const Words view = ViewOf(settings, libraries);
    words.insert(words.end(), view.begin(), view.end());
    const fs::path beside = libraries;
    fs::create_symlink(beside / kEngineName, fs::path(settings.folder) / kEngineFile);
    Add(words, {"--setenv", kFolderVariable, settings.folder, "--", (beside / kRunner).string(),
                settings.folder + "/" + kOutcomeFile});
    words.insert(words.end(), command.begin(), command.end());
    return ReadOutcome(settings.folder, Run(words));
}

}  // namespace recorder
