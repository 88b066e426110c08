#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

#include "io/CmdAnswer.h"
#include "io/CmdMediaChange.h"
#include "io/CmdTranslate.h"

namespace {

using zel::CmdJob;
using zel::ProtocolCode;

// A job as the reader leaves it: each named option marked as given.
struct JobBuilder {
    CmdJob job;
    JobBuilder& given(std::initializer_list<const char*> names) {
        for (const char* n : names) job.given.insert(n);
        return *this;
    }
};

zel::CmdTarget disk(ProtocolCode code, uint32_t sectorSize = 512, uint64_t sectors = 131072) {
    return zel::CmdTarget{code, 3, sectorSize, sectors};
}

struct Outcome {
    std::optional<zel::CmdProblem> problem;
    zel::CmdPlan plan;
};

Outcome translate(const CmdJob& job, const zel::CmdTarget& target, const std::vector<uint8_t>& inBin = {}) {
    Outcome o;
    o.problem = zel::translateCmd(job, target, inBin, &o.plan);
    return o;
}

uint32_t le32(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24; }

CmdJob ataRead48() {
    JobBuilder b;
    b.job.command = 0x25;
    b.job.lba = 0x123456789ABCull;
    b.job.device = 0x40;
    b.job.ata48 = true;
    b.job.direction = "in";
    b.job.dataLength = 4096;
    return b.given({"command", "lba", "device", "48bit", "io", "datalen"}).job;
}

}  // namespace

// SCSI on a SATA disk and a family the disk does not speak are run end to end.
TEST(CmdTranslate, RouteFollowsTheDiskUnlessScsiIsAsked) {
    struct Case {
        ProtocolCode disk;
        const char* protocol;
        uint32_t code;
        ProtocolCode route;
    } cases[] = {
        {ProtocolCode::kAtaOverAta, "ATA", 0, ProtocolCode::kAtaOverAta},
        {ProtocolCode::kNone, "scsi", 0, ProtocolCode::kScsi},
        {ProtocolCode::kNone, "", 0x20000009, ProtocolCode::kNone},
        {ProtocolCode::kNvmeByIrst, "zelnvme", 0, ProtocolCode::kNvmeByIrst},
        {ProtocolCode::kScsi, "sata", 0x20000004, ProtocolCode::kNone},
    };
    for (const auto& c : cases) {
        JobBuilder b;
        b.job.protocol = c.protocol;
        b.job.identify = true;
        b.given({"identify"});
        if (*c.protocol) b.given({"protocol"});
        Outcome o = translate(b.job, disk(c.disk));
        SCOPED_TRACE(std::string(c.protocol) + " on code " + std::to_string(int(c.disk)));
        EXPECT_EQ(o.problem ? o.problem->code : 0u, c.code);
        if (!o.problem) {
            EXPECT_EQ(o.plan.route, c.route);
        }
    }
}

// READ/WRITE DMA count logical sectors, IDENTIFY 512-byte blocks; 256 is count 0 in 28 bits.
TEST(CmdTranslate, AtaCountAndFlags) {
    struct Case {
        const char* what;
        void (*edit)(CmdJob&);
        uint32_t sectorSize;
        int count, flags;
    } cases[] = {
        {"READ DMA EXT", [](CmdJob&) {}, 512, 8, 0x1B},  // DRDY, data in, 48-bit, DMA
        {"READ DMA EXT on 4096-byte sectors", [](CmdJob&) {}, 4096, 1, 0x1B},
        {"IDENTIFY on 4096-byte sectors",
         [](CmdJob& j) { j.command = 0xEC, j.ata48 = false, j.lba = 0, j.device = 0xA0; }, 4096, 8, 0x03},
        {"256 sectors of a 28-bit READ DMA",
         [](CmdJob& j) { j.command = 0xC8, j.ata48 = false, j.lba = 0, j.dataLength = 256 * 512; }, 512, 0, 0x13},
    };
    for (const auto& c : cases) {
        CmdJob job = ataRead48();
        c.edit(job);
        Outcome o = translate(job, disk(ProtocolCode::kAtaOverAta, c.sectorSize));
        ASSERT_FALSE(o.problem) << c.what << ": " << o.problem->line;
        EXPECT_EQ(+o.plan.ata.count, c.count) << c.what;
        EXPECT_EQ(+o.plan.ata.flags, c.flags) << c.what;
    }
}

