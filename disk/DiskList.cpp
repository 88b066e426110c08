#include "disk/DiskList.h"

#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/ProcessSwitches.h"
#include "disk/DiskBuilders.h"
#include "disk/DiskClassifier.h"
#include "disk/DiskProbe.h"
#include "disk/DiskReport.h"
#include "disk/PciConfig.h"
#include "disk/PortIoDriver.h"
#include "protocol/ProtocolRegistry.h"

namespace zel {
bool diskMatchesPattern(const DiskBase& disk, const std::string& pattern) {
    std::vector<uint8_t> sector;
    if (!disk.readFirstSector(&sector) || sector.size() <= 16) return false;
    std::string text;
    for (size_t i = 16; i < sector.size() && sector[i] != 0; ++i) text.push_back(static_cast<char>(sector[i]));
    return text == pattern;
}

namespace {

bool readPcie(const DiskIdentity& id, PcieInfo* info) {
    PortIoDriver& driver = PortIoDriver::instance();
    auto read = [&](uint32_t offset, uint32_t* value) {
        return driver.readPciConfig(id.pciBus, id.pciDevice, id.pciFunction, offset, value);
    };
    return inspectPcieFunction(id.pciBus, id.pciDevice, id.pciFunction, read, info);
}

}  // namespace

DiskList& DiskList::instance() {
    static DiskList list;
    return list;
}

DiskList& DiskList::get(bool fullBuild) {
    if (!built_) build();
    if (fullBuild && !pcieInspected_) inspectPcie();
    return *this;
}

void DiskList::reset() {
    disks_.clear();
    built_ = pcieInspected_ = false;
    builtWithoutError_ = true;
}

void DiskList::build() {
    logDebug("Build disk list start.");
    built_ = true;
    DWORD mask = deviceApi().getLogicalDrives();
    const std::vector<DeviceRecord> records = controllerRecords();
    for (int number = 0; number < kMaxDiskNumber; ++number) {
        std::optional<DiskIdentity> identity = probeDisk(number);
        if (!identity) continue;
        assignDriveLetters(&*identity, &mask);
        identity->vendor = cutAtControl(identity->vendor);
        applyControllerRecord(&*identity, records);
        const DiskClass chosen = classifyDisk(identity->busType, identity->vendor, identity->model,
                                              identity->providerName, processSwitches().nvmeProtocol);
        identity->kind = chosen.kind;
        identity->protocolCode = chosen.protocolCode;
        std::unique_ptr<DiskBase> disk = builderForKind(chosen.kind).build(*identity);
        if (chosen.protocolCode != ProtocolCode::kNone)
            disk->attachProtocol(std::shared_ptr<IProtocol>(createProtocol(chosen.protocolCode)));
        disks_.push_back(std::move(disk));
    }
    logDebug("Build disk list done.");
}

// The driver is opened once per full build, NVMe disks or not: whether it
// is open decides the exit code of --info and --prechk.
void DiskList::inspectPcie() {
    pcieInspected_ = true;
    const bool driverOpen = PortIoDriver::instance().open();
    // Without the driver a full build is incomplete, NVMe disks or not,
    // unless a loaded configuration stands in for what it would have read.
    if (!driverOpen) {
        setLastError(err::kWinIoInit);
        if (configuration_.empty()) builtWithoutError_ = false;
    }
    for (const auto& disk : disks_)
        if (disk->diskKind() == diskkind::kNvme && !inspectOne(*disk, driverOpen)) builtWithoutError_ = false;
}

bool DiskList::inspectOne(DiskBase& disk, bool driverOpen) {
    const DiskIdentity& id = disk.identity();
    PcieInfo info;
    const bool located = id.pciBus != 0xFFFFFFFF;
    if (located && driverOpen && readPcie(id, &info)) {
        disk.setPcieInfo(info);
        return true;
    }
    return pcieFromConfiguration(&disk);
}

bool DiskList::inspectPcie(DiskBase& disk) {
    if (disk.pcieInfo()) return true;
    if (disk.diskKind() != diskkind::kNvme) {
        setLastError(err::kNotSupported);
        return false;
    }
    const bool driverOpen = PortIoDriver::instance().open();
    if (!driverOpen) setLastError(err::kWinIoInit);
    if (inspectOne(disk, driverOpen)) return true;
    if (!lastError()) setLastError(err::kNotSupported);
    return false;
}

bool DiskList::pcieFromConfiguration(DiskBase* disk) const {
    for (const DriveInfo& drive : configuration_) {
        if (drive.sn != disk->serialNumber() || drive.model != disk->model() || drive.vid == 0) continue;
        PcieInfo info;
        info.bus = drive.bus;
        info.device = drive.dev;
        info.function = drive.fun;
        info.vendorId = drive.vid;
        info.deviceId = drive.did;
        info.hardwareId = drive.hwid;
        info.bar0 = drive.baseAddr;
        info.linkSpeed = drive.linkSpeed;
        info.linkWidth = drive.linkWidth;
        info.maxPayloadSize = drive.mps;
        info.pcieCapOffset = drive.pxcapOffset;
        info.pmCapOffset = drive.pmcapOffset;
        disk->setPcieInfo(info);
        return true;
    }
    return false;
}

DiskBase* DiskList::findDisk(const DiskSelector& selector) const {
    if (!selector.pattern.empty())
        for (const auto& disk : disks_)
            if (diskMatchesPattern(*disk, selector.pattern)) return disk.get();
    if (!selector.serial.empty())
        for (const auto& disk : disks_)
            if (disk->serialNumber() == selector.serial) return disk.get();
    if (!selector.model.empty())
        for (const auto& disk : disks_)
            if (disk->model().find(selector.model) != std::string::npos) return disk.get();
    if (selector.id != -1)
        for (const auto& disk : disks_)
            if (disk->number() == selector.id) return disk.get();
    return nullptr;
}

std::vector<DiskBase*> DiskList::findTwinDisks(int number) const {
    std::vector<DiskBase*> twins;
    const DiskBase* self = findDisk(DiskSelector::byNumber(number));
    if (!self) return twins;
    for (const auto& disk : disks_) {
        if (disk.get() != self && disk->model() == self->model() && disk->firmware() == self->firmware() &&
            disk->serialNumber() == self->serialNumber())
            twins.push_back(disk.get());
    }
    return twins;
}

void DiskList::print() const {
    logInfo("***** Disk Information *****");
    for (const auto& disk : disks_) printDiskInformation(*disk);
}

bool DiskList::writeIni(const std::string& path) const {
    logInfo("Output disk info to file %s", path.c_str());
    IniFile ini(path);
    bool ok = ini.writeNumber("DiskList", "Count", static_cast<int32_t>(disks_.size()));
    for (const auto& disk : disks_) ok = writeDiskInformation(*disk, ini) && ok;
    return ini.save() && ok;
}

std::vector<DriveInfo> DiskList::toDriveInfoList() const {
    std::vector<DriveInfo> drives;
    for (const auto& disk : disks_) drives.push_back(toDriveInfo(*disk));
    return drives;
}

bool DiskList::writeJson(ActionResultJson& json) const {
    writeDriveInfoList(json.document(), toDriveInfoList());
    return json.save();
}

}  // namespace zel
