#include "doctor/elf_file.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "cli/words.h"

// The linker's name for this program's own header.
extern "C" __attribute__((visibility("hidden"))) const ElfW(Ehdr) __ehdr_start;  // NOLINT

namespace doctor {
namespace {

constexpr const char* kLibcVersion = "GLIBC_";
// More than any file that means it has; a damaged one must not keep us.
constexpr size_t kMostRows = 4096;
constexpr size_t kLongestText = 4096;

std::string CpuOf(const unsigned char* ident, uint16_t machine) {
    const struct {
        uint16_t machine;
        const char* name;
    } names[] = {{EM_X86_64, "x86-64"}, {EM_AARCH64, "AArch64"}, {EM_386, "x86"},
                 {EM_ARM, "ARM"},       {EM_MIPS, "MIPS"},       {258, "LoongArch"}};
    const auto* const named =
        std::find_if(std::begin(names), std::end(names),
                     [machine](const auto& row) { return row.machine == machine; });
    const std::string name =
        named != std::end(names) ? named->name : cli::Say("CPU number {1}", machine);
    const std::string cpu = ident[EI_CLASS] == ELFCLASS64 ? cli::Say("{1}, 64 bit", name)
                                                          : cli::Say("{1}, 32 bit", name);
    return ident[EI_DATA] == ELFDATA2MSB ? cli::Say("{1}, big-endian", cpu) : cpu;
}

class Reader {
 public:
    explicit Reader(const std::string& path)
        : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        struct stat status {};
        if (file_ >= 0 && fstat(file_, &status) == 0 && S_ISREG(status.st_mode)) {
            size_ = static_cast<uint64_t>(status.st_size);
        }
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() {
        if (file_ >= 0) {
            close(file_);
        }
    }

    uint64_t Size() const { return size_; }

    template <typename Record>
    std::optional<Record> At(uint64_t offset) const {
        Record record;
        if (pread(file_, &record, sizeof record, static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(sizeof record)) {
            return std::nullopt;
        }
        return record;
    }

    std::string TextAt(uint64_t offset) const {
        char text[kLongestText];
        const ssize_t count = pread(file_, text, sizeof text, static_cast<off_t>(offset));
        return {text, strnlen(text, count > 0 ? static_cast<size_t>(count) : 0)};
    }

 private:
    int file_;
    uint64_t size_ = 0;
};

class Parser {
 public:
    explicit Parser(const std::string& path) : reader_(path) {}

    ElfFile Parse() {
        const auto header = reader_.At<ElfW(Ehdr)>(0);
        if (!header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0) {
            return file_;
        }
        file_.cpu = CpuOf(header->e_ident, header->e_machine);
        if (file_.cpu != OwnCpu()) {
            file_.kind = ElfFile::Kind::kOtherCpu;
            return file_;
        }
        file_.kind = ReadSegments(*header) ? ElfFile::Kind::kSound : ElfFile::Kind::kCutShort;
        if (file_.kind == ElfFile::Kind::kSound) {
            ReadDynamic();
        }
        return file_;
    }

 private:
    // Mapping a file that ends too early succeeds, and using it is a crash.
    bool ReadSegments(const ElfW(Ehdr) & header) {
        for (uint64_t i = 0; i < header.e_phnum; ++i) {
            const auto segment = reader_.At<ElfW(Phdr)>(header.e_phoff + i * sizeof(ElfW(Phdr)));
            if (!segment || segment->p_offset > reader_.Size() ||
                segment->p_filesz > reader_.Size() - segment->p_offset) {
                return false;
            }
            segments_.push_back(*segment);
        }
        return !segments_.empty();
    }

    uint64_t OffsetOf(uint64_t address) const {
        for (const ElfW(Phdr) & segment : segments_) {
            if (segment.p_type == PT_LOAD && address >= segment.p_vaddr &&
                address - segment.p_vaddr < segment.p_filesz) {
                return address - segment.p_vaddr + segment.p_offset;
            }
        }
        return reader_.Size();  // where nothing can be read
    }