TEST(CmdTranslate, MalformedAtaInputsAreRefusedWithTheirCodes) {
    struct Case {
        const char* what;
        void (*edit)(CmdJob&);
        uint32_t code;
        const char* line;
    } cases[] = {
        {"16-bit feature in a 28-bit command", [](CmdJob& j) { j.ata48 = false, j.lba = 1, j.feature = 0x100; }, 0x20000120,
         "[ActionCommand] --feature 0x100 needs --48bit: a 28-bit command carries 8 feature bits"},
        {"device nibble against the LBA", [](CmdJob& j) { j.ata48 = false, j.lba = 0x0A000000, j.device = 0xE5; }, 0x20000120,
         "[ActionCommand] --device 0xE5: its low four bits carry LBA bits 27..24 in a 28-bit command; give them in --lba"},
        {"LBA over 48 bits", [](CmdJob& j) { j.lba = 1ull << 48; }, 0x20000120,
         "[ActionCommand] --lba 0x1000000000000 is more than 48 bits"},
        {"part of a sector", [](CmdJob& j) { j.dataLength = 700; }, 0x20000121,
         "[ActionCommand] 700 bytes are not a whole number of 512-byte blocks"},
        {"more than a 28-bit count", [](CmdJob& j) { j.ata48 = false, j.lba = 0, j.dataLength = 257 * 512; }, 0x20000121,
         "[ActionCommand] 131584 bytes are 257 blocks, more than the 256 a 28-bit command moves"},
        {"data that is not hex",
         [](CmdJob& j) { j.direction = "out", j.dataHex = "0g", j.given.insert("data"); }, 0x20000004,
         "[ActionCommand] --data is not hex bytes: \"0g\""},
        {"data with a data-in command", [](CmdJob& j) { j.dataHex = "00", j.given.insert("data"); }, 0x20000004,
         "[ActionCommand] --data is data out; --io in takes --datalen"},
        {"unknown direction", [](CmdJob& j) { j.direction = "both"; }, 0x20000004,
         "[ActionCommand] --io must be in, out or none: \"both\""},
        {"no command", [](CmdJob& j) { j.given.erase("command"); }, 0x20000004, "Miss some options (command)!"},
        {"an option of another protocol", [](CmdJob& j) { j.given.insert("cdw10"); }, 0x20000004,
         "[ActionCommand] --cdw10 does not apply to a command (ata)"},
    };
    for (const auto& c : cases) {
        CmdJob job = ataRead48();
        c.edit(job);
        Outcome o = translate(job, disk(ProtocolCode::kAtaOverAta));
        ASSERT_TRUE(o.problem) << c.what;
        EXPECT_EQ(o.problem->code, c.code) << c.what;
        EXPECT_EQ(o.problem->line, c.line) << c.what;
    }
}

// Plain CDBs on all routes and the hex-digit refusals are run end to end.
TEST(CmdTranslate, ScsiCdbIsCheckedAgainstItsGroup) {
    struct Case {
        const char* cdb;
        const char* line;  // nullptr: accepted
    } cases[] = {
        {"12 0 00 00 60 00", "[ActionCommand] --cdb is not hex bytes: \"12 0 00 00 60 00\""},
        {"12 00 00 00 60", "[ActionCommand] --cdb has 5 bytes; a CDB has 6, 10, 12 or 16"},
        {"28 00 00 00 00 00", "[ActionCommand] --cdb operation code 28h takes a 10-byte CDB, not 6"},
        {"C1 00 00 00 00 00", nullptr},  // vendor group: any length
    };
    for (const auto& c : cases) {
        JobBuilder b;
        b.job.cdbHex = c.cdb;
        b.job.direction = "in";
        b.job.dataLength = 96;
        Outcome o = translate(b.given({"cdb", "io", "datalen"}).job, disk(ProtocolCode::kScsi));
        if (!c.line) {
            ASSERT_FALSE(o.problem) << c.cdb << ": " << o.problem->line;
            EXPECT_EQ(+o.plan.scsi.cdbLength, 6);
            EXPECT_EQ(+o.plan.scsi.direction, 1);
            continue;
        }
        ASSERT_TRUE(o.problem) << c.cdb;
        EXPECT_EQ(o.problem->code, 0x20000004u);
        EXPECT_EQ(o.problem->line, c.line);
    }
}

