#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <numeric>

#include "io/Pattern.h"
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

// An NVMe drive behind the JMicron bridge as disk 0, with more fields.
std::string jmicronHost(const std::string& extra) {
    return R"({"disks": [{"number": 0, "busType": 7, "vendor": "JMicron", "model": "Generic USB",
  "serial": "JMB00001", "sectorCount": 65536, "trim": {"supported": true}, )" + extra + "}]}";
}

class CmdEndToEnd : public zeltest::VhostFixture {
protected:
    void SetUp() override { useHost(zeltest::routeHost()); }
    // Each run starts with a fresh INI, log and dump so that an earlier run's keys, lines and bytes cannot pass
    // for its own.
    zeltest::ChildResult run(const std::string& args) override {
        for (const char* name : {"r.ini", "run.log", "d.bin"}) DeleteFileA(dir_->file(name).c_str());
        return VhostFixture::run("-a cmd " + args + " --out-ini r.ini --debug");
    }
    // A dump that must succeed, and the bytes it wrote.
    std::string dump(const std::string& args) { return runExpecting(args + " --dump d.bin", 0), file("d.bin"); }
    std::string ini(const char* key) const {
        char value[256] = {};
        GetPrivateProfileStringA("cmd", key, "<none>", value, sizeof value, dir_->file("r.ini").c_str());
        return value;
    }
    // One run each: its code, the INI keys it leaves, a console line; a
    // refused one sends nothing, and a saved answer holds what came back.
    using Keys = std::vector<std::pair<const char*, const char*>>;
    struct Answer { const char* args; uint32_t code; Keys keys; const char* line; bool sent; };
    void expectAnswers(const std::vector<Answer>& answers) {
        for (const Answer& a : answers) {
            DeleteFileA(dir_->file("back.bin").c_str());
            const std::string output = runExpecting(a.args, a.code).output, log = file("run.log");
            for (const auto& [key, value] : a.keys) EXPECT_EQ(ini(key), value) << a.args << ": " << key;
            EXPECT_TRUE(contains(output + log, a.line)) << a.args << "\n" << output;
            EXPECT_EQ(contains(log, "Send "), a.sent) << a.args << "\n" << log;
            EXPECT_TRUE(!contains(a.args, "back.bin") || std::to_string(file("back.bin").size()) == ini("data_length"))
                << a.args;
        }
    }
};

}  // namespace

TEST_F(CmdEndToEnd, AtaIdentifyAndSmartReadDataWithTheirRegisters) {
    expectAnswers({
        {"-d 0 --command 0xEC --device 0xA0 --io in --datalen 512 --out-bin id.bin", 0,
         {{"protocol", "ata"}, {"status", "0x50"}, {"error", "0x00"}, {"last_error", "0"}},
         "[AtaProtocolOverAta] Send command: FEATURE=0x00, COUNT=0x01, LBA=0x000000, DEVICE=0xA0, COMMAND=0xEC, "
         "dataSize=512",
         true},
        {"-d 0 --command 0xB0 --feature 0xD0 --lba 0xC24F00 --io in --datalen 512 --out-bin smart.bin", 0, {},
         "[ActionCommand] Answer: status=0x50 error=0x00", true},
    });
    const std::string id = file("id.bin");
    ASSERT_EQ(id.size(), 512u);
    EXPECT_EQ(ataString(id, 27, 20).substr(0, 13) + "|" + ataString(id, 10, 10).substr(0, 8), "Test SATA SSD|SATA0001");
    const std::string data = file("smart.bin");
    ASSERT_EQ(data.size(), 512u);
    // Attribute 5 first, current 100, raw 7 (the description's values).
    EXPECT_EQ((std::vector<uint32_t>{uint8_t(data[2]), uint8_t(data[5]), le(data, 7, 4)}), (std::vector<uint32_t>{5, 100, 7}));
    EXPECT_EQ(uint8_t(std::accumulate(data.begin(), data.end(), 0)), 0) << "checksum byte 511";
}

