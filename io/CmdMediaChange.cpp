#include "io/CmdMediaChange.h"

#include "core/TextFormat.h"
#include "protocol/Opcodes.h"

namespace zel {
namespace {

struct OpcodeRow {
    uint8_t opcode;
    bool changes;
    const char* name;
    const char* reason;
};

// Opcodes not listed: a command with data out changes the drive (nobody can
// tell what a vendor does with it), one without does not.
constexpr OpcodeRow kAta[] = {
    {ataop::kDataSetManagement, true, "DATA SET MANAGEMENT", "trims sectors"},
    {0x07, true, "DATA SET MANAGEMENT XL", "trims sectors"},
    {ataop::kReadSectors, false, "READ SECTORS", "reads"},
    {ataop::kReadSectorsExt, false, "READ SECTORS EXT", "reads"},
    {ataop::kReadDmaExt, false, "READ DMA EXT", "reads"},
    {ataop::kReadMultipleExt, false, "READ MULTIPLE EXT", "reads"},
    {0x2F, false, "READ LOG EXT", "reads a log"},
    {ataop::kWriteSectors, true, "WRITE SECTORS", "writes sectors"},
    {0x31, true, "WRITE SECTORS (no retry)", "writes sectors"},
    {0x32, true, "WRITE LONG", "writes a sector with its ECC"},
    {0x33, true, "WRITE LONG (no retry)", "writes a sector with its ECC"},
    {ataop::kWriteSectorsExt, true, "WRITE SECTORS EXT", "writes sectors"},
    {ataop::kWriteDmaExt, true, "WRITE DMA EXT", "writes sectors"},
    {0x36, true, "WRITE DMA QUEUED EXT", "writes sectors"},
    {0x37, true, "SET MAX ADDRESS EXT", "changes the capacity"},
    {0x38, true, "CFA WRITE SECTORS WITHOUT ERASE", "writes sectors"},
    {ataop::kWriteMultipleExt, true, "WRITE MULTIPLE EXT", "writes sectors"},
    {0x3A, true, "WRITE STREAM DMA EXT", "writes sectors"},
    {0x3B, true, "WRITE STREAM EXT", "writes sectors"},
    {0x3C, true, "WRITE VERIFY", "writes sectors"},
    {ataop::kWriteDmaFuaExt, true, "WRITE DMA FUA EXT", "writes sectors"},
    {0x3E, true, "WRITE DMA QUEUED FUA EXT", "writes sectors"},
    {0x3F, true, "WRITE LOG EXT", "writes a log; SCT commands through it write and erase"},
    {0x40, false, "READ VERIFY SECTORS", "reads"},
    {0x42, false, "READ VERIFY SECTORS EXT", "reads"},
    {0x45, true, "WRITE UNCORRECTABLE EXT", "makes sectors unreadable"},
    {ataop::kReadLogDmaExt, false, "READ LOG DMA EXT", "reads a log"},
    {0x4A, false, "ZAC MANAGEMENT IN", "reports zones"},
    {0x50, true, "FORMAT TRACK", "erases sectors"},
    {ataop::kWriteLogDmaExt, true, "WRITE LOG DMA EXT", "writes a log; SCT commands through it write and erase"},
    {0x5C, false, "TRUSTED RECEIVE", "reads"},
    {0x5D, false, "TRUSTED RECEIVE DMA", "reads"},
    {0x5E, true, "TRUSTED SEND", "can lock or erase the drive"},
    {0x5F, true, "TRUSTED SEND DMA", "can lock or erase the drive"},
    {0x60, false, "READ FPDMA QUEUED", "reads"},
    {0x61, true, "WRITE FPDMA QUEUED", "writes sectors"},
    {0x63, true, "NCQ NON-DATA", "its subcommands zero sectors"},
    {0x64, true, "SEND FPDMA QUEUED", "trims sectors, writes logs"},
    {0x65, false, "RECEIVE FPDMA QUEUED", "reads"},
    {0x92, true, "DOWNLOAD MICROCODE", "replaces the firmware"},
    {ataop::kDownloadMicrocodeDma, true, "DOWNLOAD MICROCODE DMA", "replaces the firmware"},
    {0x9F, true, "ZAC MANAGEMENT OUT", "resets write pointers"},
    {0xA1, false, "IDENTIFY PACKET DEVICE", "reads"},
    {ataop::kSmart, false, "SMART", "reads data, thresholds and logs (FEATURE D6h writes a log)"},
    {ataop::kDeviceConfigurationOverlay, true, "DEVICE CONFIGURATION OVERLAY", "changes the capacity (FEATURE C2h only identifies)"},
    {0xB4, true, "SANITIZE DEVICE", "erases the drive"},
    {0xC0, true, "CFA ERASE SECTORS", "erases sectors"},
    {ataop::kReadMultiple, false, "READ MULTIPLE", "reads"},
    {ataop::kWriteMultiple, true, "WRITE MULTIPLE", "writes sectors"},
    {ataop::kReadDma, false, "READ DMA", "reads"},
    {ataop::kWriteDma, true, "WRITE DMA", "writes sectors"},
    {0xCB, true, "WRITE DMA (no retry)", "writes sectors"},
    {0xCC, true, "WRITE DMA QUEUED", "writes sectors"},
    {0xCD, true, "CFA WRITE MULTIPLE WITHOUT ERASE", "writes sectors"},
    {0xCE, true, "WRITE MULTIPLE FUA EXT", "writes sectors"},
    {ataop::kStandbyImmediate, true, "STANDBY IMMEDIATE", "stops the drive the running system reads from"},
    {0xE2, true, "STANDBY", "stops the drive the running system reads from"},
    {0xE4, false, "READ BUFFER", "reads"},
    {0xE5, false, "CHECK POWER MODE", "reads a register"},
    {0xE6, true, "SLEEP", "takes the drive off line until a reset"},
    {ataop::kFlushCache, false, "FLUSH CACHE", "writes back what the drive already holds"},
    {0xE8, true, "WRITE BUFFER", "sends data to the drive"},
    {ataop::kFlushCacheExt, false, "FLUSH CACHE EXT", "writes back what the drive already holds"},
    {ataop::kIdentifyDevice, false, "IDENTIFY DEVICE", "reads"},
    {0xEF, true, "SET FEATURES", "changes settings the running system relies on"},
    {0xF1, true, "SECURITY SET PASSWORD", "locks the drive"},
    {0xF2, true, "SECURITY UNLOCK", "changes the security state"},
    {0xF3, true, "SECURITY ERASE PREPARE", "prepares an erase"},
    {0xF4, true, "SECURITY ERASE UNIT", "erases the drive"},
    {0xF5, true, "SECURITY FREEZE LOCK", "changes the security state"},
    {0xF6, true, "SECURITY DISABLE PASSWORD", "changes the security state"},
    {0xF9, true, "SET MAX ADDRESS", "changes the capacity"},
};

constexpr OpcodeRow kScsi[] = {
    {0x00, false, "TEST UNIT READY", "no data"},
    {0x03, false, "REQUEST SENSE", "reads"},
    {0x04, true, "FORMAT UNIT", "erases the drive"},
    {0x07, true, "REASSIGN BLOCKS", "moves sectors"},
    {0x08, false, "READ(6)", "reads"},
    {0x0A, true, "WRITE(6)", "writes sectors"},
    {scsiop::kInquiry, false, "INQUIRY", "reads"},
    {0x15, true, "MODE SELECT(6)", "changes settings the running system relies on"},
    {0x1A, false, "MODE SENSE(6)", "reads"},
    {scsiop::kStartStopUnit, true, "START STOP UNIT", "stops or ejects the drive the running system reads from"},
    {0x25, false, "READ CAPACITY(10)", "reads"},
    {0x28, false, "READ(10)", "reads"},
    {0x2A, true, "WRITE(10)", "writes sectors"},
    {0x2E, true, "WRITE AND VERIFY(10)", "writes sectors"},
    {scsiop::kVerify10, false, "VERIFY(10)", "reads; data out is only compared"},
    {scsiop::kSynchronizeCache10, false, "SYNCHRONIZE CACHE(10)", "writes back what the drive already holds"},
    {0x3B, true, "WRITE BUFFER", "replaces the firmware"},
    {0x3C, false, "READ BUFFER", "reads"},
    {0x3F, true, "WRITE LONG(10)", "writes a sector with its ECC"},
    {0x41, true, "WRITE SAME(10)", "writes sectors"},
    {0x42, true, "UNMAP", "trims sectors"},
    {0x48, true, "SANITIZE", "erases the drive"},
    {0x4C, true, "LOG SELECT", "resets logs"},
    {0x4D, false, "LOG SENSE", "reads"},
    {0x50, true, "XDWRITE(10)", "writes sectors"},
    {0x51, true, "XPWRITE(10)", "writes sectors"},
    {0x53, true, "XDWRITEREAD(10)", "writes sectors"},
    {0x55, true, "MODE SELECT(10)", "changes settings the running system relies on"},
    {0x5A, false, "MODE SENSE(10)", "reads"},
    {0x5F, true, "PERSISTENT RESERVE OUT", "can lock the running system out"},
    {scsiop::kVariableLength, true, "variable length", "WRITE(32), WRITE SAME(32) and others (READ(32) and VERIFY(32) only read)"},
    {0x80, true, "XDWRITE EXTENDED(16)", "writes sectors"},
    {0x81, true, "REBUILD(16)", "writes sectors"},
    {0x82, true, "REGENERATE(16)", "writes sectors"},
    {scsiop::kAtaPassThrough16, false, "ATA PASS-THROUGH(16)", "as the ATA command it carries"},
    {0x88, false, "READ(16)", "reads"},
    {0x89, true, "COMPARE AND WRITE", "writes sectors"},
    {0x8A, true, "WRITE(16)", "writes sectors"},
    {0x8E, true, "WRITE AND VERIFY(16)", "writes sectors"},
    {scsiop::kVerify16, false, "VERIFY(16)", "reads; data out is only compared"},
    {0x91, false, "SYNCHRONIZE CACHE(16)", "writes back what the drive already holds"},
    {0x93, true, "WRITE SAME(16)", "writes sectors"},
    {0x94, true, "ZBC OUT", "resets write pointers"},
    {0x95, false, "ZBC IN", "reports zones"},
    {0x9A, true, "WRITE STREAM(16)", "writes sectors"},
    {0x9C, true, "WRITE ATOMIC(16)", "writes sectors"},
    {0x9E, false, "SERVICE ACTION IN(16)", "reads"},
    {0x9F, true, "SERVICE ACTION OUT(16)", "WRITE LONG(16)"},
    {0xA0, false, "REPORT LUNS", "reads"},
    {scsiop::kAtaPassThrough12, false, "ATA PASS-THROUGH(12)", "as the ATA command it carries; on a JMicron NVMe bridge its tunnel"},
    {0xA2, false, "SECURITY PROTOCOL IN", "reads"},
    {0xA4, true, "MAINTENANCE OUT", "changes the device's identification"},
    {0xA8, false, "READ(12)", "reads"},
    {0xAA, true, "WRITE(12)", "writes sectors"},
    {0xAE, true, "WRITE AND VERIFY(12)", "writes sectors"},
    {scsiop::kVerify12, false, "VERIFY(12)", "reads; data out is only compared"},
    {0xB5, true, "SECURITY PROTOCOL OUT", "can lock or erase the drive"},
};

constexpr OpcodeRow kNvmeAdmin[] = {
    {0x00, true, "Delete I/O Submission Queue", "removes a queue the running system uses"},
    {0x01, true, "Create I/O Submission Queue", "changes the controller's queues"},
    {nvmeadmin::kGetLogPage, false, "Get Log Page", "reads"},
    {0x04, true, "Delete I/O Completion Queue", "removes a queue the running system uses"},
    {0x05, true, "Create I/O Completion Queue", "changes the controller's queues"},
    {nvmeadmin::kIdentify, false, "Identify", "reads"},
    {0x08, true, "Abort", "aborts a command of the running system"},
    {0x09, true, "Set Features", "changes settings the running system relies on"},
    {nvmeadmin::kGetFeatures, false, "Get Features", "reads"},
    {0x0D, true, "Namespace Management", "creates or deletes namespaces"},
    {0x10, true, "Firmware Commit", "activates firmware"},
    {0x11, true, "Firmware Image Download", "replaces the firmware"},
    {0x14, false, "Device Self-test", "tests without writing"},
    {0x15, true, "Namespace Attachment", "detaches namespaces"},
    {0x19, true, "Directive Send", "changes settings the running system relies on"},
    {0x1A, false, "Directive Receive", "reads"},
    {0x1C, true, "Virtualization Management", "changes the controller's resources"},
    {0x1D, true, "NVMe-MI Send", "sends data to the drive"},
    {0x1E, false, "NVMe-MI Receive", "reads"},
    {0x20, true, "Capacity Management", "changes the capacity"},
    {0x24, true, "Lockdown", "changes which commands the drive takes"},
    {0x7C, true, "Doorbell Buffer Config", "changes the controller's queues"},
    {0x80, true, "Format NVM", "erases the namespace"},
    {0x81, true, "Security Send", "can lock or erase the drive"},
    {0x82, false, "Security Receive", "reads"},
    {0x84, true, "Sanitize", "erases the drive"},
    {0x86, false, "Get LBA Status", "reads"},
};

constexpr OpcodeRow kNvmeIo[] = {
    {nvmeio::kFlush, false, "Flush", "writes back what the drive already holds"},
    {0x01, true, "Write", "writes blocks"},
    {0x02, false, "Read", "reads"},
    {0x04, true, "Write Uncorrectable", "makes blocks unreadable"},
    {nvmeio::kCompare, false, "Compare", "reads; data out is only compared"},
    {0x08, true, "Write Zeroes", "zeroes blocks"},
    {nvmeio::kDatasetManagement, true, "Dataset Management", "deallocates blocks"},
    {0x0C, false, "Verify", "reads"},
    {0x0D, true, "Reservation Register", "can lock the running system out"},
    {0x0E, false, "Reservation Report", "reads"},
    {0x11, true, "Reservation Acquire", "can lock the running system out"},
    {0x15, true, "Reservation Release", "can lock the running system out"},
    {0x19, true, "Copy", "writes blocks"},
    {0x79, true, "Zone Management Send", "resets zones"},
    {0x7A, false, "Zone Management Receive", "reports zones"},
    {0x7D, true, "Zone Append", "writes blocks"},
};

template <size_t N>
const OpcodeRow* findRow(const OpcodeRow (&rows)[N], uint8_t opcode) {
    for (const OpcodeRow& row : rows)
        if (row.opcode == opcode) return &row;
    return nullptr;
}

std::string label(const char* set, const OpcodeRow* row, uint8_t opcode) {
    return row ? formatText("%s %02Xh %s", set, opcode, row->name) : formatText("%s %02Xh", set, opcode);
}

MediaEffect fromRow(const char* set, const OpcodeRow* row, uint8_t opcode) {
    if (!row) return {};
    return {row->changes, label(set, row, opcode) + ": " + row->reason};
}

// Data out is the drive's to keep: unless the row says the command only
// compares it, the command changes the drive.
MediaEffect withDataOut(const char* set, const OpcodeRow* row, uint8_t opcode) {
    return {true, label(set, row, opcode) + " with data out: sends data to the drive"};
}

// SAT: PROTOCOL in byte 1 bits 4..1, T_DIR (set: from the device) in byte 2
// bit 3, T_LENGTH (0: no data) in byte 2 bits 1..0.
bool passThroughSendsData(const uint8_t* cdb) {
    const unsigned protocol = (cdb[1] >> 1) & 0x0F;
    if (protocol == 5 || protocol == 11) return true;  // PIO data-out, UDMA data-out
    const bool dma = protocol == 6 || protocol == 7 || protocol == 12;
    return dma && (cdb[2] & 0x03) != 0 && !(cdb[2] & 0x08);
}

MediaEffect passThroughEffect(const uint8_t* cdb, bool sixteen) {
    const uint8_t command = sixteen ? cdb[14] : cdb[9];
    const uint8_t feature = sixteen ? cdb[4] : cdb[3];
    MediaEffect carried = ataMediaEffect(command, feature, passThroughSendsData(cdb));
    carried.what = formatText("ATA PASS-THROUGH(%d) with ", sixteen ? 16 : 12) + carried.what;
    return carried;
}

}  // namespace

MediaEffect ataMediaEffect(uint8_t command, uint16_t feature, bool dataOut) {
    const OpcodeRow* row = findRow(kAta, command);
    const uint8_t subcommand = static_cast<uint8_t>(feature);
    if (command == ataop::kSmart && subcommand == ataop::kSmartWriteLog) return {true, "ATA B0h SMART WRITE LOG: writes a log"};
    if (command == ataop::kDeviceConfigurationOverlay && subcommand == ataop::kDcoIdentify && !dataOut) return {false, "ATA B1h DCO IDENTIFY: reads"};
    MediaEffect effect = fromRow("ATA", row, command);
    if (dataOut && !effect.changes) return withDataOut("ATA", row, command);
    return effect;
}

MediaEffect scsiMediaEffect(const uint8_t* cdb, uint8_t cdbLength, bool dataOut, bool nvmeTunnel) {
    if (cdbLength == 0) return {};
    const uint8_t opcode = cdb[0];
    if (opcode == scsiop::kAtaPassThrough12 && nvmeTunnel)
        return {true, "SCSI A1h: the JMicron bridge's NVMe tunnel runs a command its CDB does not show"};
    if (opcode == scsiop::kAtaPassThrough16 && cdbLength == 16) return passThroughEffect(cdb, true);
    if (opcode == scsiop::kAtaPassThrough12 && cdbLength == 12) return passThroughEffect(cdb, false);
    const OpcodeRow* row = findRow(kScsi, opcode);
    MediaEffect effect = fromRow("SCSI", row, opcode);
    if (opcode == scsiop::kVariableLength && cdbLength >= 10) {
        const uint16_t action = static_cast<uint16_t>(cdb[8] << 8 | cdb[9]);
        if (action == scsiop::kRead32 || action == scsiop::kVerify32) effect = {false, "SCSI 7Fh READ(32) or VERIFY(32): reads"};
    }
    const bool onlyCompares = opcode == scsiop::kVerify10 || opcode == scsiop::kVerify16 || opcode == scsiop::kVerify12;
    if (dataOut && !effect.changes && !onlyCompares) return withDataOut("SCSI", row, opcode);
    return effect;
}

MediaEffect nvmeMediaEffect(uint8_t opcode, bool admin, bool dataOut) {
    const char* set = admin ? "NVMe admin" : "NVMe I/O";
    const OpcodeRow* row = admin ? findRow(kNvmeAdmin, opcode) : findRow(kNvmeIo, opcode);
    const MediaEffect effect = fromRow(set, row, opcode);
    // An unlisted standard opcode whose bits 1..0 allow data out may carry it.
    const bool standard = opcode < (admin ? nvmeadmin::kFirstVendor : nvmeio::kFirstVendor);
    const bool mayTakeData = !row && standard && (opcode & 1);
    const bool onlyCompares = !admin && opcode == nvmeio::kCompare;
    if ((dataOut || mayTakeData) && !effect.changes && !onlyCompares) return withDataOut(set, row, opcode);
    return effect;
}

MediaEffect planMediaEffect(const CmdPlan& plan, bool nvmeTunnel) {
    if (plan.step == CmdStep::HostTrim) return {true, "the Windows trim request deallocates sectors"};
    if (plan.step != CmdStep::Send) return {};
    const bool dataOut = plan.direction == CmdDirection::Out;
    switch (plan.family) {
        case CmdFamily::Ata: return ataMediaEffect(plan.ata.command, plan.ata.feature, dataOut);
        case CmdFamily::Scsi: return scsiMediaEffect(plan.scsi.cdb, plan.scsi.cdbLength, dataOut, nvmeTunnel);
        case CmdFamily::Nvme: return nvmeMediaEffect(plan.nvme.opcode(), plan.nvme.admin != 0, dataOut);
    }
    return {};
}

}  // namespace zel
