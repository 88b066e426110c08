#pragma once

#include <cstdint>
#include <string>

#include "vhost/ExtentSet.h"

namespace zel {
namespace vhost {

class DiskImage;

// A drive's volatile write cache. New data goes to the image at once (reads
// see it, as a cache serves them), while the sectors written since the last
// flush are remembered together with what the media held before. A flush
// forgets them; a write with forced unit access takes its range out; an
// unsafe power cut puts the old data back. The journal lives in the state
// folder ("disk<N>.unflushed") because the cut usually comes in a later run
// than the writes: records of a kind byte (1 old data, 2 durable range),
// the first LBA and the sector count (u64 each, little-endian), and for
// kind 1 the sectors' old bytes.
class WriteCache {
public:
    // torn: sectors at odd LBAs keep their new data when the rest is lost.
    WriteCache(std::string journalPath, uint32_t sectorSize, bool torn);

    // Before new data lands on the range: journals the sectors that hold
    // flushed data until now.
    bool beforeWrite(DiskImage& image, uint64_t lba, uint64_t count);
    // After a write with forced unit access: the range is on the media.
    void madeDurable(uint64_t lba, uint64_t count);
    void flush();
    // Puts back what the unflushed sectors held; returns how many went back.
    uint64_t lose(DiskImage& image);
    bool holdsUnflushedData();

private:
    void load();
    bool append(uint8_t kind, uint64_t lba, uint64_t count, const uint8_t* data);

    std::string path_;
    uint32_t sectorSize_;
    bool torn_;
    bool loaded_ = false;
    ExtentSet dirty_;
};

}  // namespace vhost
}  // namespace zel
