#include "disk/DiskReport.h"

#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/TextFormat.h"

namespace zel {
namespace {

std::string letterList(const std::vector<DriveLetter>& letters) {
    std::string text;
    for (const DriveLetter& letter : letters) text.push_back(letter.letter);
    return text;
}

}  // namespace

void printDiskInformation(const DiskBase& disk) {
    logInfo("- Disk %d:", disk.number());
    logInfo("  Model: %s", disk.model().c_str());
    logInfo("  Firmware: %s", disk.firmware().c_str());
    logInfo("  Serial number: %s", disk.serialNumber().c_str());
    logInfo("  Vendor: %s", disk.vendor().c_str());
    logInfo("  Bytes per sector: %u", disk.logicalSectorSize());
    logInfo("  Capacity: %llu (%s)", static_cast<unsigned long long>(disk.capacity()), sizeText(disk.capacity()).c_str());
    logInfo("  Total LBA: %llu", static_cast<unsigned long long>(disk.sectorCount()));
    logInfo("  Disk type: %d", disk.diskKind());
    unsigned index = 0;
    for (const DriveLetter& letter : disk.driveLetters()) {
        logInfo("  - Partition %u:", index++);
        logInfo("    Drive letter: %c", letter.letter);
        logInfo("    Free space: %llu (%s)", static_cast<unsigned long long>(letter.freeBytes),
                sizeText(letter.freeBytes).c_str());
        logInfo("    Total size: %llu (%s)", static_cast<unsigned long long>(letter.totalBytes),
                sizeText(letter.totalBytes).c_str());
    }
}

bool writeDiskInformation(const DiskBase& disk, IniFile& ini) {
    const std::string section = formatText("Disk%d", disk.number());
    auto u64 = [](uint64_t v) { return formatText("%llu", static_cast<unsigned long long>(v)); };
    bool ok = ini.writeNumber(section, "DiskId", disk.number()) && ini.writeText(section, "Model", disk.model()) &&
              ini.writeText(section, "Firmware", disk.firmware()) && ini.writeText(section, "SerialNumber", disk.serialNumber()) &&
              ini.writeText(section, "Vendor", disk.vendor()) &&
              ini.writeNumber(section, "BusType", static_cast<int32_t>(disk.busType())) &&
              ini.writeNumber(section, "BytesPerSector", static_cast<int32_t>(disk.logicalSectorSize())) &&
              ini.writeNumber(section, "BytesPerPhysicalSector", static_cast<int32_t>(disk.physicalSectorSize())) &&
              ini.writeText(section, "Capacity", u64(disk.capacity())) &&
              ini.writeText(section, "TotalLBA", u64(disk.sectorCount())) &&
              ini.writeNumber(section, "DiskType", disk.diskKind()) &&
              ini.writeNumber(section, "ProtocolType", disk.protocolType()) &&
              ini.writeText(section, "DriveLetters", letterList(disk.driveLetters())) &&
              ini.writeNumber(section, "OsDrive", disk.isOsDrive() ? 1 : 0);
    const std::optional<PcieInfo>& pcie = disk.pcieInfo();
    if (ok && pcie) {
        ok = ini.writeText(section, "VID", formatText("0x%04X", pcie->vendorId)) &&
             ini.writeText(section, "DID", formatText("0x%04X", pcie->deviceId)) &&
             ini.writeText(section, "HWID", pcie->hardwareId) && ini.writeText(section, "Link", pcie->linkText()) &&
             ini.writeText(section, "MPS", pcie->maxPayloadText());
    }
    return ok;
}

DriveInfo toDriveInfo(const DiskBase& disk) {
    DriveInfo drive;
    drive.model = disk.model();
    drive.sn = disk.serialNumber();
    drive.fwRev = disk.firmware();
    drive.diskType = disk.diskKind();
    drive.protocolType = disk.protocolType();
    if (const std::optional<PcieInfo>& pcie = disk.pcieInfo()) {
        drive.bus = pcie->bus;
        drive.dev = pcie->device;
        drive.fun = pcie->function;
        drive.vid = pcie->vendorId;
        drive.did = pcie->deviceId;
        drive.hwid = pcie->hardwareId;
        drive.baseAddr = pcie->bar0;
        drive.linkSpeed = pcie->linkSpeed;
        drive.linkWidth = pcie->linkWidth;
        drive.linkStr = pcie->linkText();
        drive.mps = pcie->maxPayloadSize;
        drive.mpsStr = pcie->maxPayloadText();
        drive.pxcapOffset = pcie->pcieCapOffset;
        drive.pmcapOffset = pcie->pmCapOffset;
    }
    DiskInfo info;
    info.id = static_cast<uint32_t>(disk.number());
    info.capacity = disk.capacity();
    info.sectorCount = disk.sectorCount();
    info.sectorSize = disk.logicalSectorSize();
    for (const DriveLetter& letter : disk.driveLetters())
        info.partitions.push_back({std::string(1, letter.letter), letter.totalBytes, letter.freeBytes});
    drive.disks.push_back(info);
    return drive;
}

}  // namespace zel
