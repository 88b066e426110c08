#include <cstddef>
#include <cstdint>

#include "disk/DriveRecords.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zel::Json document = zel::Json::parse(data, data + size, nullptr, false);
    if (document.is_discarded() || !document.is_object() || !document.contains("drive_info_list")) return 0;
    try {
        auto drives = document["drive_info_list"].get<std::vector<zel::DriveInfo>>();
        zel::Json again = drives;
        if (again.get<std::vector<zel::DriveInfo>>().size() != drives.size()) __builtin_trap();
    } catch (const nlohmann::json::exception&) {
        // Wrong types end a real run with the library's error.
    }
    return 0;
}
