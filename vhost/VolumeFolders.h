#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zel {
namespace vhost {

// The files of the virtual volumes: "E:\a\b" lives in
// "<state folder>\volumes\E\a\b", so a dry run's file I/O on a volume's
// letter never lands on the machine's own drives.
class VolumeFolders {
public:
    enum class PathKind { NotOnLetter, Invalid, OnLetter };

    explicit VolumeFolders(std::string stateFolder);

    // "E:\a", "e:/a", "E:a", "E:" and "\\?\E:\a": the upper-case letter and
    // the names below the volume's root, "." dropped and ".." resolved the
    // way Windows does (".." at the root stays there). A name with a
    // character Windows forbids (<>:"|?* or a control character) is Invalid.
    static PathKind parse(const std::string& path, char* letter, std::vector<std::string>* names);

    std::string folder(char letter) const;
    std::string hostPath(char letter, const std::vector<std::string>& names) const;

    // Bytes of all files under the volume's folder.
    uint64_t usedBytes(char letter) const;
    // A fresh file system on the letter: its folder's content goes.
    void wipe(char letter) const;

private:
    std::string stateFolder_;
};

}  // namespace vhost
}  // namespace zel
