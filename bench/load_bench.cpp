// Loading and unloading, beside an empty library with the same needed entries. A program of its
// own, as it must not be linked with the library that comes and goes.
#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "maker/places.h"
#include "rows.h"

namespace {

struct Close {
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, Close>;

Library Open(const char* path) {
    return Library(dlopen(path, RTLD_NOW));
}

// Who else is loaded: a client's first library of ours brings the token library along, which later
// ones find.
enum class Token { kComesAlong, kIsThere };

void Load(benchmark::State& state, const char* path, Token token) {
    const Library kept = token == Token::kIsThere ? Open(maker::kTokenPath) : nullptr;
    if (token == Token::kIsThere && kept == nullptr) {
        state.SkipWithError(dlerror());
        return;
    }
    for ([[maybe_unused]] auto unused : state) {
        if (Open(path) == nullptr) {
            state.SkipWithError(dlerror());
            return;
        }
    }
}

// But for the loader itself, which is always there: thread-local data names it.
std::vector<std::string> NeededEntries(const Library& library) {
    std::vector<std::string> names;
    link_map* map = nullptr;
    if (library == nullptr || dlinfo(library.get(), RTLD_DI_LINKMAP, &map) != 0) {
        return names;
    }
    const char* texts = nullptr;
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_STRTAB) {
            texts = reinterpret_cast<const char*>(entry->d_un.d_ptr);
        }
    }
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_NEEDED) {
            names.emplace_back(texts + entry->d_un.d_val);
        }
    }
    names.erase(std::remove_if(names.begin(), names.end(),
                               [](const auto& name) { return name.rfind("ld-linux", 0) == 0; }),
                names.end());
    std::sort(names.begin(), names.end());
    return names;
}

void AddLoadRows() {
    for (const auto& [row, token] : {std::pair("loading and unloading", Token::kComesAlong),
                                     std::pair("loading beside what it needs", Token::kIsThere)}) {
        bench::Add(row, bench::kOurs, Load, ORVAL_BENCH_PRODUCT, token);
        bench::Add(row, bench::kLimit, Load, ORVAL_BENCH_EMPTY_LIBRARY, token);
    }
}

constexpr bench::Family kFamilies[] = {{"loads", AddLoadRows}};

}  // namespace

int main(int argc, char** argv) {
    const auto needed = NeededEntries(Open(ORVAL_BENCH_PRODUCT));
    if (needed.empty() || needed != NeededEntries(Open(ORVAL_BENCH_EMPTY_LIBRARY))) {
        std::fputs("orval_load_bench: the empty library needs others than the library does\n",
                   stderr);
        return 2;
    }
    return bench::RunFamilies(kFamilies, argc, argv);
}
