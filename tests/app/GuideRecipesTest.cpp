// The user's guide runs as written. Every ```console recipe=NAME block of
// docs/guide.md, then of docs/exit-codes.md, is run in the pages' order in
// one working folder that stands for the guide's C:\zel: a fresh copy of
// the example virtual host, its SMART examples and the files of the pages'
// ```LANG file=NAME blocks. After each command the output must hold the
// lines the page shows, in order, each within one line ("…" stands for text
// that varies; a leading time stamp is not compared). A command whose code
// the page does not echo must succeed.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::contains;

const std::string kPrompt = "C:\\zel> ";
const std::string kAnything = "\xE2\x80\xA6";  // "…"

struct Step {
    std::string command;
    std::vector<std::string> expected;
};
struct Recipe {
    std::string name;
    std::vector<Step> steps;
};
struct GuideFile {
    std::string name, text;
};
struct Guide {
    std::vector<Recipe> recipes;
    std::vector<GuideFile> files;
};

std::string afterKey(const std::string& info, const std::string& key) {
    const size_t at = info.find(key + "=");
    if (at == std::string::npos) return "";
    const size_t start = at + key.size() + 1;
    return info.substr(start, info.find(' ', start) - start);
}

Guide readGuide(const std::string& text) {
    Guide guide;
    std::istringstream in(zeltest::withoutCr(text));
    std::string line, recipe, file, body;
    bool inFence = false;
    while (std::getline(in, line)) {
        if (line.rfind("```", 0) == 0) {
            if (inFence && !file.empty()) guide.files.push_back({file, body});
            inFence = !inFence;
            recipe = inFence ? afterKey(line, "recipe") : "";
            file = inFence ? afterKey(line, "file") : "";
            body.clear();
            if (!recipe.empty()) guide.recipes.push_back({recipe, {}});
        } else if (!file.empty()) {
            body += line + "\n";
        } else if (!recipe.empty() && line.rfind(kPrompt, 0) == 0) {
            guide.recipes.back().steps.push_back({line.substr(kPrompt.size()), {}});
        } else if (!recipe.empty() && !line.empty() && !guide.recipes.back().steps.empty()) {
            guide.recipes.back().steps.back().expected.push_back(line);
        }
    }
    return guide;
}

// The first expected line the output lacks, or "" when it holds them all in order.
std::string missingLine(const std::string& output, const std::vector<std::string>& expected) {
    std::vector<std::string> lines;
    std::string current;
    for (char c : output + "\n") {
        if (c != '\r' && c != '\n') current += c;
        else if (!current.empty()) lines.push_back(current), current.clear();
    }
    static const std::regex stamp(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d,\d{3} )");
    size_t next = 0;
    for (const std::string& line : expected) {
        std::vector<std::string> pieces;
        std::string rest = std::regex_replace(line, stamp, "");
        for (size_t cut; (cut = rest.find(kAnything)) != std::string::npos; rest.erase(0, cut + kAnything.size()))
            pieces.push_back(rest.substr(0, cut));
        pieces.push_back(rest);
        bool found = false;
        for (; next < lines.size() && !found; ++next) {
            size_t at = 0;
            found = true;
            for (const std::string& piece : pieces) {
                at = lines[next].find(piece, at);
                if (at == std::string::npos) { found = false; break; }
                at += piece.size();
            }
        }
        if (!found) return line;
    }
    return "";
}

class GuideRecipes : public testing::Test {
protected:
    void SetUp() override {
        std::string host = zeltest::readFile(std::string(ZEL_EXAMPLES) + "\\host.json");
        std::string tools = zeltest::binaryFolder() + "\\vhost-tools";
        tools = std::regex_replace(tools, std::regex(R"(\\)"), R"(\\)");
        host = std::regex_replace(host, std::regex(R"("toolsFolder": "[^"]*")"), "\"toolsFolder\": \"" + tools + "\"");
        write("host.json", host);
        for (const char* ini : {"SMART-sata.ini", "SMART-nvme.ini"})
            write(ini, zeltest::readFile(std::string(ZEL_EXAMPLES) + "\\" + ini));
        // Batch files call ZelCli.exe by name, as from C:\zel.
        char path[32768] = {};
        GetEnvironmentVariableA("PATH", path, sizeof(path));
        SetEnvironmentVariableA("PATH", (zeltest::binaryFolder() + ";" + path).c_str());
    }
    void write(const std::string& name, const std::string& text) {
        std::ofstream(dir_.file(name), std::ios::binary) << text;
    }

    zeltest::ChildResult run(const std::string& command, uint32_t lastCode) {
        const std::vector<std::string> env = {"ZELCLI_VHOST=" + dir_.file("host.json")};
        if (command.rfind("ZelCli.exe ", 0) == 0) return zeltest::runZelCli(command.substr(11), dir_.path(), env, 120000);
        if (command == "echo %ERRORLEVEL%") return {0, std::to_string(static_cast<int32_t>(lastCode))};
        if (command.rfind("type ", 0) == 0) return {0, zeltest::readFile(dir_.file(command.substr(5)))};
        if (command.rfind("set ZELCLI_VHOST=", 0) == 0) return {0, ""};  // the test's own copy is set
        if (command.size() > 4 && command.substr(command.size() - 4) == ".bat")
            return zeltest::runProgram("cmd.exe", "/c " + command, dir_.path(), env, 300000);
        ADD_FAILURE() << "the test does not know how to run: " << command;
        return {};
    }

    zeltest::TempDir dir_;
};

// Registering a logon task is real even on the virtual host: on Windows the
// test registers none, and Wine's Task Scheduler refuses the logon type
// (docs/host-services.md), so there the step must fail in that known way.
bool registersTask(const std::string& command) { return contains(command, "--startup") && contains(command, "--path"); }

}  // namespace

TEST_F(GuideRecipes, EveryRecipeRunsAsWritten) {
    const std::string docs = std::string(ZEL_DOCS) + "\\";
    const Guide guide = readGuide(zeltest::readFile(docs + "guide.md") + zeltest::readFile(docs + "exit-codes.md"));
    ASSERT_GE(guide.recipes.size(), 8u) << "the cookbook's recipes are read";
    for (const GuideFile& file : guide.files)
        write(file.name, file.name.find(".bat") != std::string::npos
                             ? std::regex_replace(file.text, std::regex("\n"), "\r\n") : file.text);
    uint32_t lastCode = 0;
    for (const Recipe& recipe : guide.recipes) {
        for (size_t i = 0; i < recipe.steps.size(); ++i) {
            const std::string& command = recipe.steps[i].command;
            const bool echo = command == "echo %ERRORLEVEL%";
            const bool echoed = i + 1 < recipe.steps.size() && recipe.steps[i + 1].command == "echo %ERRORLEVEL%";
            if (registersTask(command) && !zeltest::runningUnderWine()) continue;
            const zeltest::ChildResult run = this->run(command, lastCode);
            const std::string where = "recipe " + recipe.name + ": " + command + "\n" + run.output;
            if (registersTask(command)) {
                EXPECT_EQ(run.exitCode, 0x2000000Fu) << where;
                EXPECT_TRUE(contains(run.output, "Cannot put principal logon type: 80004001")) << where;
            } else {
                EXPECT_EQ(missingLine(run.output, recipe.steps[i].expected), "") << where;
                if (!echo && !echoed) {
                    EXPECT_EQ(run.exitCode, 0u) << where;
                }
            }
            if (!echo) lastCode = run.exitCode;
        }
    }
}
