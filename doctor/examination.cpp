#include "doctor/examination.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "cli/words.h"
#include "codes/advice.h"
#include "maker/entries.h"
#include "maker/places.h"
#include "maker/token.h"

namespace doctor {
namespace {

// What a child tells of a problem beside its text.
constexpr const char* kNext = "_next";
constexpr const char* kCode = "_code";

constexpr const char* kLogPath = "/tmp/VexaPinpad_ORVAL.log";

void TellFunctions(void* handle, const Teller& tell) {
    for (const char* const name : ukey::kFunctionNames) {
        if (dlsym(handle, name) == nullptr) {
            tell("missing", name);
        }
    }
}

void TellToken(const Teller& tell) {
    const std::string file = std::string(maker::kTokenPath);
    void* const token = dlopen(file.substr(file.rfind('/') + 1).c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (token != nullptr) {
        tell("token", FoundAt(token));
    }
}

// Any of these may hang or crash; what is being asked is told first. What goes wrong is told with
// what to do about it, and its code.
template <typename Ask>
std::string AskFor(const Teller& tell, const char* function, const std::string& problem,
                   const Ask& ask) {
    tell("asking", function);
    try {
        return ask();
    } catch (const ukey::Error& error) {
        tell(problem, error.what());
        tell(problem + kNext,
             codes::NextFor(error.Code(), function, error.code().message(), "'ukeyctl --help'"));
        tell(problem + kCode, std::to_string(error.Code()));
    }
    return {};
}

void TellCertificates(const ukey::Key& key, const Teller& tell) {
    constexpr std::pair<int32_t, const char*> kUses[] = {{1, cli::Mark("signing")},
                                                         {2, cli::Mark("encryption")}};
    for (const auto& [selector, use] : kUses) {
        tell("certificate", use);
        tell("certificate_text", AskFor(tell, "GetCert", "certificate_problem",
                                        [&, which = selector] { return key.GetCert(which, 0); }));
    }
}

void TellKey(const ukey::Library& library, const ListedKey& listed, const Teller& tell) {
    tell("key", std::to_string(listed.slot));
    tell("problem", listed.problem);
    tell("serial_number", listed.serial_number);
    if (listed.serial_number.empty()) {
        return;
    }
    const ukey::Key key = library.KeyOf(listed.serial_number);
    tell("label", AskFor(tell, "GetLabel", "label_problem", [&key] { return key.GetLabel(); }));
    const std::string record =
        AskFor(tell, "GetPinInfo", "PIN_problem", [&key] { return key.GetPinInfo(); });
    if (const auto tries = ukey::ParsePinTries(record)) {
        tell("tries_left", std::to_string(tries->left));
        tell("tries_at_most", std::to_string(tries->at_most));
    }
    TellCertificates(key, tell);
}

Apart AskKeys(const Question& question, const Apart& product) {
    if (!product.Has("found") || !product.IsDone() || !question.list_keys) {
        return {};
    }
    return RunApart(
        [&question](const Teller& tell) {
            const ukey::Library library(question.library);
            tell("asking", cli::Mark("the list of slots"));
            for (const ListedKey& listed : question.list_keys(library)) {
                TellKey(library, listed, tell);
            }
        },
        question.limit);
}

// Where a fact of that name belongs; null for those that the doctor does not know.
std::string* PlaceOf(KeyFacts& key, const std::string& name) {
    static Certificate nowhere;
    Certificate& certificate = key.certificates.empty() ? nowhere : key.certificates.back();
    const std::pair<const char*, std::string*> places[] = {
        {"serial_number", &key.serial_number},
        {"problem", &key.problem},
        {"label_problem", &key.label_problem.text},
        {"label_problem_next", &key.label_problem.next},
        {"tries_left", &key.tries_left},
        {"tries_at_most", &key.tries_at_most},
        {"PIN_problem", &key.pin_problem.text},
        {"PIN_problem_next", &key.pin_problem.next},
        {"certificate_text", &certificate.text},
        {"certificate_problem", &certificate.problem.text},
        {"certificate_problem_next", &certificate.problem.next},
    };
    const auto* const place = std::find_if(std::begin(places), std::end(places),
                                           [&name](const auto& one) { return one.first == name; });
    return place == std::end(places) ? nullptr : place->second;
}

void ReadInto(KeyFacts& key, const std::string& name, const std::string& text) {
    if (name == "label") {
        key.label = text;
    } else if (name == "certificate") {
        key.certificates.push_back({text, {}, {}});
    } else if (name == "certificate_problem_code" && !key.certificates.empty()) {
        key.certificates.back().problem.code =
            static_cast<int32_t>(std::strtol(text.c_str(), nullptr, 10));
    } else if (std::string* const place = PlaceOf(key, name)) {
        *place = text;
    }
}

std::vector<KeyFacts> KeysIn(const Apart& asking) {
    std::vector<KeyFacts> keys;
    for (const auto& [name, text] : asking.told) {
        if (name == "key") {
            keys.emplace_back();
            keys.back().slot = text;
        } else if (!keys.empty()) {
            ReadInto(keys.back(), name, text);
        }
    }
    return keys;
}

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

}  // namespace

std::vector<std::string> BackendEntries() {
    return {std::begin(maker::kEntryNames), std::end(maker::kEntryNames)};
}

std::vector<std::string> TokenFunctions() {
    return {std::begin(maker::kTokenNames), std::end(maker::kTokenNames)};
}

Apart TryProduct(const std::string& path, std::chrono::milliseconds limit) {
    return RunApart(
        [&](const Teller& tell) {
            void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
            if (handle == nullptr) {
                tell("refused", ukey::detail::LoaderReason());
                return;
            }
            tell("found", FoundAt(handle));
            TellFunctions(handle, tell);
            TellToken(tell);
            if (dlsym(handle, "GetDllVersion") != nullptr) {
                tell("version", ukey::Library(path).GetDllVersion());
            }
        },
        limit);
}

Examination::Examination(Question asked)
    : question(std::move(asked)),
      log(kLogPath),
      backend(maker::kBackendPath, BackendEntries(), question.limit),
      token(maker::kTokenPath, TokenFunctions(), question.limit),
      product(TryProduct(question.library, question.limit)),
      product_by_name(TryProduct(ukey::kLibraryName, question.limit)),
      asking(AskKeys(question, product)),
      keys(KeysIn(asking)) {
    // The token library has no text of its own to be known by: it comes with the other.
    backend.is_software_keys = backend.loading.Has("software key");
    token.is_software_keys = backend.is_software_keys &&
                             FolderOf(RealPath(token.path)) == FolderOf(RealPath(backend.path));
}

bool Examination::IsSoftwareKeyInstalled() const {
    return IsSoftwareKey() && RealPath(backend.path) != backend.path;
}

std::string FoundAt(void* handle) {
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) {
        return {};
    }
    return map->l_name;
}

std::string RealPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
    return real == nullptr ? std::string() : real.get();
}

