#pragma once

#include <cstdint>
#include <fstream>
#include <string>

namespace zel {
namespace vhost {

// Disk contents in a file that only grows where written: unwritten ranges
// read as zeros and take no space on file systems with holes.
class DiskImage {
public:
    DiskImage(std::string path, uint64_t capacity);

    uint64_t capacity() const { return capacity_; }
    bool read(uint64_t offset, void* data, uint64_t size);
    bool write(uint64_t offset, const void* data, uint64_t size);
    bool flush();

private:
    bool open();
    uint64_t fileSize();

    std::string path_;
    uint64_t capacity_;
    uint64_t stored_ = 0;  // the file's size, known once it is open
    std::fstream file_;
};

}  // namespace vhost
}  // namespace zel
