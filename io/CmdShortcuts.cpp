#include <algorithm>

#include "io/CmdPlanParts.h"

namespace zel {
namespace cmdplan {
namespace {

constexpr uint8_t kSmartHealthLog = 0x02;

// Each ATA range entry: LBA in bits 47..0, up to 65535 sectors above.
std::vector<uint8_t> ataTrimRanges(const Transfer& range) {
    std::vector<uint8_t> data;
    uint64_t lba = range.lba;
    uint64_t left = range.sectors;
    while (left) {
        const uint64_t sectors = std::min<uint64_t>(left, 0xFFFF);
        const uint64_t entry = lba | sectors << 48;
        for (int b = 0; b < 8; ++b) data.push_back(static_cast<uint8_t>(entry >> (8 * b)));
        lba += sectors;
        left -= sectors;
    }
    data.resize((data.size() + kAtaBlock - 1) / kAtaBlock * kAtaBlock, 0);
    return data;
}

// One NVMe range: context attributes, length in blocks, starting LBA.
std::vector<uint8_t> nvmeTrimRange(const Transfer& range) {
    std::vector<uint8_t> data(16, 0);
    for (int b = 0; b < 4; ++b) data[4 + b] = static_cast<uint8_t>(range.sectors >> (8 * b));
    for (int b = 0; b < 8; ++b) data[8 + b] = static_cast<uint8_t>(range.lba >> (8 * b));
    return data;
}

// The inbox driver's route takes no I/O commands: trim and flush go through Windows there.
bool carriesNvmeIo(const CmdPlan& plan) {
    return plan.viaTunnel || plan.route == ProtocolCode::kNvmeByScsiMiniport || plan.route == ProtocolCode::kNvmeByIrst;
}

Result checkRange(const Transfer& range, const CmdTarget& target) {
    if (range.lba > target.sectorCount || range.sectors > target.sectorCount - range.lba)
        return refuse(err::kLbaOutOfRange, "LBA range [%llu, %llu) passes the disk's end at %llu",
                      static_cast<unsigned long long>(range.lba),
                      static_cast<unsigned long long>(range.lba) + range.sectors,
                      static_cast<unsigned long long>(target.sectorCount));
    return {};
}

Result notForFamily(const CmdPlan& plan, const CmdTarget& target, const char* what, const char* family) {
    return refuse(err::kFunctionNotSupported, "%s is an %s command; disk %u takes %s commands", what, family,
                  target.diskNumber, familyName(plan.family));
}

Result planSmartDump(const CmdTarget& target, CmdPlan* plan) {
    if (plan->family == CmdFamily::Nvme) {
        setNvmeLogPage(plan, target, kSmartHealthLog, 512);
        return {};
    }
    // SMART READ DATA; a SCSI route wraps it for the ATA drive behind the bridge.
    setAtaShortcut(plan, ataop::kSmart, ataop::kSmartReadData, ataop::kSmartSignature, CmdDirection::In, 512);
    if (plan->family == CmdFamily::Scsi) plan->route = ProtocolCode::kAtaOverUsb;
    plan->family = CmdFamily::Ata;
    return {};
}

Result planLogPageDump(const CmdJob& job, const CmdTarget& target, CmdPlan* plan) {
    if (plan->family != CmdFamily::Nvme) return notForFamily(*plan, target, "Get Log Page", "NVMe");
    if (!job.has(CmdField::Lid)) return missing("lid");
    const uint32_t bytes = job.has(CmdField::LpSize) ? job.logPageBytes : 512;
    if (bytes == 0 || bytes % 4 != 0)
        return refuse(err::kWrongArguments, "--lpsize %u is not a whole number of dwords", bytes);
    setNvmeLogPage(plan, target, static_cast<uint8_t>(job.logId), bytes);
    return {};
}

Result planSizedDump(const CmdJob& job, const CmdTarget& target, CmdPlan* plan) {
    plan->dumpBytes = job.dumpBytes ? job.dumpBytes : target.sectorSize;
    if (plan->dumpType != DumpType::Lba) {
        plan->step = CmdStep::Generate;
        return {};
    }
    if (plan->dumpBytes % target.sectorSize != 0)
        return refuse(err::kWrongArguments, "--dumpsize %u is not a whole number of %u-byte sectors", plan->dumpBytes,
                      target.sectorSize);
    plan->step = CmdStep::ReadLba;
    plan->range = Transfer{job.lba, plan->dumpBytes / target.sectorSize};
    return checkRange(plan->range, target);
}

}  // namespace

void planIdentify(CmdPlan* plan, const CmdTarget& target) {
    plan->label = "identify";
    if (plan->family == CmdFamily::Ata) setAtaShortcut(plan, ataop::kIdentifyDevice, 0, 0, CmdDirection::In, 512);
    if (plan->family == CmdFamily::Scsi) setScsiShortcut(plan, {scsiop::kInquiry, 0, 0, 0, 96, 0}, CmdDirection::In, 96);
    if (plan->family == CmdFamily::Nvme) setNvmeRead(plan, target, nvmeadmin::kIdentify, 0, 1, 4096);
}

Result planTrim(const CmdJob& job, const CmdTarget& target, CmdPlan* plan) {
    plan->label = "trim";
    plan->failureCode = err::kTrimFailed;
    const uint32_t bytes = job.has(CmdField::DataLen) ? job.dataLength : target.sectorSize;
    if (bytes == 0 || bytes % target.sectorSize != 0)
        return refuse(err::kWrongArguments, "--trim --datalen %u is not a whole number of %u-byte sectors", bytes, target.sectorSize);
    plan->range = Transfer{job.lba, bytes / target.sectorSize};
    if (auto p = checkRange(plan->range, target)) return p;
    if (plan->family == CmdFamily::Ata) {
        setAtaShortcut(plan, ataop::kDataSetManagement, ataop::kTrim, 0, CmdDirection::Out, 0);
        plan->dataOut = ataTrimRanges(plan->range);
        plan->dataLength = static_cast<uint32_t>(plan->dataOut.size());
        plan->ata.count = static_cast<uint16_t>(plan->dataLength / kAtaBlock);
    } else if (plan->family == CmdFamily::Nvme && carriesNvmeIo(*plan)) {
        plan->direction = CmdDirection::Out;
        plan->dataOut = nvmeTrimRange(plan->range);
        plan->dataLength = 16;
        setNvmeRecord(plan, target, nvmeio::kDatasetManagement, job.has(CmdField::Ns) ? job.nsid : 1, false);
        plan->nvme.setDword(11, 1u << 2);  // deallocate; CDW10 0: one range
    } else {
        plan->step = CmdStep::HostTrim;
    }
    return {};
}

void planFlush(const CmdJob& job, const CmdTarget& target, CmdPlan* plan) {
    plan->label = "flush";
    plan->failureCode = err::kFlushFailed;
    if (plan->family == CmdFamily::Ata) {
        setAtaShortcut(plan, ataop::kFlushCacheExt, 0, 0, CmdDirection::None, 0);
    } else if (plan->family == CmdFamily::Scsi) {
        setScsiShortcut(plan, {scsiop::kSynchronizeCache10, 0, 0, 0, 0, 0, 0, 0, 0, 0}, CmdDirection::None, 0);
    } else if (carriesNvmeIo(*plan)) {
        plan->direction = CmdDirection::None;
        setNvmeRecord(plan, target, nvmeio::kFlush, job.has(CmdField::Ns) ? job.nsid : 1, false);
    } else {
        plan->step = CmdStep::HostFlush;
    }
}

Result planDump(const CmdJob& job, const CmdTarget& target, CmdPlan* plan) {
    plan->label = dumpTypeName(plan->dumpType);
    plan->dataPath = job.dumpPath.empty() ? job.outBin : job.dumpPath;
    switch (plan->dumpType) {
        case DumpType::Identify: planIdentify(plan, target); plan->label = "identify"; return {};
        case DumpType::Smart: return planSmartDump(target, plan);
        case DumpType::LogPage: return planLogPageDump(job, target, plan);
        case DumpType::IdentifyNs:
            if (plan->family != CmdFamily::Nvme) return notForFamily(*plan, target, "Identify namespace", "NVMe");
            setNvmeRead(plan, target, nvmeadmin::kIdentify, job.has(CmdField::Ns) ? job.nsid : 1, 0, 4096);
            return {};
        default: return planSizedDump(job, target, plan);
    }
}

}  // namespace cmdplan
}  // namespace zel
