#include <gtest/gtest.h>

#include <initializer_list>
#include <tuple>
#include <utility>

#include "io/CmdAnswer.h"
#include "io/CmdMediaChange.h"
#include "io/CmdTranslate.h"

namespace {

using zel::CmdJob;
using zel::ProtocolCode;
using F = zel::CmdField;
using Edit = void (*)(CmdJob&);

// Marks options as given, as the reader does; a name only where a refusal quotes it.
CmdJob& give(CmdJob& job, std::initializer_list<F> fields, const char* name = "?") {
    for (F f : fields) job.given.add(f, name);
    return job;
}

zel::CmdTarget disk(ProtocolCode code, uint32_t sectorSize = 512, uint64_t sectors = 131072) {
    return zel::CmdTarget{code, 3, sectorSize, sectors};
}

struct Outcome { std::optional<zel::CmdProblem> problem; zel::CmdPlan plan; };

Outcome translate(const CmdJob& job, const zel::CmdTarget& target) {
    Outcome o;
    o.problem = zel::translateCmd(job, target, {}, &o.plan);
    return o;
}

void dataOut(CmdJob& j, const char* hex) {
    j.direction = zel::cmdDirectionFromText("out"), j.dataHex = hex;
    give(j, {F::Data});
}

// A READ DMA EXT for an ATA disk, an INQUIRY for SCSI, a Get Log Page for
// the inbox NVMe route, else identify.
CmdJob baseJob(ProtocolCode disk) {
    CmdJob job;
    job.direction = zel::cmdDirectionFromText("IN");
    if (disk == ProtocolCode::kAtaOverAta) {
        job.command = 0x25, job.lba = 0x123456789ABCull, job.device = 0x40, job.ata48 = true, job.dataLength = 4096;
        return give(job, {F::Command, F::Lba, F::Device, F::Ata48, F::Io, F::DataLen});
    }
    if (disk == ProtocolCode::kScsi) {
        job.cdbHex = "12 00 00 00 60 00", job.dataLength = 96;
        return give(job, {F::Cdb, F::Io, F::DataLen});
    }
    if (disk == ProtocolCode::kNvmeByStornvme) {
        job.opcode = 0x02, job.nsid = 0xFFFFFFFF, job.cdw10to15[0] = 0x007F0002, job.dataLength = 512;
        return give(job, {F::Opc, F::Ns, F::Cdw10, F::Io, F::DataLen});
    }
    job.identify = true;
    return give(job, {F::Identify});
}

}  // namespace

