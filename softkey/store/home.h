#ifndef SOFTKEY_STORE_HOME_H
#define SOFTKEY_STORE_HOME_H

#include <string>
#include <string_view>
#include <vector>

namespace softkey {

constexpr size_t kSerialLength = 16;

// Exactly 16 capital letters and digits. Serial numbers name files, so nothing else may pass.
bool IsSerialNumber(std::string_view text);

// The folder that holds everything: $ORVAL_SOFTKEY_HOME, else $XDG_DATA_HOME/orval-softkey, else
// ~/.local/share/orval-softkey.
std::string HomePath();

// Makes the folder and its parts, or takes the rights of others from them, and clears what killed
// makers have left there. Throws kStoreUnreachable for a folder that is another user's or shared.
void EnsureHome();

// Whether there is a home. Throws kStoreUnreachable for one that is not the user's alone.
bool HomeExists();

// The path again, once the file and the folders of the home that lead to it are seen to be the
// user's alone; asked for whenever one of the home's files is used. Throws kStoreUnreachable,
// with the command that helps, and kStoreDamaged for an empty file.
const std::string& Private(const std::string& path);

std::string KeysPath();
std::string KeyPath(std::string_view serial);
std::string KeyLockPath(std::string_view serial);
std::string SlotsPath();
std::string SlotsLockPath();
std::string FaultsPath();
std::string FaultsLockPath();
std::string TracePath();
std::string TraceListenerPath();

// Whether something has that name, be it a link that leads nowhere. Throws where nobody can tell.
bool Exists(const std::string& path);

// The serial numbers of all keys in the home, plugged or not, sound or not, in order.
std::vector<std::string> AllSerials();

}  // namespace softkey

#endif
