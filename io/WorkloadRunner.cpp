#include "io/WorkloadRunner.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <new>
#include <vector>

#include "core/ErrorCodes.h"
#include "core/Logger.h"

namespace zel {
namespace {

// Windows system codes, named here so the runner stays Windows-free.
constexpr ErrorCode kNotEnoughMemory = 8;  // ERROR_NOT_ENOUGH_MEMORY
constexpr ErrorCode kReadFault = 30;       // ERROR_READ_FAULT

constexpr uint64_t kBufferAlignment = 4096;

// Tested in this order, each as a prefix: "trim " is no keyword, "trims" is.
const std::pair<const char*, WorkloadKind> kKeywords[] = {
    {"write", WorkloadKind::Write}, {"read", WorkloadKind::Read}, {"trims", WorkloadKind::Trim},
    {"flush", WorkloadKind::Flush}};

std::optional<WorkloadKind> keywordOf(const std::string& text) {
    for (const auto& [keyword, kind] : kKeywords)
        if (text.rfind(keyword, 0) == 0) return kind;
    return std::nullopt;
}

std::vector<std::string> splitOnSpaces(const std::string& text) {
    std::vector<std::string> tokens(1);
    for (char c : text) {
        if (c == ' ')
            tokens.emplace_back();
        else
            tokens.back().push_back(c);
    }
    return tokens;
}

template <typename T>
bool readDecimal(const std::string& text, T* value) {
    const char* end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, *value);
    return read.ec == std::errc() && read.ptr == end;
}

bool readOperands(const std::string& text, WorkloadCommand* command) {
    const std::vector<std::string> tokens = splitOnSpaces(text);
    return tokens.size() == 3 && readDecimal(tokens[1], &command->lba) && readDecimal(tokens[2], &command->sectors);
}

void addCommand(WorkloadSizeStats& stats, const WorkloadCommand& command, uint64_t totalSectors) {
    ++stats.count;
    stats.sectors += command.sectors;
    stats.maxSize = std::max(stats.maxSize, command.sectors);
    // The minimum starts at 0 and so stays 0; result readers expect that.
    stats.minSize = std::min(stats.minSize, command.sectors);
    ++stats.distribution[workloadBucket(command.lba, totalSectors)];
}

double share(uint32_t part, uint32_t whole) { return whole ? part * 100.0 / whole : 0.0; }

const char* kindName(WorkloadKind kind) {
    switch (kind) {
        case WorkloadKind::Write: return "write";
        case WorkloadKind::Read: return "read";
        case WorkloadKind::Trim: return "trim";
        case WorkloadKind::Flush: return "flush";
    }
    return "";
}

// A "\r..." console line that counts up. Large files would spend their time
// printing, so it shows a few counts per second and, at the end, the last one.
class StatusLine {
public:
    explicit StatusLine(const char* format) : format_(format) {}
    ~StatusLine() {
        if (shown_ == 0) return;
        if (shown_ != latest_) printStatus(format_, static_cast<int>(latest_));
        printStatus("\n");
    }
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    void show(uint32_t count) {
        latest_ = count;
        const Clock::time_point now = Clock::now();
        if (shown_ != 0 && now - shownAt_ < std::chrono::milliseconds(250)) return;
        printStatus(format_, static_cast<int>(count));
        shown_ = count;
        shownAt_ = now;
    }

private:
    using Clock = std::chrono::steady_clock;
    const char* format_;
    uint32_t latest_ = 0;
    uint32_t shown_ = 0;
    Clock::time_point shownAt_;
};

}  // namespace

WorkloadLine parseWorkloadLine(const std::string& line, WorkloadCommand* command) {
    if (line.empty() || line[0] != '$') return WorkloadLine::NotACommand;
    std::string text = line.substr(1);
    // Files written on Windows read the same on every platform.
    if (!text.empty() && text.back() == '\r') text.pop_back();
    *command = WorkloadCommand{};
    const std::optional<WorkloadKind> kind = keywordOf(text);
    if (kind) command->kind = *kind;
    if (kind == WorkloadKind::Flush || (kind && readOperands(text, command))) return WorkloadLine::Command;
    setLastError(err::kWorkloadUnknownCommand);
    return WorkloadLine::Rejected;
}