TEST_F(CmdEndToEnd, WriteDmaExtThenReadDmaExtThroughTheImage) {
    runExpecting("-d 0 --dumptype rand --dumpsize 1024 --dump pattern.bin", 0u);
    const std::string pattern = file("pattern.bin");
    ASSERT_EQ(pattern.size(), 1024u);
    // The rand dump is the rw pattern's expansion for the recorded seed.
    std::string expected(1024, '\0');
    zel::Sfc64 generator(std::stoull(ini("seed")));
    zel::fillRandom(generator, &expected[0], expected.size(), 0);
    EXPECT_EQ(pattern, expected);

    runExpecting("-d 0 --command 0x35 --48bit --lba 0x12345 --device 0x40 --io out --in-bin pattern.bin", 0u);
    EXPECT_EQ(file("host.json.state\\disk0.img").substr(0x12345 * 512, 1024), pattern) << "where the task file said";
    EXPECT_TRUE(contains(file("run.log"), "FEATURE=0x0000, COUNT=0x0002, LBA=0x000000012345, DEVICE=0x40, "
                                          "COMMAND=0x35, dataSize=1024"));

    runExpecting("-d 0 --command 0x25 --48bit --lba 0x12345 --device 0x40 --io in --datalen 1024 --out-bin back.bin", 0u);
    EXPECT_EQ(file("back.bin"), pattern);
    EXPECT_EQ(ini("status"), "0x50");

    // A read that must differ from --in-bin fails while the data is there, passes after a trim.
    runExpecting("-d 0 --command 0x25 --48bit --lba 0x12345 --io in --in-bin pattern.bin", 0x20000131u);
    runExpecting("-d 0 --trim --lba 0x12345 --datalen 1024", 0u);
    EXPECT_TRUE(contains(file("run.log"), "COMMAND=0x06, dataSize=512"));
    runExpecting("-d 0 --command 0x25 --48bit --lba 0x12345 --io in --in-bin pattern.bin --out-bin gone.bin", 0u);
    EXPECT_EQ(file("gone.bin"), std::string(1024, '\0')) << "trimmed sectors read zeros";
}

TEST_F(CmdEndToEnd, ScsiInquiryAndCheckConditionSense) {
    expectAnswers({
        {"-d 5 --cdb \"12 00 00 00 60 00\" --io in --datalen 96 --out-bin inq.bin", 0, {{"scsi_status", "0x00"}},
         "[ScsiProtocol] Send CDB(6): 12 00 00 00 60 00 00 00", true},
        // --protocol scsi reaches a SATA disk too; an unknown operation code is ILLEGAL REQUEST.
        {"-d 0 --protocol SCSI --cdb A30000000000000000000000", 0x20000124,
         {{"scsi_status", "0x02"}, {"sense_key", "0x5"}, {"asc", "0x20"}}, "", true},
    });
    EXPECT_EQ(ini("sense").substr(0, 8), "70 00 05");
    EXPECT_EQ(file("inq.bin").substr(8, 16), "Stick   USB DISK");
}

TEST_F(CmdEndToEnd, NvmeIdentifyAndLogPageOnEveryRoute) {
    const struct { int disk; const char* model; } routes[] = {
        {1, "Test NVMe Inbox"}, {2, "Test NVMe RST"}, {3, "Test NVMe Mini"}};
    for (const auto& r : routes) {
        SCOPED_TRACE(r.model);
        const std::string d = "-d " + std::to_string(r.disk);
        runExpecting(d + " --opc 6 --cdw10 1 --io in --datalen 4096 --out-bin idc.bin", 0u);
        EXPECT_EQ(file("idc.bin").substr(24, std::string(r.model).size()), r.model);
        EXPECT_EQ(ini("status") + " " + ini("protocol"), "0x0000 nvme");

        runExpecting(d + " --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F0002 --io in --datalen 512 --out-bin health.bin", 0u);
        const std::string health = file("health.bin");
        ASSERT_EQ(health.size(), 512u);
        // Composite temperature 308 K, available spare 100, its threshold 10.
        EXPECT_EQ(health.substr(1, 4), "\x34\x01\x64\x0A");

        // An offset in CDW12: the inbox route cannot carry it, the port routes do.
        runExpecting(d + " --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F0002 --cdw12 4 --io in --datalen 4 --out-bin o.bin",
                     r.disk == 1 ? 0x20000127u : 0u);
        EXPECT_TRUE(r.disk != 1 || !contains(file("run.log"), "CDW12=4")) << "refused before the send line";
        EXPECT_TRUE(r.disk == 1 || file("o.bin") == health.substr(4, 4));
    }
    runExpecting("-d 1 --opc 0xC2 --ns 1 --io in --datalen 6 --out-bin v.bin", 0);
    EXPECT_EQ(file("v.bin"), std::string("\xDE\xAD\xBE\xEF\x01\x02", 6)) << "the description's vendor answer";
    EXPECT_EQ(ini("dw0"), "0x12345678");
}

