#include <gtest/gtest.h>

#include "core/ProcessSwitches.h"
#include "disk/DiskClassifier.h"

namespace {

using zel::classifyDisk;

void expectClass(uint32_t bus, const char* vendor, const char* product, const char* provider, uint32_t forced,
                 int kind, int protocol) {
    const zel::DiskClass chosen = classifyDisk(bus, vendor, product, provider, forced);
    EXPECT_EQ(chosen.kind, kind) << bus << " '" << vendor << "' '" << product << "' '" << provider << "'";
    EXPECT_EQ(static_cast<int>(chosen.protocolCode), protocol)
        << bus << " '" << vendor << "' '" << product << "' '" << provider << "'";
}

TEST(DiskClassifier, SataAndPlainBuses) {
    expectClass(3, "ATA", "Any", "", 0, 1, 1);   // ATA
    expectClass(11, "", "Any", "", 0, 1, 1);     // SATA
    expectClass(1, "", "Any", "", 0, 0, 0);      // SCSI: plain disk without protocol
    expectClass(10, "", "Any", "", 0, 0, 0);     // SAS
    expectClass(0, "", "", "", 0, 0, 0);
}

TEST(DiskClassifier, NvmeProtocolFollowsProviderAndSwitch) {
    expectClass(17, "", "N", "Microsoft", 0, 2, 6);
    expectClass(17, "", "N", "Microsoft Corporation", 0, 2, 6);
    expectClass(17, "", "N", "Intel Corporation", 0, 2, 8);
    expectClass(17, "", "N", "Samsung Electronics", 0, 2, 7);
    expectClass(17, "", "N", "", 0, 2, 7);
    expectClass(17, "", "N", "microsoft", 0, 2, 7);  // case matters
    const uint32_t zelnvme = zel::switchvalue::kForcedNvmeMiniport;
    expectClass(17, "", "N", "Microsoft", zelnvme, 2, 7);  // wins over any provider
    expectClass(17, "", "N", "Intel Corporation", zelnvme, 2, 7);
    // A disk behind a RAID-mode controller is taken for NVMe.
    expectClass(8, "", "SATA SSD", "Intel Corporation", 0, 2, 8);
}

TEST(DiskClassifier, UsbRowsCompareWholeIds) {
    expectClass(7, "", "HXPWR410 Virtual", "", 0, 20, 4);
    expectClass(7, "", "HXPWR410 Virtual ", "", 0, 3, 4);
    expectClass(7, "", "HX410   Reader", "", 0, 17, 4);
    expectClass(7, "", "HX410     Reader", "", 0, 17, 4);
    expectClass(7, "", "HX410 Reader", "", 0, 3, 4);
    expectClass(7, "Rovan", "USB DISK", "", 0, 17, 4);
    expectClass(7, "Generic", "USB DISK", "", 0, 3, 4);
    expectClass(7, "Rovan ", "USB DISK", "", 0, 3, 4);
    expectClass(7, "JMicron", "Generic USB", "", 0, 22, 4);
    expectClass(7, "JMicronX", "Generic USB", "", 0, 3, 4);
    expectClass(7, "JMicron", "Generic USB3", "", 0, 3, 4);
    // never the ATA-over-USB route
    expectClass(7, "Kingston", "DataTraveler", "Microsoft", zel::switchvalue::kForcedNvmeMiniport, 3, 4);
}

TEST(DiskClassifier, VendorCutAtFirstControlCharacter) {
    EXPECT_EQ(zel::cutAtControl("Rovan\x01junk"), "Rovan");
    EXPECT_EQ(zel::cutAtControl("JMicron\x7f"), "JMicron");
    EXPECT_EQ(zel::cutAtControl(std::string("AB\tC")), "AB");
    EXPECT_EQ(zel::cutAtControl("Plain Text~"), "Plain Text~");
    EXPECT_EQ(zel::cutAtControl(""), "");
}

}  // namespace
