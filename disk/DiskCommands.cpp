// Device commands of the disk classes, sent through each disk's protocol.
#include "disk/DiskKinds.h"

#include "core/Logger.h"
#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"
#include "protocol/ProtocolRegistry.h"

namespace zel {
namespace {

constexpr uint8_t kAtaIdentify = 0xEC;
constexpr uint8_t kAtaSmart = 0xB0;
constexpr uint8_t kSmartReadData = 0xD0;
constexpr uint8_t kSmartReturnStatus = 0xDA;
constexpr uint64_t kSmartSignature = 0xC24F00;  // LBA mid 0x4F, high 0xC2
constexpr uint64_t kThresholdExceededSignature = 0x2CF400;

constexpr uint8_t kNvmeGetLogPage = 0x02;
constexpr uint8_t kNvmeIdentify = 0x06;
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
    command.command = kAtaSmart;
    command.feature = kSmartReadData;
    command.lba = kSmartSignature;
    return command;
}

ErrorCode sendNvmeAdmin(const DiskBase& disk, NvmeCommand& command, std::vector<uint8_t>* data, uint32_t size) {
    if (!disk.protocol()) return noProtocol(disk);
    data->assign(size, 0);
    command.direction = nvmedir::kFromDevice;
    command.admin = 1;
    command.diskNumber = static_cast<uint32_t>(disk.number());
    if (disk.protocol()->sendCommand(command.diskNumber, data->data(), size, &command)) return 0;
    return lastError() ? lastError() : err::kNvmeFailed;
}

}  // namespace

ErrorCode SataSsd::identify(std::vector<uint8_t>* data) {
    AtaCommand command;
    command.command = kAtaIdentify;
    return sendAta(*this, command, data);
}

ErrorCode SataSsd::readSmartData(std::vector<uint8_t>* sector) {
    AtaCommand command = smartReadDataCommand();
    return sendAta(*this, command, sector);
}

ErrorCode SataSsd::smartReturnStatus(bool* exceeded) {
    if (!protocol()) return noProtocol(*this);
    AtaCommand command;
    command.command = kAtaSmart;
    command.feature = kSmartReturnStatus;
    command.lba = kSmartSignature;
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

ErrorCode NvmeSsd::identify(std::vector<uint8_t>* data) {
    NvmeCommand command;
    command.command[0] = kNvmeIdentify;
    command.setDword(10, kCnsController);
    return sendNvmeAdmin(*this, command, data, 4096);
}

ErrorCode NvmeSsd::identifyNamespace(uint32_t nsid, std::vector<uint8_t>* data) {
    NvmeCommand command;
    command.command[0] = kNvmeIdentify;
    command.setDword(1, nsid);
    command.setDword(10, kCnsNamespace);
    return sendNvmeAdmin(*this, command, data, 4096);
}

// NUMD counts dwords less one, split over CDW10 (low 16 bits) and CDW11.
ErrorCode NvmeSsd::getLogPage(uint8_t logId, uint32_t size, uint64_t offset, std::vector<uint8_t>* data) {
    NvmeCommand command;
    command.command[0] = kNvmeGetLogPage;
    command.setDword(1, 0xFFFFFFFF);
    const uint32_t numd = (size + 3) / 4 - 1;
    command.setDword(10, uint32_t(logId) | (numd & 0xFFFF) << 16);
    command.setDword(11, numd >> 16);
    command.setDword(12, static_cast<uint32_t>(offset));
    command.setDword(13, static_cast<uint32_t>(offset >> 32));
    return sendNvmeAdmin(*this, command, data, size);
}

ErrorCode NvmeSsd::readVendorData(uint8_t opcode, uint32_t size, std::vector<uint8_t>* data) {
    NvmeCommand command;
    command.command[0] = opcode;
    command.setDword(1, 1);
    command.setDword(10, (size + 3) / 4 - 1);
    return sendNvmeAdmin(*this, command, data, size);
}

}  // namespace zel
