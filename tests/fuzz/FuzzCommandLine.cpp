#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/OptionTable.h"

// Splits the input at NUL bytes into argv entries.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto options = zel::makeOptions();
    std::vector<std::string> words{"ZelCli.exe"};
    std::string current;
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            words.push_back(current);
            current.clear();
        } else {
            current.push_back(static_cast<char>(data[i]));
        }
    }
    words.push_back(current);
    std::vector<const char*> argv;
    for (const auto& w : words) argv.push_back(w.c_str());
    try {
        zel::ParseResult args = zel::parseCommandLine(*options, static_cast<int>(argv.size()), argv.data());
        (void)args.integer("diskid", -1);
        (void)args.text("action");
    } catch (const cxxopts::exceptions::exception&) {
        // The tool lets parser errors end the run; here they are expected.
    }
    return 0;
}
