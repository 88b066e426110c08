#include "vhost/WriteCache.h"

#include <cstdio>
#include <fstream>
#include <vector>

#include "vhost/DiskImage.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint8_t kOldData = 1;
constexpr uint8_t kDurable = 2;

void putU64(uint8_t* out, uint64_t value) {
    for (int i = 0; i < 8; ++i) out[i] = static_cast<uint8_t>(value >> (8 * i));
}

uint64_t getU64(const uint8_t* in) {
    uint64_t value = 0;
    for (int i = 7; i >= 0; --i) value = value << 8 | in[i];
    return value;
}

// Calls visit(kind, lba, count, offset of the data) for each whole record.
template <typename Visit>
void forEachRecord(std::ifstream& in, uint32_t sectorSize, Visit visit) {
    uint8_t head[17];
    while (in.read(reinterpret_cast<char*>(head), sizeof head)) {
        const uint64_t lba = getU64(head + 1), count = getU64(head + 9);
        const std::streamoff data = in.tellg();
        const uint64_t bytes = head[0] == kOldData ? count * sectorSize : 0;
        in.seekg(static_cast<std::streamoff>(bytes), std::ios::cur);
        if (!in || in.peek() == EOF) in.clear();  // a record cut short by a crash still counts up to here
        visit(head[0], lba, count, data);
    }
}

}  // namespace

WriteCache::WriteCache(std::string journalPath, uint32_t sectorSize, bool torn)
    : path_(std::move(journalPath)), sectorSize_(sectorSize), torn_(torn) {}

void WriteCache::load() {
    if (loaded_) return;
    loaded_ = true;
    std::ifstream in(path_, std::ios::binary);
    forEachRecord(in, sectorSize_, [&](uint8_t kind, uint64_t lba, uint64_t count, std::streamoff) {
        if (kind == kOldData) dirty_.add(lba, count);
        if (kind == kDurable) dirty_.remove(lba, count);
    });
}

bool WriteCache::append(uint8_t kind, uint64_t lba, uint64_t count, const uint8_t* data) {
    std::ofstream out(path_, std::ios::binary | std::ios::app);
    uint8_t head[17] = {kind};
    putU64(head + 1, lba);
    putU64(head + 9, count);
    out.write(reinterpret_cast<const char*>(head), sizeof head);
    if (data) out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(count * sectorSize_));
    return static_cast<bool>(out);
}

bool WriteCache::beforeWrite(DiskImage& image, uint64_t lba, uint64_t count) {
    load();
    // The parts of the range not yet in the cache hold flushed data.
    std::vector<std::pair<uint64_t, uint64_t>> clean;
    uint64_t at = lba;
    dirty_.forEachIn(lba, count, [&](uint64_t start, uint64_t sectors) {
        if (start > at) clean.emplace_back(at, start - at);
        at = start + sectors;
    });
    if (at < lba + count) clean.emplace_back(at, lba + count - at);
    std::vector<uint8_t> old;
    for (const auto& part : clean) {
        old.resize(part.second * sectorSize_);
        if (!image.read(part.first * sectorSize_, old.data(), old.size())) return false;
        if (!append(kOldData, part.first, part.second, old.data())) return false;
        dirty_.add(part.first, part.second);
    }
    return true;
}

void WriteCache::madeDurable(uint64_t lba, uint64_t count) {
    load();
    if (dirty_.remove(lba, count)) append(kDurable, lba, count, nullptr);
}

void WriteCache::flush() {
    loaded_ = true;
    dirty_ = ExtentSet();
    std::remove(path_.c_str());
}

bool WriteCache::holdsUnflushedData() {
    load();
    return !dirty_.empty();
}

// Records in order, so the latest old data of a sector wins: a sector made
// durable and written again was journalled again with its newer content.
uint64_t WriteCache::lose(DiskImage& image) {
    load();
    uint64_t restored = 0;
    {
        std::ifstream in(path_, std::ios::binary);
        std::vector<uint8_t> old;
        forEachRecord(in, sectorSize_, [&](uint8_t kind, uint64_t lba, uint64_t count, std::streamoff data) {
            if (kind != kOldData) return;
            const std::streamoff after = in.tellg();
            old.resize(count * sectorSize_);
            in.seekg(data);
            const bool whole = static_cast<bool>(in.read(reinterpret_cast<char*>(old.data()),
                                                         static_cast<std::streamsize>(old.size())));
            in.clear();
            in.seekg(after);
            if (!whole) return;
            dirty_.forEachIn(lba, count, [&](uint64_t start, uint64_t sectors) {
                const uint64_t step = torn_ ? 1 : sectors;
                for (uint64_t s = start; s < start + sectors; s += step) {
                    if (torn_ && (s & 1)) continue;
                    image.write(s * sectorSize_, old.data() + (s - lba) * sectorSize_, step * sectorSize_);
                    restored += step;
                }
            });
        });
    }
    flush();
    return restored;
}

}  // namespace vhost
}  // namespace zel
