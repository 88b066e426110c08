#include <cstddef>
#include <cstdint>
#include <string>

#include "smart/IniText.h"
#include "smart/LimitCheck.h"
#include "smart/SmartConfig.h"

namespace {

void checkAttribute(const zel::AttrConfig& attribute, int32_t previousIndex, bool sameSection) {
    if (attribute.specialCodes.empty() || attribute.index < 1) __builtin_trap();
    if (sameSection && attribute.index <= previousIndex) __builtin_trap();
    if (attribute.description.size() > zel::kSmartValueMax || attribute.limit.size() > zel::kSmartValueMax)
        __builtin_trap();
    const zel::SmartBytes current{1, 2, 3, 4, 5, 6};
    const zel::SmartBytes reference{1, 2, 3, 4, 5, 5};
    const int answer = zel::checkLimit(attribute.limit, attribute.isString, {current, reference, {}});
    if (answer != zel::kLimitPass && answer != zel::kLimitConflict) __builtin_trap();
}

}  // namespace

// Status and warning lines stay in the logger, which has no file here.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const zel::IniText ini(std::string(reinterpret_cast<const char*>(data), size));

    // A failed parse keeps the sections read before the failure, so both
    // outcomes must leave a well-formed list.
    zel::SataConfig sata;
    zel::parseSataConfig(ini.lookup(), &sata);
    for (size_t i = 0; i < sata.attributes.size(); ++i)
        checkAttribute(sata.attributes[i], i ? sata.attributes[i - 1].index : 0, false);

    zel::NvmeConfig nvme;
    zel::parseNvmeConfig(ini.lookup(), &nvme);
    for (size_t page = 0; page < nvme.logPages.size(); ++page) {
        const size_t first = nvme.logPages[page].firstAttribute;
        const size_t end = page + 1 < nvme.logPages.size() ? nvme.logPages[page + 1].firstAttribute
                                                            : nvme.attributes.size();
        if (first > end || end > nvme.attributes.size()) __builtin_trap();
        for (size_t i = first; i < end; ++i) {
            if (nvme.attributes[i].logPageId != nvme.logPages[page].logPageId) __builtin_trap();
            checkAttribute(nvme.attributes[i], i > first ? nvme.attributes[i - 1].index : 0, i > first);
        }
    }
    return 0;
}
