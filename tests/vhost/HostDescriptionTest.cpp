#include <gtest/gtest.h>

#include "vhost/HostDescription.h"

using zel::vhost::HostDescription;
using zel::vhost::parseHostDescription;

namespace {

std::string problemOf(const std::string& text) {
    HostDescription host;
    std::string problem;
    parseHostDescription(text, &host, &problem);
    return problem;
}

}  // namespace

// What a loaded description sets is read back through ZelCli.exe (tests/io,
// tests/disk, tests/smart, tests/power), and a few problems are pinned in a
// run's output (LoadProblemsAreReportedWithTheirPath); here the others.
TEST(HostDescription, ProblemsNameTheKeyAtFault) {
    const std::pair<const char*, const char*> cases[] = {
        {"[]", "host: expected an object at the top"},
        {R"({"disks": {}})", "host.disks: expected a list"},
        {R"({"disks": [{"number": -1, "sectorCount": 1}]})", "disks[0].number: expected a non-negative number"},
        {R"({"disks": [{"number": 1, "sectorCount": 1}, {"number": 1, "sectorCount": 1}]})",
         "disks[1].number: disk number 1 is given twice"},
        {R"({"disks": [{"sectorCount": 1}], "powerSwitches": [{"kind": "sata", "disk": 0}]})",
         "powerSwitches[0].kind: unknown power-switch kind \"sata\""},
        {R"({"disks": [{"sectorCount": 1}], "powerSwitches": [{"kind": "SataHX410V1"}]})",
         "powerSwitches[0].disk: a power switch answers on its own disk"},
        {R"({"disks": [{"sectorCount": 1}], "powerSwitches": [{"kind": "SataHX410V1", "disk": 4}]})",
         "powerSwitches[0].disk: no disk 4 is described"},
        {R"({"disks": [{"number": 0, "sectorCount": 1}, {"number": 1, "sectorCount": 1}],
            "powerSwitches": [{"kind": "SataHX410V1", "disk": 0, "powers": [1]},
                              {"kind": "PcieHX410V1", "disk": 0, "powers": [1]}]})",
         "powerSwitches[1].powers: disk 1 is powered by two switches"},
        {R"({"driverPackages": [{"provider": "x"}]})", "driverPackages[0].name: a driver package needs its published name"},
        {R"({"clockOffsetSeconds": "99999999999"})", "host.clockOffsetSeconds: 99999999999 is outside 0..31622400000"},
        {R"({"disks": [{"number": 1, "sectorCount": 8, "driver": {"provider": "A", "instanceId": "PCI\\X\\1"}},
            {"number": 2, "sectorCount": 8, "driver": {"provider": "B", "instanceId": "PCI\\X\\12"}}]})",
         "disks[1].driver.instanceId: contains the controller id of disk 1, \"PCI\\X\\1\""},
    };
    for (const auto& [text, problem] : cases) EXPECT_EQ(problemOf(text), problem) << text;
}