// The record layout, CDW12 and the I/O queue on the inbox route are run end to end.
TEST(CmdTranslate, InboxRouteLimits) {
    JobBuilder b;
    b.job.opcode = 0x02;
    b.job.nsid = 0xFFFFFFFF;
    b.job.cdw10to15 = {0x007F0002, 0, 0, 0, 0, 0};
    b.job.direction = "in";
    b.job.dataLength = 512;
    b.given({"opc", "ns", "cdw10", "io", "datalen"});
    struct Case {
        const char* what;
        void (*edit)(CmdJob&);
        uint32_t code;
    } cases[] = {
        {"NUMDU in CDW11", [](CmdJob& j) { j.cdw10to15[1] = 1; }, 0x20000127},
        {"Dataset Management", [](CmdJob& j) { j.opcode = 0x09, j.direction = "out", j.dataHex = "00", j.given.insert("data"); },
         0x20000126},
        {"Identify CNS 2", [](CmdJob& j) { j.opcode = 0x06, j.nsid = 0, j.cdw10to15[0] = 2; }, 0x20000126},
        {"vendor data out", [](CmdJob& j) { j.opcode = 0xC1, j.direction = "out", j.dataHex = "00", j.given.insert("data"); },
         0x20000126},
        {"data out for a read-type opcode", [](CmdJob& j) { j.direction = "out", j.dataHex = "00", j.given.insert("data"); },
         0x20000004},
        {"unknown queue", [](CmdJob& j) { j.queue = "sq1"; }, 0x20000004},
    };
    for (const auto& c : cases) {
        CmdJob job = b.job;
        c.edit(job);
        job.given.erase("datalen");
        if (job.direction == "in") job.given.insert("datalen");
        Outcome o = translate(job, disk(ProtocolCode::kNvmeByStornvme));
        ASSERT_TRUE(o.problem) << c.what;
        EXPECT_EQ(o.problem->code, c.code) << c.what << ": " << o.problem->line;
    }
}

TEST(CmdTranslate, TrimFlushAndIdentifyShortcutsPerRoute) {
    JobBuilder trim;
    trim.job.trim = true;
    trim.job.lba = 0x10000;
    trim.job.dataLength = 70000 * 512;
    trim.given({"trim", "lba", "datalen"});
    Outcome o = translate(trim.job, disk(ProtocolCode::kAtaOverAta, 512, 1 << 20));
    ASSERT_FALSE(o.problem) << o.problem->line;
    ASSERT_EQ(o.plan.dataOut.size(), 512u);
    // A short trim runs end to end; past 65535 sectors it takes two range entries: 65535 sectors at 10000h, then the remaining 4465.
    EXPECT_EQ(le32(&o.plan.dataOut[0]), 0x10000u);
    EXPECT_EQ(o.plan.dataOut[6] | o.plan.dataOut[7] << 8, 0xFFFF);
    EXPECT_EQ(le32(&o.plan.dataOut[8]), 0x10000u + 0xFFFF);
    EXPECT_EQ(o.plan.dataOut[14] | o.plan.dataOut[15] << 8, 70000 - 0xFFFF);
    EXPECT_EQ(o.plan.dataOut[16], 0);

    o = translate(trim.job, disk(ProtocolCode::kNvmeByIrst, 512, 1 << 20));
    ASSERT_FALSE(o.problem);
    EXPECT_EQ(+o.plan.nvme.opcode(), 0x09);
    EXPECT_EQ(+o.plan.nvme.admin, 0);
    EXPECT_EQ(+o.plan.nvme.dword(11), 4u);
    EXPECT_EQ(le32(&o.plan.dataOut[4]), 70000u);
    EXPECT_EQ(le32(&o.plan.dataOut[8]), 0x10000u);
    EXPECT_EQ(translate(trim.job, disk(ProtocolCode::kNvmeByStornvme, 512, 1 << 20)).plan.step, zel::CmdStep::HostTrim);
    EXPECT_EQ(translate(trim.job, disk(ProtocolCode::kAtaOverAta, 512, 0x10000 + 69999)).problem->code, 0x2000000Eu);

    JobBuilder flush;
    flush.job.flush = true;
    o = translate(flush.given({"flush"}).job, disk(ProtocolCode::kScsi));
    EXPECT_EQ(+o.plan.scsi.cdb[0], 0x35);
    EXPECT_EQ(+o.plan.scsi.cdbLength, 10);
    EXPECT_EQ(o.plan.failureCode, 0x20000129u);
    EXPECT_EQ(translate(flush.job, disk(ProtocolCode::kNvmeByStornvme)).plan.step, zel::CmdStep::HostFlush);

    JobBuilder identify;
    identify.job.identify = true;
    o = translate(identify.given({"identify"}).job, disk(ProtocolCode::kNvmeByStornvme));
    EXPECT_EQ(+o.plan.nvme.opcode(), 0x06);
    EXPECT_EQ(+o.plan.nvme.dword(10), 1u) << "CNS 1 with NSID 0: the one the inbox route can carry";
    EXPECT_EQ(o.plan.dataLength, 4096u);
    identify.job.given.insert("cdb");
    EXPECT_EQ(translate(identify.job, disk(ProtocolCode::kScsi)).problem->line,
              "[ActionCommand] --cdb does not apply to --identify (scsi)");
}

