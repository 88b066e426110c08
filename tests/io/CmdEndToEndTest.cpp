#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>

#include "io/Pattern.h"
#include "tests/io/Sha256.h"
#include "tests/io/VhostFixture.h"
#include "tests/support/TestHosts.h"

namespace {

using zeltest::contains;

// ATA strings are byte-swapped per word.
std::string ataString(const std::string& data, size_t firstWord, size_t words) {
    std::string text;
    for (size_t w = firstWord; w < firstWord + words; ++w) text += {data[2 * w + 1], data[2 * w]};
    return text;
}

uint32_t le(const std::string& data, size_t at, size_t bytes) {
    uint32_t value = 0;
    for (size_t i = 0; i < bytes; ++i) value |= uint32_t(uint8_t(data[at + i])) << (8 * i);
    return value;
}

class CmdEndToEnd : public zeltest::VhostFixture {
protected:
    void SetUp() override { useHost(zeltest::routeHost()); }
    // Each run starts with a fresh INI so that keys of an earlier run cannot pass for this one's.
    zeltest::ChildResult run(const std::string& args) {
        DeleteFileA(dir_->file("r.ini").c_str());
        return VhostFixture::run("-a cmd " + args + " --out-ini r.ini --debug");
    }
    std::string ini(const char* key) const {
        char value[256] = {};
        GetPrivateProfileStringA("cmd", key, "<none>", value, sizeof value, dir_->file("r.ini").c_str());
        return value;
    }
    // The virtual disk's contents as the host stored them.
    std::string image(int disk, uint64_t offset, size_t bytes) const {
        std::ifstream in(dir_->file("host.json.state\\disk" + std::to_string(disk) + ".img"), std::ios::binary);
        std::string data(bytes, '\0');
        in.seekg(static_cast<std::streamoff>(offset));
        in.read(&data[0], static_cast<std::streamsize>(bytes));
        return data;
    }
};

}  // namespace

TEST_F(CmdEndToEnd, AtaIdentifyAndSmartReadDataWithTheirRegisters) {
    auto identify = run("-d 0 --command 0xEC --device 0xA0 --io in --datalen 512 --out-bin id.bin");
    ASSERT_EQ(identify.exitCode, 0u) << identify.output;
    const std::string id = file("id.bin");
    ASSERT_EQ(id.size(), 512u);
    EXPECT_EQ(ataString(id, 27, 20).substr(0, 13), "Test SATA SSD");
    EXPECT_EQ(ataString(id, 10, 10).substr(0, 8), "SATA0001");
    EXPECT_EQ(ini("protocol"), "ata");
    EXPECT_EQ(ini("status"), "0x50");
    EXPECT_EQ(ini("error"), "0x00");
    EXPECT_EQ(ini("last_error"), "0");
    const std::string log = file("run.log");
    EXPECT_TRUE(contains(log, "[AtaProtocolOverAta] Send command: FEATURE=0x00, COUNT=0x01, LBA=0x000000, "
                              "DEVICE=0xA0, COMMAND=0xEC, dataSize=512"))
        << log;
    EXPECT_TRUE(contains(log, "[ActionCommand] Answer: status=0x50 error=0x00")) << log;

    auto smart = run("-d 0 --command 0xB0 --feature 0xD0 --lba 0xC24F00 --io in --datalen 512 --out-bin smart.bin");
    ASSERT_EQ(smart.exitCode, 0u) << smart.output;
    const std::string data = file("smart.bin");
    ASSERT_EQ(data.size(), 512u);
    // Attribute 5 first, current 100, raw 7 (the description's values).
    EXPECT_EQ(uint8_t(data[2]), 5);
    EXPECT_EQ(uint8_t(data[5]), 100);
    EXPECT_EQ(le(data, 7, 4), 7u);
    uint8_t sum = 0;
    for (char c : data) sum = uint8_t(sum + uint8_t(c));
    EXPECT_EQ(sum, 0) << "checksum byte 511";
}

