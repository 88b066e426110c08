#include "io/FilePrecondition.h"

#include <cstring>
#include <thread>

#include "core/DeviceApi.h"
#include "core/Logger.h"
#include "core/TextFormat.h"
#include "io/DiskIo.h"
#include "io/FileModes.h"
#include "io/Pattern.h"
#include "io/SeamFile.h"

namespace zel {
namespace {

constexpr char kFillPrefix[] = "ZEL_FILEIO_";

std::string fillPath(char letter, uint32_t index) { return formatText("%c:\\ZEL_FILEIO_%d", letter, index); }

}  // namespace

FilePrecondition::FilePrecondition(const RwJob& job, const FileRunSettings& settings)
    : job_(job), settings_(settings) {}

ErrorCode FilePrecondition::run(const std::vector<DriveLetter>& volumes) {
    for (const DriveLetter& volume : volumes) {
        if (fillVolume(volume.letter)) continue;
        setLastError(err::kPreconditionFailed);
        return err::kPreconditionFailed;
    }
    return 0;
}

// Earlier fill files would count as data already on the volume; they are
// this tool's own, so a new precondition starts without them.
void FilePrecondition::removeEarlierFiles(char letter) {
    std::vector<FoundFile> found;
    if (!deviceApi().findFiles(formatText("%c:", letter).c_str(), &found)) return;
    for (const FoundFile& file : found)
        if (!file.directory && file.name.compare(0, sizeof kFillPrefix - 1, kFillPrefix) == 0)
            deviceApi().deleteFile(formatText("%c:\\%s", letter, file.name.c_str()).c_str());
}

bool FilePrecondition::fillVolume(char letter) {
    removeEarlierFiles(letter);
    VolumeSpace space;
    if (!deviceApi().getVolumeSpace(letter, &space)) {
        logWarning("Precondition %c: cannot read the volume's size... %s", letter, errorText(GetLastError()).c_str());
        return false;
    }
    const uint64_t bytes = fileRunBytes(job_, settings_.sectorSize, {space.total, space.free}, settings_.random);
    logInfo("Precondition %c: %llu of %llu bytes free, writing %llu bytes", letter,
            static_cast<unsigned long long>(space.free), static_cast<unsigned long long>(space.total),
            static_cast<unsigned long long>(bytes));
    if (bytes == 0) return true;
    const uint32_t threads = settings_.threads;
    if (threads > 1 && !threadsFit(bytes, threads, settings_.blockBytes)) {
        logWarning("Partition size is not big enough to run %d threads at the same time", threads);
        return false;
    }
    const std::vector<FillFile> files = planFillFiles(bytes, threads, settings_.sectorSize);
    FileProgress progress("precondition", bytes);
    std::vector<std::thread> workers;
    std::vector<char> results(threads, 0);
    for (uint32_t t = 1; t <= threads; ++t)
        workers.emplace_back([&, t] { results[t - 1] = writeFiles(t, letter, files, progress); });
    for (std::thread& worker : workers) worker.join();
    const bool ok = std::memchr(results.data(), 0, results.size()) == nullptr;
    progress.finish(ok);
    return ok;
}

bool FilePrecondition::writeFiles(uint32_t thread, char letter, const std::vector<FillFile>& files,
                                  FileProgress& progress) {
    uint64_t mine = 0;
    uint32_t count = 0;
    for (const FillFile& file : files)
        if (file.thread == thread) mine += file.bytes, ++count;
    const uint32_t block = static_cast<uint32_t>(std::min<uint64_t>(settings_.blockBytes, files.front().bytes));
    logInfo("[T%d] disk %d, precondition %c:, %llu bytes in %u files by block size %u", thread, settings_.diskNumber,
            letter, static_cast<unsigned long long>(mine), count, block / settings_.sectorSize);
    const std::string metadata(job_.metadata.substr(0, 32));
    AlignedBuffer data(block);
    fillTransfer(job_.pattern, job_.seed + (uint64_t{thread - 1} << 16), metadata, settings_.sectorSize, data.data(),
                 block);
    FilePosition at;
    bool ok = true;
    for (const FillFile& file : files) {
        if (file.thread != thread) continue;
        at = {fillPath(letter, file.index), 0};
        SeamFile out;
        ok = out.create(at.path, job_.dmaFua);
        while (ok && at.offset < file.bytes) {
            const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(block, file.bytes - at.offset));
            ok = out.write(data.data(), length);
            if (!ok) break;
            at.offset += length;
            progress.add(length);
        }
        if (!ok || !out.close()) {
            ok = false;
            break;
        }
    }
    const ErrorCode code = ok ? 0 : GetLastError();
    progress.endLine();
    logThreadEnd(thread, "precondition", settings_.diskNumber, code, at);
    return ok;
}

}  // namespace zel
