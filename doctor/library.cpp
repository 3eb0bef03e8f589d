// The key maker's two libraries, each from outside, then loaded apart.

#include "doctor/library.h"

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cli/words.h"
#include "codes/catalogue.h"
#include "codes/code.h"

namespace doctor {
namespace {

// Why it is no library that could be loaded, seen without reading it.
std::optional<Finding> LookAtPlace(const std::string& path, struct stat& status) {
    if (lstat(path.c_str(), &status) != 0) {
        return Broken(cli::Say("{1}: {2}", path, cli::SayError(errno)), kReinstall);
    }
    if (S_ISLNK(status.st_mode) && stat(path.c_str(), &status) != 0) {
        return Broken(cli::Say("{1} is a link that leads nowhere", path), kReinstall);
    }
    if (!S_ISREG(status.st_mode)) {
        return Broken(cli::Say("{1} is {2}, not a library", path, KindOf(status)), kReinstall);
    }
    if (access(path.c_str(), R_OK) != 0) {
        return Broken(cli::Say("{1} cannot be read: {2}", path, cli::SayError(errno)),
                      "sudo chmod a+r " + Quoted(path));
    }
    return std::nullopt;
}

Finding LookAtFile(const std::string& path, ElfFile& elf) {
    struct stat status {};
    if (const std::optional<Finding> finding = LookAtPlace(path, status)) {
        return *finding;
    }
    elf = ReadElf(path);
    switch (elf.kind) {
        case ElfFile::Kind::kNoElf:
            return Broken(status.st_size == 0 ? cli::Say("{1} is empty", path)
                                              : cli::Say("{1} is no library (no ELF file)", path),
                          kReinstall);
        case ElfFile::Kind::kOtherCpu:
            return Broken(
                cli::Say("{1} is for {2}, and this software for {3}", path, elf.cpu, OwnCpu()),
                cli::Say("install the key's software for {1}", OwnCpu()));
        case ElfFile::Kind::kCutShort:
            return Broken(
                cli::Say("{1} is cut short: parts that its headers name are missing", path),
                kReinstall);
        case ElfFile::Kind::kSound:
            break;
    }
    if (OthersMayChange(status)) {
        return Doubtful(cli::Say("others can change {1}, which every client loads", path),
                        "sudo chown root: " + Quoted(path) + " && sudo chmod go-w " + Quoted(path));
    }
    const std::string real = RealPath(path);
    return Well(real == path ? elf.cpu : cli::Say("{1}, by a link to {2}", elf.cpu, real));
}

bool Holds(const std::string& folder, const std::string& name) {
    return access((folder + "/" + name).c_str(), F_OK) == 0;
}

// Where the loader looks first is known; for the rest it is asked itself.
std::vector<std::string> FindMissing(const ElfFile& elf, const std::string& path,
                                     std::chrono::milliseconds limit) {
    const std::string origin = std::filesystem::path(RealPath(path)).parent_path();
    const std::vector<std::string> folders = FoldersOf(elf.run_path, origin);
    std::vector<std::string> elsewhere;
    for (const std::string& needed : elf.needed) {
        const bool found = std::any_of(folders.begin(), folders.end(),
                                       [&](const std::string& one) { return Holds(one, needed); });
        if (!found) {
            elsewhere.push_back(needed);
        }
    }
    const Apart tried = RunApart(
        [&elsewhere](const Teller& tell) {
            for (const std::string& needed : elsewhere) {
                if (dlopen(needed.c_str(), RTLD_LAZY) == nullptr &&
                    ukey::detail::LoaderReason().find("cannot open") != std::string::npos) {
                    tell("missing", needed);
                }
            }
        },
        limit);
    return tried.All("missing");
}

// The software key's own text of one of its own codes.
bool SpeaksAsSoftwareKey(void* handle) {
    using Text = const char* (*)(int64_t);
    void* const entry = dlsym(handle, "X_ErrorConvert_UOS");
    const auto code = codes::Number(codes::Code::kStoreDamaged);
    const codes::Row* const row = codes::Find(code);
    if (entry == nullptr || row == nullptr) {
        return false;
    }
    const char* const text = reinterpret_cast<Text>(entry)(code);
    return text != nullptr &&
           (std::strcmp(text, row->english) == 0 || std::strcmp(text, row->chinese) == 0);
}

Apart Load(const LibraryFacts& library, std::chrono::milliseconds limit) {
    return RunApart(
        [&library](const Teller& tell) {
            void* const handle = dlopen(library.path.c_str(), RTLD_LAZY);
            if (handle == nullptr) {
                tell("refused", ukey::detail::LoaderReason());
                return;
            }
            tell("loaded");
            for (const std::string& entry : library.entries) {
                if (dlsym(handle, entry.c_str()) == nullptr) {
                    tell("missing", entry);
                }
            }
            if (SpeaksAsSoftwareKey(handle)) {
                tell("software key");
            }
        },
        limit);
}

Finding NotTried() {
    return Unknown("not tried: see what is said of its file", {});
}

}  // namespace

LibraryFacts::LibraryFacts(std::string library_path, std::vector<std::string> entry_names,
                           std::chrono::milliseconds limit)
    : path(std::move(library_path)),
      name(path.substr(path.rfind('/') + 1)),
      entries(std::move(entry_names)),
      file(LookAtFile(path, elf)) {
    if (IsSound()) {
        missing_libraries = FindMissing(elf, path, limit);
        loading = Load(*this, limit);
    }
}

Finding LookAtNeeded(const LibraryFacts& library) {
    if (!library.IsSound()) {
        return NotTried();
    }
    if (!library.missing_libraries.empty()) {
        return Broken(
            cli::Say("{1} needs what is not found: {2}", library.name,
                     Joined(library.missing_libraries)),
            cli::Say("install the packages that hold {1}; 'apt-file search NAME' tells which",
                     Joined(library.missing_libraries)));
    }
    return Well(cli::Say("{1} found", library.elf.needed.size()));
}

Finding LookAtCLibrary(const LibraryFacts& library) {
    if (!library.IsSound()) {
        return NotTried();
    }
    const std::string present = gnu_get_libc_version();
    if (IsOlder(present, library.elf.newest_libc)) {
        return Broken(cli::Say("{1} needs glibc {2}, and this computer has {3}", library.name,
                               library.elf.newest_libc, present),
                      "install the edition of the key's software that is made for this system, or "
                      "a newer system");
    }
    return Well(library.elf.newest_libc.empty()
                    ? "any will do"
                    : cli::Say("needs {1}, has {2}", library.elf.newest_libc, present));
}

Finding LookAtLoading(const LibraryFacts& library) {
    if (!library.IsSound()) {
        return NotTried();
    }
    if (library.IsLoaded()) {
        return Well(library.is_software_keys ? "loads: the software key's" : "loads");
    }
    if (library.loading.Has("refused")) {
        return Broken(cli::Say("the loader says: {1}", library.loading.Last("refused")),
                      kReinstall);
    }
    if (library.loading.end == Apart::End::kNotStarted) {
        return Unknown(cli::Say("loading {1} {2}", library.name, library.loading.Ending()),
                       "end other programs, and run this again");
    }
    return Broken(
        library.loading.Has("threw")
            ? cli::Say("loading {1} threw: {2}", library.name, library.loading.Last("threw"))
            : cli::Say("loading {1} {2}", library.name, library.loading.Ending()),
        cli::Say("{1}; if it stays so, report it to the key's maker", kReinstall));
}

Finding LookAtEntries(const LibraryFacts& library) {
    if (!library.IsLoaded()) {
        return Unknown("not looked for: it is not loaded", {});
    }
    const std::vector<std::string> missing = library.loading.All("missing");
    const std::string all = std::to_string(library.entries.size());
    if (!missing.empty()) {
        return Broken(
            cli::Say("{1} of {2} missing: {3}", missing.size(), all, Joined(missing)),
            cli::Say("{1}: this is another edition of {2}, or another library under its name",
                     kReinstall, library.name));
    }
    return Well(cli::Say("all {1} there", all));
}

}  // namespace doctor
