#pragma once

#include <string>

namespace zeltest {

// A fresh folder under the system temp folder, removed with its contents.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "\\" + name; }

private:
    std::string path_;
};

}  // namespace zeltest
