#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using zeltest::contains;

using zeltest::runZelCli;

// Writes a host description into the folder and returns the environment
// entry that selects it.
std::string hostIn(const zeltest::TempDir& dir, const std::string& description) {
    std::ofstream(dir.file("host.json"), std::ios::binary) << description;
    return "ZELCLI_VHOST=" + dir.file("host.json");
}

std::string exampleHost() {
    return zeltest::readFile(ZEL_EXAMPLE_HOST);
}

// A small host: a SATA disk with two letters, an NVMe disk on PCI bus 5, an
// absent disk, and one numbered past the probing range.
std::string smallHost(bool portIoDriver) {
    return std::string(R"({"portIoDriver": )") + (portIoDriver ? "true" : "false") + R"(, "disks": [
  {"number": 0, "busType": 11, "model": "Small SATA", "firmware": "F1", "serial": "SMALL-0", "sectorCount": 65536,
   "driver": {"provider": "Microsoft", "instanceId": "PCI\\VEN_8086&DEV_A352\\3&1"},
   "volumes": [{"letter": "F", "totalBytes": 20480, "freeBytes": 10240},
               {"letter": "G", "totalBytes": 4096, "freeBytes": 0}], "scsiAddress": {"port": 0}},
  {"number": 3, "busType": 17, "model": "Small NVMe", "firmware": "N1", "serial": "SMALL-3", "sectorCount": 65536,
   "logicalSectorSize": 4096, "driver": {"provider": "Microsoft"}, "scsiAddress": {"port": 1},
   "pci": {"vendorId": "0x1AB2", "deviceId": "0x5A5A", "bus": 5, "device": 0, "function": 0,
           "linkSpeed": 3, "linkWidth": 2}},
  {"number": 4, "busType": 11, "model": "Gone", "firmware": "F1", "serial": "SMALL-4", "sectorCount": 1024,
   "faults": [{"kind": "absent"}], "scsiAddress": {"port": 2}},
  {"number": 56, "busType": 11, "model": "Too Far", "firmware": "F1", "serial": "SMALL-56", "sectorCount": 1024,
   "scsiAddress": {"port": 3}}
]})";
}

TEST(DiskCommandsEndToEnd, MissingDiskAnswers) {
    zeltest::TempDir dir;
    const std::vector<std::string> env = {hostIn(dir, smallHost(true))};
    zeltest::ChildResult rw = runZelCli("-a rw --rw read --diskid 99", dir.path(), env);
    EXPECT_EQ(rw.exitCode, 0x20000007u) << rw.output;
    EXPECT_TRUE(contains(rw.output, "[ZelCli] Failed to initialize action rw... (LE=0x20000007, Disk not found!)"))
        << rw.output;

    EXPECT_EQ(runZelCli("--exist --diskid 99", dir.path(), env).exitCode, 0xC0380011u);
    EXPECT_EQ(runZelCli("--exist", dir.path(), env).exitCode, 0xC0380011u);
    EXPECT_EQ(runZelCli("--exist --disksn NO-SUCH-SERIAL", dir.path(), env).exitCode, 0xC0380011u);
    EXPECT_EQ(runZelCli("--exist --diskid 4", dir.path(), env).exitCode, 0xC0380011u);   // absent
    EXPECT_EQ(runZelCli("--exist --diskid 56", dir.path(), env).exitCode, 0xC0380011u);  // past the range
    EXPECT_EQ(runZelCli("--exist --disksn SMALL-3", dir.path(), env).exitCode, 0u);
    EXPECT_EQ(runZelCli("--exist --diskmodel SATA --diskid 3", dir.path(), env).exitCode, 0u);
    EXPECT_EQ(runZelCli("--monitor --diskid 0", dir.path(), env).exitCode, 1u);  // no PCIe side
    EXPECT_EQ(runZelCli("--close_winio", dir.path(), env).exitCode, 0u);

    // A description that does not load leaves a host without disks (its
    // message: tests/vhost/VirtualHostTest.cpp).
    EXPECT_EQ(runZelCli("--exist --diskid 0", dir.path(), {hostIn(dir, "{")}).exitCode, 0xC0380011u);
}

