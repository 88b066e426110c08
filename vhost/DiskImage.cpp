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
    if (file_.is_open()) stored_ = fileSize();
    return file_.is_open();
}

uint64_t DiskImage::fileSize() {
    file_.clear();
    file_.seekg(0, std::ios::end);
    return static_cast<uint64_t>(file_.tellg());
}

// The file ends where the last write ended; what lies past it reads as zeros.
bool DiskImage::read(uint64_t offset, void* data, uint64_t size) {
    if (offset > capacity_ || size > capacity_ - offset) return false;
    std::error_code error;
    const bool exists = file_.is_open() || std::filesystem::exists(path_, error);
    if (exists && !open()) return false;
    const uint64_t stored = exists ? stored_ : 0;
    const uint64_t available = offset >= stored ? 0 : (stored - offset < size ? stored - offset : size);
    std::memset(static_cast<char*>(data) + available, 0, size - available);
    if (!available) return true;
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
    if (ok && offset + size > stored_) stored_ = offset + size;
    return ok;
}

bool DiskImage::flush() {
    if (!file_.is_open()) return true;
    file_.flush();
    return static_cast<bool>(file_);
}

}  // namespace vhost
}  // namespace zel