// READ/WRITE DMA count logical sectors, IDENTIFY 512-byte blocks; 256 is count 0 in 28 bits.
TEST(CmdTranslate, AtaCountFlagsAndMalformedInputs) {
    // line: with code 0, none, and the count and flags below.
    struct { const char* what; Edit edit; uint32_t sectorSize, code; const char* line; int count, flags; } cases[] = {
        {"READ DMA EXT", [](CmdJob&) {}, 512, 0, "", 8, 0x1B},  // DRDY, data in, 48-bit, DMA
        {"READ DMA EXT on 4096-byte sectors", [](CmdJob&) {}, 4096, 0, "", 1, 0x1B},
        {"IDENTIFY on 4096-byte sectors", [](CmdJob& j) { j.command = 0xEC, j.ata48 = false, j.lba = 0, j.device = 0xA0; },
         4096, 0, "", 8, 0x03},
        {"256 sectors of a 28-bit READ DMA",
         [](CmdJob& j) { j.command = 0xC8, j.ata48 = false, j.lba = 0, j.dataLength = 256 * 512; }, 512, 0, "", 0, 0x13},
        {"16-bit feature in a 28-bit command", [](CmdJob& j) { j.ata48 = false, j.lba = 1, j.feature = 0x100; }, 512,
         0x20000120, "[ActionCommand] --feature 0x100 needs --48bit: a 28-bit command carries 8 feature bits", 0, 0},
        {"device nibble against the LBA", [](CmdJob& j) { j.ata48 = false, j.lba = 0x0A000000, j.device = 0xE5; }, 512,
         0x20000120, "[ActionCommand] --device 0xE5: its low four bits carry LBA bits 27..24 in a 28-bit command; give them in --lba", 0, 0},
        {"LBA over 48 bits", [](CmdJob& j) { j.lba = 1ull << 48; }, 512, 0x20000120,
         "[ActionCommand] --lba 0x1000000000000 is more than 48 bits", 0, 0},
        {"part of a sector", [](CmdJob& j) { j.dataLength = 700; }, 512, 0x20000121,
         "[ActionCommand] 700 bytes are not a whole number of 512-byte blocks", 0, 0},
        {"more than a 28-bit count", [](CmdJob& j) { j.ata48 = false, j.lba = 0, j.dataLength = 257 * 512; }, 512,
         0x20000121, "[ActionCommand] 131584 bytes are 257 blocks, more than the 256 a 28-bit command moves", 0, 0},
        {"data that is not hex", [](CmdJob& j) { dataOut(j, "0g"); }, 512, 0x20000004,
         "[ActionCommand] --data is not hex bytes: \"0g\"", 0, 0},
        {"data with a data-in command", [](CmdJob& j) { j.dataHex = "00", give(j, {F::Data}); }, 512, 0x20000004,
         "[ActionCommand] --data is data out; --io in takes --datalen", 0, 0},
        {"unknown direction", [](CmdJob& j) { j.direction = zel::cmdDirectionFromText("Both"); }, 512, 0x20000004,
         "[ActionCommand] --io must be in, out or none: \"Both\"", 0, 0},
        {"no command", [](CmdJob& j) { j.given.remove(F::Command); }, 512, 0x20000004, "Miss some options (command)!", 0, 0},
        {"options of other protocols, the first by name named",
         [](CmdJob& j) { give(j, {F::Cdw10}, "cdw10"), give(j, {F::Cdb}, "cdb"); }, 512, 0x20000004,
         "[ActionCommand] --cdb does not apply to a command (ata)", 0, 0},
    };
    for (const auto& c : cases) {
        CmdJob job = baseJob(ProtocolCode::kAtaOverAta);
        c.edit(job);
        Outcome o = translate(job, disk(ProtocolCode::kAtaOverAta, c.sectorSize));
        ASSERT_EQ(o.problem ? o.problem->code : 0u, c.code) << c.what << ": " << (o.problem ? o.problem->line : "");
        if (c.code)
            EXPECT_EQ(o.problem->line, c.line) << c.what;
        else
            EXPECT_EQ(std::make_pair(+o.plan.ata.count, +o.plan.ata.flags), std::make_pair(c.count, c.flags)) << c.what;
    }
}

// The route follows the disk unless SCSI is asked. SCSI on a SATA disk, a
// family the disk does not speak, plain CDBs on all routes, the hex-digit
// refusals, and the inbox route's record layout, CDW12 and I/O queue are run
// end to end.
TEST(CmdTranslate, RoutesScsiCdbGroupsAndInboxRouteLimits) {
    using P = ProtocolCode;
    // line "": the code alone.
    struct Case { const char* what; ProtocolCode disk; Edit edit; uint32_t code; const char* line; } cases[] = {
        {"ATA in capitals", P::kAtaOverAta, [](CmdJob& j) { j.protocol = zel::cmdProtocolFromText("ATA"); }, 0, ""},
        {"no route of its own", P::kNone, [](CmdJob&) {}, 0x20000009, ""},
        {"zelnvme is nvme", P::kNvmeByIrst, [](CmdJob& j) { j.protocol = zel::cmdProtocolFromText("zelnvme"); }, 0, ""},
        {"unknown protocol", P::kNone, [](CmdJob& j) { j.protocol = zel::cmdProtocolFromText("sata"); }, 0x20000004,
         "[ActionCommand] --protocol must be ata, scsi or nvme: \"sata\""},
        {"vendor group: any length", P::kScsi, [](CmdJob& j) { j.cdbHex = "C1 00 00 00 00 00"; }, 0, ""},
        {"a blank in a byte", P::kScsi, [](CmdJob& j) { j.cdbHex = "12 0 00 00 60 00"; }, 0x20000004,
         "[ActionCommand] --cdb is not hex bytes: \"12 0 00 00 60 00\""},
        {"5 bytes", P::kScsi, [](CmdJob& j) { j.cdbHex = "12 00 00 00 60"; }, 0x20000004,
         "[ActionCommand] --cdb has 5 bytes; a CDB has 6, 10, 12 or 16"},
        {"group length", P::kScsi, [](CmdJob& j) { j.cdbHex = "28 00 00 00 00 00"; }, 0x20000004,
         "[ActionCommand] --cdb operation code 28h takes a 10-byte CDB, not 6"},
        {"NUMDU in CDW11", P::kNvmeByStornvme, [](CmdJob& j) { j.cdw10to15[1] = 1; }, 0x20000127, ""},
        {"Dataset Management", P::kNvmeByStornvme, [](CmdJob& j) { j.opcode = 0x09, dataOut(j, "00"); }, 0x20000126, ""},
        {"Identify CNS 2", P::kNvmeByStornvme, [](CmdJob& j) { j.opcode = 0x06, j.nsid = 0, j.cdw10to15[0] = 2; }, 0x20000126, ""},
        {"vendor data out", P::kNvmeByStornvme, [](CmdJob& j) { j.opcode = 0xC1, dataOut(j, "00"); }, 0x20000126, ""},
        {"data out for a read-type opcode", P::kNvmeByStornvme, [](CmdJob& j) { dataOut(j, "00"); }, 0x20000004, ""},
        {"unknown queue", P::kNvmeByStornvme, [](CmdJob& j) { j.queue = zel::cmdQueueFromText("sq1"); }, 0x20000004,
         "[ActionCommand] --queue must be admin or io: \"sq1\""},
    };
    for (const auto& c : cases) {
        CmdJob job = baseJob(c.disk);
        c.edit(job);
        if (job.direction.value == zel::CmdDirection::Out) job.given.remove(F::DataLen);
        Outcome o = translate(job, disk(c.disk));
        ASSERT_EQ(o.problem ? o.problem->code : 0u, c.code) << c.what << ": " << (o.problem ? o.problem->line : "");
        EXPECT_EQ(o.problem && *c.line ? o.problem->line : std::string(c.line), c.line) << c.what;
        EXPECT_EQ(o.problem ? c.disk : o.plan.route, c.disk) << c.what << ": the disk's own route";
    }
}