TEST_F(CmdEndToEnd, WriteDmaExtThenReadDmaExtThroughTheImage) {
    auto made = run("-d 0 --dumptype rand --dumpsize 1024 --dump pattern.bin");
    ASSERT_EQ(made.exitCode, 0u) << made.output;
    const std::string pattern = file("pattern.bin");
    ASSERT_EQ(pattern.size(), 1024u);
    // The rand dump is the rw pattern's expansion for the recorded seed.
    std::string expected(1024, '\0');
    zel::Sfc64 generator(std::stoull(ini("seed")));
    zel::fillRandom(generator, &expected[0], expected.size(), 0);
    EXPECT_EQ(pattern, expected);

    auto write = run("-d 0 --command 0x35 --48bit --lba 0x12345 --device 0x40 --io out --in-bin pattern.bin");
    ASSERT_EQ(write.exitCode, 0u) << write.output;
    EXPECT_EQ(image(0, 0x12345ull * 512, 1024), pattern) << "the host wrote where the task file said";
    EXPECT_TRUE(contains(file("run.log"), "FEATURE=0x0000, COUNT=0x0002, LBA=0x000000012345, DEVICE=0x40, "
                                          "COMMAND=0x35, dataSize=1024"));

    auto read = run("-d 0 --command 0x25 --48bit --lba 0x12345 --device 0x40 --io in --datalen 1024 --out-bin back.bin");
    ASSERT_EQ(read.exitCode, 0u) << read.output;
    EXPECT_EQ(file("back.bin"), pattern);
    EXPECT_EQ(ini("status"), "0x50");

    // A read that must differ from --in-bin fails while the data is there, passes after a trim.
    auto same = run("-d 0 --command 0x25 --48bit --lba 0x12345 --io in --in-bin pattern.bin");
    EXPECT_EQ(same.exitCode, 0x20000131u) << same.output;
    auto trim = run("-d 0 --trim --lba 0x12345 --datalen 1024");
    ASSERT_EQ(trim.exitCode, 0u) << trim.output;
    EXPECT_TRUE(contains(file("run.log"), "COMMAND=0x06, dataSize=512"));
    auto differs = run("-d 0 --command 0x25 --48bit --lba 0x12345 --io in --in-bin pattern.bin --out-bin gone.bin");
    EXPECT_EQ(differs.exitCode, 0u) << differs.output;
    EXPECT_EQ(file("gone.bin"), std::string(1024, '\0')) << "trimmed sectors read zeros";
}

TEST_F(CmdEndToEnd, ExpectedStatusDecidesTheOutcome) {
    auto mismatch = run("-d 0 --command 0xEC --io in --datalen 512 --status 0x51");
    EXPECT_EQ(mismatch.exitCode, 0x20000123u) << mismatch.output;
    EXPECT_TRUE(contains(mismatch.output, "[ActionCommand] STATUS=0x50, ERROR=0x00, expected STATUS=0x51"));
    EXPECT_EQ(ini("status"), "0x50");
    EXPECT_EQ(ini("expected_status"), "0x51");
    EXPECT_EQ(ini("last_error"), std::to_string(0x20000123u));

    // An unknown command aborts: expected, it passes; not expected, it fails.
    EXPECT_EQ(run("-d 0 --command 0xFE --status 0x51").exitCode, 0u);
    EXPECT_EQ(ini("error"), "0x04");
    EXPECT_EQ(run("-d 0 --command 0xFE").exitCode, 0x20000123u);
}

TEST_F(CmdEndToEnd, ScsiInquiryAndCheckConditionSense) {
    auto inquiry = run("-d 5 --cdb \"12 00 00 00 60 00\" --io in --datalen 96 --out-bin inq.bin");
    ASSERT_EQ(inquiry.exitCode, 0u) << inquiry.output;
    const std::string data = file("inq.bin");
    EXPECT_EQ(data.substr(8, 8), "Stick   ");
    EXPECT_EQ(data.substr(16, 8), "USB DISK");
    EXPECT_EQ(ini("scsi_status"), "0x00");
    EXPECT_TRUE(contains(file("run.log"), "[ScsiProtocol] Send CDB(6): 12 00 00 00 60 00 00 00"));

    // --protocol scsi reaches a SATA disk too; an unknown operation code is ILLEGAL REQUEST.
    auto bad = run("-d 0 --protocol SCSI --cdb A3000000000000000000000000");
    EXPECT_EQ(bad.exitCode, 0x20000004u) << "13 bytes";
    bad = run("-d 0 --protocol SCSI --cdb A30000000000000000000000");
    EXPECT_EQ(bad.exitCode, 0x20000124u) << bad.output;
    EXPECT_EQ(ini("scsi_status"), "0x02");
    EXPECT_EQ(ini("sense_key"), "0x5");
    EXPECT_EQ(ini("asc"), "0x20");
    EXPECT_EQ(ini("sense").substr(0, 8), "70 00 05");
}

