#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "disk/DiskKinds.h"
#include "tests/support/InstalledHost.h"

TEST(JMicronS583, IdentifyControllerAndNamespaceThroughTheTunnel) {
    zeltest::InstalledHost installed(R"({"disks": [{"number": 0, "busType": 7, "vendor": "JMicron",
        "model": "Generic USB", "serial": "JM0", "sectorCount": 4096}]})");
    zel::DiskIdentity identity;
    identity.number = 0;
    zel::JMicronS583 disk(identity);
    std::vector<uint8_t> data;
    ASSERT_EQ(disk.identify(&data), 0u) << zel::lastError();
    ASSERT_EQ(data.size(), 4096u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&data[24]), 11), "Generic USB");

    ASSERT_EQ(disk.identifyNamespace(1, &data), 0u);
    uint64_t blocks = 0;
    std::memcpy(&blocks, data.data(), 8);
    EXPECT_EQ(blocks, 4096u);
    EXPECT_EQ(disk.identifyNamespace(2, &data), zel::err::kNvmeStatus) << "one namespace behind the bridge";
    EXPECT_EQ(zel::lastError(), zel::err::kNvmeStatus);
}
