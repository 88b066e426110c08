#pragma once

#include <vector>

#include "core/ErrorCodes.h"
#include "disk/DiskTypes.h"
#include "io/FileFill.h"
#include "io/FileProgress.h"
#include "io/FileRunSettings.h"
#include "io/RwJob.h"

namespace zel {

// --rw precondition --iotype file: each volume of the disk in turn is
// filled with "<letter>:\ZEL_FILEIO_<n>" files of the job's pattern, the
// threads writing their files at the same time, up to the amount
// fileRunBytes gives. Fill files of an earlier run are removed first.
class FilePrecondition {
public:
    FilePrecondition(const RwJob& job, const FileRunSettings& settings);
    // 0, or 0x2000000D with the cause logged.
    ErrorCode run(const std::vector<DriveLetter>& volumes);

private:
    bool fillVolume(char letter);
    void removeEarlierFiles(char letter);
    bool writeFiles(uint32_t thread, char letter, const std::vector<FillFile>& files, FileProgress& progress);

    const RwJob& job_;
    FileRunSettings settings_;
};

}  // namespace zel
