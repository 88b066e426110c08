#pragma once

#include <string>
#include <vector>

#include "core/ErrorCodes.h"
#include "disk/DiskTypes.h"
#include "io/FileProgress.h"
#include "io/FileRunSettings.h"
#include "io/RwJob.h"

namespace zel {

// --rw write --iotype file: every thread copies --src into folders of its
// own, "<letter>:\t<thread>\<copy>\<source name>", on the destination
// volume (--dest, else the disk's first), as many copies as
// copiesPerThread gives. Copies of an earlier run are overwritten.
class FileCopy {
public:
    FileCopy(const RwJob& job, const FileRunSettings& settings);
    // 0, or the code of the first thread that failed (refusals logged).
    ErrorCode run(const std::vector<DriveLetter>& volumes);

private:
    bool copyOnce(const std::string& folder, FileProgress& progress, FilePosition* at);
    ErrorCode runThread(uint32_t thread, uint64_t copies, FileProgress& progress);

    const RwJob& job_;
    FileRunSettings settings_;
    char letter_ = 0;
    std::string sourceName_;
};

// The volume letter of a --dest text ("E", "E:", "E:\"); 0 for anything else.
char destinationLetter(const std::string& dest);

}  // namespace zel
