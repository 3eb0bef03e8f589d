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

// Behind the lines: how many calls are lost. In memory, where no system call can fail.
constexpr size_t kLost = kThreads * kLine;
constexpr size_t kSize = kLost + sizeof(int64_t);

char* Map(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        return nullptr;
    }
    void* slots = MAP_FAILED;
    if (ftruncate(file, kSize) == 0) {
        slots = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    close(file);
    return slots == MAP_FAILED ? nullptr : static_cast<char*>(slots);
}

std::vector<std::string> FilesIn(const std::string& folder) {
    std::vector<std::string> files;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        if (file.path().filename().string().rfind(kPendingPrefix, 0) == 0) {
            files.push_back(ContentsOf(file.path()));
        }
    }
    return files;
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

void Pending::Lose(size_t thread) {
    End(thread);
    if (slots_ != nullptr) {
        __atomic_fetch_add(reinterpret_cast<int64_t*>(slots_ + kLost), 1, __ATOMIC_RELAXED);
    }
}

std::vector<std::string> LeftPending(const std::string& folder) {
    std::vector<std::string> lines;
    for (const std::string& slots : FilesIn(folder)) {
        for (size_t at = 0; at + kLine <= slots.size(); at += kLine) {
            const std::string line(slots.c_str() + at);
            if (!line.empty()) {
                lines.push_back(line);
            }
        }
    }
    return lines;
}

int64_t Lost(const std::string& folder) {
    int64_t lost = 0;
    for (const std::string& slots : FilesIn(folder)) {
        if (slots.size() == kSize) {
            int64_t of_process = 0;
            std::memcpy(&of_process, slots.data() + kLost, sizeof of_process);
            lost += of_process;
        }
    }
    return lost;
}

}  // namespace recorder