TEST(DiskCommandsEndToEnd, InfoOnTheExampleHost) {
    zeltest::TempDir dir;
    const std::vector<std::string> env = {hostIn(dir, exampleHost())};
    const zeltest::ChildResult info = runZelCli("--info", dir.path(), env);
    EXPECT_EQ(info.exitCode, 0u) << info.output;
    const size_t platform = info.output.find("***** Platform Information *****");
    const size_t os = info.output.find("***** OS Information *****");
    const size_t disks = info.output.find("***** Disk Information *****");
    ASSERT_NE(platform, std::string::npos);
    EXPECT_LT(platform, os);
    EXPECT_LT(os, disks);
    EXPECT_NE(disks, std::string::npos);
    for (int kind : {0, 1, 2, 3, 17, 20, 22})
        EXPECT_TRUE(contains(info.output, "  Disk type: " + std::to_string(kind) + "\r\n")) << kind;
    // Disk 0 as described: 512110190592 bytes, C: and D: with their sizes.
    const char* diskZero[] = {"- Disk 0:", "  Model: Zeltron SA510 512GB", "  Firmware: ZS1A2B03",
                              "  Serial number: ZS510A0000001", "  Vendor: ", "  Bytes per sector: 512",
                              "  Capacity: 512110190592 (476.94GB)", "  Total LBA: 1000215216", "  Disk type: 1",
                              "  - Partition 0:", "    Drive letter: C", "    Free space: 120259084288 (112.00GB)",
                              "    Total size: 255550554112 (238.00GB)", "  - Partition 1:", "    Drive letter: D"};
    size_t at = disks;
    for (const char* line : diskZero) {
        at = info.output.find(std::string(" ") + line + "\r\n", at);
        ASSERT_NE(at, std::string::npos) << line;
    }
    EXPECT_TRUE(contains(info.output, "  Vendor: NVMe\r\n"));

    const zeltest::ChildResult one = runZelCli("--info --diskid 1 --out-ini one.ini", dir.path(), env);
    EXPECT_EQ(one.exitCode, 0u) << one.output;
    const std::string ini = dir.file("one.ini");
    char text[128] = {};
    GetPrivateProfileStringA("Disk1", "Model", "", text, sizeof(text), ini.c_str());
    EXPECT_STREQ(text, "Zeltron NV900 1TB");
    GetPrivateProfileStringA("Disk1", "Link", "", text, sizeof(text), ini.c_str());
    EXPECT_STREQ(text, "Gen4x4");
    GetPrivateProfileStringA("Disk1", "VID", "", text, sizeof(text), ini.c_str());
    EXPECT_STREQ(text, "0x1F2E");
    EXPECT_EQ(GetPrivateProfileIntA("Disk1", "DiskType", -1, ini.c_str()), 2);
    EXPECT_EQ(GetPrivateProfileIntA("Disk1", "ProtocolType", -1, ini.c_str()), 6);
    EXPECT_EQ(GetPrivateProfileIntA("Disk0", "DiskType", -1, ini.c_str()), -1);  // only the chosen disk

    const zeltest::ChildResult all = runZelCli("--info --out-ini all.ini", dir.path(), env);
    EXPECT_TRUE(contains(all.output, "Output disk info to file ")) << all.output;
    EXPECT_EQ(GetPrivateProfileIntA("Disk9", "DiskType", -1, dir.file("all.ini").c_str()), 22);
    EXPECT_EQ(GetPrivateProfileIntA("DiskList", "Count", -1, dir.file("all.ini").c_str()), 10);
    GetPrivateProfileStringA("Disk0", "Capacity", "", text, sizeof(text), dir.file("all.ini").c_str());
    EXPECT_STREQ(text, "512110190592") << "past 32 bits";
    GetPrivateProfileStringA("Disk0", "DriveLetters", "", text, sizeof(text), dir.file("all.ini").c_str());
    EXPECT_STREQ(text, "CD");

    const zeltest::ChildResult monitor = runZelCli("--monitor --diskid 2", dir.path(), env);
    EXPECT_EQ(monitor.exitCode, 0u);
    EXPECT_EQ(monitor.output, "link_speed=Gen3, link_width=x4") << "a bare line for scripts, no line break";
}

