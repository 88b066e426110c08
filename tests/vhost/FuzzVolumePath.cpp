#include <cstdint>
#include <string>
#include <vector>

#include "vhost/VolumeFolders.h"

// Whatever path a dry run is given, a path on a letter resolves to names
// that stay below the volume's folder: none empty, "." or "..", none with
// a separator or a character Windows forbids.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path(reinterpret_cast<const char*>(data), size);
    char letter = 0;
    std::vector<std::string> names;
    using Kind = zel::vhost::VolumeFolders::PathKind;
    if (zel::vhost::VolumeFolders::parse(path, &letter, &names) != Kind::OnLetter) return 0;
    if (letter < 'A' || letter > 'Z') __builtin_trap();
    for (const std::string& name : names)
        if (name.empty() || name == "." || name == ".." || name.find_first_of("\\/<>:\"|?*") != std::string::npos)
            __builtin_trap();
    return 0;
}
