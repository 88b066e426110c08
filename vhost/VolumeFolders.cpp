#include "vhost/VolumeFolders.h"

#include <cctype>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace zel {
namespace vhost {
namespace {

namespace fs = std::filesystem;

bool forbidden(char c) {
    return static_cast<unsigned char>(c) < 32 || std::strchr("<>:\"|?*", c) != nullptr;
}

bool splitNames(const std::string& rest, std::vector<std::string>* names) {
    std::string name;
    auto take = [&] {
        if (name == "..") {
            if (!names->empty()) names->pop_back();
        } else if (!name.empty() && name != ".") {
            names->push_back(name);
        }
        name.clear();
    };
    for (char c : rest) {
        if (c == '\\' || c == '/') {
            take();
            continue;
        }
        if (forbidden(c)) return false;
        name += c;
    }
    take();
    return true;
}

}  // namespace

VolumeFolders::VolumeFolders(std::string stateFolder) : stateFolder_(std::move(stateFolder)) {}

VolumeFolders::PathKind VolumeFolders::parse(const std::string& path, char* letter, std::vector<std::string>* names) {
    std::string text = path;
    if (text.compare(0, 4, "\\\\?\\") == 0) text = text.substr(4);
    if (text.size() < 2 || text[1] != ':' || !std::isalpha(static_cast<unsigned char>(text[0])))
        return PathKind::NotOnLetter;
    *letter = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    names->clear();
    return splitNames(text.substr(2), names) ? PathKind::OnLetter : PathKind::Invalid;
}

std::string VolumeFolders::folder(char letter) const {
    return (fs::path(stateFolder_) / "volumes" / std::string(1, letter)).string();
}

std::string VolumeFolders::hostPath(char letter, const std::vector<std::string>& names) const {
    fs::path path = folder(letter);
    for (const std::string& name : names) path /= name;
    return path.string();
}

uint64_t VolumeFolders::usedBytes(char letter) const {
    std::error_code error;
    uint64_t used = 0;
    for (fs::recursive_directory_iterator it(folder(letter), error), end; !error && it != end; it.increment(error)) {
        std::error_code sizeError;
        if (it->is_regular_file(sizeError)) {
            const uint64_t size = it->file_size(sizeError);
            if (!sizeError) used += size;
        }
    }
    return used;
}

void VolumeFolders::wipe(char letter) const {
    std::error_code error;
    fs::remove_all(folder(letter), error);
}

}  // namespace vhost
}  // namespace zel
