#include "io/FileCopy.h"

#include <cctype>
#include <thread>

#include "core/DeviceApi.h"
#include "core/Logger.h"
#include "core/TextFormat.h"
#include "io/DiskIo.h"
#include "io/FileFill.h"
#include "io/FileModes.h"
#include "io/SeamFile.h"

namespace zel {
namespace {

ErrorCode refuse(ErrorCode code) {
    setLastError(code);
    return code;
}

}  // namespace

char destinationLetter(const std::string& dest) {
    if (dest.empty() || dest.size() > 3 || !std::isalpha(static_cast<unsigned char>(dest[0]))) return 0;
    if (dest.size() >= 2 && dest[1] != ':') return 0;
    if (dest.size() == 3 && dest[2] != '\\' && dest[2] != '/') return 0;
    return static_cast<char>(std::toupper(static_cast<unsigned char>(dest[0])));
}

FileCopy::FileCopy(const RwJob& job, const FileRunSettings& settings) : job_(job), settings_(settings) {}

ErrorCode FileCopy::run(const std::vector<DriveLetter>& volumes) {
    if (job_.srcPath.empty()) {
        logWarning("Miss some options (src)!");
        return refuse(err::kWrongArguments);
    }
    letter_ = job_.destPath.empty() ? volumes.front().letter : destinationLetter(job_.destPath);
    bool onDisk = false;
    for (const DriveLetter& volume : volumes) onDisk = onDisk || volume.letter == letter_;
    if (!onDisk) {
        logWarning("Destination %s is not a volume of disk %d", job_.destPath.c_str(), settings_.diskNumber);
        return refuse(err::kWrongArguments);
    }
    SeamFile source;
    uint64_t sourceBytes = 0;
    if (!source.openForReading(job_.srcPath) || !source.size(&sourceBytes)) {
        const ErrorCode code = lastError();
        logWarning("Cannot open the source file %s... %s", job_.srcPath.c_str(), errorText(code).c_str());
        return refuse(code);
    }
    sourceName_ = job_.srcPath.substr(job_.srcPath.find_last_of("\\/:") + 1);
    VolumeSpace space;
    if (!deviceApi().getVolumeSpace(letter_, &space)) return refuse(GetLastError());
    const uint64_t bytes = fileRunBytes(job_, settings_.sectorSize, {space.total, space.free}, settings_.random);
    const uint32_t threads = settings_.threads;
    if (!threadsFit(bytes, threads, sourceBytes)) {
        logWarning("Partition size is not big enough to run %d threads at the same time", threads);
        return refuse(ERROR_DISK_FULL);
    }
    const uint64_t copies = copiesPerThread(job_, bytes, threads, sourceBytes);
    FileProgress progress("copy files", copies * threads * sourceBytes);
    std::vector<std::thread> workers;
    std::vector<ErrorCode> results(threads, 0);
    for (uint32_t t = 1; t <= threads; ++t)
        workers.emplace_back([&, t] { results[t - 1] = runThread(t, copies, progress); });
    for (std::thread& worker : workers) worker.join();
    for (ErrorCode code : results)
        if (code) {
            progress.finish(false);
            return refuse(code);
        }
    progress.finish(true);
    return 0;
}

ErrorCode FileCopy::runThread(uint32_t thread, uint64_t copies, FileProgress& progress) {
    logInfo("[T%d] copy files from %s", thread, job_.srcPath.c_str());
    FilePosition at;
    bool ok = true;
    for (uint64_t copy = 0; ok && copy < copies; ++copy) {
        const std::string folder = formatText("%c:\\t%d\\%d", letter_, thread, static_cast<int>(copy));
        progress.endLine();
        logInfo("[T%d] Copying file from %s to %s", thread, job_.srcPath.c_str(), folder.c_str());
        ok = copyOnce(folder, progress, &at);
    }
    const ErrorCode code = ok ? 0 : GetLastError();
    progress.endLine();
    logThreadEnd(thread, "copy files", settings_.diskNumber, code, at);
    return code;
}

// Each copy reads the source again, so its volume sees the reads too.
bool FileCopy::copyOnce(const std::string& folder, FileProgress& progress, FilePosition* at) {
    *at = {folder + "\\" + sourceName_, 0};
    SeamFile in, out;
    if (!ensureFolder(folder) || !in.openForReading(job_.srcPath) || !out.create(at->path, job_.dmaFua)) return false;
    AlignedBuffer buffer(settings_.blockBytes);
    for (;;) {
        uint32_t got = 0;
        if (!in.read(buffer.data(), settings_.blockBytes, &got)) return false;
        if (got == 0) break;
        if (!out.write(buffer.data(), got)) return false;
        at->offset += got;
        progress.add(got);
    }
    return out.close();
}

}  // namespace zel