TEST(DiskCommandsEndToEnd, InitJsonAndItsReturnThroughCommfile) {
    zeltest::TempDir dir;
    std::vector<std::string> env = {hostIn(dir, smallHost(true))};
    const zeltest::ChildResult init = runZelCli("--info --init --commfile disks.json", dir.path(), env);
    EXPECT_EQ(init.exitCode, 0u) << init.output;
    const nlohmann::ordered_json doc = nlohmann::ordered_json::parse(zeltest::readFile(dir.file("disks.json")));
    const auto& drives = doc.at("drive_info_list");
    ASSERT_EQ(drives.size(), 2u);  // absent and out-of-range disks are not listed
    // Key order and value types are the records' own, checked with them.
    const auto& sata = drives[0];
    EXPECT_EQ(sata["model"], "Small SATA");
    EXPECT_EQ(sata["disk_type"], 1);
    EXPECT_EQ(sata["protocol_type"], 1);
    const auto& part = sata["disk_info_list"][0]["part_info_list"];
    ASSERT_EQ(part.size(), 2u);
    EXPECT_EQ(part[0]["drive_letter"], "F");
    EXPECT_EQ(part[0]["capacity"], 20480u);
    EXPECT_EQ(part[1]["free_space"], 0u);
    const auto& nvme = drives[1];
    EXPECT_EQ(nvme["hwid"], "PCI\\VEN_1AB2&DEV_5A5A");
    EXPECT_EQ(nvme["bus"], 5u);
    EXPECT_EQ(nvme["link_str"], "Gen3x2");
    EXPECT_NE(nvme["base_addr"], 0u);
    EXPECT_NE(nvme["pxcap_offset"], 0u);
    EXPECT_EQ(nvme["disk_info_list"][0]["sector_size"], 4096u);
    EXPECT_EQ(nvme["disk_info_list"][0]["sector_count"], 65536u);
    EXPECT_EQ(nvme["disk_info_list"][0]["id"], 3u);

    // The next host has no port-I/O driver: the PCIe side comes from the file.
    zeltest::TempDir bare;
    env = {hostIn(bare, smallHost(false))};
    EXPECT_EQ(runZelCli("--monitor --diskid 3", bare.path(), env).exitCode, 1u);
    const zeltest::ChildResult carried =
        runZelCli("--monitor --diskid 3 --commfile " + dir.file("disks.json"), bare.path(), env);
    EXPECT_EQ(carried.exitCode, 0u) << carried.output;
    EXPECT_TRUE(contains(carried.output, "link_speed=Gen3, link_width=x2")) << carried.output;
}

TEST(DiskCommandsEndToEnd, MissingPortIoDriver) {
    zeltest::TempDir dir;
    const std::vector<std::string> env = {hostIn(dir, smallHost(false))};
    const zeltest::ChildResult info = runZelCli("--info", dir.path(), env);
    EXPECT_EQ(info.exitCode, 0x20000001u);
    EXPECT_TRUE(contains(info.output, "- Disk 3:"));
    EXPECT_FALSE(contains(info.output, "- Disk 56:"));
    EXPECT_EQ(runZelCli("--prechk -a rw --rw read --diskid 0", dir.path(), env).exitCode, 0x20000001u);
    zeltest::TempDir bare;
    const std::vector<std::string> noNvme = {hostIn(bare, R"({"portIoDriver": false, "disks": []})")};
    EXPECT_EQ(runZelCli("--prechk", bare.path(), noNvme).exitCode, 0x20000001u) << "no NVMe disk to inspect";
    const std::vector<std::string> unloadable = {hostIn(bare, "{ not json")};
    EXPECT_EQ(runZelCli("--prechk", bare.path(), unloadable).exitCode, 0x20000001u);

    zeltest::TempDir good;
    const std::vector<std::string> withDriver = {hostIn(good, smallHost(true))};
    // A clean pre-check goes on to the action, which fails on its own.
    EXPECT_EQ(runZelCli("--prechk -a rw --rw read --diskid 99", good.path(), withDriver).exitCode, 0x20000007u);
}

}  // namespace
