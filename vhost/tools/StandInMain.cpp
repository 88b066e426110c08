// One program behind the stand-ins of devcon_amd64.exe, diskpart.exe,
// pnputil.exe and pssuspend64.exe; it tells which one it is by its own file
// name. It records how it was called, then acts on the virtual host named by
// ZELCLI_VHOST, or answers as the control file (ZELCLI_TOOLS_CONTROL) says.
#include <windows.h>
#include <shellapi.h>
#include <tlhelp32.h>

#include <cctype>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "vhost/HostDescription.h"
#include "vhost/StandInTools.h"
#include "vhost/SystemChanges.h"

namespace {

using nlohmann::json;
using zel::vhost::ToolAnswer;

constexpr DWORD kLingerMs = 50;  // lets a reader that polls take all output
constexpr uint32_t kBadConfiguration = 1610;

std::string narrow(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string out(size > 0 ? size - 1 : 0, '\0');
    if (size > 1) WideCharToMultiByte(CP_ACP, 0, text, -1, out.data(), size, nullptr, nullptr);
    return out;
}

// The arguments as the Windows rules split the command line.
std::vector<std::string> arguments() {
    int count = 0;
    wchar_t** list = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> args;
    for (int i = 1; list && i < count; ++i) args.push_back(narrow(list[i]));
    LocalFree(list);
    return args;
}

std::string ownName() {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string name(path);
    name = name.substr(name.find_last_of("\\/") + 1);
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
}

std::string environment(const char* name) {
    char value[32768];
    const DWORD size = GetEnvironmentVariableA(name, value, sizeof(value));
    return size > 0 && size < sizeof(value) ? std::string(value, size) : std::string();
}

std::string readText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

bool sameText(std::string a, std::string b) {
    for (char& c : a) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (char& c : b) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return a == b;
}

json controlFile() {
    const std::string path = environment("ZELCLI_TOOLS_CONTROL");
    if (path.empty()) return json::object();
    const json control = json::parse(readText(path), nullptr, false);
    return control.is_object() ? control : json::object();
}

// The first answer for this tool whose verb is one of the arguments.
const json* chosenAnswer(const json& control, const std::string& tool, const std::vector<std::string>& args) {
    if (!control.contains("answers") || !control["answers"].is_array()) return nullptr;
    for (const json& answer : control["answers"]) {
        if (!answer.is_object()) continue;
        if (answer.contains("tool") && !sameText(answer.value("tool", ""), tool)) continue;
        if (!answer.contains("verb")) return &answer;
        for (const std::string& arg : args)
            if (sameText(arg, answer.value("verb", ""))) return &answer;
    }
    return nullptr;
}

// "/s script" names diskpart's script, relative to the current folder.
std::string diskpartScript(const std::vector<std::string>& args) {
    return args.size() == 2 && sameText(args[0], "/s") ? readText(args[1]) : std::string();
}

void record(const json& control, const std::string& tool, const std::vector<std::string>& args,
            const std::string& script) {
    const std::string path = control.value("record", "");
    if (path.empty()) return;
    json call{{"tool", tool}, {"commandLine", GetCommandLineA()}, {"args", args}};
    if (tool == "diskpart.exe") call["script"] = script;
    std::ofstream(path, std::ios::binary | std::ios::app) << call.dump() << '\n';
}

// Names compare without regard to case, with or without ".exe".
bool processRunning(const std::string& name) {
    auto bare = [](std::string text) {
        for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (text.size() > 4 && text.compare(text.size() - 4, 4, ".exe") == 0) text.resize(text.size() - 4);
        return text;
    };
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return false;
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    bool found = false;
    for (BOOL more = Process32First(snapshot, &entry); more && !found; more = Process32Next(snapshot, &entry))
        found = bare(entry.szExeFile) == bare(name);
    CloseHandle(snapshot);
    return found;
}

char osLetter() {
    char folder[MAX_PATH] = {};
    GetWindowsDirectoryA(folder, MAX_PATH);
    return static_cast<char>(std::toupper(static_cast<unsigned char>(folder[0])));
}

ToolAnswer act(const std::string& tool, const std::vector<std::string>& args, const std::string& script) {
    zel::vhost::HostDescription description;
    const std::string hostPath = environment("ZELCLI_VHOST");
    std::string problem;
    if (!hostPath.empty() && !zel::vhost::loadHostDescription(hostPath, &description, &problem))
        return {kBadConfiguration, "Cannot load host description " + hostPath + ": " + problem + "\r\n"};
    zel::vhost::SystemChanges changes(description.stateFolder);
    std::vector<std::string> damaged;
    if (!hostPath.empty()) changes.load(&damaged);
    zel::vhost::ToolHost host{description, changes, osLetter()};
    if (tool == "devcon_amd64.exe") return zel::vhost::runDevconStandIn(args, host);
    if (tool == "diskpart.exe") {
        if (args.size() != 2 || !sameText(args[0], "/s")) return {2, "Usage: diskpart /s <script>\r\n"};
        return zel::vhost::runDiskpartStandIn(script, host);
    }
    if (tool == "pnputil.exe") return zel::vhost::runPnputilStandIn(args, host);
    if (tool == "pssuspend64.exe") return zel::vhost::runPssuspendStandIn(args, processRunning);
    return {2, tool + ": not a tool this stand-in knows\r\n"};
}

uint32_t exitCodeOf(const json& value) {
    if (value.is_number_integer()) return static_cast<uint32_t>(value.get<int64_t>());
    if (value.is_string()) return static_cast<uint32_t>(std::stoull(value.get<std::string>(), nullptr, 0));
    return 0;
}

// Byte i of the filler is "0-9a-z"[i % 36].
std::string filler(size_t bytes) {
    static const char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string text(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) text[i] = kDigits[i % 36];
    return text;
}

void print(const std::string& text) {
    HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD done = 0;
    for (size_t at = 0; at < text.size(); at += done)
        if (!WriteFile(out, text.data() + at, static_cast<DWORD>(text.size() - at), &done, nullptr) || !done) return;
}

}  // namespace

int main() {
    const std::string tool = ownName();
    const std::vector<std::string> args = arguments();
    const std::string script = tool == "diskpart.exe" ? diskpartScript(args) : std::string();
    const json control = controlFile();
    record(control, tool, args, script);
    const json* told = chosenAnswer(control, tool, args);
    ToolAnswer answer;
    if (!told || told->value("act", false) || !told->contains("exit")) answer = act(tool, args, script);
    if (told && told->contains("exit")) {
        answer.exitCode = exitCodeOf((*told)["exit"]);
        answer.output = told->value("output", "");
    }
    if (told) answer.output += filler(told->value("outputBytes", 0u));
    print(answer.output);
    Sleep(told ? told->value("delayMs", 0u) : 0u);
    const std::string late = told ? told->value("lateOutput", "") : "";
    if (!late.empty())
        print(late);
    else
        Sleep(kLingerMs);
    return static_cast<int>(answer.exitCode);
}
