#include "pending.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "settings.h"

namespace recorder {

namespace {

constexpr size_t kThreads = 64;
constexpr size_t kLine = Pending::kLine;

char* Map(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        return nullptr;
    }
    void* slots = MAP_FAILED;
    if (ftruncate(file, kThreads * kLine) == 0) {
        slots = mmap(nullptr, kThreads * kLine, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    close(file);
    return slots == MAP_FAILED ? nullptr : static_cast<char*>(slots);
}

}  // namespace

Pending::Pending(const std::string& folder)
    : slots_(Map(folder + "/" + kPendingPrefix + std::to_string(getpid()))) {}

void Pending::Begin(size_t thread, const std::string& line) {
    if (slots_ == nullptr || thread >= kThreads || line.size() >= kLine) {
        return;
    }
    // The first character last: until then the slot is empty.
    char* const slot = slots_ + thread * kLine;
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): with the terminator
    std::memcpy(slot + 1, line.data() + 1, line.size());
    *slot = line[0];
}

void Pending::End(size_t thread) {
    if (slots_ != nullptr && thread < kThreads) {
        slots_[thread * kLine] = '\0';
    }
}

std::vector<std::string> LeftPending(const std::string& folder) {
    std::vector<std::string> lines;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        if (file.path().filename().string().rfind(kPendingPrefix, 0) != 0) {
            continue;
        }
        const std::string slots = ContentsOf(file.path());
        for (size_t at = 0; at + kLine <= slots.size(); at += kLine) {
            const std::string line(slots.c_str() + at);
            if (!line.empty()) {
                lines.push_back(line);
            }
        }
    }
    return lines;
}

}  // namespace recorder
