#include "io/RwEngine.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "disk/DiskBase.h"
#include "io/FileModes.h"
#include "io/IoWorker.h"
#include "io/Pattern.h"
#include "io/RwSetup.h"

namespace zel {
namespace {

ErrorCode finish(ErrorCode code) {
    setLastError(code);
    return code;
}

ErrorCode refuse(const char* warning, ErrorCode code) {
    logWarning("%s", warning);
    return finish(code);
}

bool readsOnly(RwMode mode) { return mode == RwMode::SeqRead || mode == RwMode::RandRead; }

// The first volume's letter is the rule scripts know; a system disk whose
// Windows letter is a later volume is refused too.
bool holdsTheSystem(const DiskBase& disk) { return disk.firstVolumeIsOsDrive() || disk.isOsDrive(); }

ErrorCode refuseOsDrive(const DiskBase& disk, RwMode mode) {
    logWarning("Disk %d holds the Windows volume: %s to it refused, only seq read and rand read run there. %s",
               disk.number(), modeName(mode), errorText(err::kOsDrive).c_str());
    return finish(err::kOsDrive);
}

// What the range arithmetic leaves that the workers cannot run: nothing to
// run, or a block longer than one transfer can carry.
ErrorCode checkRange(const RwJob& job, const RwSetup& setup, uint32_t sector) {
    const auto start = static_cast<unsigned long long>(setup.startLba);
    const auto end = static_cast<unsigned long long>(setup.endLba);
    if (setup.sizeBelowOneSector)
        logWarning("--size of %llu bytes is less than one sector of %u bytes: it counts as 0, a random count",
                   static_cast<unsigned long long>(job.size.value), sector);
    if (setup.range() == 0) {
        logWarning("Test range is too small. [%llu, %llu) holds no sector%s", start, end,
                   setup.alignSectors ? " once aligned" : "");
        return err::kRangeTooSmall;
    }
    if (uint64_t{setup.blockSectors} * sector > UINT32_MAX) {
        logWarning("--bs of %llu bytes (after --align) is more than one transfer carries (4 GiB)",
                   static_cast<unsigned long long>(uint64_t{setup.blockSectors} * sector));
        return err::kWrongArguments;
    }
    if (setup.blockSectors == 0) {
        const TransferSizer random(0, setup.alignSectors, kLargestRandomTransferBytes / sector, [] { return 0; });
        logInfo("--bs 0: every transfer takes a random length from %u to %u sectors", std::max(setup.alignSectors, 1u),
                random.largest());
    }
    return 0;
}

void copyText(char* field, size_t size, const std::string& text) {
    std::strncpy(field, text.c_str(), size - 1);
    field[size - 1] = '\0';
}

std::string absolutePath(const std::string& path) {
    if (path.empty()) return path;
    const std::string placed = resolveOutputPath(path);
    char full[MAX_PATH] = {};
    const DWORD length = GetFullPathNameA(placed.c_str(), MAX_PATH, full, nullptr);
    return length && length < MAX_PATH ? std::string(full) : placed;
}

uint32_t processorCount() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors ? info.dwNumberOfProcessors : 1;
}

IoWorkerParams recordFor(const RwJob& job, const DiskBase& disk, const RwSetup& setup, const LbaSlice& slice,
                         uint32_t index) {
    IoWorkerParams p;
    p.threadIndex = index;
    p.threadCount = setup.threadCount;
    p.diskNumber = static_cast<uint8_t>(disk.number());
    p.mode = static_cast<uint32_t>(job.mode);
    p.ioType = static_cast<uint32_t>(job.ioType);
    p.pattern = static_cast<uint32_t>(job.pattern);
    std::memcpy(p.metadata, job.metadata.data(), std::min(job.metadata.size(), sizeof p.metadata));
    p.startLba = slice.start;
    p.endLba = slice.end;
    p.blockSectors = setup.blockSectors;
    p.alignSectors = setup.alignSectors;
    p.sectionSectors = setup.sectionSectors;
    p.gapSectors = job.gapSectors;
    p.queueDepth = setup.queueDepth;
    p.totalLoops = job.totalLoops;
    p.totalTime = job.totalSeconds;
    p.totalIo = job.totalBytes;
    copyText(p.srcPath, sizeof p.srcPath, job.srcPath);
    copyText(p.destPath, sizeof p.destPath, job.destPath);
    copyText(p.outIniPath, sizeof p.outIniPath, absolutePath(job.outIni));
    copyText(p.outBinPath, sizeof p.outBinPath, absolutePath(job.outBin));
    copyText(p.inBinPath, sizeof p.inBinPath, absolutePath(job.inBin));
    p.seed = job.seed + (uint64_t{index - 1} << 16);
    p.dmaFua = job.dmaFua ? 1 : 0;
    return p;
}

FileRunSettings fileSettings(const RwJob& job, const DiskBase& disk, uint32_t sector, uint64_t random) {
    FileRunSettings settings;
    settings.diskNumber = disk.number();
    settings.sectorSize = sector;
    settings.threads = job.threadCount ? job.threadCount : processorCount();
    // bs 0 (a random size per transfer on LBAs) takes the largest transfer.
    const uint32_t block = job.blockBytes / sector * sector;
    settings.blockBytes = block ? block : kLargestRandomTransferBytes;
    settings.random = random;
    return settings;
}

DWORD WINAPI workerThread(void* worker) { return static_cast<IoWorker*>(worker)->run(); }

// The slots a run leaves empty fail its wait, whatever the workers did: say
// what the first worker did before the wait's code hides it.
void reportEmptySlots(const std::vector<std::unique_ptr<IoWorker>>& workers, uint32_t slotCount, ErrorCode waitCode) {
    const ErrorCode first = workers.empty() ? 0 : workers.front()->params().lastError;
    const std::string result = first ? "FAIL " + errorText(first) : std::string("SUCCESS");
    logWarning("%u of %u thread slots stay empty (the first thread takes the whole range): [T1] ended with %s, the "
               "wait over all slots fails %s",
               slotCount - static_cast<uint32_t>(workers.size()), slotCount, result.c_str(),
               errorText(waitCode).c_str());
}

// Waits for all slots, empty ones included (kept as built: an empty slot
// makes the wait fail with the invalid-handle error); the threads that did
// start are still waited for before their workers go.
ErrorCode runWorkers(std::vector<std::unique_ptr<IoWorker>>& workers, uint32_t slotCount) {
    std::vector<HANDLE> handles(slotCount, nullptr);
    for (size_t i = 0; i < workers.size(); ++i)
        handles[i] = CreateThread(nullptr, 0, workerThread, workers[i].get(), 0, nullptr);
    ErrorCode code = 0;
    if (WaitForMultipleObjects(slotCount, handles.data(), TRUE, INFINITE) == WAIT_FAILED) code = GetLastError();
    for (HANDLE handle : handles) {
        if (!handle) continue;
        WaitForSingleObject(handle, INFINITE);
        CloseHandle(handle);
    }
    if (code && workers.size() < slotCount) reportEmptySlots(workers, slotCount, code);
    if (code) return code;
    for (const auto& worker : workers)
        if (worker->params().lastError & 0xDFFFFFFF) return worker->params().lastError;
    return 0;
}

RwWorkerRecord workerRecord(const IoWorker& worker, const LbaSlice& slice) {
    const IoWorkerParams& p = worker.params();
    RwWorkerRecord w;
    w.thread = p.threadIndex;
    w.mode = static_cast<RwMode>(p.mode);
    w.pattern = static_cast<PatternKind>(p.pattern);
    w.startLba = slice.start;
    w.endLba = slice.end;
    w.stoppedLba = p.endLba;
    w.blockSectors = p.blockSectors;
    w.queueDepth = p.queueDepth;
    w.seed = p.seed;
    w.figures = worker.figures();
    w.histogram = worker.latencyBuckets();
    w.result = p.lastError;
    w.miscompared = worker.miscompared();
    w.miscompareLba = worker.miscompareLba();
    w.dumpFiles = worker.dumpFiles();
    return w;
}

}  // namespace