    std::vector<ElfW(Dyn)> DynamicRows() const {
        std::vector<ElfW(Dyn)> rows;
        for (const ElfW(Phdr) & segment : segments_) {
            for (size_t i = 0; segment.p_type == PT_DYNAMIC && i < kMostRows; ++i) {
                const auto row = reader_.At<ElfW(Dyn)>(segment.p_offset + i * sizeof(ElfW(Dyn)));
                if (!row || row->d_tag == DT_NULL) {
                    break;
                }
                rows.push_back(*row);
            }
        }
        return rows;
    }

    void ReadDynamic() {
        const std::vector<ElfW(Dyn)> rows = DynamicRows();
        for (const ElfW(Dyn) & row : rows) {
            texts_ = row.d_tag == DT_STRTAB ? OffsetOf(row.d_un.d_ptr) : texts_;
        }
        for (const ElfW(Dyn) & row : rows) {
            if (row.d_tag == DT_NEEDED) {
                file_.needed.push_back(reader_.TextAt(texts_ + row.d_un.d_val));
            } else if (row.d_tag == DT_RUNPATH || row.d_tag == DT_RPATH) {
                file_.run_path = reader_.TextAt(texts_ + row.d_un.d_val);
            } else if (row.d_tag == DT_VERNEED) {
                ReadVersions(OffsetOf(row.d_un.d_ptr));
            }
        }
    }

    void ReadVersions(uint64_t offset) {
        for (size_t i = 0; i < kMostRows; ++i) {
            const auto library = reader_.At<ElfW(Verneed)>(offset);
            if (!library) {
                return;
            }
            ReadVersionsOf(offset + library->vn_aux, library->vn_cnt);
            if (library->vn_next == 0) {
                return;
            }
            offset += library->vn_next;
        }
    }

    void ReadVersionsOf(uint64_t offset, size_t count) {
        for (size_t i = 0; i < std::min(count, kMostRows); ++i) {
            const auto version = reader_.At<ElfW(Vernaux)>(offset);
            if (!version) {
                return;
            }
            const std::string name = reader_.TextAt(texts_ + version->vna_name);
            if (name.rfind(kLibcVersion, 0) == 0) {
                const std::string number = name.substr(std::strlen(kLibcVersion));
                file_.newest_libc = IsOlder(file_.newest_libc, number) ? number : file_.newest_libc;
            }
            offset += version->vna_next;
        }
    }

    Reader reader_;
    ElfFile file_;
    std::vector<ElfW(Phdr)> segments_;
    uint64_t texts_ = 0;
};

}  // namespace

ElfFile ReadElf(const std::string& path) {
    return Parser(path).Parse();
}

std::string OwnCpu() {
    return CpuOf(__ehdr_start.e_ident, __ehdr_start.e_machine);
}

bool IsOlder(const std::string& a, const std::string& b) {
    const char* left = a.c_str();
    const char* right = b.c_str();
    while (*left != '\0' || *right != '\0') {
        char* left_end = nullptr;
        char* right_end = nullptr;
        const unsigned long first = std::strtoul(left, &left_end, 10);
        const unsigned long second = std::strtoul(right, &right_end, 10);
        if (first != second) {
            return first < second;
        }
        left = left_end + (*left_end != '\0' ? 1 : 0);
        right = right_end + (*right_end != '\0' ? 1 : 0);
    }
    return false;
}

std::vector<std::string> FoldersOf(const std::string& run_path, const std::string& origin) {
    std::vector<std::string> folders;
    for (size_t at = 0; at < run_path.size();) {
        const size_t end = std::min(run_path.find(':', at), run_path.size());
        std::string folder = run_path.substr(at, end - at);
        for (const char* const name : {"$ORIGIN", "${ORIGIN}"}) {
            const size_t place = folder.find(name);
            if (place != std::string::npos) {
                folder.replace(place, std::strlen(name), origin);
            }
        }
        folders.push_back(folder);
        at = end + 1;
    }
    return folders;
}

}  // namespace doctor
