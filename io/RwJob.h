#pragma once

#include <cstdint>
#include <string>

#include "disk/DiskSelector.h"

namespace zel {

// Engine modes of the rw action, by their --rw text.
enum class RwMode : uint32_t {
    SeqWrite = 0,
    RandWrite = 1,
    GapWrite = 2,
    SeqRead = 3,
    RandRead = 4,
    GapRead = 5,
    Precondition = 6,
    SeqTrim = 7,
    RandTrim = 8,
    CopyFiles = 9,
    VendorWriteTrim = 10,
    Unknown = 0xFFFFFFFF,
};

enum class IoType : uint32_t { Lba = 0, File = 1, Unknown = 0xFFFFFFFF };

enum class PatternKind : uint32_t { Fixed = 0, Rand = 1, Zero = 2, Dut = 3, Trim = 4, Unknown = 0xFFFFFFFF };

// Unknown texts map to Unknown: the run step reports them in its own order.
RwMode rwModeFromText(const std::string& text);
IoType ioTypeFromText(const std::string& text);
PatternKind patternFromText(const std::string& text);

// The mode a run takes with its IO type: with "file", precondition fills
// the volumes with files and write copies files (CopyFiles); with "lba",
// every mode but precondition. Unknown for the others.
RwMode effectiveMode(RwMode mode, IoType ioType);

// --size: a percentage of the whole disk, or a count in sectors, or (when
// the text does not end in a digit, such as "4k") in bytes. 0 picks at random.
struct Coverage {
    enum class Unit { Percent, Sectors, Bytes };
    Unit unit = Unit::Percent;
    uint64_t value = 100;
};

// --bs when not given: 128 KiB.
inline constexpr uint32_t kDefaultBlockBytes = 131072;

// One rw run as its options ask for it, defaults applied.
struct RwJob {
    DiskSelector disk;
    RwMode mode = RwMode::Unknown;
    IoType ioType = IoType::Lba;
    PatternKind pattern = PatternKind::Fixed;
    uint64_t startLba = 0;
    Coverage size;
    uint32_t blockBytes = kDefaultBlockBytes;
    std::string metadata;
    uint32_t totalLoops = 0;
    double totalSeconds = 0;
    uint64_t totalBytes = 0;
    uint32_t queueDepth = 1;
    // --thread is a flag without a value: given, it asks for one worker per
    // processor (0); absent, one worker.
    uint32_t threadCount = 1;
    // --timeout: a transfer still pending after this many seconds is
    // cancelled and fails the worker; 0 waits for ever.
    double requestTimeoutSeconds = 0;
    uint64_t seed = 0;  // the clock's seconds unless --seed is given
    bool dmaFua = false;
    uint32_t alignBytes = 0;
    uint64_t sectionSectors = 0;
    uint64_t gapSectors = 0;
    std::string srcPath;
    std::string destPath;
    std::string outIni;
    std::string outBin;
    std::string inBin;
    // File-level modes.
    bool formatFirst = false;
    bool cleanFirst = false;
    bool includeData = false;
    bool freeSpace = false;
};

}  // namespace zel
