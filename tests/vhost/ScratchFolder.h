#pragma once

#include <atomic>
#include <filesystem>
#include <string>

namespace zeltest {

// A fresh folder under the temp folder for the Windows-free tests.
class ScratchFolder {
public:
    ScratchFolder() {
        static std::atomic<unsigned> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("zelvhost_" + std::to_string(reinterpret_cast<uintptr_t>(this) & 0xFFFFFF) + "_" +
                 std::to_string(counter++));
        std::filesystem::create_directories(path_);
    }
    ~ScratchFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

}  // namespace zeltest
