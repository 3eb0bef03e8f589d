#ifndef DOCTOR_ELF_FILE_H
#define DOCTOR_ELF_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace doctor {

// What a program or library says of itself, read without loading it (System V ABI, ELF). Whatever
// stands in the file, reading it ends.
struct ElfFile {
    enum class Kind { kSound, kNoElf, kOtherCpu, kCutShort };

    Kind kind = Kind::kNoElf;
    std::string cpu;  // "AArch64, 64 bit"
    // Of a sound file only.
    std::vector<std::string> needed;
    std::string run_path;     // as it stands there, with $ORIGIN
    std::string newest_libc;  // "2.28": the newest GLIBC_ version asked for; empty: none
};

ElfFile ReadElf(const std::string& path);

// The class of CPU that this command was built for, which is the product's and the libraries'.
std::string OwnCpu();

// Whether the version a is older than b: "2.4" is older than "2.28".
bool IsOlder(const std::string& a, const std::string& b);

// The folders of a run path, of a file that lies in `origin`.
std::vector<std::string> FoldersOf(const std::string& run_path, const std::string& origin);

}  // namespace doctor

#endif
