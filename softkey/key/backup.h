#ifndef SOFTKEY_KEY_BACKUP_H
#define SOFTKEY_KEY_BACKUP_H

#include <optional>
#include <string>
#include <string_view>

namespace softkey {

// A consistent copy of a key in a new file, also while the key is in use. Private keys stay sealed
// under the PIN. Throws kSerialTaken when the file exists.
void BackUpKey(std::string_view serial, const std::string& file);

// Puts a copy back, also in the place of a key that is damaged; that one's file is kept beside it.
// Throws kSerialTaken when a sound key exists and kStoreDamaged when the file is no sound copy.
struct RestoredKey {
    std::string serial;
    std::optional<std::string> damaged;  // where the damaged file is kept
};
RestoredKey RestoreKey(const std::string& file);

// Removes a key for good, also a damaged one. Throws kAlreadyPlugged while it is plugged in.
void DeleteKey(std::string_view serial);

}  // namespace softkey

#endif