TEST(HostDescription, ValuesOutsideTheirFieldAreRejected) {
    struct Case {
        const char* fields;
        const char* problem;
    } cases[] = {
        {R"("sectorCount": 8, "number": 2147483648)", "disks[0].number: 2147483648 is outside 0..2147483647"},
        {R"("sectorCount": 8, "busType": 256)", "disks[0].busType: 256 is outside 0..255"},
        {R"("capacityBytes": "-512")", "disks[0].capacityBytes: \"-512\" is not a number of at most 64 bits"},
        {R"("capacityBytes": 1000)", "disks[0].capacityBytes: not a multiple of the logical sector size 512"},
        {R"("capacityBytes": "0x10000000000000000")",
         "disks[0].capacityBytes: \"0x10000000000000000\" is not a number of at most 64 bits"},
        {R"("capacityBytes": 18446744073709551616)", "disks[0].capacityBytes: expected a whole number below 2^64"},
        {R"("sectorCount": "0x80000000000000")",
         "disks[0].sectorCount: 36028797018963968 sectors of 512 bytes exceed the largest capacity, 2^63-1 bytes"},
        {R"("sectorCount": 8, "physicalSectorSize": 1536)",
         "disks[0].physicalSectorSize: expected the logical sector size times a power of two"},
        {R"("sectorCount": 8, "logicalSectorSize": 4096, "physicalSectorSize": 512)",
         "disks[0].physicalSectorSize: expected the logical sector size times a power of two"},
        {R"("sectorCount": 8, "number": 300)",
         "disks[0].scsiAddress.port: needed for a disk numbered above 255 (ports are 0..255)"},
        {R"("sectorCount": 8, "pci": {"device": 32})", "disks[0].pci.device: 32 is outside 0..31"},
        {R"("sectorCount": 8, "faults": [{"kind": "corrupt", "lba": "0xFFFFFFFFFFFFFFF0", "count": 32}])",
         "disks[0].faults[0].count: the range runs past LBA 2^64-1"},
        {R"("sectorCount": 8, "vendorAnswers": [5])", "disks[0].vendorAnswers[0]: expected an object"},
        {R"("sectorCount": 8, "latencyMicros": {"min": 5, "max": 2})", "disks[0].latencyMicros.max: less than min"},
        {R"("sectorCount": 8, "latencyMicros": 60000001)", "disks[0].latencyMicros: 60000001 is outside 0..60000000"},
        {R"("sectorCount": 8, "media": "tape")", "disks[0].media: expected image or none"},
        {R"("sectorCount": 8, "health": {"availableSpare": 101})", "disks[0].health.availableSpare: 101 is outside 0..100"},
        {R"("sectorCount": 8, "health": {"temperatureKelvin": 200})",
         "disks[0].health.temperatureKelvin: below 273 K, which SATA attribute 194 cannot show"},
        {R"("sectorCount": 8, "nvmeLogPages": {"0xC0": {"size": "2m"}})",
         "disks[0].nvmeLogPages.0xC0.size: 2097152 is outside 0..1048576"},
        {R"("sectorCount": 8, "nvmeLogPages": {"0xC0": {"bytes": {"1048575": "01 02"}}})",
         "disks[0].nvmeLogPages.0xC0.bytes.1048575: runs past 1048576 bytes"},
        {R"("sectorCount": 8, "nvmeLogPages": {"2": {"bytes": {"x": "01"}}})",
         "disks[0].nvmeLogPages.2.bytes.x: \"x\" is not a number of at most 64 bits"},
        {R"("sectorCount": 8, "smartAttributes": [{"id": 232, "currentFrom": "raw"}])",
         "disks[0].smartAttributes[0].currentFrom: expected availableSpare"},
        {R"("sectorCount": 8, "writeTrimRanges": [])",
         "disks[0].writeTrimRanges: only an NVMe disk answers the write-and-trim vendor command"},
        {R"("sectorCount": 8, "busType": 17, "writeTrimRanges": [{"lba": 4, "sectors": 5}])",
         "disks[0].writeTrimRanges[0]: the range runs past the last LBA 7"},
        {R"("sectorCount": 8, "busType": 17, "writeTrimRanges": [{"sectors": 1, "op": "erase"}])",
         "disks[0].writeTrimRanges[0].op: expected write or trim"},
        {R"("sectorCount": 8, "model": 5)", "disks[0].model: expected text"},
        {R"("sectorCount": 8, "faults": [{"kind": "gremlins"}])",
         "disks[0].faults[0].kind: unknown fault kind \"gremlins\""},
        {R"("sectorCount": 8, "nvmeLogPages": {"2": "0"})", "disks[0].nvmeLogPages.2: odd number of hex digits"},
        {R"("sectorCount": 8, "logicalSectorSize": 520)", "disks[0].logicalSectorSize: expected 512 or 4096"},
        {R"("sectorCount": 8, "volumes": [{"letter": "EF"}])", "disks[0].volumes[0].letter: expected one drive letter"},
        {R"("sectorCount": 8, "driver": {"nvmeRoute": "magic"})",
         "disks[0].driver.nvmeRoute: expected stornvme, miniport or irst"},
        {R"("sectorCount": 8, "writeCache": "lazy")", "disks[0].writeCache: expected none, volatile or torn"},
        {R"("sectorCount": 8, "media": "none", "writeCache": "torn")",
         "disks[0].writeCache: a data-less disk keeps no data"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(problemOf(std::string(R"({"disks": [{)") + c.fields + "}]}"), c.problem) << c.fields;
    std::string attributes;
    for (int i = 0; i < 31; ++i) attributes += std::string(i ? "," : "") + R"({"id": 5})";
    EXPECT_EQ(problemOf(R"({"disks": [{"sectorCount": 8, "smartAttributes": [)" + attributes + "]}]}"),
              "disks[0].smartAttributes: more than 30 attributes, the size of the SMART table");
}