TEST_F(CmdEndToEnd, NvmeIdentifyAndLogPageOnEveryRoute) {
    const struct {
        int disk;
        const char* model;
    } routes[] = {{1, "Test NVMe Inbox"}, {2, "Test NVMe RST"}, {3, "Test NVMe Mini"}};
    for (const auto& r : routes) {
        SCOPED_TRACE(r.model);
        const std::string d = "-d " + std::to_string(r.disk);
        auto identify = run(d + " --opc 6 --cdw10 1 --io in --datalen 4096 --out-bin idc.bin");
        ASSERT_EQ(identify.exitCode, 0u) << identify.output;
        EXPECT_EQ(file("idc.bin").substr(24, std::string(r.model).size()), r.model);
        EXPECT_EQ(ini("status"), "0x0000");
        EXPECT_EQ(ini("protocol"), "nvme");

        auto page = run(d + " --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F0002 --io in --datalen 512 --out-bin health.bin");
        ASSERT_EQ(page.exitCode, 0u) << page.output;
        const std::string health = file("health.bin");
        ASSERT_EQ(health.size(), 512u);
        EXPECT_EQ(le(health, 1, 2), 308u) << "composite temperature, Kelvin";
        EXPECT_EQ(uint8_t(health[3]), 100) << "available spare";
        EXPECT_EQ(uint8_t(health[4]), 10) << "its threshold";

        // An offset in CDW12: the inbox route cannot carry it, the port routes do.
        auto offset = run(d + " --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F0002 --cdw12 4 --io in --datalen 4 --out-bin o.bin");
        if (r.disk == 1) {
            EXPECT_EQ(offset.exitCode, 0x20000127u) << offset.output;
            EXPECT_FALSE(contains(file("run.log"), "CDW12=4")) << "refused before the send line";
        } else {
            ASSERT_EQ(offset.exitCode, 0u) << offset.output;
            EXPECT_EQ(file("o.bin"), health.substr(4, 4));
        }
    }
    auto invalid = run("-d 3 --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F00AB --io in --datalen 512");
    EXPECT_EQ(invalid.exitCode, 0x20000125u) << invalid.output;
    EXPECT_EQ(ini("sc"), "0x09");
    EXPECT_EQ(ini("sct"), "0x1");
    auto vendor = run("-d 1 --opc 0xC2 --ns 1 --io in --datalen 6 --out-bin v.bin");
    ASSERT_EQ(vendor.exitCode, 0u) << vendor.output;
    EXPECT_EQ(file("v.bin"), std::string("\xDE\xAD\xBE\xEF\x01\x02", 6));
    EXPECT_EQ(ini("dw0"), "0x12345678");
    EXPECT_EQ(run("-d 1 --opc 0x09 --queue io --ns 1 --io out --data 00000000000000010000000000000000").exitCode,
              0x20000126u);
}

