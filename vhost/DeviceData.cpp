#include "vhost/DeviceData.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace zel {
namespace vhost {
namespace {

// ATA strings: space padded, two characters per word, first one high.
void putAtaString(std::array<uint16_t, 256>& words, unsigned first, unsigned count, const std::string& text) {
    for (unsigned i = 0; i < count; ++i) {
        const unsigned index = 2 * i;
        const char high = index < text.size() ? text[index] : ' ';
        const char low = index + 1 < text.size() ? text[index + 1] : ' ';
        words[first + i] = static_cast<uint16_t>((static_cast<uint8_t>(high) << 8) | static_cast<uint8_t>(low));
    }
}

void putText(std::vector<uint8_t>& out, size_t offset, size_t width, const std::string& text) {
    for (size_t i = 0; i < width; ++i) out[offset + i] = i < text.size() ? static_cast<uint8_t>(text[i]) : ' ';
}

void put16(std::vector<uint8_t>& out, size_t offset, uint16_t value) { std::memcpy(&out[offset], &value, 2); }
void put32(std::vector<uint8_t>& out, size_t offset, uint32_t value) { std::memcpy(&out[offset], &value, 4); }
void put64(std::vector<uint8_t>& out, size_t offset, uint64_t value) { std::memcpy(&out[offset], &value, 8); }

unsigned log2Of(uint32_t value) {
    unsigned bits = 0;
    while (value > 1) {
        value >>= 1;
        ++bits;
    }
    return bits;
}

void sealChecksum(std::vector<uint8_t>& sector) {
    uint8_t sum = 0;
    for (size_t i = 0; i < 511; ++i) sum += sector[i];
    sector[511] = static_cast<uint8_t>(0x100 - sum);
}

uint64_t counterValue(const std::string& name, const DiskDescription& disk, const DiskCounters& c, int64_t now) {
    const uint64_t sector = disk.logicalSectorSize ? disk.logicalSectorSize : 512;
    if (name == "powerOnHours") return c.powerOnHours(now);
    if (name == "powerCycles") return c.powerCycles;
    if (name == "unsafeShutdowns") return c.unsafeShutdowns;
    if (name == "sectorsRead") return c.bytesRead / sector;
    if (name == "sectorsWritten") return c.bytesWritten / sector;
    if (name == "mediaErrors") return c.mediaErrors;
    if (name == "temperatureCelsius") return disk.temperatureKelvin > 273 ? disk.temperatureKelvin - 273u : 0;
    if (name == "availableSpare") return disk.availableSpare;
    return 0;
}

std::vector<SmartAttribute> attributesOf(const DiskDescription& disk) {
    if (!disk.smartAttributes.empty()) {
        std::vector<SmartAttribute> given = disk.smartAttributes;
        for (SmartAttribute& a : given)
            if (a.currentFrom == "availableSpare") a.current = a.worst = disk.availableSpare;
        return given;
    }
    std::vector<SmartAttribute> defaults(6);
    defaults[0].id = 9, defaults[0].rawFrom = "powerOnHours";
    defaults[1].id = 12, defaults[1].rawFrom = "powerCycles";
    defaults[2].id = 174, defaults[2].rawFrom = "unsafeShutdowns";
    defaults[3].id = 194, defaults[3].rawFrom = "temperatureCelsius", defaults[3].flags = 0x0022;
    defaults[4].id = 241, defaults[4].rawFrom = "sectorsWritten";
    defaults[5].id = 242, defaults[5].rawFrom = "sectorsRead";
    return defaults;
}

void putHealthCounter(std::vector<uint8_t>& page, size_t offset, uint64_t value) { put64(page, offset, value); }

std::vector<uint8_t> healthLog(const DiskDescription& disk, const DiskCounters& c, int64_t now) {
    std::vector<uint8_t> page(512, 0);
    page[0] = disk.criticalWarning;
    if (disk.availableSpare < disk.availableSpareThreshold) page[0] |= 0x01;
    put16(page, 1, disk.temperatureKelvin);
    page[3] = disk.availableSpare;
    page[4] = disk.availableSpareThreshold;
    page[5] = disk.percentageUsed;
    putHealthCounter(page, 32, DiskCounters::dataUnits(c.bytesRead));
    putHealthCounter(page, 48, DiskCounters::dataUnits(c.bytesWritten));
    putHealthCounter(page, 64, c.readCommands);
    putHealthCounter(page, 80, c.writeCommands);
    putHealthCounter(page, 112, c.powerCycles);
    putHealthCounter(page, 128, c.powerOnHours(now));
    putHealthCounter(page, 144, c.unsafeShutdowns);
    putHealthCounter(page, 160, c.mediaErrors);
    putHealthCounter(page, 176, c.errorLogEntries);
    return page;
}

std::vector<uint8_t> firmwareSlotLog(const DiskDescription& disk) {
    std::vector<uint8_t> page(512, 0);
    page[0] = 0x01;  // slot 1 active
    putText(page, 8, 8, disk.firmware);
    return page;
}

// Host-initiated telemetry: a 512-byte header, then three data areas of
// one, two and three blocks with a recognisable pattern.
std::vector<uint8_t> telemetryLog(const DiskCounters& c) {
    std::vector<uint8_t> page(512 * 4, 0);
    page[0] = 0x07;
    put16(page, 8, 1);
    put16(page, 10, 2);
    put16(page, 12, 3);
    page[383] = c.telemetryGeneration;
    for (size_t i = 512; i < page.size(); ++i) page[i] = static_cast<uint8_t>(i / 512 * 0x11 + (i & 0x0F));
    return page;
}

// DLFEAT bits 2..0: 1 deallocated blocks read zeros, 2 they read FFh.
static_assert(kTrimPatternByte == 0xFF, "DLFEAT 2 reports the deterministic pattern");
uint8_t deallocatedReadFeature(const TrimBehaviour& trim) {
    if (!trim.supported) return 0;
    if (trim.readsZeros) return 1;
    return trim.deterministic ? 2 : 0;
}

std::vector<uint8_t> generatedLogPage(const DiskDescription& disk, const DiskCounters& counters, uint8_t logId,
                                      int64_t now) {
    switch (logId) {
        case 0x01: return std::vector<uint8_t>(64 * 64, 0);
        case 0x02: return healthLog(disk, counters, now);
        case 0x03: return firmwareSlotLog(disk);
        case 0x07: return telemetryLog(counters);
        default: return {};
    }
}

}  // namespace

std::array<uint16_t, 256> ataIdentifyWords(const DiskDescription& disk) {
    std::array<uint16_t, 256> words{};
    if (disk.ataIdentifyData.size() == 512) {
        std::memcpy(words.data(), disk.ataIdentifyData.data(), 512);
        for (const auto& word : disk.identifyWords) words[word.first] = word.second;
        return words;
    }
    const uint64_t sectors = disk.sectorCount();
    words[0] = 0x0040;
    words[1] = 16383, words[3] = 16, words[6] = 63;
    putAtaString(words, 10, 10, disk.serial);
    putAtaString(words, 23, 4, disk.firmware);
    putAtaString(words, 27, 20, disk.model);
    words[47] = 0x8010;
    words[49] = 0x0300;
    words[53] = 0x0006;
    const uint32_t sectors28 = sectors > 0x0FFFFFFF ? 0x0FFFFFFF : static_cast<uint32_t>(sectors);
    words[60] = static_cast<uint16_t>(sectors28), words[61] = static_cast<uint16_t>(sectors28 >> 16);
    words[63] = 0x0007;
    words[75] = 31;
    words[76] = 0x0106;  // SATA Gen1/Gen2
    words[80] = 0x0FF0;  // ACS-4 and earlier
    words[82] = 0x7469, words[83] = 0x7C01 | 0x0400, words[84] = 0x4163;
    words[85] = 0x7469, words[86] = 0xBC01 | 0x0400, words[87] = 0x4163;
    words[88] = 0x207F;
    for (unsigned i = 0; i < 4; ++i) words[100 + i] = static_cast<uint16_t>(sectors >> (16 * i));
    const uint32_t ratio = disk.physicalSectorSize > disk.logicalSectorSize && disk.logicalSectorSize
                               ? disk.physicalSectorSize / disk.logicalSectorSize
                               : 1;
    words[106] = 0x4000 | (ratio > 1 ? 0x2000 | log2Of(ratio) : 0);
    if (disk.logicalSectorSize > 512) {
        words[106] |= 0x1000;
        const uint32_t sizeInWords = disk.logicalSectorSize / 2;
        words[117] = static_cast<uint16_t>(sizeInWords), words[118] = static_cast<uint16_t>(sizeInWords >> 16);
    }
    if (disk.trim.supported) {
        words[169] = 0x0001;  // DATA SET MANAGEMENT with TRIM
        words[105] = 8;       // range blocks per command
        if (disk.trim.deterministic) words[69] |= 0x4000;
        if (disk.trim.readsZeros) words[69] |= 0x0020;
    }
    words[217] = 0x0001;  // non-rotating
    for (const auto& word : disk.identifyWords) words[word.first] = word.second;
    uint8_t sum = 0xA5;
    for (unsigned i = 0; i < 255; ++i) sum += static_cast<uint8_t>(words[i]) + static_cast<uint8_t>(words[i] >> 8);
    words[255] = static_cast<uint16_t>((static_cast<uint8_t>(0x100 - sum) << 8) | 0xA5);
    return words;
}

std::vector<uint8_t> ataSmartData(const DiskDescription& disk, const DiskCounters& counters, int64_t now) {
    std::vector<uint8_t> sector(512, 0);
    put16(sector, 0, 0x0010);
    const std::vector<SmartAttribute> attributes = attributesOf(disk);
    for (size_t i = 0; i < attributes.size() && i < 30; ++i) {
        const SmartAttribute& a = attributes[i];
        const size_t at = 2 + 12 * i;
        sector[at] = a.id;
        put16(sector, at + 1, a.flags);
        sector[at + 3] = a.current;
        sector[at + 4] = a.worst;
        const uint64_t raw = a.rawFrom.empty() ? a.raw : counterValue(a.rawFrom, disk, counters, now);
        for (unsigned b = 0; b < 6; ++b) sector[at + 5 + b] = static_cast<uint8_t>(raw >> (8 * b));
    }
    sector[362] = 0x82;
    put16(sector, 364, 0);
    sector[367] = 0x7B;
    put16(sector, 368, 0x0003);
    sector[370] = 0x01;
    sector[372] = 2, sector[373] = 10;
    sealChecksum(sector);
    return sector;
}

std::vector<uint8_t> ataSmartThresholds(const DiskDescription& disk) {
    std::vector<uint8_t> sector(512, 0);
    put16(sector, 0, 0x0010);
    const std::vector<SmartAttribute> attributes = attributesOf(disk);
    for (size_t i = 0; i < attributes.size() && i < 30; ++i) {
        sector[2 + 12 * i] = attributes[i].id;
        sector[3 + 12 * i] = attributes[i].threshold;
    }
    sealChecksum(sector);
    return sector;
}

bool ataSmartThresholdExceeded(const DiskDescription& disk) {
    for (const SmartAttribute& a : attributesOf(disk))
        if (a.threshold != 0 && a.current <= a.threshold) return true;
    return false;
}

std::vector<uint8_t> nvmeIdentifyController(const DiskDescription& disk) {
    if (!disk.nvmeIdentifyController.empty()) {
        std::vector<uint8_t> given = disk.nvmeIdentifyController;
        given.resize(4096, 0);
        return given;
    }
    std::vector<uint8_t> data(4096, 0);
    put16(data, 0, disk.pci.vendorId);
    put16(data, 2, disk.pci.subsystemVendorId);
    putText(data, 4, 20, disk.serial);
    putText(data, 24, 40, disk.model);
    putText(data, 64, 8, disk.firmware);
    data[72] = 2;    // recommended arbitration burst
    data[77] = 5;    // MDTS: 128 KiB with 4 KiB pages
    put16(data, 78, 1);
    put32(data, 80, 0x00010400);
    put16(data, 256, 0x0017);  // security, format, firmware, namespace management
    data[258] = 3, data[259] = 3;
    data[260] = 0x02;  // two firmware slots
    data[261] = 0x0E;  // command effects log, extended data, telemetry
    data[262] = 63;
    put16(data, 266, 0x0157), put16(data, 268, 0x0160);
    put64(data, 280, disk.capacityBytes);
    data[512] = 0x66, data[513] = 0x44;
    put32(data, 516, 1);
    put16(data, 520, disk.trim.supported ? 0x0004 : 0);  // DSM
    data[525] = 0x01;          // volatile write cache
    return data;
}

std::vector<uint8_t> nvmeIdentifyNamespace(const DiskDescription& disk) {
    if (!disk.nvmeIdentifyNamespace.empty()) {
        std::vector<uint8_t> given = disk.nvmeIdentifyNamespace;
        given.resize(4096, 0);
        return given;
    }
    std::vector<uint8_t> data(4096, 0);
    const uint64_t sectors = disk.sectorCount();
    put64(data, 0, sectors);
    put64(data, 8, sectors);
    put64(data, 16, sectors);
    data[25] = 0;  // one LBA format
    data[26] = 0;
    data[33] = deallocatedReadFeature(disk.trim);
    put32(data, 128, log2Of(disk.logicalSectorSize ? disk.logicalSectorSize : 512) << 16);
    return data;
}

std::vector<uint8_t> nvmeWriteTrimRanges(const DiskDescription& disk) {
    std::vector<uint8_t> data(4096, 0);
    put32(data, 0, static_cast<uint32_t>(disk.writeTrimRanges.size()));
    size_t at = 8;
    for (const WriteTrimRange& range : disk.writeTrimRanges) {
        put64(data, at, range.lba);
        put32(data, at + 8, range.sectors);
        put32(data, at + 12, range.op);
        at += 16;
    }
    return data;
}

std::vector<uint8_t> nvmeLogPage(const DiskDescription& disk, const DiskCounters& counters, uint8_t logId,
                                 int64_t now) {
    auto given = disk.nvmeLogPages.find(logId);
    if (given != disk.nvmeLogPages.end()) return given->second;
    std::vector<uint8_t> page = generatedLogPage(disk, counters, logId, now);
    auto edit = disk.nvmeLogPageEdits.find(logId);
    if (edit == disk.nvmeLogPageEdits.end()) return page;
    if (edit->second.size) page.resize(edit->second.size, edit->second.fill);
    for (const auto& bytes : edit->second.bytes) {
        const size_t end = bytes.first + bytes.second.size();
        if (page.size() < end) page.resize(end, edit->second.fill);
        std::copy(bytes.second.begin(), bytes.second.end(), page.begin() + bytes.first);
    }
    return page;
}

}  // namespace vhost
}  // namespace zel
