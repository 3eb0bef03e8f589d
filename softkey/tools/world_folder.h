#ifndef SOFTKEY_TOOLS_WORLD_FOLDER_H
#define SOFTKEY_TOOLS_WORLD_FOLDER_H

#include <string>

namespace softkey::tools {

// Where a scenario's world is made: a folder to keep, or one that goes with this object. Those that
// killed makers have left go when the next one is made.
class WorldFolder {
 public:
    explicit WorldFolder(const std::string& to_keep);
    ~WorldFolder();
    WorldFolder(const WorldFolder&) = delete;
    WorldFolder& operator=(const WorldFolder&) = delete;

    const std::string& Path() const { return path_; }

 private:
    void MakeTemporary(const std::string& parent);

    std::string path_;
    int lock_ = -1;  // on the mark of a temporary one, while its maker lives
};

}  // namespace softkey::tools

#endif