TEST_F(CmdEndToEnd, EveryDumpType) {
    ASSERT_EQ(run("-d 0 --dumptype zero --dump z.bin").exitCode, 0u);
    EXPECT_EQ(file("z.bin"), std::string(512, '\0'));
    ASSERT_EQ(run("-d 0 --command 0x35 --48bit --lba 64 --io out --data \"5A A5\" --datalen 2").exitCode, 0x20000121u);
    std::string sector(512, '\x3C');
    std::ofstream(dir_->file("s.bin"), std::ios::binary) << sector;
    ASSERT_EQ(run("-d 3 --trim --lba 64 --datalen 512").exitCode, 0u);
    ASSERT_EQ(run("-d 3 --opc 1 --queue io --ns 1 --cdw10 64 --io out --in-bin s.bin").exitCode, 0u);
    ASSERT_EQ(run("-d 3 --dumptype lba --lba 63 --dumpsize 1536 --dump l.bin").exitCode, 0u);
    EXPECT_EQ(file("l.bin"), std::string(512, '\0') + sector + std::string(512, '\0'));

    ASSERT_EQ(run("-d 0 --dumptype identify --dump i.bin").exitCode, 0u);
    EXPECT_EQ(ataString(file("i.bin"), 27, 20).substr(0, 13), "Test SATA SSD");
    ASSERT_EQ(run("-d 4 --dumptype smart --dump s4.bin").exitCode, 0u) << "SMART through the SAT bridge";
    EXPECT_EQ(file("s4.bin").size(), 512u);
    EXPECT_EQ(uint8_t(file("s4.bin")[0]), 0x10) << "revision";
    ASSERT_EQ(run("-d 2 --dumptype smart --dump h.bin").exitCode, 0u);
    EXPECT_EQ(le(file("h.bin"), 1, 2), 308u);
    ASSERT_EQ(run("-d 1 --dumptype logpage --lid 3 --lpsize 64 --dump f.bin").exitCode, 0u);
    EXPECT_EQ(file("f.bin").substr(8, 4), "NV01") << "firmware slot 1";
    ASSERT_EQ(run("-d 3 --dumptype identifyns --dump ns.bin").exitCode, 0u);
    EXPECT_EQ(le(file("ns.bin"), 0, 4), 131072u) << "namespace size";
    EXPECT_EQ(run("-d 0 --dumptype logpage --lid 2 --dump x.bin").exitCode, 0x20000008u);
}

TEST_F(CmdEndToEnd, MalformedInputIsRefusedBeforeAnythingIsSent) {
    const struct {
        const char* args;
        uint32_t code;
        const char* line;
    } cases[] = {
        {"-d 5 --cdb 12zz00006000 --io in --datalen 96", 0x20000004, "--cdb is not hex bytes: \"12zz00006000\""},
        {"-d 0 --command 0x25 --lba 0x10000000 --io in --datalen 512", 0x20000120, "needs --48bit"},
        {"-d 0 --command 0x35 --io out --data 00FF --datalen 512", 0x20000121, "does not match the 2 bytes of data"},
        {"-d 3 --opc 6 --cdw10 0x100000000", 0x20000004, "--cdw10 is not a valid number: \"0x100000000\""},
        {"-d 1 --protocol ata --identify", 0x20000008, "Disk 1 takes nvme commands, not ata"},
    };
    for (const auto& c : cases) {
        auto result = run(c.args);
        EXPECT_EQ(result.exitCode, c.code) << c.args << "\n" << result.output;
        EXPECT_TRUE(contains(result.output, c.line)) << c.args << "\n" << result.output;
        EXPECT_FALSE(contains(result.output, "Send ")) << c.args;
    }
}

namespace {

// Disk 0: an NVMe drive behind the JMicron bridge (kind 22) that takes
// Dataset Management, with byte 16 of vendor page CAh set; disk 1: a USB
// stick without the tunnel.
class CmdJMicronEndToEnd : public CmdEndToEnd {
protected:
    void SetUp() override {
        useHost(R"({"disks": [{"number": 0, "busType": 7, "vendor": "JMicron", "model": "Generic USB",
  "serial": "JMB00001", "sectorCount": 65536, "trim": {"supported": true},
  "nvmeLogPages": {"0xCA": {"size": 512, "bytes": {"16": "A5"}}}},
  {"number": 1, "busType": 7, "vendor": "Stick", "model": "USB DISK", "sectorCount": 65536}]})");
    }
};

}  // namespace

