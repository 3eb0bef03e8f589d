#ifndef CLI_FILES_H
#define CLI_FILES_H

#include <string>
#include <string_view>

namespace cli {

// The whole contents of the file, or of standard input for "-". Every byte counts. Throws a failure
// with status kFile, as WriteOutput does.
std::string ReadInput(const std::string& path);

// Who may read a file that is made: what a key gives may be a secret.
enum class Readers { kOwner, kAsTheMaskSays };

// Replaces the file's contents.
void WriteOutput(const std::string& path, std::string_view contents, Readers readers);

// Whether what was written is kept: a network's file system, or one with quotas, may refuse it only
// when a descriptor of the file is closed. One of them is; `descriptor` stays open. False for the
// reason in errno.
bool IsKept(int descriptor);

// Makes a new file, its owner's alone, that is there as a whole or not at all. Another one of that
// name is not touched: it is a failure as well.
void CreateOutput(const std::string& path, std::string_view contents);

}  // namespace cli

#endif