TEST_F(CmdEndToEnd, EveryDumpType) {
    EXPECT_EQ(dump("-d 0 --dumptype zero"), std::string(512, '\0'));
    runExpecting("-d 0 --command 0x35 --48bit --lba 64 --io out --data \"5A A5\" --datalen 2", 0x20000121u);
    const std::string sector(512, '\x3C'), zeros(512, '\0');
    std::ofstream(dir_->file("s.bin"), std::ios::binary) << sector;
    runExpecting("-d 3 --trim --lba 64 --datalen 512", 0u);
    runExpecting("-d 3 --opc 1 --queue io --ns 1 --cdw10 64 --io out --in-bin s.bin", 0u);
    EXPECT_EQ(dump("-d 3 --dumptype lba --lba 63 --dumpsize 1536"), zeros + sector + zeros);

    EXPECT_EQ(ataString(dump("-d 0 --dumptype identify"), 27, 20).substr(0, 13), "Test SATA SSD");
    const std::string bridged = dump("-d 4 --dumptype smart");
    EXPECT_EQ(std::make_pair(bridged.size(), +uint8_t(bridged[0])), std::make_pair(size_t(512), 0x10))
        << "SMART through the SAT bridge: its size and revision";
    EXPECT_EQ(dump("-d 2 --dumptype smart").substr(1, 2), "\x34\x01") << "308 K";
    EXPECT_EQ(dump("-d 1 --dumptype logpage --lid 3 --lpsize 64").substr(8, 4), "NV01") << "firmware slot 1";
    EXPECT_EQ(dump("-d 3 --dumptype identifyns").substr(0, 4), std::string("\0\0\2\0", 4)) << "namespace size 131072";
    EXPECT_EQ(run("-d 0 --dumptype logpage --lid 2 --dump x.bin").exitCode, 0x20000008u);
}

TEST_F(CmdEndToEnd, AnswersAndRefusalsWithTheirKeys) {
    expectAnswers({
        {"-d 0 --command 0xEC --io in --datalen 512 --status 0x51", 0x20000123,
         {{"status", "0x50"}, {"expected_status", "0x51"}, {"last_error", "536871203"}},
         "[ActionCommand] STATUS=0x50, ERROR=0x00, expected STATUS=0x51", true},
        // An unknown command aborts: expected, it passes; not expected, it fails.
        {"-d 0 --command 0xFE --status 0x51", 0, {{"error", "0x04"}}, "", true},
        {"-d 0 --command 0xFE", 0x20000123, {}, "", true},
        {"-d 3 --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F00AB --io in --datalen 512", 0x20000125,
         {{"sc", "0x09"}, {"sct", "0x1"}}, "", true},
        {"-d 1 --opc 0x09 --queue io --ns 1 --io out --data 00000000000000010000000000000000", 0x20000126, {}, "", false},
        // Data length: what came back beside what was asked.
        {"-d 5 --cdb \"12 00 00 00 FF 00\" --io in --datalen 255 --out-bin back.bin", 0,
         {{"data_length", "96"}, {"data_length_requested", "255"}}, "", true},
        {"-d 0 --command 0xEC --io in --datalen 1024 --out-bin back.bin", 0,
         {{"data_length", "512"}, {"data_length_requested", "1024"}}, "", true},
        {"-d 4 --cdb \"A1 08 0E 00 02 00 00 00 A0 EC 00 00\" --io in --datalen 1024 --out-bin back.bin", 0,
         {{"data_length", "512"}, {"data_length_requested", "1024"}}, "", true},
        {"-d 3 --opc 6 --cdw10 1 --io in --datalen 4096 --out-bin back.bin", 0,
         {{"data_length", "4096"}, {"data_length_requested", "4096"}}, "", true},
        // An opcode that allows data may move none: Get Features, volatile write cache on.
        {"-d 1 --opc 0x0A --cdw10 6", 0, {{"dw0", "0x00000001"}, {"data_length", "<none>"}}, "", true},
        {"-d 2 --opc 0x0A --cdw10 6", 0, {{"dw0", "0x00000001"}, {"data_length", "<none>"}}, "", true},
        {"-d 3 --opc 0x0A --cdw10 6", 0, {{"dw0", "0x00000001"}, {"data_length", "<none>"}}, "", true},
        // Set Features reaches the device, which does not know it, instead of being refused for its opcode bits.
        {"-d 3 --opc 9 --cdw10 6 --cdw11 1", 0x20000125, {}, "", true},
        {"-d 3 --opc 6 --cdw10 1 --io out --data 00", 0x20000004, {}, "", false},
        {"-d 0 --protocol SCSI --cdb A3000000000000000000000000", 0x20000004, {}, "", false},  // 13 bytes
        {"-d 5 --cdb 12zz00006000 --io in --datalen 96", 0x20000004, {}, "--cdb is not hex bytes: \"12zz00006000\"", false},
        {"-d 0 --command 0x25 --lba 0x10000000 --io in --datalen 512", 0x20000120, {}, "needs --48bit", false},
        {"-d 0 --command 0x35 --io out --data 00FF --datalen 512", 0x20000121, {}, "does not match the 2 bytes of data",
         false},
        {"-d 3 --opc 6 --cdw10 0x100000000", 0x20000004, {}, "--cdw10 is not a valid number: \"0x100000000\"", false},
        {"-d 1 --protocol ata --identify", 0x20000008, {}, "Disk 1 takes nvme commands, not ata", false},
    });
}

