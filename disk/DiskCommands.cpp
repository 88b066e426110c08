// Device commands of the disk classes, sent through each disk's protocol.
#include "disk/DiskKinds.h"

#include "core/Logger.h"
#include <algorithm>
#include <cstdint>

#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"
#include "protocol/JMicronTunnel.h"
#include "protocol/NvmeProtocolOverJMicron.h"
#include "protocol/Opcodes.h"
#include "protocol/PassThroughLayouts.h"
#include "protocol/ProtocolRegistry.h"

namespace zel {
namespace {

constexpr uint64_t kThresholdExceededSignature = 0x2CF400;

constexpr uint32_t kCnsNamespace = 0;
constexpr uint32_t kCnsController = 1;

ErrorCode noProtocol(const DiskBase& disk) {
    logError("[DiskBase] Disk %d has no command route", disk.number());
    setLastError(err::kProtocolNotImplemented);
    return err::kProtocolNotImplemented;
}

ErrorCode sendAtaOn(IProtocol& route, const DiskBase& disk, AtaCommand& command, std::vector<uint8_t>* data) {
    data->assign(512, 0);
    command.count = 1;
    command.flags = ataflags::kDrdyRequired | ataflags::kDataIn;
    if (route.sendCommand(static_cast<uint32_t>(disk.number()), data->data(), 512, &command)) return 0;
    return lastError() ? lastError() : err::kAtaErrorStatus;
}

ErrorCode sendAta(const DiskBase& disk, AtaCommand& command, std::vector<uint8_t>* data) {
    if (!disk.protocol()) return noProtocol(disk);
    return sendAtaOn(*disk.protocol(), disk, command, data);
}

AtaCommand smartReadDataCommand() {
    AtaCommand command;
    command.command = ataop::kSmart;
    command.feature = ataop::kSmartReadData;
    command.lba = ataop::kSmartSignature;
    return command;
}

ErrorCode sendNvmeAdminOn(IProtocol& route, const DiskBase& disk, NvmeCommand& command, uint8_t* data,
                          uint32_t size) {
    command.direction = nvmedir::kFromDevice;
    command.admin = 1;
    command.diskNumber = static_cast<uint32_t>(disk.number());
    if (route.sendCommand(command.diskNumber, data, size, &command)) return 0;
    return lastError() ? lastError() : err::kNvmeFailed;
}

NvmeCommand identifyCommand(uint32_t cns, uint32_t nsid) {
    NvmeCommand command;
    command.command[0] = nvmeadmin::kIdentify;
    command.setDword(1, nsid);
    command.setDword(10, cns);
    return command;
}

// NUMD counts dwords less one, split over CDW10 (low 16 bits) and CDW11.
NvmeCommand logPageCommand(uint8_t logId, uint32_t size, uint64_t offset) {
    NvmeCommand command;
    command.command[0] = nvmeadmin::kGetLogPage;
    command.setDword(1, 0xFFFFFFFF);
    const uint32_t numd = (size + 3) / 4 - 1;
    command.setDword(10, uint32_t(logId) | (numd & 0xFFFF) << 16);
    command.setDword(11, numd >> 16);
    command.setDword(12, static_cast<uint32_t>(offset));
    command.setDword(13, static_cast<uint32_t>(offset >> 32));
    return command;
}

// Data bytes one Get Log Page moves on an NVMe disk's route: the inbox
// query and the RST block have room for 4096, the miniport block grows with
// the data.
uint64_t logPageRouteLimit(ProtocolCode route) {
    switch (route) {
        case ProtocolCode::kNvmeByStornvme: return kNvmeQueryBufferSize - sizeof(StorageProtocolQuery);
        case ProtocolCode::kNvmeByIrst: return sizeof(IrstNvmeBlock::data);
        default: return UINT32_MAX - sizeof(NvmeMiniportBlock);
    }
}

// The inbox query carries no log page offset, so every route reads a page
// from byte 0 through the last byte asked for and keeps the bytes from the
// offset on: one behaviour on every route, and right on drives that ignore
// the offset. What the route cannot carry is refused, never cut.
bool logPageFits(const char* diskClass, uint8_t logId, uint32_t size, uint64_t offset, uint64_t limit) {
    if (offset <= limit && size <= limit - offset) return true;
    logWarning("[%s] Log page 0x%X: offset %llu plus %u bytes is more than the %llu bytes this route reads from "
               "byte 0, not sent.",
               diskClass, static_cast<unsigned>(logId), static_cast<unsigned long long>(offset),
               static_cast<unsigned>(size), static_cast<unsigned long long>(limit));
    setLastError(err::kNvmeNotSupported);
    return false;
}

void keepFromOffset(uint64_t offset, std::vector<uint8_t>* page) {
    page->erase(page->begin(), page->begin() + static_cast<std::ptrdiff_t>(offset));
}

}  // namespace

ErrorCode SataSsd::identify(std::vector<uint8_t>* data) {
    AtaCommand command;
    command.command = ataop::kIdentifyDevice;
    return sendAta(*this, command, data);
}

ErrorCode SataSsd::readSmartData(std::vector<uint8_t>* sector) {
    AtaCommand command = smartReadDataCommand();
    return sendAta(*this, command, sector);
}

ErrorCode SataSsd::smartReturnStatus(bool* exceeded) {
    if (!protocol()) return noProtocol(*this);
    AtaCommand command;
    command.command = ataop::kSmart;
    command.feature = ataop::kSmartReturnStatus;
    command.lba = ataop::kSmartSignature;
    command.flags = ataflags::kDrdyRequired;
    if (!protocol()->sendCommand(static_cast<uint32_t>(number()), nullptr, 0, &command))
        return lastError() ? lastError() : err::kAtaErrorStatus;
    *exceeded = (command.lba & 0xFFFF00) == kThresholdExceededSignature;
    return 0;
}

ErrorCode Ufd::readSmartData(std::vector<uint8_t>* sector) {
    std::unique_ptr<IProtocol> sat = createProtocol(ProtocolCode::kAtaOverUsb);
    AtaCommand command = smartReadDataCommand();
    return sendAtaOn(*sat, *this, command, sector);
}

ErrorCode NvmeDisk::identify(std::vector<uint8_t>* data) {
    NvmeCommand command = identifyCommand(kCnsController, 0);
    return readAdmin(command, data, 4096);
}

ErrorCode NvmeDisk::identifyNamespace(uint32_t nsid, std::vector<uint8_t>* data) {
    NvmeCommand command = identifyCommand(kCnsNamespace, nsid);
    return readAdmin(command, data, 4096);
}

ErrorCode NvmeSsd::readAdmin(NvmeCommand& command, std::vector<uint8_t>* data, uint32_t size) {
    if (!protocol()) return noProtocol(*this);
    data->assign(size, 0);
    return sendNvmeAdminOn(*protocol(), *this, command, data->data(), size);
}

ErrorCode NvmeSsd::getLogPage(uint8_t logId, uint32_t size, uint64_t offset, std::vector<uint8_t>* data) {
    if (!logPageFits("NvmeSsd", logId, size, offset, logPageRouteLimit(identity_.protocolCode)))
        return err::kNvmeNotSupported;
    const uint32_t total = static_cast<uint32_t>(offset + size);
    NvmeCommand command = logPageCommand(logId, total, 0);
    if (const ErrorCode code = readAdmin(command, data, total)) return code;
    keepFromOffset(offset, data);
    return 0;
}

// The miniport and RST routes hand back the completion without judging it:
// a status there is the drive's refusal, whatever the IOCTL said.
ErrorCode NvmeSsd::readVendorData(uint8_t opcode, uint32_t size, std::vector<uint8_t>* data) {
    NvmeCommand command;
    command.command[0] = opcode;
    command.setDword(1, 1);
    command.setDword(10, (size + 3) / 4 - 1);
    if (const ErrorCode code = readAdmin(command, data, size)) return code;
    const uint16_t status = static_cast<uint16_t>(command.status() >> 1);
    if (status == 0) return 0;
    logWarning("[NvmeSsd] Disk %d: vendor command %02Xh ended with NVMe status 0x%04X (SCT %Xh, SC %02Xh)", number(),
               opcode, status, (status >> 8) & 7, status & 0xFF);
    data->clear();
    setLastError(err::kNvmeStatus);
    return err::kNvmeStatus;
}

ErrorCode JMicronS583::readAdmin(NvmeCommand& command, std::vector<uint8_t>* data, uint32_t size) {
    NvmeProtocolOverJMicron tunnel;
    data->assign(size, 0);
    return sendNvmeAdminOn(tunnel, *this, command, data->data(), size);
}

// From byte 0 like every NVMe route; pieces past the first transfer need
// the drive to honour the offset, which the tunnel carries.
ErrorCode JMicronS583::getLogPage(uint8_t logId, uint32_t size, uint64_t offset, std::vector<uint8_t>* data) {
    if (!logPageFits("JMicronS583", logId, size, offset, UINT32_MAX)) return err::kNvmeNotSupported;
    const uint32_t total = static_cast<uint32_t>(offset + size);
    NvmeProtocolOverJMicron tunnel;
    data->assign(total, 0);
    for (uint32_t done = 0; done < total;) {
        const uint32_t piece = std::min(total - done, kJMicronMaxTransfer);
        NvmeCommand command = logPageCommand(logId, piece, done);
        if (const ErrorCode code = sendNvmeAdminOn(tunnel, *this, command, data->data() + done, piece)) return code;
        done += piece;
    }
    keepFromOffset(offset, data);
    return 0;
}

}  // namespace zel