// Each dump type's plan is run end to end; here the sizes, NUMDU and the refusals.
TEST(CmdTranslate, DumpSizesAndRefusals) {
    auto dump = [](const char* type, std::initializer_list<const char*> more = {}) {
        JobBuilder b;
        b.job.dumpType = type;
        b.job.dumpPath = "d.bin";
        return b.given({"dump", "dumptype"}).given(more).job;
    };
    Outcome o = translate(dump("rand"), disk(ProtocolCode::kNone, 4096));
    ASSERT_FALSE(o.problem) << "a generated dump needs no command route";
    EXPECT_EQ(o.plan.dumpBytes, 4096u) << "one sector by default";
    EXPECT_EQ(o.plan.dataPath, "d.bin");

    CmdJob lba = dump("lba", {"lba", "dumpsize"});
    lba.lba = 100;
    lba.dumpBytes = 1000;
    EXPECT_EQ(translate(lba, disk(ProtocolCode::kScsi)).problem->code, 0x20000004u) << "part of a sector";
    lba.dumpBytes = 1024;
    EXPECT_EQ(translate(lba, disk(ProtocolCode::kScsi, 512, 101)).problem->code, 0x2000000Eu);

    CmdJob page = dump("logpage", {"lid", "lpsize"});
    page.logId = 0xC0;
    page.logPageBytes = 0x40004;  // NUMD 10000h: NUMDU in CDW11
    o = translate(page, disk(ProtocolCode::kNvmeByScsiMiniport));
    EXPECT_EQ(+o.plan.nvme.dword(10), 0x000000C0u);
    EXPECT_EQ(+o.plan.nvme.dword(11), 1u);
    EXPECT_EQ(translate(dump("logpage"), disk(ProtocolCode::kNvmeByIrst)).problem->line, "Miss some options (lid)!");
    EXPECT_EQ(translate(dump("crash"), disk(ProtocolCode::kNvmeByIrst)).problem->code, 0x20000004u);
}

// Aborts with and without --status and the mismatch line are run end to end.
TEST(CmdAnswer, DeviceFaultRouteErrorsAndResultKeys) {
    zel::CmdPlan plan;
    plan.family = zel::CmdFamily::Ata;
    plan.route = ProtocolCode::kAtaOverAta;
    plan.label = "command";
    plan.ata.command = 0x71;
    plan.ata.feature = 0x04;
    plan.expectStatus = true;
    plan.expectedStatus = 0x50;
    zel::CmdAnswer aborted;
    aborted.routeError = 0x20000123;
    EXPECT_EQ(zel::judgeAnswer(plan, aborted).code, 0x20000122u) << "device fault";
    zel::CmdAnswer windowsError;
    windowsError.routeError = 1117;
    EXPECT_EQ(zel::judgeAnswer(plan, windowsError).code, 1117u) << "no registers: the route's error stands";
    std::vector<std::pair<std::string, std::string>> expected{
        {"protocol", "ata"}, {"action", "command"},  {"status", "0x71"},          {"error", "0x04"},
        {"count", "0x0000"}, {"lba", "0x000000000000"}, {"expected_status", "0x50"}, {"last_error", "536871202"}};
    EXPECT_EQ(zel::answerKeys(plan, aborted, 0x20000122), expected);

    zel::CmdPlan nvme;
    nvme.family = zel::CmdFamily::Nvme;
    nvme.route = ProtocolCode::kNvmeByScsiMiniport;
    nvme.nvme.setStatus(uint16_t((0x0109 << 1) | 1));
    zel::CmdAnswer done;
    done.routeOk = true;
    zel::CmdProblem status = zel::judgeAnswer(nvme, done);
    EXPECT_EQ(status.code, 0x20000125u);
    EXPECT_EQ(status.line, "[ActionCommand] NVMe status 0x0109 (SCT 1h, SC 09h)");
}

TEST(CmdAnswer, SenseFormats) {
    const struct {
        uint8_t sense[32];
        int key, asc, ascq;
    } cases[] = {
        {{0xF0, 0, 0x05, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 0x01}, 5, 0x24, 0x01},  // fixed, valid bit set
        {{0x72, 0x0B, 0x47, 0x03}, 0x0B, 0x47, 0x03},                             // descriptor
        {{}, 0, 0, 0},
    };
    for (const auto& c : cases) {
        const zel::SenseFields f = zel::decodeSense(c.sense);
        EXPECT_EQ(f.key, c.key) << std::hex << +c.sense[0];
        EXPECT_EQ(f.asc, c.asc) << std::hex << +c.sense[0];
        EXPECT_EQ(f.ascq, c.ascq) << std::hex << +c.sense[0];
    }
}