std::optional<uint64_t> placeWorkloadCommand(uint64_t lba, uint32_t sectors, uint64_t totalSectors) {
    if (sectors > totalSectors) return std::nullopt;
    if (lba <= totalSectors - sectors) return lba;
    return sectors == totalSectors ? 0 : lba % (totalSectors - sectors);
}

size_t workloadBucket(uint64_t lba, uint64_t totalSectors) {
    // A disk of fewer than 100 sectors gets one-sector buckets.
    const uint64_t width = std::max<uint64_t>(totalSectors / kWorkloadBuckets, 1);
    return static_cast<size_t>(std::min<uint64_t>(lba / width, kWorkloadBuckets - 1));
}

bool WorkloadRunner::parse(uint64_t totalSectors) {
    stats_ = WorkloadStats{};
    parsed_ = false;
    if (!rewind()) return false;
    uint32_t lineNumber = 0;
    bool parsed = true;
    {
        StatusLine status("\rParsing line # %d");
        WorkloadCommand command;
        for (std::string line; parsed && std::getline(in_, line);) {
            status.show(++lineNumber);
            const WorkloadLine kind = parseWorkloadLine(line, &command);
            if (kind == WorkloadLine::Command) count(command, totalSectors);
            parsed = kind != WorkloadLine::Rejected;
        }
    }
    parsed_ = parsed && readToTheEnd();
    if (parsed_) return true;
    stats_.totalLines = 0;
    logWarning("Failed to parse workloads, err line # = %d", static_cast<int>(lineNumber));
    return false;
}

bool WorkloadRunner::analyze(uint64_t totalSectors) {
    logInfo("Analyzing workload file...");
    if (!parse(totalSectors)) return false;
    logShares();
    return true;
}

bool WorkloadRunner::execute(IWorkloadDisk& disk, const WorkloadGeometry& geometry) {
    executedWritten_ = 0;
    executedTrimmed_ = 0;
    if (!allocateBuffer(uint64_t{stats_.writes.maxSize} * geometry.sectorSize) || !rewind()) return false;
    uint32_t lineNumber = 0;
    uint32_t executed = 0;
    bool done = true;
    {
        StatusLine status("\rExecuting line # %d");
        WorkloadCommand command;
        for (std::string line; done && std::getline(in_, line);) {
            ++lineNumber;
            const WorkloadLine kind = parseWorkloadLine(line, &command);
            if (kind == WorkloadLine::NotACommand) continue;
            status.show(++executed);
            done = kind == WorkloadLine::Command && executeCommand(disk, command, geometry.totalSectors);
        }
    }
    if (done && readToTheEnd()) return true;
    logWarning("Failed to execute workload command, err line # = %d", static_cast<int>(lineNumber));
    return false;
}

Json WorkloadRunner::workloadInfo(bool executedTotals) const {
    Json info = Json::object();
    info["total_write_cmds"] = stats_.writes.count;
    info["total_sectors_written"] = executedTotals ? executedWritten_ : stats_.writes.sectors;
    info["max_write_size"] = stats_.writes.maxSize;
    info["min_write_size"] = stats_.writes.minSize;
    info["total_trim_cmds"] = stats_.trims.count;
    info["total_sectors_trimmed"] = executedTotals ? executedTrimmed_ : stats_.trims.sectors;
    info["max_trim_size"] = stats_.trims.maxSize;
    info["min_trim_size"] = stats_.trims.minSize;
    info["total_flush_cmds"] = stats_.flushCount;
    info["total_lines"] = stats_.totalLines;
    info["write_cmd_dist"] = stats_.writes.distribution;
    info["trim_cmd_dist"] = stats_.trims.distribution;
    return info;
}

