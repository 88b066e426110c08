#pragma once

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

#include "core/Logger.h"
#include "tests/support/TempDir.h"

namespace zeltest {

// Sends the logger to a fresh file at DEBUG while the object lives.
class LogCapture {
public:
    LogCapture() {
        path_ = dir_.file("test.log");
        previousThreshold_ = zel::Logger::instance().threshold();
        zel::Logger::instance().setLevels(zel::kUpperBound, zel::kDebug);
        zel::Logger::instance().open(path_);
    }
    ~LogCapture() {
        zel::Logger::instance().open("");
        zel::Logger::instance().setLevels(zel::kUpperBound, previousThreshold_);
    }

    // The whole log so far; each line carries time stamp and level tag.
    std::string text() const {
        std::ifstream file(path_);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    bool contains(const std::string& piece) const { return text().find(piece) != std::string::npos; }

private:
    TempDir dir_;
    std::string path_;
    int previousThreshold_;
};

// Collects what goes to std::cout while the object lives.
class ConsoleCapture {
public:
    ConsoleCapture() : previous_(std::cout.rdbuf(captured_.rdbuf())) {}
    ~ConsoleCapture() { std::cout.rdbuf(previous_); }
    std::string text() const { return captured_.str(); }

private:
    std::stringstream captured_;
    std::streambuf* previous_;
};

}  // namespace zeltest
