#include "app/RunRecordFrame.h"

#include "core/Clock.h"
#include "core/Paths.h"
#include "core/RunRecord.h"
#include "core/TextFormat.h"
#include "app/BuildVersion.h"
#include "disk/DiskBase.h"

namespace zel {
namespace {

const char* routeName(ProtocolCode code) {
    switch (code) {
        case ProtocolCode::kAtaOverAta: return "ata";
        case ProtocolCode::kAtaOverUsb: return "ata-over-usb";
        case ProtocolCode::kScsi: return "scsi";
        case ProtocolCode::kNvmeByStornvme: return "nvme-stornvme";
        case ProtocolCode::kNvmeByScsiMiniport: return "nvme-miniport";
        case ProtocolCode::kNvmeByIrst: return "nvme-irst";
        default: return "none";
    }
}

Json pcieJson(const DiskBase& disk) {
    if (!disk.pcieInfo()) return nullptr;
    const PcieInfo& pci = *disk.pcieInfo();
    return Json{{"vendor_id", formatText("0x%04X", pci.vendorId)},
                {"device_id", formatText("0x%04X", pci.deviceId)},
                {"link_speed", pci.linkSpeed},
                {"link_width", pci.linkWidth},
                {"link", pci.linkText()},
                {"max_payload", pci.maxPayloadText()}};
}

Json lettersJson(const DiskBase& disk) {
    Json letters = Json::array();
    for (const DriveLetter& letter : disk.driveLetters())
        letters.push_back({{"letter", std::string(1, letter.letter)},
                           {"total_bytes", letter.totalBytes},
                           {"free_bytes", letter.freeBytes}});
    return letters;
}

}  // namespace

void beginRunRecord(int argc, const char* const* argv, uint64_t startMilliseconds) {
    Json& record = runRecord();
    record["schema_version"] = kRunRecordSchemaVersion;
    record["tool"] = {{"name", "ZelCli"}, {"version", toolVersion()}, {"revision", sourceRevision()}};
    Json words = Json::array();
    for (int i = 0; i < argc; ++i) words.push_back(argv[i]);
    record["command_line"] = words;
    record["start_time"] = isoTimeText(startMilliseconds);
    record["command"] = nullptr;
    record["disk"] = nullptr;
}

void recordRunCommand(const std::string& name, bool global) {
    runRecord()["command"] = {{"name", name}, {"kind", global ? "global" : "action"}};
}

void recordRunDisk(const DiskBase& disk) { runRecord()["disk"] = diskJson(disk); }

Json diskJson(const DiskBase& disk) {
    return Json{{"number", disk.number()},
                {"model", disk.model()},
                {"serial", disk.serialNumber()},
                {"firmware", disk.firmware()},
                {"vendor", disk.vendor()},
                {"bus_type", disk.busType()},
                {"kind", disk.diskKind()},
                {"route", routeName(static_cast<ProtocolCode>(disk.protocolType()))},
                {"protocol_type", disk.protocolType()},
                {"logical_sector_size", disk.logicalSectorSize()},
                {"physical_sector_size", disk.physicalSectorSize()},
                {"sector_count", disk.sectorCount()},
                {"capacity_bytes", disk.capacity()},
                {"os_drive", disk.isOsDrive()},
                {"volumes", lettersJson(disk)},
                {"pcie", pcieJson(disk)}};
}

bool finishRunRecord(const ParseResult& args, ErrorCode exitCode) {
    Json& record = runRecord();
    record["end_time"] = isoTimeText(nowMilliseconds());
    record["exit_code"] = exitCode;
    record["exit_code_hex"] = formatText("0x%08X", exitCode);
    record["exit_text"] = errorText(exitCode);
    if (!args.has("out_json") || args.text("out_json").empty()) return true;
    return saveRunRecord(resolveOutputPath(args.text("out_json")));
}

}  // namespace zel