bool IsOwnerTrusted(const struct stat& status) {
    constexpr uid_t kNobody = 65534;
    return status.st_uid == 0 || status.st_uid == geteuid() || status.st_uid == kNobody;
}

bool OthersMayChange(const struct stat& status) {
    return (status.st_mode & S_IWOTH) != 0 || !IsOwnerTrusted(status);
}

const char* KindOf(const struct stat& status) {
    switch (status.st_mode & S_IFMT) {
        case S_IFREG:
            return cli::Mark("a file");
        case S_IFDIR:
            return cli::Mark("a folder");
        case S_IFLNK:
            return cli::Mark("a link");
        case S_IFIFO:
            return "a named pipe";
        case S_IFSOCK:
            return cli::Mark("a socket");
        default:
            return cli::Mark("a device");
    }
}

std::string Joined(const std::vector<std::string>& words) {
    std::string joined;
    for (const std::string& word : words) {
        joined = joined.empty() ? word : cli::Say("{1}, {2}", joined, word);
    }
    return joined;
}

std::string Quoted(const std::string& path) {
    const bool plain = path.find_first_not_of(
                           "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                           "0123456789/._-+") == std::string::npos;
    std::string quoted = "'";
    for (const char c : path) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return plain && !path.empty() ? path : quoted + "'";
}

}  // namespace doctor
