#ifndef DOCTOR_EXAMINATION_H
#define DOCTOR_EXAMINATION_H

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "doctor/apart.h"
#include "doctor/doctor.h"
#include "doctor/elf_file.h"

// What is found out once, in this order, and looked at by the checks. Nothing of it changes the
// computer but the records that the product itself writes into its log.
namespace doctor {

// The diagnostic log as it was before the product was asked anything.
struct LogFacts {
    explicit LogFacts(std::string path);
    // What is there, or where it leads, is nothing that the product writes to.
    bool TakesNoRecord() const {
        return S_ISFIFO(target.st_mode) || S_ISDIR(target.st_mode) || S_ISSOCK(target.st_mode);
    }
    bool IsFile() const { return exists && S_ISREG(status.st_mode); }

    std::string path;
    bool exists = false;
    struct stat status {};
    struct stat target {};  // the same, or where it leads, if it is a link
    std::string link;       // where it leads, if it is a link
    int refusal = 0;        // why no record can be appended to it; 0: one can
    int64_t key_texts = 0;  // how many enveloped private keys stand in it
    std::string unread;     // why that cannot be told
};

// One of the key maker's two libraries.
struct LibraryFacts {
    LibraryFacts(std::string library_path, std::vector<std::string> entry_names,
                 std::chrono::milliseconds limit);
    bool IsSound() const { return elf.kind == ElfFile::Kind::kSound; }
    bool IsLoaded() const { return loading.Has("loaded"); }

    std::string path;
    std::string name;
    std::vector<std::string> entries;
    ElfFile elf;
    Finding file;  // what can be said of it without loading it; reads the former
    std::vector<std::string> missing_libraries;
    Apart loading;  // tells "loaded" or "refused", "missing" entries, "software key"
    bool is_software_keys = false;
};

// What the product looks for in each.
std::vector<std::string> BackendEntries();
std::vector<std::string> TokenFunctions();

// A copy of the product, tried apart: tells "refused", or "found" and "version", "missing"
// functions, and "token", the token library that it brought.
Apart TryProduct(const std::string& path, std::chrono::milliseconds limit);

// Why the key did not answer.
struct Problem {
    std::string text;
    std::string next;
    int32_t code = 0;
};

struct Certificate {
    std::string use;   // "signing"
    std::string text;  // empty: none could be read
    Problem problem;
};

struct KeyFacts {
    std::string slot;
    std::string serial_number;
    std::string problem;
    std::optional<std::string> label;
    Problem label_problem;
    std::string tries_left;  // empty: the key does not tell them
    std::string tries_at_most;
    Problem pin_problem;
    std::vector<Certificate> certificates;
};

struct Examination {
    explicit Examination(Question asked);
    bool IsSoftwareKey() const { return backend.is_software_keys; }
    // Not in a view: 'with-softkey --install' has put links there.
    bool IsSoftwareKeyInstalled() const;

    Question question;
    LogFacts log;
    LibraryFacts backend;
    LibraryFacts token;
    Apart product;
    Apart product_by_name;  // as a client finds it
    Apart asking;           // the product about the plugged keys
    std::vector<KeyFacts> keys;
};

// Where the loader found the library that was opened as `handle`.
std::string FoundAt(void* handle);

// The shortest form of both that leads to one file; empty where there is none.
std::string RealPath(const std::string& path);

// Whether its owner is root, who asks, or nobody that this user namespace knows.
bool IsOwnerTrusted(const struct stat& status);
bool OthersMayChange(const struct stat& status);

// What a directory or file is called that is no regular file.
const char* KindOf(const struct stat& status);

std::string Joined(const std::vector<std::string>& words);

// For a shell.
std::string Quoted(const std::string& path);

}  // namespace doctor

#endif
