// The product, its copies, and whether a client finds it.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cli/words.h"
#include "doctor/checks.h"
#include "maker/places.h"

namespace doctor {
namespace {

constexpr const char* kNameIt =
    "name it with --library PATH or ORVAL_LIBRARY, or install the package of the library";

std::string Versioned(const Apart& product) {
    const std::string version = product.Last("version");
    return product.Last("found") + (version.empty() ? "" : " (" + version + ")");
}

// The folders that a client's loader looks into before its own ones.
std::vector<std::string> FoldersOfEnvironment() {
    const char* const folders = std::getenv("LD_LIBRARY_PATH");
    return folders == nullptr ? std::vector<std::string>() : FoldersOf(folders, "");
}

// Where packages and installations from source put libraries.
constexpr const char* kFoldersOfSystem[] = {
    "/usr/local/lib",
    "/usr/lib",
#if defined(__aarch64__)
    "/usr/local/lib/aarch64-linux-gnu",
    "/usr/lib/aarch64-linux-gnu",
#elif defined(__x86_64__)
    "/usr/local/lib/x86_64-linux-gnu",
    "/usr/lib/x86_64-linux-gnu",
#endif
};

bool HoldsProduct(const std::string& folder) {
    return access((folder + "/" + ukey::kLibraryName).c_str(), R_OK) == 0;
}

std::string ClientPath(const std::string& client) {
    return client.find('/') != std::string::npos ? client : FindProgram(client);
}

bool IsScript(const std::string& path) {
    std::ifstream file(path);
    char mark[2] = {};
    file.read(mark, sizeof mark);
    return mark[0] == '#' && mark[1] == '!';
}

// Where the loader would find the product for this program; empty: nowhere.
std::string FoundFor(const ElfFile& client, const std::string& path,
                     const Examination& examination) {
    std::vector<std::string> folders = FoldersOfEnvironment();
    const std::string origin = std::filesystem::path(RealPath(path)).parent_path();
    for (const std::string& folder : FoldersOf(client.run_path, origin)) {
        folders.push_back(folder);
    }
    const auto holder = std::find_if(folders.begin(), folders.end(), HoldsProduct);
    return holder != folders.end() ? *holder + "/" + ukey::kLibraryName
                                   : examination.product_by_name.Last("found");
}

Finding LookAtProgram(const ElfFile& client, const std::string& path,
                      const Examination& examination) {
    const bool needs = std::find(client.needed.begin(), client.needed.end(),
                                 std::string(ukey::kLibraryName)) != client.needed.end();
    const std::string found = FoundFor(client, path, examination);
    if (found.empty() && needs) {
        return Broken(cli::Say("{1} is linked with the library and does not find it", path),
                      kNameIt);
    }
    if (found.empty()) {
        return Doubtful(cli::Say("{1} is not linked with the library; what it loads while it runs "
                                 "cannot be told, by its name it would not find it",
                                 path),
                        "install the package of the library, or set LD_LIBRARY_PATH for the "
                        "program");
    }
    return Well(needs ? cli::Say("{1} is linked with the library and finds {2}", path, found)
                      : cli::Say("{1} is not linked with the library; what it loads while it runs "
                                 "cannot be told, by its name it would find {2}",
                                 path, found));
}

}  // namespace

Finding LookAtProduct(const Examination& examination) {
    const Apart& product = examination.product;
    const std::string by = cli::Say("(chosen by {1})", examination.question.chosen_by.c_str());
    if (product.Has("refused")) {
        return Broken(
            cli::Say("the loader says: {1} {2}", product.Last("refused"), by),
            product.Last("refused").find("R7Token") != std::string::npos ? kReinstall : kNameIt);
    }
    if (!product.IsDone()) {
        return Broken(
            cli::Say("trying {1} {2} {3}", examination.question.library, by, product.Ending()),
            "see to what is broken above, then reinstall the package of the library");
    }
    if (product.Has("threw")) {
        return Broken(
            cli::Say("{1} {2} threw: {3}", examination.question.library, by, product.Last("threw")),
            "reinstall the package of the library");
    }
    const std::vector<std::string> missing = product.All("missing");
    if (!missing.empty()) {
        return Broken(cli::Say("{1} {2} lacks {3}", product.Last("found"), by, Joined(missing)),
                      "reinstall the package of the library: this is another library, or an older "
                      "one");
    }
    return Well(Versioned(product) + " " + by);
}

Finding LookAtOtherCopies(const Examination& examination) {
    const std::string ours = examination.product.Last("found");
    const std::string theirs = examination.product_by_name.Last("found");
    if (theirs.empty()) {
        return Doubtful(
            cli::Say("a client that loads {1} by its name does not find it: {2}",
                     ukey::kLibraryName, examination.product_by_name.Last("refused")),
            "install the package of the library, or set LD_LIBRARY_PATH for the client");
    }
    if (!ours.empty() && RealPath(ours) != RealPath(theirs)) {
        return Doubtful(
            cli::Say("this command uses {1}, and clients find {2}", Versioned(examination.product),
                     Versioned(examination.product_by_name)),
            cli::Say("remove one of the two, or look with --library {1}", Quoted(theirs)));
    }
    std::vector<std::string> shadowed;
    std::vector<std::string> folders = FoldersOfEnvironment();
    folders.insert(folders.end(), std::begin(kFoldersOfSystem), std::end(kFoldersOfSystem));
    for (const std::string& folder : folders) {
        const std::string copy = folder + "/" + ukey::kLibraryName;
        if (HoldsProduct(folder) && RealPath(copy) != RealPath(theirs)) {
            shadowed.push_back(copy);
        }
    }
    if (!shadowed.empty()) {
        return Doubtful(cli::Say("{1} wins over {2}", theirs, Joined(shadowed)),
                        "remove what is not meant, or take its folder out of LD_LIBRARY_PATH");
    }
    return Well("clients find the same by its name");
}

Finding LookAtTokenInUse(const Examination& examination) {
    const std::string used = examination.product.Last("token");
    if (used.empty()) {
        return Unknown("the product is not loaded", {});
    }
    if (RealPath(used) != RealPath(maker::kTokenPath)) {
        return Doubtful(
            cli::Say("the product uses {1}, not the one in the application directory", used),
            cli::Say("take its folder out of LD_LIBRARY_PATH: {1}",
                     std::string(std::filesystem::path(used).parent_path())));
    }
    return Well(used);
}

Finding LookAtClient(const Examination& examination) {
    const std::string path = ClientPath(examination.question.client);
    struct stat status {};
    if (path.empty() || stat(path.c_str(), &status) != 0) {
        return Broken(path.empty()
                          ? cli::Say("there is no program {1} in PATH", examination.question.client)
                          : cli::Say("there is no program {1}: {2}", examination.question.client,
                                     cli::SayError(errno)),
                      "give the path of the client's program with --client");
    }
    if (!S_ISREG(status.st_mode) || access(path.c_str(), R_OK) != 0) {
        return Unknown(cli::Say("{1} is no file that can be read", path),
                       "give the path of the client's program with --client");
    }
    if (IsScript(path)) {
        return Unknown(cli::Say("{1} is a script", path),
                       "give the program that it runs in the end");
    }
    const ElfFile client = ReadElf(path);
    switch (client.kind) {
        case ElfFile::Kind::kNoElf:
            return Unknown(cli::Say("{1} is no program of this system (no ELF file)", path),
                           "give the path of the client's program with --client");
        case ElfFile::Kind::kOtherCpu:
            return Broken(cli::Say("{1} is for {2}, and can load no library for {3}", path,
                                   client.cpu, OwnCpu()),
                          cli::Say("install the edition of the client for {1}", OwnCpu()));
        case ElfFile::Kind::kCutShort:
            return Broken(cli::Say("{1} is cut short", path), "install the client anew");
        case ElfFile::Kind::kSound:
            break;
    }
    return LookAtProgram(client, path, examination);
}

}  // namespace doctor
