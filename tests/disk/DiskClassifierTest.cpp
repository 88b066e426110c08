#include <gtest/gtest.h>

#include "core/ProcessSwitches.h"
#include "disk/DiskClassifier.h"

namespace {

constexpr uint32_t kZelnvme = zel::switchvalue::kForcedNvmeMiniport;

// Kind and protocol by bus, ids and driver provider. USB rows compare
// whole ids: a trailing space or an extra character falls to a plain UFD.
TEST(DiskClassifier, KindAndProtocolOfEachRowAndTheVendorCut) {
    struct Case { uint32_t bus; const char *vendor, *product, *provider; uint32_t forced; int kind, protocol; } cases[] = {
        {3, "ATA", "Any", "", 0, 1, 1},  {11, "", "Any", "", 0, 1, 1},
        {1, "", "Any", "", 0, 0, 0},  // SCSI: a plain disk without protocol
        {10, "", "Any", "", 0, 0, 0},    {0, "", "", "", 0, 0, 0},
        {17, "", "N", "Microsoft", 0, 2, 6},
        {17, "", "N", "Microsoft Corporation", 0, 2, 6},
        {17, "", "N", "Intel Corporation", 0, 2, 8},
        {17, "", "N", "Samsung Electronics", 0, 2, 7},
        {17, "", "N", "", 0, 2, 7},
        {17, "", "N", "microsoft", 0, 2, 7},  // case matters
        {17, "", "N", "Microsoft", kZelnvme, 2, 7},  // the switch wins over any provider
        {17, "", "N", "Intel Corporation", kZelnvme, 2, 7},
        {8, "", "SATA SSD", "Intel Corporation", 0, 2, 8},  // behind a RAID-mode controller
        {7, "", "HXPWR410 Virtual", "", 0, 20, 4},
        {7, "", "HXPWR410 Virtual ", "", 0, 3, 4},
        {7, "", "HX410   Reader", "", 0, 17, 4},
        {7, "", "HX410     Reader", "", 0, 17, 4},
        {7, "", "HX410 Reader", "", 0, 3, 4},
        {7, "Rovan", "USB DISK", "", 0, 17, 4},
        {7, "Generic", "USB DISK", "", 0, 3, 4},
        {7, "Rovan ", "USB DISK", "", 0, 3, 4},
        {7, "JMicron", "Generic USB", "", 0, 22, 4},
        {7, "JMicronX", "Generic USB", "", 0, 3, 4},
        {7, "JMicron", "Generic USB3", "", 0, 3, 4},
        {7, "Kingston", "DataTraveler", "Microsoft", kZelnvme, 3, 4},  // never the ATA-over-USB route
    };
    for (const Case& c : cases) {
        const zel::DiskClass chosen = zel::classifyDisk(c.bus, c.vendor, c.product, c.provider, c.forced);
        const std::string name = std::to_string(c.bus) + " '" + c.vendor + "' '" + c.product + "' '" + c.provider +
                                 "' " + std::to_string(c.forced);
        EXPECT_EQ(std::make_pair(chosen.kind, static_cast<int>(chosen.protocolCode)), std::make_pair(c.kind, c.protocol))
            << name;
    }
    // The vendor is cut at its first control character.
    EXPECT_EQ(zel::cutAtControl("Rovan\x01junk"), "Rovan");
    EXPECT_EQ(zel::cutAtControl("JMicron\x7f"), "JMicron");
    EXPECT_EQ(zel::cutAtControl(std::string("AB\tC")), "AB");
    EXPECT_EQ(zel::cutAtControl("Plain Text~"), "Plain Text~");
    EXPECT_EQ(zel::cutAtControl(""), "");
}

}  // namespace
