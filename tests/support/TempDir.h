#pragma once

#include <atomic>
#include <filesystem>
#include <random>
#include <string>

namespace zeltest {

// A fresh folder under the system temp folder, removed with its contents.
class TempDir {
public:
    TempDir() {
        static const unsigned salt = std::random_device{}();
        static std::atomic<unsigned> counter{0};
        const std::string name = "zeltest_" + std::to_string(salt) + "_" + std::to_string(counter++);
        path_ = (std::filesystem::temp_directory_path() / name).string();
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return (std::filesystem::path(path_) / name).string(); }

private:
    std::string path_;
};

}  // namespace zeltest