TEST(CmdTranslate, TrimFlushAndIdentifyShortcutsPerRoute) {
    CmdJob trim;
    trim.trim = true, trim.lba = 0x10000, trim.dataLength = 70000 * 512;
    give(trim, {F::Trim, F::Lba, F::DataLen});
    Outcome o = translate(trim, disk(ProtocolCode::kAtaOverAta, 512, 1 << 20));
    ASSERT_FALSE(o.problem) << o.problem->line;
    ASSERT_EQ(o.plan.dataOut.size(), 512u);
    // A short trim runs end to end; past 65535 sectors it takes two range entries: 65535 sectors at 10000h, then the remaining 4465.
    const std::vector<uint8_t> ranges{0, 0, 1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0, 0x71, 0x11, 0, 0};
    EXPECT_EQ(std::vector<uint8_t>(o.plan.dataOut.begin(), o.plan.dataOut.begin() + 18), ranges);

    EXPECT_EQ(translate(trim, disk(ProtocolCode::kNvmeByStornvme, 512, 1 << 20)).plan.step, zel::CmdStep::HostTrim);
    EXPECT_EQ(translate(trim, disk(ProtocolCode::kAtaOverAta, 512, 0x10000 + 69999)).problem->code, 0x2000000Eu);

    CmdJob flush;
    flush.flush = true;
    EXPECT_EQ(translate(give(flush, {F::Flush}), disk(ProtocolCode::kScsi)).plan.failureCode, 0x20000129u);
    EXPECT_EQ(translate(flush, disk(ProtocolCode::kNvmeByStornvme)).plan.step, zel::CmdStep::HostFlush);

    CmdJob identify;
    identify.identify = true;
    o = translate(give(identify, {F::Identify}), disk(ProtocolCode::kNvmeByStornvme));
    EXPECT_EQ(std::make_pair(+o.plan.nvme.opcode(), +o.plan.nvme.dword(10)), std::make_pair(0x06, 1u))
        << "Identify CNS 1 with NSID 0: the one the inbox route can carry";
    EXPECT_EQ(translate(give(identify, {F::Cdb}, "cdb"), disk(ProtocolCode::kScsi)).problem->line,
              "[ActionCommand] --cdb does not apply to --identify (scsi)");
}