// Disk 0: an NVMe drive behind the JMicron bridge (kind 22) that takes
// Dataset Management, with byte 16 of vendor page CAh set; disk 1: a USB
// stick without the tunnel.
TEST_F(CmdEndToEnd, NvmeCommandsAndDumpsThroughTheJMicronTunnelOtherRunsStayScsi) {
    useHost(jmicronHost(R"("nvmeLogPages": {"0xCA": {"size": 512, "bytes": {"16": "A5"}}}},
        {"number": 1, "busType": 7, "vendor": "Stick", "model": "USB DISK", "sectorCount": 65536)"));
    expectAnswers({
        {"-d 0 --protocol nvme --identify --out-bin idc.bin", 0, {{"status", "0x0000"}},
         "[NvmeProtocolOverJMicron] Send command: OPC=6, NS=0, CDW10=1", true},
        {"-d 0 --protocol nvme --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F00CA --io in --datalen 512 --out-bin ca.bin", 0, {},
         "", true},
        // Without --protocol the NVMe-only dumps take the tunnel by themselves.
        {"-d 0 --dumptype logpage --lid 0xCA --lpsize 32 --dump page.bin", 0, {}, "", true},
        {"-d 0 --protocol nvme --opc 2 --ns 0xFFFFFFFF --cdw10 0x007F00AB --io in --datalen 512", 0x20000125,
         {{"sc", "0x09"}, {"sct", "0x1"}}, "", true},
        {"-d 0 --protocol nvme --trim --lba 64", 0, {},
         "[NvmeProtocolOverJMicron] Send command: OPC=9, NS=1, CDW10=0, CDW11=4", true},
        {"-d 0 --protocol nvme --opc 2 --ns 0xFFFFFFFF --cdw10 0x07FF00CA --io in --datalen 8192", 0x20000126, {},
         "tunnel moves at most 4096 bytes per command, not 8192", false},
        {"-d 0 --identify --out-bin inq.bin", 0, {{"protocol", "scsi"}}, "", true},
        {"-d 1 --protocol nvme --identify", 0x20000008, {}, "", false},  // no tunnel on a plain stick
    });
    EXPECT_EQ(file("idc.bin").substr(4, 8), "JMB00001");
    EXPECT_EQ(file("idc.bin").substr(24, 11), "Generic USB");
    EXPECT_EQ(uint8_t(file("ca.bin")[16]), 0xA5);
    EXPECT_EQ(file("page.bin"), file("ca.bin").substr(0, 32));
    EXPECT_EQ(file("inq.bin").substr(8, 8), "JMicron ");
}

// Refusals on the OS drive of every route are run by OsDriveMatrix (tests/app),
// which checks the code and that the host is left as it was; here the
// commands it does not try, on the routes it does not try them, with the
// line that says why.
TEST_F(CmdEndToEnd, NothingThatChangesTheOsDrivesMediaIsSent) {
    const int kJMicron = 6;  // the tunnel's own host, its disk 0
    // route: a disk of the route host, made the OS drive.
    const struct { int route; const char* args; bool refused; } cases[] = {
        {0, "--command 0x3D --48bit --lba 16 --device 0x40 --io out --in-bin w.bin", true},
        {0, "--command 0xCA --lba 16 --device 0x40 --io out --in-bin w.bin", true},
        {0, "--command 0xB4 --48bit --feature 0x14", true}, {0, "--dumptype smart --dump s.bin", false},
        {0, "--command 0xB0 --feature 0xD6 --lba 0xC24F80 --io out --in-bin w.bin", true},
        {0, "--command 0xFA --io out --in-bin w.bin", true},
        {0, "--command 0xEA --48bit --device 0x40", false}, {0, "--dumptype lba --lba 16 --dump l.bin", false},
        {1, "--opc 0x84 --cdw10 2", true}, {1, "--opc 0x11 --io out --in-bin w.bin", true}, {1, "--opc 9 --cdw10 6", true},
        {2, "--opc 4 --queue io --ns 1 --cdw10 16", true}, {2, "--opc 8 --queue io --ns 1 --cdw10 16", true},
        {2, "--opc 9 --queue io --ns 1 --cdw11 4 --io out --data 00000000010000001000000000000000", true},
        {2, "--opc 0x11 --io out --in-bin w.bin", true}, {2, "--opc 9 --cdw10 6", true},
        {2, "--opc 2 --queue io --ns 1 --cdw10 16 --io in --datalen 512", false},
        {3, "--opc 9 --cdw10 6", true}, {4, "--dumptype smart --dump s.bin", false},
        {4, "--cdb \"85 0D 06 00 00 00 01 00 10 00 00 00 00 40 35 00\" --io out --in-bin w.bin", true},
        {4, "--cdb \"A1 0C 06 00 01 10 00 00 40 CA 00 00\" --io out --in-bin w.bin", true},
        {4, "--cdb \"85 07 00 00 00 00 00 00 00 00 00 00 00 40 B4 00\"", true},
        {4, "--cdb \"A1 08 0E 00 01 00 00 00 A0 EC 00 00\" --io in --datalen 512", false},
        {5, "--cdb \"8A 00 00 00 00 00 00 00 00 10 00 00 00 01 00 00\" --io out --in-bin w.bin", true},
        {5, "--cdb \"48 01 00 00 00 00 00 00 00 00\"", true}, {5, "--trim --lba 16", true},
        {5, "--cdb \"42 00 00 00 00 00 00 00 18 00\" --io out --data "
            "\"00 16 00 10 00 00 00 00 00 00 00 00 00 00 00 10 00 00 00 01 00 00 00 00\"", true},
        {5, "--cdb \"3B 05 00 00 00 00 00 02 00 00\" --io out --in-bin w.bin", true},
        {kJMicron, "--cdb \"A1 80 00 00 02 00 00 00 00 00 00 00\" --io out --in-bin w.bin", true},
        {kJMicron, "--dumptype logpage --lid 2 --dump d.bin", false},
    };
    const std::string osVolume = R"("volumes": [{"letter": "C", "totalBytes": 4096}])";
    int route = -1;
    std::string media;  // the OS drive's image and trimmed ranges, as the host keeps them
    auto disk = [&] { return route == kJMicron ? 0 : route; };
    auto currentMedia = [&] {
        const std::string state = "host.json.state\\disk" + std::to_string(disk());
        return file(state + ".img") + "|" + file(state + ".trim");
    };
    for (const auto& c : cases) {
        if (c.route != route) {
            EXPECT_TRUE(route < 0 || currentMedia() == media) << "route " << route << ": the OS drive is unchanged";
            route = c.route;
            useHost(route == kJMicron ? jmicronHost(osVolume) : zeltest::routeHost(osVolume, route));
            std::ofstream(dir_->file("w.bin"), std::ios::binary) << std::string(512, '\x5A');
            media = currentMedia();
        }
        auto result = runExpecting("-d " + std::to_string(disk()) + " " + c.args, c.refused ? 0x20000005u : 0u);
        EXPECT_EQ(contains(result.output, "is the OS drive; not sent: "), c.refused) << c.args << "\n" << result.output;
        EXPECT_TRUE(!c.refused || !contains(file("run.log"), "Send ")) << c.args << ": refused before anything is sent";
    }
    EXPECT_EQ(currentMedia(), media) << "the OS drive is unchanged";
}
