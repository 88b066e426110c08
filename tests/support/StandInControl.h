#pragma once

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace zeltest {

// The stand-ins of devcon, diskpart, pnputil and pssuspend for one test:
// the control file (ZELCLI_TOOLS_CONTROL) with the answers they give, and
// the record of every call they received.
class StandInControl {
public:
    StandInControl() { write(); }

    // The folder the build puts the stand-ins in, with forward slashes so
    // that it can go into a JSON text as it is.
    static std::string toolsFolder() {
        std::string folder = binaryFolder() + "/vhost-tools";
        std::replace(folder.begin(), folder.end(), '\\', '/');
        return folder;
    }

    // {"tool": .., "verb": .., "exit": .., "output": .., "outputBytes": ..,
    //  "lateOutput": .., "delayMs": .., "act": ..}; the first that fits wins.
    void answer(const nlohmann::json& rule) {
        answers_.push_back(rule);
        write();
    }
    std::string environment() const { return "ZELCLI_TOOLS_CONTROL=" + path(); }
    std::string path() const { return dir_.file("control.json"); }

    std::vector<nlohmann::json> calls() const {
        std::vector<nlohmann::json> list;
        std::istringstream lines(readFile(dir_.file("calls.jsonl")));
        for (std::string line; std::getline(lines, line);)
            if (!line.empty()) list.push_back(nlohmann::json::parse(line));
        return list;
    }
    std::vector<std::string> args(size_t call) const { return calls().at(call)["args"].get<std::vector<std::string>>(); }

private:
    void write() const {
        std::ofstream(path(), std::ios::binary | std::ios::trunc)
            << nlohmann::json{{"record", dir_.file("calls.jsonl")}, {"answers", answers_}}.dump();
    }

    TempDir dir_;
    nlohmann::json answers_ = nlohmann::json::array();
};

// Byte i of a stand-in's filler output.
inline std::string standInFiller(size_t bytes) {
    static const char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string text(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) text[i] = kDigits[i % 36];
    return text;
}

}  // namespace zeltest