TEST_F(CmdJMicronEndToEnd, NvmeCommandsAndDumpsThroughTheTunnel) {
    auto identify = run("-d 0 --protocol nvme --identify --out-bin idc.bin");
    ASSERT_EQ(identify.exitCode, 0u) << identify.output;
    EXPECT_EQ(file("idc.bin").substr(4, 8), "JMB00001");
    EXPECT_EQ(file("idc.bin").substr(24, 11), "Generic USB");
    EXPECT_EQ(ini("status"), "0x0000");
    EXPECT_TRUE(contains(file("run.log"), "[NvmeProtocolOverJMicron] Send command: OPC=6, NS=0, CDW10=1"));

    auto page = run("-d 0 --protocol nvme --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F00CA --io in --datalen 512 --out-bin ca.bin");
    ASSERT_EQ(page.exitCode, 0u) << page.output;
    EXPECT_EQ(uint8_t(file("ca.bin")[16]), 0xA5);
    // Without --protocol the NVMe-only dumps take the tunnel by themselves.
    ASSERT_EQ(run("-d 0 --dumptype logpage --lid 0xCA --lpsize 32 --dump d.bin").exitCode, 0u);
    EXPECT_EQ(file("d.bin"), file("ca.bin").substr(0, 32));

    auto invalid = run("-d 0 --protocol nvme --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F00AB --io in --datalen 512");
    EXPECT_EQ(invalid.exitCode, 0x20000125u) << invalid.output;
    EXPECT_EQ(ini("sc"), "0x09");
    EXPECT_EQ(ini("sct"), "0x1");
    ASSERT_EQ(run("-d 0 --protocol nvme --trim --lba 64").exitCode, 0u);
    EXPECT_TRUE(contains(file("run.log"), "[NvmeProtocolOverJMicron] Send command: OPC=9, NS=1, CDW10=0, CDW11=4"));
}

TEST_F(CmdJMicronEndToEnd, OversizeIsRefusedAndOtherRunsStayScsi) {
    auto big = run("-d 0 --protocol nvme --opc 2 --ns 0xFFFFFFFF --cdw10 0x07FF00CA --io in --datalen 8192");
    EXPECT_EQ(big.exitCode, 0x20000126u) << big.output;
    EXPECT_TRUE(contains(big.output, "tunnel moves at most 4096 bytes per command, not 8192")) << big.output;
    EXPECT_FALSE(contains(file("run.log"), "Send ")) << "refused before anything is sent";

    auto inquiry = run("-d 0 --identify --out-bin inq.bin");
    ASSERT_EQ(inquiry.exitCode, 0u) << inquiry.output;
    EXPECT_EQ(file("inq.bin").substr(8, 8), "JMicron ");
    EXPECT_EQ(ini("protocol"), "scsi");
    EXPECT_EQ(run("-d 1 --protocol nvme --identify").exitCode, 0x20000008u) << "no tunnel on a plain stick";
}

namespace {

const char* const kOsVolume = R"("volumes": [{"letter": "C", "totalBytes": 4096}])";
constexpr uint32_t kOsDrive = 0x20000005;

struct OsDriveRun {
    const char* args;
    bool refused;
};

// One disk of a host made the OS drive, with the commands tried on it.
struct OsDriveRoute {
    const char* name;
    int disk;
    std::string host;
    std::vector<OsDriveRun> runs;
};

// The NVMe classes every NVMe route refuses, and what it still reads.
std::vector<OsDriveRun> nvmePortRuns() {
    return {
        {"--opc 1 --queue io --ns 1 --cdw10 16 --io out --in-bin w.bin", true},
        {"--opc 4 --queue io --ns 1 --cdw10 16", true},
        {"--opc 8 --queue io --ns 1 --cdw10 16", true},
        {"--opc 9 --queue io --ns 1 --cdw11 4 --io out --data 00000000010000001000000000000000", true},
        {"--trim --lba 16", true},
        {"--opc 0x80 --ns 1", true},
        {"--opc 0x84 --cdw10 2", true},
        {"--opc 0x11 --io out --in-bin w.bin", true},
        {"--opc 9 --cdw10 6", true},
        {"--opc 2 --queue io --ns 1 --cdw10 16 --io in --datalen 512", false},
        {"--opc 2 --ns 0xFFFFFFFF --cdw10 0x007F0002 --io in --datalen 512", false},
        {"--opc 0x0A --cdw10 6", false},
        {"--identify", false},
        {"--flush", false},
    };
}

std::string jmicronHost(const std::string& extra) {
    return R"({"disks": [{"number": 0, "busType": 7, "vendor": "JMicron", "model": "Generic USB",
  "serial": "JMB00001", "sectorCount": 65536, "trim": {"supported": true}, )" + extra + "}]}";
}

