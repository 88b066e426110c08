#include "io/FileModes.h"

#include "core/DeviceApi.h"
#include "core/Logger.h"
#include "disk/DiskBase.h"
#include "disk/DiskProbe.h"
#include "io/FileCopy.h"
#include "io/FilePrecondition.h"

namespace zel {

std::vector<DriveLetter> currentVolumes(int diskNumber) {
    DiskIdentity identity;
    identity.number = diskNumber;
    DWORD mask = deviceApi().getLogicalDrives();
    assignDriveLetters(&identity, &mask);
    return identity.letters;
}

void logThreadEnd(uint32_t thread, const char* name, int diskNumber, ErrorCode code, const FilePosition& at) {
    if (code == 0) {
        logInfo("[T%d] SUCCESS: %s to disk %d", thread, name, diskNumber);
        return;
    }
    logWarning("[T%d] FAIL: %s to disk %d at %s offset %llu... %s", thread, name, diskNumber, at.path.c_str(),
               static_cast<unsigned long long>(at.offset), errorText(code).c_str());
}

ErrorCode runFileMode(const RwJob& job, RwMode mode, DiskBase& disk, const FileRunSettings& settings) {
    const std::vector<DriveLetter> volumes = currentVolumes(disk.number());
    if (volumes.empty()) {
        setLastError(err::kNoPartition);
        return err::kNoPartition;
    }
    if (mode == RwMode::Precondition) return FilePrecondition(job, settings).run(volumes);
    return FileCopy(job, settings).run(volumes);
}

}  // namespace zel