void WorkloadRunner::count(const WorkloadCommand& command, uint64_t totalSectors) {
    ++stats_.totalLines;
    switch (command.kind) {
        case WorkloadKind::Write: addCommand(stats_.writes, command, totalSectors); break;
        case WorkloadKind::Read: addCommand(stats_.reads, command, totalSectors); break;
        case WorkloadKind::Trim: addCommand(stats_.trims, command, totalSectors); break;
        case WorkloadKind::Flush: ++stats_.flushCount; break;
    }
}

void WorkloadRunner::logShares() const {
    const uint32_t total = stats_.totalLines;
    logInfo("Total write cmds = %lld (%.1f%%)", static_cast<long long>(stats_.writes.count),
            share(stats_.writes.count, total));
    logInfo("Total trim cmds = %lld (%.1f%%)", static_cast<long long>(stats_.trims.count),
            share(stats_.trims.count, total));
    logInfo("Total flush cmds = %lld (%.1f%%)", static_cast<long long>(stats_.flushCount),
            share(stats_.flushCount, total));
}

// The 16-bit value 0x55AA repeated (bytes AA 55), aligned for unbuffered writes.
// Kept as built: the reverse byte order of the rw "fixed" pattern.
bool WorkloadRunner::allocateBuffer(uint64_t bytes) {
    bufferStorage_.reset();
    buffer_ = nullptr;
    bufferBytes_ = 0;
    if (bytes <= SIZE_MAX - kBufferAlignment)
        bufferStorage_.reset(new (std::nothrow) uint8_t[static_cast<size_t>(bytes + kBufferAlignment)]);
    if (!bufferStorage_) {
        setLastError(kNotEnoughMemory);
        return false;
    }
    const uint64_t address = reinterpret_cast<uintptr_t>(bufferStorage_.get());
    buffer_ = bufferStorage_.get() + (kBufferAlignment - address % kBufferAlignment) % kBufferAlignment;
    for (uint64_t i = 0; i < bytes; ++i) buffer_[i] = i % 2 ? 0x55 : 0xAA;
    bufferBytes_ = bytes;
    return true;
}

// A stream that broke mid-file ends the line loop as its end would.
bool WorkloadRunner::readToTheEnd() const {
    if (!in_.bad()) return true;
    setLastError(kReadFault);
    return false;
}

bool WorkloadRunner::rewind() {
    in_.clear();
    in_.seekg(0);
    if (in_) return true;
    setLastError(kReadFault);
    return false;
}

bool WorkloadRunner::executeCommand(IWorkloadDisk& disk, const WorkloadCommand& command, uint64_t totalSectors) {
    if (command.kind == WorkloadKind::Read) return true;  // replayed as a count only
    setLastError(err::kOk);
    if (issue(disk, command, totalSectors)) {
        if (command.kind == WorkloadKind::Write) executedWritten_ += command.sectors;
        if (command.kind == WorkloadKind::Trim) executedTrimmed_ += command.sectors;
        return true;
    }
    if (lastError() == err::kOk) setLastError(err::kWorkloadCommandFailed);
    logWarning("Cannot execute %s command", kindName(command.kind));
    return false;
}

bool WorkloadRunner::issue(IWorkloadDisk& disk, const WorkloadCommand& command, uint64_t totalSectors) {
    if (command.kind == WorkloadKind::Flush) return disk.flush();
    const std::optional<uint64_t> lba = placeWorkloadCommand(command.lba, command.sectors, totalSectors);
    if (!lba) {
        setLastError(err::kLbaOutOfRange);
        return false;
    }
    if (command.kind == WorkloadKind::Trim) return disk.trimSectors(*lba, command.sectors);
    // Only a file changed since its parse can hold a write larger than the buffer.
    if (command.sectors > stats_.writes.maxSize) return false;
    return disk.writeSectors(*lba, command.sectors, buffer_);
}

}  // namespace zel