std::vector<OsDriveRoute> osDriveRoutes() {
    return {
        {"ATA port", 0, zeltest::routeHost(kOsVolume, 0),
         {{"--command 0x35 --48bit --lba 16 --device 0x40 --io out --in-bin w.bin", true},
          {"--command 0x30 --lba 16 --device 0x40 --io out --in-bin w.bin", true},
          {"--command 0x3D --48bit --lba 16 --device 0x40 --io out --in-bin w.bin", true},
          {"--command 0xCA --lba 16 --device 0x40 --io out --in-bin w.bin", true},
          {"--command 0x06 --feature 1 --48bit --device 0x40 --io out --in-bin w.bin", true},
          {"--trim --lba 16", true},
          {"--command 0xF4 --io out --in-bin w.bin", true},
          {"--command 0xB4 --48bit --feature 0x14", true},
          {"--command 0x92 --feature 7 --io out --in-bin w.bin", true},
          {"--command 0xB0 --feature 0xD6 --lba 0xC24F80 --io out --in-bin w.bin", true},
          {"--command 0xFA --io out --in-bin w.bin", true},
          {"--command 0xEC --io in --datalen 512", false},
          {"--command 0x25 --48bit --lba 16 --device 0x40 --io in --datalen 512", false},
          {"--command 0xEA --48bit --device 0x40", false},
          {"--dumptype smart --dump s.bin", false},
          {"--dumptype lba --lba 16 --dump l.bin", false},
          {"--flush", false}}},
        {"SCSI", 5, zeltest::routeHost(kOsVolume, 5),
         {{"--cdb \"2A 00 00 00 00 10 00 00 01 00\" --io out --in-bin w.bin", true},
          {"--cdb \"8A 00 00 00 00 00 00 00 00 10 00 00 00 01 00 00\" --io out --in-bin w.bin", true},
          {"--cdb \"04 00 00 00 00 00\"", true},
          {"--cdb \"48 01 00 00 00 00 00 00 00 00\"", true},
          {"--cdb \"42 00 00 00 00 00 00 00 18 00\" --io out --data "
           "\"00 16 00 10 00 00 00 00 00 00 00 00 00 00 00 10 00 00 00 01 00 00 00 00\"", true},
          {"--cdb \"3B 05 00 00 00 00 00 02 00 00\" --io out --in-bin w.bin", true},
          {"--trim --lba 16", true},
          {"--cdb \"28 00 00 00 00 10 00 00 01 00\" --io in --datalen 512", false},
          {"--identify", false},
          {"--flush", false}}},
        {"SAT", 4, zeltest::routeHost(kOsVolume, 4),
         {{"--cdb \"85 0D 06 00 00 00 01 00 10 00 00 00 00 40 35 00\" --io out --in-bin w.bin", true},
          {"--cdb \"A1 0C 06 00 01 10 00 00 40 CA 00 00\" --io out --in-bin w.bin", true},
          {"--cdb \"85 07 00 00 00 00 00 00 00 00 00 00 00 40 B4 00\"", true},
          {"--cdb \"A1 08 0E 00 01 00 00 00 A0 EC 00 00\" --io in --datalen 512", false},
          {"--dumptype smart --dump s.bin", false},
          {"--flush", false}}},
        {"NVMe inbox", 1, zeltest::routeHost(kOsVolume, 1),
         {{"--trim --lba 16", true},
          {"--opc 0x80 --ns 1", true},
          {"--opc 0x84 --cdw10 2", true},
          {"--opc 0x11 --io out --in-bin w.bin", true},
          {"--opc 9 --cdw10 6", true},
          {"--opc 0xC1 --io out --in-bin w.bin", true},
          {"--opc 1 --queue io --ns 1 --cdw10 16 --io out --in-bin w.bin", true},
          {"--opc 2 --ns 0xFFFFFFFF --cdw10 0x007F0002 --io in --datalen 512", false},
          {"--opc 0x0A --cdw10 6", false},
          {"--identify", false},
          {"--flush", false}}},
        {"NVMe RST", 2, zeltest::routeHost(kOsVolume, 2), nvmePortRuns()},
        {"NVMe miniport", 3, zeltest::routeHost(kOsVolume, 3), nvmePortRuns()},
        {"JMicron tunnel", 0, jmicronHost(kOsVolume),
         {{"--protocol nvme --opc 1 --queue io --ns 1 --cdw10 16 --io out --in-bin w.bin", true},
          {"--protocol nvme --trim --lba 16", true},
          {"--protocol nvme --opc 0x80 --ns 1", true},
          {"--cdb \"A1 80 00 00 02 00 00 00 00 00 00 00\" --io out --in-bin w.bin", true},
          {"--cdb \"2A 00 00 00 00 10 00 00 01 00\" --io out --in-bin w.bin", true},
          {"--trim --lba 16", true},
          {"--protocol nvme --opc 2 --queue io --ns 1 --cdw10 16 --io in --datalen 512", false},
          {"--protocol nvme --identify", false},
          {"--protocol nvme --opc 0x0A --cdw10 6", false},
          {"--protocol nvme --flush", false},
          {"--dumptype logpage --lid 2 --dump d.bin", false},
          {"--identify", false}}},
    };
}

}  // namespace

