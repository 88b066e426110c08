#include "smart/SmartRun.h"

#include <windows.h>

#include <memory>
#include <optional>

#include "core/ActionResultJson.h"
#include "core/BinaryFile.h"
#include "core/Clock.h"
#include "core/DeviceApi.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "core/SafeSave.h"
#include "core/WinReg.h"
#include "disk/DiskBase.h"
#include "disk/DiskReport.h"
#include "smart/NvmeSmartDataParser.h"
#include "smart/SataSmartDataParser.h"
#include "smart/SmartData.h"
#include "smart/SmartExport.h"
#include "smart/SmartRender.h"
#include "smart/VariableLimit.h"

namespace zel {
namespace {

// NVMe critical warning bits 0 and 1: spare below its threshold, a
// temperature past a threshold.
constexpr uint8_t kCriticalThresholdBits = 0x03;

bool isNvmeDisk(const DiskBase& disk) {
    return disk.diskKind() == diskkind::kNvme || disk.diskKind() == diskkind::kJMicronNvme;
}

std::string csvTime() { return timeStampText(hostClockMilliseconds()).substr(0, 19); }

class SmartRun {
public:
    SmartRun(const SmartJob& job, DiskBase& disk) : job_(job), disk_(disk) {}

    void fillRecord(SmartRunRecord* record) const {
        record->smartInfo = smartInfo_;
        const auto& fields = parser_->layout().fields;
        for (size_t i = 0; i < fields.size() && i < verdicts_.attributes.size(); ++i) {
            const SmartVerdict& v = verdicts_.attributes[i];
            record->verdicts.push_back({fields[i].label, v.conflict, v.skipped, v.changed()});
        }
    }

    ErrorCode run() {
        createParser();
        readings_.previous = readBins(job_.previousBins, "Failed to read prev data from SMART bin file",
                                      "Failure occurred when parsing prev SMART data");
        readings_.initial = readBins(job_.initialBins, "Failed to read init data from SMART bin file",
                                     "Failure occurred when parsing init SMART data");
        readCurrent();
        writeBins();
        writeIni();
        writeCsv();
        verdicts_ = parser_->compareAndPrint(readings_, resolveOutputPath(job_.outLog));
        writeJson();
        const bool noConflict = verdicts_.noConflict();
        if (!noConflict) fail(err::kSmartLimitConflict);
        resetCounters();
        return noConflict ? failure_ : err::kSmartLimitConflict;
    }

private:
    void fail(ErrorCode code) {
        failure_ = code;
        setLastError(code);
    }

    void createParser() {
        if (isNvmeDisk(disk_))
            parser_ = std::make_unique<NvmeSmartDataParser>();
        else
            parser_ = std::make_unique<SataSmartDataParser>();
        const bool existed = GetFileAttributesA(job_.configPath.c_str()) != INVALID_FILE_ATTRIBUTES;
        if (!parser_->parseConfig(job_.configPath))
            fail(err::kSmartParse);
        else if (!checksAnyAttribute(parser_->layout()))
            warnNothingChecked(existed);
        SmartPagePlan plan = parser_->planPages(job_.logIds, job_.logPageSizes);
        for (const std::string& warning : plan.warnings) logWarning("%s", warning.c_str());
        pages_ = plan.pages;
        data_.resize(pages_.size());
        readings_.current.assign(parser_->attributeCount(), SmartBytes{});
    }

    // A mistyped --smart-config is created empty and would pass unnoticed.
    void warnNothingChecked(bool existed) const {
        char full[MAX_PATH] = {};
        const DWORD n = GetFullPathNameA(job_.configPath.c_str(), MAX_PATH, full, nullptr);
        const std::string path = n > 0 && n < MAX_PATH ? full : job_.configPath;
        logWarning("[ActionSmart] The SMART configuration %s %s: this run compares nothing", path.c_str(),
                   existed ? "checks no attribute (no limit, no $gsd, $ugsd, $pwrcycle or $pwronhr)"
                           : "did not exist and was created empty");
    }

    // One file per page, in page order; the first failure ends the list.
    std::optional<SmartReading> readBins(const std::vector<std::string>& files, const char* readWarning,
                                         const char* parseWarning) {
        if (files.empty()) return std::nullopt;
        SmartReading reading(parser_->attributeCount());
        for (size_t i = 0; i < files.size() && i < pages_.size(); ++i) {
            std::vector<uint8_t> page;
            const auto bytes = readBinaryFile(resolveOutputPath(files[i]));
            if (!bytes || !pageFromBin(*bytes, pages_[i].size, &page)) {
                logWarning("%s", readWarning);
                fail(err::kSmartRead);
                break;
            }
            if (!parser_->parseData(page.data(), page.size(), pages_[i].logId, &reading)) {
                logWarning("%s", parseWarning);
                fail(err::kSmartParse);
            }
        }
        return reading;
    }

    ErrorCode readPage(const SmartPage& page, std::vector<uint8_t>* data) {
        if (!isNvmeDisk(disk_)) return disk_.readSmartData(data);
        return disk_.getLogPage(static_cast<uint8_t>(page.logId), page.size, page.offset, data);
    }

    void readCurrent() {
        for (size_t i = 0; i < pages_.size(); ++i) {
            const int lid = pages_[i].logId;
            const ErrorCode code = readPage(pages_[i], &data_[i]);
            if (code != err::kOk) {
                data_[i].clear();
                logWarning("Failed to read SMART data, LID=%d", lid);
                logDebug("[ActionSmart] LID=%d read error %s", lid, errorText(code).c_str());
                fail(err::kSmartRead);
                continue;
            }
            if (!parser_->parseData(data_[i].data(), data_[i].size(), lid, &readings_.current)) {
                logWarning("Failed to parse SMART data, LID=%d", lid);
                fail(err::kSmartParse);
            }
            checkThreshold(pages_[i], data_[i]);
        }
    }