// Each dump type's plan is run end to end; here the sizes, NUMDU and the refusals.
TEST(CmdTranslate, DumpSizesAndRefusals) {
    auto dump = [](const char* type, std::initializer_list<F> more = {}) {
        CmdJob job;
        job.dumpType = zel::dumpTypeFromText(type);
        job.dumpPath = "d.bin";
        return give(give(job, {F::Dump, F::DumpType}), more);
    };
    Outcome o = translate(dump("RAND"), disk(ProtocolCode::kNone, 4096));
    ASSERT_FALSE(o.problem) << "a generated dump needs no command route";
    EXPECT_EQ(std::to_string(o.plan.dumpBytes) + " " + o.plan.dataPath + " " + o.plan.label, "4096 d.bin rand")
        << "one sector by default";

    CmdJob lba = dump("lba", {F::Lba, F::DumpSize});
    lba.lba = 100, lba.dumpBytes = 1000;
    EXPECT_EQ(translate(lba, disk(ProtocolCode::kScsi)).problem->code, 0x20000004u) << "part of a sector";
    lba.dumpBytes = 1024;
    EXPECT_EQ(translate(lba, disk(ProtocolCode::kScsi, 512, 101)).problem->code, 0x2000000Eu);

    CmdJob page = dump("logpage", {F::Lid, F::LpSize});
    page.logId = 0xC0, page.logPageBytes = 0x40004;  // NUMD 10000h: NUMDU in CDW11
    o = translate(page, disk(ProtocolCode::kNvmeByScsiMiniport));
    EXPECT_EQ(std::make_pair(+o.plan.nvme.dword(10), +o.plan.nvme.dword(11)), std::make_pair(0x000000C0u, 1u));
    EXPECT_EQ(translate(dump("logpage"), disk(ProtocolCode::kNvmeByIrst)).problem->line, "Miss some options (lid)!");
    EXPECT_EQ(translate(dump(""), disk(ProtocolCode::kNvmeByIrst)).problem->line,
              "[ActionCommand] --dumptype must be zero, rand, lba, identify, smart, logpage or identifyns: \"\"");
}

// Aborts with and without --status and the mismatch line are run end to end.
TEST(CmdAnswer, DeviceFaultRouteErrorsAndResultKeys) {
    zel::CmdPlan plan;
    plan.family = zel::CmdFamily::Ata, plan.route = ProtocolCode::kAtaOverAta, plan.label = "command";
    plan.ata.command = 0x71, plan.ata.feature = 0x04, plan.expectStatus = true, plan.expectedStatus = 0x50;
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
    nvme.family = zel::CmdFamily::Nvme, nvme.route = ProtocolCode::kNvmeByScsiMiniport;
    nvme.nvme.setStatus(uint16_t((0x0109 << 1) | 1));
    zel::CmdAnswer done;
    done.routeOk = true;
    zel::CmdProblem status = zel::judgeAnswer(nvme, done);
    EXPECT_EQ(status.code, 0x20000125u);
    EXPECT_EQ(status.line, "[ActionCommand] NVMe status 0x0109 (SCT 1h, SC 09h)");
}

TEST(CmdAnswer, SenseFormats) {
    const struct { uint8_t sense[32]; int key, asc, ascq; } cases[] = {
        {{0xF0, 0, 0x05, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 0x01}, 5, 0x24, 0x01},  // fixed, valid bit set
        {{0x72, 0x0B, 0x47, 0x03}, 0x0B, 0x47, 0x03},                             // descriptor
        {{}, 0, 0, 0},
    };
    for (const auto& c : cases) {
        const zel::SenseFields f = zel::decodeSense(c.sense);
        EXPECT_EQ(std::make_tuple(f.key, f.asc, f.ascq), std::make_tuple(c.key, c.asc, c.ascq)) << std::hex << +c.sense[0];
    }
}

// The command sets' overlaps and the commands whose effect hides in a field.
TEST(CmdMediaChange, OpcodeSetsSubcommandsAndCarriedCommands) {
    enum Set { Ata, Scsi, Admin, Io };
    // bytes: ATA, command and feature; SCSI, the CDB; NVMe, the opcode.
    const struct { Set set; std::vector<uint8_t> bytes; bool dataOut, changes; } cases[] = {
        {Admin, {0x09}, false, true}, {Io, {0x09}, true, true},  // Set Features, Dataset Management
        {Admin, {0x05}, false, true},  // Create I/O Completion Queue
        {Io, {0x05}, true, false}, {Admin, {0x21}, false, true},  // Compare only compares; unlisted, bits 1..0 allow data out
        {Admin, {0xC1}, false, false}, {Ata, {0xB0, 0xD6}, true, true}, {Ata, {0xB1, 0xC2}, false, false},
        {Ata, {0xB1, 0xC0}, false, true}, {Ata, {0xFA, 0x00}, false, false}, {Ata, {0xFA, 0x00}, true, true},
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
