#ifndef SOFTKEY_CORE_BACKUP_H
#define SOFTKEY_CORE_BACKUP_H

#include <string>
#include <string_view>

namespace softkey {

// A consistent copy of a key in a new file, also while the key is in use. Private keys stay sealed
// under the PIN. Throws kSerialTaken when the file exists.
void BackUpKey(std::string_view serial, const std::string& file);

// Puts a copy back and returns its serial number. Throws kSerialTaken when the key exists and
// kStoreDamaged when the file is no sound copy of a key.
std::string RestoreKey(const std::string& file);

// Removes a key for good. Throws kAlreadyPlugged while it is plugged in.
void DeleteKey(std::string_view serial);

}  // namespace softkey

#endif