    void checkThreshold(const SmartPage& page, const std::vector<uint8_t>& data) {
        bool exceeded = false;
        if (isNvmeDisk(disk_)) {
            exceeded = page.logId == kSmartHealthLogPage && page.offset == 0 && !data.empty() &&
                       (data[0] & kCriticalThresholdBits);
        } else if (!parser_->skipThresholdStatus()) {
            const ErrorCode code = disk_.smartReturnStatus(&exceeded);
            if (code != err::kOk) logDebug("[ActionSmart] SMART RETURN STATUS: %s", errorText(code).c_str());
        }
        if (exceeded) {
            logWarning("%s", errorText(err::kSmartThresholdExceeded).c_str());
            fail(err::kSmartThresholdExceeded);
        }
    }

    void writeBins() {
        for (size_t i = 0; i < pages_.size() && i < job_.outBins.size(); ++i) {
            if (data_[i].empty()) continue;
            const std::string path = resolveOutputPath(job_.outBins[i]);
            if (!writeBinaryFile(path, data_[i].data(), data_[i].size())) {
                const ErrorCode code = takeSystemLastError();
                logWarning("Failed to output SMART data, LID=%d, to %s", pages_[i].logId, path.c_str());
                fail(code ? code : err::kSmartRead);
                return;
            }
        }
    }

    void writeIni() {
        IniFile ini(resolveOutputPath(job_.outIni));
        parser_->writeIni(readings_.current, ini);
        const auto& pcie = disk_.pcieInfo();
        if (isNvmeDisk(disk_) && pcie && pcie->linkWidth != 0) {
            ini.writeText("monitor", "link_speed", pcie->linkSpeedText());
            ini.writeText("monitor", "link_width", formatText("x%d", static_cast<int>(pcie->linkWidth)));
        }
    }

    void writeCsv() {
        if (job_.outCsv.empty()) return;
        const std::string path = resolveOutputPath(job_.outCsv);
        std::vector<std::string> heading = smartCsvHeadings(parser_->layout());
        std::vector<std::string> row = smartCsvRow(parser_->layout(), readings_.current, csvTime());
        if (isNvmeDisk(disk_)) {
            const auto& pcie = disk_.pcieInfo();
            const bool known = pcie && pcie->linkWidth != 0;
            heading.insert(heading.end(), {"link_speed", "link_width"});
            row.push_back(known ? pcie->linkSpeedText() : "");
            row.push_back(known ? formatText("x%d", static_cast<int>(pcie->linkWidth)) : "");
        }
        const bool saved = updateFileWhole(path, [&](std::string* text) {
            if (text->empty()) *text += csvLine(heading);
            *text += csvLine(row);
        });
        if (!saved) logWarning("Failed to output SMART data to %s", path.c_str());
    }

    void writeJson() {
        ActionResultJson& json = ActionResultJson::instance(job_.resultJson);
        const Json smartInfo = smartInfoJson(parser_->layout(), verdicts_, csvTime());
        smartInfo_ = smartInfo;
        // Into the file as it is now: another run may share it.
        const bool saved = json.update([&](Json& document) {
            std::vector<DriveInfo> drives = readDriveInfoList(document);
            diskEntry(&drives)->smartInfo = smartInfo;
            writeDriveInfoList(document, drives);
        });
        if (!saved) logWarning("Failed to save SMART information to %s", json.path().c_str());
    }

    // The disk's entry in the drive list; added from the disk when missing.
    DiskInfo* diskEntry(std::vector<DriveInfo>* drives) {
        for (DriveInfo& drive : *drives)
            for (DiskInfo& d : drive.disks)
                if (d.id == static_cast<uint32_t>(disk_.number()) && drive.sn == disk_.serialNumber()) return &d;
        drives->push_back(toDriveInfo(disk_));
        return &drives->back().disks.front();
    }

    // Every run that gets this far restarts the counters and the power-on
    // clock, whatever it found; a failed check says so, because the next
    // check's $pwrcycle/$gsd/$ugsd/$pwronhr limits then start from here.
    void resetCounters() {
        if (failure_ != err::kOk)
            logInfo("[ActionSmart] last_success and the retry counters are reset although this check failed");
        WinReg::writeText(kSmartRegistryKey, kRegLastSuccess, std::to_string(hostClockMilliseconds()));
        for (const char* counter : {kRegPowerCycleRetries, kRegGsdRetries, kRegUgsdRetries})
            WinReg::writeText(kSmartRegistryKey, counter, "-1");
    }

    const SmartJob& job_;
    DiskBase& disk_;
    std::unique_ptr<SmartDataParser> parser_;
    std::vector<SmartPage> pages_;
    std::vector<std::vector<uint8_t>> data_;
    SmartReadings readings_;
    SmartVerdicts verdicts_;
    Json smartInfo_;
    ErrorCode failure_ = err::kOk;
};

}  // namespace

ErrorCode runSmart(const SmartJob& job, DiskBase& disk, SmartRunRecord* record) {
    SmartRun run(job, disk);
    const ErrorCode code = run.run();
    if (record) {
        run.fillRecord(record);
        record->result = code;
    }
    return code;
}

}  // namespace zel
