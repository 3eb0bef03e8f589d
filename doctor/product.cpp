// The product, its copies, and whether a client finds it.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

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
    const std::string how = needs ? path + " is linked with the library"
                                  : path +
                                        " is not linked with the library; what it loads while "
                                        "it runs cannot be told, by its name it";
    if (found.empty()) {
        return needs ? Broken(how + " and does not find it", kNameIt)
                     : Doubtful(how + " would not find it",
                                "install the package of the library, or set LD_LIBRARY_PATH for "
                                "the program");
    }
    return Well(how + (needs ? " and finds " : " would find ") + found);
}

}  // namespace

Finding LookAtProduct(const Examination& examination) {
    const Apart& product = examination.product;
    const std::string by = " (chosen by " + examination.question.chosen_by + ")";
    if (product.Has("refused")) {
        return Broken(
            "the loader says: " + product.Last("refused") + by,
            product.Last("refused").find("R7Token") != std::string::npos ? kReinstall : kNameIt);
    }
    if (!product.IsDone()) {
        return Broken("trying " + examination.question.library + by + " " + product.Ending(),
                      "see to what is broken above, then reinstall the package of the library");
    }
    if (product.Has("threw")) {
        return Broken(examination.question.library + by + " threw: " + product.Last("threw"),
                      "reinstall the package of the library");
    }
    const std::vector<std::string> missing = product.All("missing");
    if (!missing.empty()) {
        return Broken(product.Last("found") + by + " lacks " + Joined(missing),
                      "reinstall the package of the library: this is another library, or an older "
                      "one");
    }
    return Well(Versioned(product) + by);
}

Finding LookAtOtherCopies(const Examination& examination) {
    const std::string ours = examination.product.Last("found");
    const std::string theirs = examination.product_by_name.Last("found");
    if (theirs.empty()) {
        return Doubtful(
            std::string("a client that loads ") + ukey::kLibraryName +
                " by its name does not find it: " + examination.product_by_name.Last("refused"),
            "install the package of the library, or set LD_LIBRARY_PATH for the client");
    }
    if (!ours.empty() && RealPath(ours) != RealPath(theirs)) {
        return Doubtful("this command uses " + Versioned(examination.product) +
                            ", and clients find " + Versioned(examination.product_by_name),
                        "remove one of the two, or look with --library " + Quoted(theirs));
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
        return Doubtful(theirs + " wins over " + Joined(shadowed),
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
        return Doubtful("the product uses " + used + ", not the one in the application directory",
                        "take its folder out of LD_LIBRARY_PATH: " +
                            std::string(std::filesystem::path(used).parent_path()));
    }
    return Well(used);
}

Finding LookAtClient(const Examination& examination) {
    const std::string path = ClientPath(examination.question.client);
    struct stat status {};
    if (path.empty() || stat(path.c_str(), &status) != 0) {
        return Broken("there is no program " + examination.question.client +
                          (path.empty() ? " in PATH" : std::string(": ") + std::strerror(errno)),
                      "give the path of the client's program with --client");
    }
    if (!S_ISREG(status.st_mode) || access(path.c_str(), R_OK) != 0) {
        return Unknown(path + " is no file that can be read",
                       "give the path of the client's program with --client");
    }
    if (IsScript(path)) {
        return Unknown(path + " is a script", "give the program that it runs in the end");
    }
    const ElfFile client = ReadElf(path);
    switch (client.kind) {
        case ElfFile::Kind::kNoElf:
            return Unknown(path + " is no program of this system (no ELF file)",
                           "give the path of the client's program with --client");
        case ElfFile::Kind::kOtherCpu:
            return Broken(
                path + " is for " + client.cpu + ", and can load no library for " + OwnCpu(),
                "install the edition of the client for " + OwnCpu());
        case ElfFile::Kind::kCutShort:
            return Broken(path + " is cut short", "install the client anew");
        case ElfFile::Kind::kSound:
            break;
    }
    return LookAtProgram(client, path, examination);
}

}  // namespace doctor