// The host keeps a disk's contents in its image and its trimmed ranges beside it.
class CmdOsDriveEndToEnd : public CmdEndToEnd {
protected:
    std::string mediaDigest(int disk) const {
        const std::string state = "host.json.state\\disk" + std::to_string(disk);
        const std::string media = file(state + ".img") + "|" + file(state + ".trim");
        return testing_sha256::sha256Hex(media.data(), media.size());
    }
};

TEST_F(CmdOsDriveEndToEnd, NothingThatChangesTheMediaIsSentOnAnyRoute) {
    for (const OsDriveRoute& route : osDriveRoutes()) {
        SCOPED_TRACE(route.name);
        useHost(route.host);
        std::ofstream(dir_->file("w.bin"), std::ios::binary) << std::string(512, '\x5A');
        const std::string before = mediaDigest(route.disk);
        for (const OsDriveRun& r : route.runs) {
            auto result = run("-d " + std::to_string(route.disk) + " " + r.args);
            if (r.refused) {
                EXPECT_EQ(result.exitCode, kOsDrive) << r.args << "\n" << result.output;
                EXPECT_TRUE(contains(result.output, "is the OS drive; not sent: ")) << r.args << "\n" << result.output;
                EXPECT_FALSE(contains(result.output, "Send ")) << r.args << ": refused before anything is sent";
            } else {
                EXPECT_EQ(result.exitCode, 0u) << r.args << "\n" << result.output;
            }
        }
        EXPECT_EQ(mediaDigest(route.disk), before) << "the OS drive's image and trimmed ranges are unchanged";
    }
}

TEST_F(CmdEndToEnd, DataLengthIsWhatCameBackBesideWhatWasAsked) {
    const struct {
        const char* args;
        const char* returned;
        const char* requested;
    } cases[] = {
        {"-d 5 --cdb \"12 00 00 00 FF 00\" --io in --datalen 255", "96", "255"},
        {"-d 0 --command 0xEC --io in --datalen 1024", "512", "1024"},
        {"-d 4 --cdb \"A1 08 0E 00 02 00 00 00 A0 EC 00 00\" --io in --datalen 1024", "512", "1024"},
        {"-d 3 --opc 6 --cdw10 1 --io in --datalen 4096", "4096", "4096"},
    };
    for (const auto& c : cases) {
        auto result = run(std::string(c.args) + " --out-bin back.bin");
        ASSERT_EQ(result.exitCode, 0u) << c.args << "\n" << result.output;
        EXPECT_EQ(ini("data_length"), c.returned) << c.args;
        EXPECT_EQ(ini("data_length_requested"), c.requested) << c.args;
        EXPECT_EQ(std::to_string(file("back.bin").size()), c.returned) << c.args << ": the file holds what came back";
    }
}

TEST_F(CmdEndToEnd, AnOpcodeThatAllowsDataMayMoveNone) {
    for (const char* disk : {"-d 1", "-d 2", "-d 3"}) {
        auto features = run(std::string(disk) + " --opc 0x0A --cdw10 6");
        ASSERT_EQ(features.exitCode, 0u) << disk << "\n" << features.output;
        EXPECT_EQ(ini("dw0"), "0x00000001") << disk << ": volatile write cache on";
        EXPECT_EQ(ini("data_length"), "<none>") << disk;
    }
    // Set Features reaches the device (which does not know it) instead of being refused for its opcode bits.
    auto set = run("-d 3 --opc 9 --cdw10 6 --cdw11 1");
    EXPECT_EQ(set.exitCode, 0x20000125u) << set.output;
    EXPECT_EQ(run("-d 3 --opc 6 --cdw10 1 --io out --data 00").exitCode, 0x20000004u) << "data the other way";
}
