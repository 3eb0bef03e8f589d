#ifndef UKEYCTL_FILES_H
#define UKEYCTL_FILES_H

#include <string>
#include <string_view>

// The whole contents of the file, or of standard input for "-". Every byte counts.
std::string ReadInput(const std::string& path);

// Replaces the file's contents. A new file is readable by its owner only: what the key gives may
// be a secret.
void WriteOutput(const std::string& path, std::string_view contents);

#endif
