#include "disk/DiskBase.h"

#include <windows.h>

#include "core/DeviceApi.h"
#include "core/DriveOpener.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/TextFormat.h"

namespace zel {
namespace {

char windowsDriveLetter() {
    char folder[MAX_PATH] = {};
    if (!GetWindowsDirectoryA(folder, MAX_PATH)) return 0;
    return static_cast<char>(toupper(static_cast<unsigned char>(folder[0])));
}

std::string letterList(const std::vector<DriveLetter>& letters) {
    std::string text;
    for (const DriveLetter& letter : letters) text.push_back(letter.letter);
    return text;
}

}  // namespace

bool DiskBase::isOsDrive() const {
    const char osLetter = windowsDriveLetter();
    for (const DriveLetter& letter : identity_.letters)
        if (osLetter && letter.letter == osLetter) return true;
    return false;
}

bool DiskBase::refuseIfOsDrive() const {
    if (!isOsDrive()) return false;
    logError("[DiskBase] Disk %d: %s", number(), errorText(err::kOsDrive).c_str());
    setLastError(err::kOsDrive);
    return true;
}

bool DiskBase::isPresent() const {
    if (openPhysicalDrive(static_cast<uint32_t>(number()), FILE_ATTRIBUTE_NORMAL)) return true;
    takeSystemLastError();
    return false;
}

bool DiskBase::readFirstSector(std::vector<uint8_t>* sector) const {
    SharedHandle drive = openPhysicalDrive(static_cast<uint32_t>(number()), FILE_FLAG_NO_BUFFERING);
    if (!drive) {
        takeSystemLastError();
        return false;
    }
    const uint32_t size = logicalSectorSize() ? logicalSectorSize() : 512;
    // Unbuffered reads want a sector-aligned buffer.
    std::vector<uint8_t> buffer(size * 2);
    uint8_t* aligned = buffer.data() + (size - reinterpret_cast<uintptr_t>(buffer.data()) % size) % size;
    LARGE_INTEGER zero{};
    DWORD done = 0;
    const bool ok = deviceApi().setFilePointerEx(drive.get(), zero, nullptr, FILE_BEGIN) &&
                    deviceApi().readFile(drive.get(), aligned, size, &done, nullptr) && done == size;
    if (!ok) {
        takeSystemLastError();
        return false;
    }
    sector->assign(aligned, aligned + size);
    return true;
}

void DiskBase::printInformation() const {
    logInfo("- Disk %d:", number());
    logInfo("  Model: %s", model().c_str());
    logInfo("  Firmware: %s", firmware().c_str());
    logInfo("  Serial number: %s", serialNumber().c_str());
    logInfo("  Vendor: %s", vendor().c_str());
    logInfo("  Bytes per sector: %u", logicalSectorSize());
    logInfo("  Capacity: %llu (%s)", static_cast<unsigned long long>(capacity()), sizeText(capacity()).c_str());
    logInfo("  Total LBA: %llu", static_cast<unsigned long long>(sectorCount()));
    logInfo("  Disk type: %d", diskKind());
    unsigned index = 0;
    for (const DriveLetter& letter : driveLetters()) {
        logInfo("  - Partition %u:", index++);
        logInfo("    Drive letter: %c", letter.letter);
        logInfo("    Free space: %llu (%s)", static_cast<unsigned long long>(letter.freeBytes),
                sizeText(letter.freeBytes).c_str());
        logInfo("    Total size: %llu (%s)", static_cast<unsigned long long>(letter.totalBytes),
                sizeText(letter.totalBytes).c_str());
    }
}

bool DiskBase::writeInformation(IniFile& ini) const {
    const std::string section = formatText("Disk%d", number());
    auto u64 = [](uint64_t v) { return formatText("%llu", static_cast<unsigned long long>(v)); };
    bool ok = ini.writeNumber(section, "DiskId", number()) && ini.writeText(section, "Model", model()) &&
              ini.writeText(section, "Firmware", firmware()) && ini.writeText(section, "SerialNumber", serialNumber()) &&
              ini.writeText(section, "Vendor", vendor()) &&
              ini.writeNumber(section, "BusType", static_cast<int32_t>(busType())) &&
              ini.writeNumber(section, "BytesPerSector", static_cast<int32_t>(logicalSectorSize())) &&
              ini.writeNumber(section, "BytesPerPhysicalSector", static_cast<int32_t>(physicalSectorSize())) &&
              ini.writeText(section, "Capacity", u64(capacity())) &&
              ini.writeText(section, "TotalLBA", u64(sectorCount())) &&
              ini.writeNumber(section, "DiskType", diskKind()) &&
              ini.writeNumber(section, "ProtocolType", protocolType()) &&
              ini.writeText(section, "DriveLetters", letterList(driveLetters())) &&
              ini.writeNumber(section, "OsDrive", isOsDrive() ? 1 : 0);
    if (ok && pcie_) {
        ok = ini.writeText(section, "VID", formatText("0x%04X", pcie_->vendorId)) &&
             ini.writeText(section, "DID", formatText("0x%04X", pcie_->deviceId)) &&
             ini.writeText(section, "HWID", pcie_->hardwareId) && ini.writeText(section, "Link", pcie_->linkText()) &&
             ini.writeText(section, "MPS", pcie_->maxPayloadText());
    }
    return ok;
}

DriveInfo DiskBase::toDriveInfo() const {
    DriveInfo drive;
    drive.model = model();
    drive.sn = serialNumber();
    drive.fwRev = firmware();
    drive.diskType = diskKind();
    drive.protocolType = protocolType();
    if (pcie_) {
        drive.bus = pcie_->bus;
        drive.dev = pcie_->device;
        drive.fun = pcie_->function;
        drive.vid = pcie_->vendorId;
        drive.did = pcie_->deviceId;
        drive.hwid = pcie_->hardwareId;
        drive.baseAddr = pcie_->bar0;
        drive.linkSpeed = pcie_->linkSpeed;
        drive.linkWidth = pcie_->linkWidth;
        drive.linkStr = pcie_->linkText();
        drive.mps = pcie_->maxPayloadSize;
        drive.mpsStr = pcie_->maxPayloadText();
        drive.pxcapOffset = pcie_->pcieCapOffset;
        drive.pmcapOffset = pcie_->pmCapOffset;
    }
    DiskInfo disk;
    disk.id = static_cast<uint32_t>(number());
    disk.capacity = capacity();
    disk.sectorCount = sectorCount();
    disk.sectorSize = logicalSectorSize();
    for (const DriveLetter& letter : driveLetters())
        disk.partitions.push_back({std::string(1, letter.letter), letter.totalBytes, letter.freeBytes});
    drive.disks.push_back(disk);
    return drive;
}

namespace {
ErrorCode unsupported() {
    setLastError(err::kFunctionNotSupported);
    return err::kFunctionNotSupported;
}
}  // namespace

ErrorCode DiskBase::identify(std::vector<uint8_t>*) { return unsupported(); }
ErrorCode DiskBase::readSmartData(std::vector<uint8_t>*) { return unsupported(); }
ErrorCode DiskBase::getLogPage(uint8_t, uint32_t, std::vector<uint8_t>*) { return unsupported(); }

}  // namespace zel