ErrorCode runRw(const RwJob& job, DiskBase& disk, RwRunRecord* record) {
    if (job.mode == RwMode::Unknown) return refuse("RW mode not supported!", err::kNotSupported);
    if (job.ioType == IoType::Unknown) return refuse("IO type not supported!", err::kNotSupported);
    const RwMode mode = effectiveMode(job.mode, job.ioType);
    if (mode == RwMode::Unknown) return refuse("RW mode not supported!", err::kNotSupported);
    const bool fileLevel = job.ioType == IoType::File;
    const bool allowedOnSystem = readsOnly(mode) || mode == RwMode::Precondition;
    if (!allowedOnSystem && holdsTheSystem(disk)) return refuseOsDrive(disk, mode);
    if (job.pattern == PatternKind::Unknown) return refuse("Pattern type not supported!", err::kNotSupported);

    const uint32_t sector = disk.logicalSectorSize() ? disk.logicalSectorSize() : 512;
    const uint64_t random = Sfc64(static_cast<uint64_t>(std::time(nullptr))).next();
    RwSetup setup;
    if (!normaliseRw(job, sector, disk.sectorCount(), random, processorCount(), &setup)) {
        logWarning("start(%llu) > totalLBA(%llu)", static_cast<unsigned long long>(setup.startLba),
                   static_cast<unsigned long long>(disk.sectorCount()));
        return finish(err::kLbaOutOfRange);
    }
    if (record) {
        record->sectorSize = sector;
        record->fileLevel = fileLevel;
    }
    if (fileLevel) return finish(runFileMode(job, mode, disk, fileSettings(job, disk, sector, random)));
    if (const ErrorCode refused = checkRange(job, setup, sector)) return finish(refused);

    const uint32_t timeoutMs = static_cast<uint32_t>(std::min(job.requestTimeoutSeconds * 1000.0, 4.0e9));
    std::vector<std::unique_ptr<IoWorker>> workers;
    const std::vector<LbaSlice> slices = sliceRange(setup);
    uint32_t index = 1;
    for (const LbaSlice& slice : slices)
        workers.push_back(std::make_unique<IoWorker>(recordFor(job, disk, setup, slice, index++), timeoutMs));
    const ErrorCode code = runWorkers(workers, setup.threadCount);
    for (size_t i = 0; record && i < workers.size(); ++i) record->workers.push_back(workerRecord(*workers[i], slices[i]));
    return finish(code);
}

}  // namespace zel
