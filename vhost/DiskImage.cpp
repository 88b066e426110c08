#include "vhost/DiskImage.h"

#include <cstring>
#include <filesystem>

namespace zel {
namespace vhost {

DiskImage::DiskImage(std::string path, uint64_t capacity) : path_(std::move(path)), capacity_(capacity) {}

bool DiskImage::open() {
    if (file_.is_open()) return true;
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
    file_.open(path_, std::ios::in | std::ios::out | std::ios::binary);
    if (!file_.is_open()) {
        std::ofstream create(path_, std::ios::binary | std::ios::app);
        create.close();
        file_.open(path_, std::ios::in | std::ios::out | std::ios::binary);
    }
    return file_.is_open();
}

uint64_t DiskImage::fileSize() {
    file_.clear();
    file_.seekg(0, std::ios::end);
    return static_cast<uint64_t>(file_.tellg());
}

bool DiskImage::read(uint64_t offset, void* data, uint64_t size) {
    if (offset > capacity_ || size > capacity_ - offset) return false;
    std::memset(data, 0, size);
    std::error_code error;
    if (!file_.is_open() && !std::filesystem::exists(path_, error)) return true;  // nothing written yet
    if (!open()) return false;
    const uint64_t stored = fileSize();
    if (offset >= stored) return true;
    const uint64_t available = stored - offset < size ? stored - offset : size;
    file_.seekg(static_cast<std::streamoff>(offset));
    file_.read(static_cast<char*>(data), static_cast<std::streamsize>(available));
    const bool ok = static_cast<uint64_t>(file_.gcount()) == available;
    file_.clear();
    return ok;
}

bool DiskImage::write(uint64_t offset, const void* data, uint64_t size) {
    if (offset > capacity_ || size > capacity_ - offset || !open()) return false;
    file_.clear();
    file_.seekp(static_cast<std::streamoff>(offset));
    file_.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    const bool ok = static_cast<bool>(file_);
    file_.clear();
    return ok;
}

bool DiskImage::flush() {
    if (!file_.is_open()) return true;
    file_.flush();
    return static_cast<bool>(file_);
}

}  // namespace vhost
}  // namespace zel
