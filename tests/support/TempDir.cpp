#include "tests/support/TempDir.h"

#include <windows.h>

#include <atomic>
#include <string>

namespace zeltest {
namespace {

void removeTree(const std::string& dir) {
    WIN32_FIND_DATAA entry;
    HANDLE find = FindFirstFileA((dir + "\\*").c_str(), &entry);
    if (find != INVALID_HANDLE_VALUE) {
        do {
            std::string name = entry.cFileName;
            if (name == "." || name == "..") continue;
            std::string full = dir + "\\" + name;
            if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                removeTree(full);
            else
                DeleteFileA(full.c_str());
        } while (FindNextFileA(find, &entry));
        FindClose(find);
    }
    RemoveDirectoryA(dir.c_str());
}

}  // namespace

TempDir::TempDir() {
    static std::atomic<unsigned> counter{0};
    char base[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, base);
    path_ = std::string(base) + "zeltest_" + std::to_string(GetCurrentProcessId()) + "_" +
            std::to_string(counter++);
    CreateDirectoryA(path_.c_str(), nullptr);
}

TempDir::~TempDir() { removeTree(path_); }

}  // namespace zeltest