// The command sets' overlaps and the commands whose effect hides in a field.
TEST(CmdMediaChange, OpcodeSetsSubcommandsAndCarriedCommands) {
    enum Set { Ata, Scsi, Admin, Io };
    const struct {
        Set set;
        std::vector<uint8_t> bytes;  // ATA: command, feature; SCSI: the CDB; NVMe: the opcode
        bool dataOut;
        bool changes;
    } cases[] = {
        {Admin, {0x09}, false, true},  // Set Features
        {Io, {0x09}, true, true},      // Dataset Management
        {Admin, {0x0A}, false, false},
        {Admin, {0x05}, false, true},  // Create I/O Completion Queue
        {Io, {0x05}, true, false},     // Compare only compares
        {Admin, {0x21}, false, true},  // unlisted, bits 1..0 allow data out
        {Admin, {0xC1}, false, false},
        {Admin, {0xC1}, true, true},
        {Io, {0x02}, false, false},
        {Ata, {0xB0, 0xD0}, false, false},
        {Ata, {0xB0, 0xD6}, true, true},
        {Ata, {0xB1, 0xC2}, false, false},
        {Ata, {0xB1, 0xC0}, false, true},
        {Ata, {0xFA, 0x00}, false, false},
        {Ata, {0xFA, 0x00}, true, true},
        {Ata, {0x25, 0x00}, true, true},
        {Scsi, {0x7F, 0, 0, 0, 0, 0, 0, 0x18, 0x00, 0x09, 0, 0, 0, 0, 0, 0}, false, false},  // READ(32)
        {Scsi, {0x7F, 0, 0, 0, 0, 0, 0, 0x18, 0x00, 0x0B, 0, 0, 0, 0, 0, 0}, false, true},   // WRITE(32)
        {Scsi, {0x2F, 0x02, 0, 0, 0, 0, 0, 0, 1, 0}, true, false},                           // VERIFY, BYTCHK
        {Scsi, {0x12, 0, 0, 0, 0x60, 0}, true, true},
        {Scsi, {0x85, 0x08, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0xA0, 0xEC, 0}, false, false},
        {Scsi, {0x85, 0x0D, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0x40, 0x25, 0}, false, false},  // DMA in
        {Scsi, {0x85, 0x0D, 0x06, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0x40, 0xEC, 0}, false, true},   // DMA out
        {Scsi, {0xA1, 0x06, 0x00, 0, 0, 0, 0, 0, 0x40, 0xEF, 0, 0}, false, true},             // SET FEATURES
    };
    for (const auto& c : cases) {
        const uint8_t* b = c.bytes.data();
        zel::MediaEffect effect;
        switch (c.set) {
            case Ata: effect = zel::ataMediaEffect(b[0], b[1], c.dataOut); break;
            case Scsi: effect = zel::scsiMediaEffect(b, uint8_t(c.bytes.size()), c.dataOut, false); break;
            case Admin: effect = zel::nvmeMediaEffect(b[0], true, c.dataOut); break;
            case Io: effect = zel::nvmeMediaEffect(b[0], false, c.dataOut); break;
        }
        EXPECT_EQ(effect.changes, c.changes) << "set " << c.set << " opcode " << std::hex << +b[0] << ": " << effect.what;
    }
    const uint8_t tunnelRead[12] = {0xA1, 0x08, 0x0E, 0, 1, 0, 0, 0, 0xA0, 0xEC, 0, 0};
    EXPECT_TRUE(zel::scsiMediaEffect(tunnelRead, 12, false, true).changes) << "A1h on the tunnel hides its command";
}

// On the OS drive the refusal comes first, also where the route has limits of its own.
TEST(CmdTranslate, OsDriveRefusalComesBeforeTheRoutesLimits) {
    JobBuilder b;
    b.job.opcode = 0x80;
    b.job.nsid = 1;
    b.given({"opc", "ns"});
    zel::CmdTarget target = disk(ProtocolCode::kNvmeByStornvme);
    EXPECT_EQ(translate(b.job, target).problem->code, 0x20000126u) << "not the OS drive: the inbox route's limit";
    target.osDrive = true;
    Outcome o = translate(b.job, target);
    ASSERT_TRUE(o.problem);
    EXPECT_EQ(o.problem->code, 0x20000005u);
    EXPECT_EQ(o.problem->line, "[ActionCommand] Disk 3 is the OS drive; not sent: NVMe admin 80h Format NVM: erases the namespace");
}
