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
    // A clean pre-check goes on to the action, which fails on its own.
    EXPECT_EQ(runZelCli("--prechk -a rw --rw read --diskid 99", dir.path(), env).exitCode, 0x20000007u);

    // A description that does not load leaves a host without disks (its
    // message: tests/vhost/VirtualHostTest.cpp).
    EXPECT_EQ(runZelCli("--exist --diskid 0", dir.path(), {hostIn(dir, "{")}).exitCode, 0xC0380011u);
}

TEST(DiskCommandsEndToEnd, InfoOnTheExampleHost) {
    zeltest::TempDir dir;
    const std::vector<std::string> env = {hostIn(dir, zeltest::readFile(ZEL_EXAMPLE_HOST))};
    const zeltest::ChildResult info = runZelCli("--info", dir.path(), env);
    EXPECT_EQ(info.exitCode, 0u) << info.output;
    for (int kind : {0, 1, 2, 3, 17, 20, 22})
        EXPECT_TRUE(contains(info.output, "  Disk type: " + std::to_string(kind) + "\r\n")) << kind;
    // The sections in order, then disk 0 as described: 512110190592 bytes, C: and D: with their sizes.
    const char* inOrder[] = {"***** Platform Information *****", "***** OS Information *****",
                             "***** Disk Information *****", "- Disk 0:", "  Model: Zeltron SA510 512GB",
                             "  Firmware: ZS1A2B03", "  Serial number: ZS510A0000001", "  Vendor: ",
                             "  Bytes per sector: 512", "  Capacity: 512110190592 (476.94GB)",
                             "  Total LBA: 1000215216", "  Disk type: 1", "  - Partition 0:", "    Drive letter: C",
                             "    Free space: 120259084288 (112.00GB)", "    Total size: 255550554112 (238.00GB)",
                             "  - Partition 1:", "    Drive letter: D"};
    size_t at = 0;
    for (const char* line : inOrder) {
        at = info.output.find(line[0] == '*' ? std::string(line) : " " + std::string(line) + "\r\n", at);
        ASSERT_NE(at, std::string::npos) << line;
    }
    EXPECT_TRUE(contains(info.output, "  Vendor: NVMe\r\n"));

    const zeltest::ChildResult one = runZelCli("--info --diskid 1 --out-ini one.ini", dir.path(), env);
    EXPECT_EQ(one.exitCode, 0u) << one.output;
    const zeltest::ChildResult all = runZelCli("--info --out-ini all.ini", dir.path(), env);
    EXPECT_TRUE(contains(all.output, "Output disk info to file ")) << all.output;
    // Only the chosen disk goes to one.ini; the capacity is past 32 bits.
    const struct { const char *file, *section, *key, *value; } keys[] = {
        {"one.ini", "Disk1", "Model", "Zeltron NV900 1TB"}, {"one.ini", "Disk1", "Link", "Gen4x4"},
        {"one.ini", "Disk1", "VID", "0x1F2E"}, {"one.ini", "Disk1", "DiskType", "2"},
        {"one.ini", "Disk1", "ProtocolType", "6"}, {"one.ini", "Disk0", "DiskType", "none"},
        {"all.ini", "Disk9", "DiskType", "22"}, {"all.ini", "DiskList", "Count", "10"},
        {"all.ini", "Disk0", "Capacity", "512110190592"}, {"all.ini", "Disk0", "DriveLetters", "CD"}};
    for (const auto& k : keys) {
        char text[128] = {};
        GetPrivateProfileStringA(k.section, k.key, "none", text, sizeof(text), dir.file(k.file).c_str());
        EXPECT_STREQ(text, k.value) << k.file << " " << k.section << "." << k.key;
    }

    // Standard output alone: the virtual host's banner goes to standard error.
    const zeltest::ChildResult monitor = zeltest::runZelCliStreamsApart("--monitor --diskid 2", dir.path(), env);
    EXPECT_EQ(monitor.exitCode, 0u);
    EXPECT_EQ(monitor.output, "link_speed=Gen3, link_width=x4") << "a bare line for scripts, no line break";
    EXPECT_TRUE(zeltest::contains(monitor.errorOutput, "Virtual test host")) << monitor.errorOutput;
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
    const struct { const char* pointer; nlohmann::ordered_json value; } fields[] = {
        {"/0/model", "Small SATA"}, {"/0/disk_type", 1}, {"/0/protocol_type", 1},
        {"/0/disk_info_list/0/part_info_list/0/drive_letter", "F"},
        {"/0/disk_info_list/0/part_info_list/0/capacity", 20480u},
        {"/0/disk_info_list/0/part_info_list/1/free_space", 0u},
        {"/1/hwid", "PCI\\VEN_1AB2&DEV_5A5A"}, {"/1/bus", 5u}, {"/1/link_str", "Gen3x2"},
        {"/1/disk_info_list/0/sector_size", 4096u}, {"/1/disk_info_list/0/sector_count", 65536u},
        {"/1/disk_info_list/0/id", 3u}};
    for (const auto& f : fields)
        EXPECT_EQ(drives.at(nlohmann::ordered_json::json_pointer(f.pointer)), f.value)
            << f.pointer;
    EXPECT_EQ(drives[0]["disk_info_list"][0]["part_info_list"].size(), 2u);
    EXPECT_NE(drives[1]["base_addr"], 0u);
    EXPECT_NE(drives[1]["pxcap_offset"], 0u);

    // The next host has no port-I/O driver: the PCIe side comes from the file.
    zeltest::TempDir bare;
    env = {hostIn(bare, smallHost(false))};
    EXPECT_EQ(runZelCli("--monitor --diskid 3", bare.path(), env).exitCode, 1u);
    const zeltest::ChildResult carried =
        runZelCli("--monitor --diskid 3 --commfile " + dir.file("disks.json"), bare.path(), env);
    EXPECT_EQ(carried.exitCode, 0u) << carried.output;
    EXPECT_TRUE(contains(carried.output, "link_speed=Gen3, link_width=x2")) << carried.output;
    // Without the driver the disks are still listed, but --info and a pre-check fail.
    const zeltest::ChildResult info = runZelCli("--info", bare.path(), env);
    EXPECT_EQ(info.exitCode, 0x20000001u);
    EXPECT_TRUE(contains(info.output, "- Disk 3:"));
    EXPECT_FALSE(contains(info.output, "- Disk 56:"));
    EXPECT_EQ(runZelCli("--prechk -a rw --rw read --diskid 0", bare.path(), env).exitCode, 0x20000001u);
    for (const char* host : {R"({"portIoDriver": false, "disks": []})", "{ not json"})  // no NVMe disk to inspect
        EXPECT_EQ(runZelCli("--prechk", bare.path(), {hostIn(bare, host)}).exitCode, 0x20000001u) << host;
}

}  // namespace
