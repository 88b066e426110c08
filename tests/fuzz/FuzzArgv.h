#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Fuzz input split at NUL bytes into argv entries after "ZelCli.exe".
class FuzzArgv {
public:
    FuzzArgv(const uint8_t* data, size_t size) : words_{"ZelCli.exe"} {
        std::string current;
        for (size_t i = 0; i < size; ++i) {
            if (data[i] == 0) {
                words_.push_back(current);
                current.clear();
            } else {
                current.push_back(static_cast<char>(data[i]));
            }
        }
        words_.push_back(current);
        for (const auto& w : words_) argv_.push_back(w.c_str());
    }
    int argc() const { return static_cast<int>(argv_.size()); }
    const char** argv() { return argv_.data(); }

private:
    std::vector<std::string> words_;
    std::vector<const char*> argv_;
};
