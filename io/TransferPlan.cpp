#include "io/TransferPlan.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace zel {
namespace {

int share(uint64_t done, uint64_t total) {
    return total ? static_cast<int>(done * 100 / total) : 100;
}

}  // namespace

TransferSizer::TransferSizer(uint32_t blockSectors, uint32_t unitSectors, uint32_t maxSectors,
                             std::function<uint64_t()> random)
    : block_(random ? blockSectors : std::max<uint32_t>(blockSectors, 1)),
      unit_(std::max<uint32_t>(unitSectors, 1)),
      units_(std::max<uint32_t>(maxSectors / unit_, 1)),
      random_(std::move(random)) {}

uint32_t TransferSizer::next() { return block_ ? block_ : static_cast<uint32_t>(random_() % units_ + 1) * unit_; }

uint32_t TransferSizer::largest() const { return block_ ? block_ : units_ * unit_; }

SequentialPlan::SequentialPlan(uint64_t start, uint64_t end, TransferSizer sizer)
    : start_(start), end_(end), at_(start), sizer_(std::move(sizer)) {}

bool SequentialPlan::next(Transfer* transfer) {
    if (at_ >= end_) return false;
    transfer->lba = at_;
    transfer->sectors = static_cast<uint32_t>(std::min<uint64_t>(sizer_.next(), end_ - at_));
    at_ += transfer->sectors;
    return true;
}

int SequentialPlan::percent() const { return share(at_ - start_, end_ - start_); }

GapPlan::GapPlan(uint64_t start, uint64_t end, TransferSizer sizer, uint64_t sectionSectors, uint64_t gapSectors)
    : start_(start),
      end_(end),
      at_(start),
      sectionEnd_(start + std::max<uint64_t>(sectionSectors, 1)),
      sizer_(std::move(sizer)),
      section_(std::max<uint64_t>(sectionSectors, 1)),
      gap_(gapSectors) {}

bool GapPlan::next(Transfer* transfer) {
    if (at_ >= sectionEnd_) {
        at_ = sectionEnd_ + gap_;
        sectionEnd_ = at_ + section_;
    }
    if (at_ >= end_) return false;
    transfer->lba = at_;
    transfer->sectors = static_cast<uint32_t>(std::min<uint64_t>({sizer_.next(), sectionEnd_ - at_, end_ - at_}));
    at_ += transfer->sectors;
    return true;
}

int GapPlan::percent() const { return share(std::min(at_, end_) - start_, end_ - start_); }

RandomPlan::RandomPlan(uint64_t start, uint64_t end, uint32_t blockSectors, uint32_t alignSectors,
                       uint32_t maxRandomSectors, RandomLimits limits, std::function<uint64_t()> random)
    : start_(start),
      end_(end),
      block_(blockSectors),
      align_(alignSectors ? alignSectors : 1),
      maxRandom_(std::max<uint32_t>(maxRandomSectors, 1)),
      limits_(limits),
      random_(std::move(random)) {
    // A pass over a range of 2^32 blocks or more is cut to the largest count.
    if (!limits_.loops && !limits_.sectors && !limits_.timed && block_)
        limits_.loops = static_cast<uint32_t>(std::min<uint64_t>((end_ - start_) / block_, UINT32_MAX));
}

bool RandomPlan::next(Transfer* transfer) {
    const uint64_t range = end_ - start_;
    if (range == 0) return false;
    if (limits_.loops && loops_ >= limits_.loops) return false;
    if (limits_.sectors && done_ >= limits_.sectors) return false;
    uint64_t sectors = block_ ? block_ : random_() % maxRandom_ + 1;
    sectors = std::min(sectors, range);
    const uint64_t slots = (range - sectors) / align_ + 1;
    transfer->lba = start_ + random_() % slots * align_;
    transfer->sectors = static_cast<uint32_t>(sectors);
    ++loops_;
    done_ += sectors;
    return true;
}

int RandomPlan::percent() const {
    if (limits_.loops) return share(loops_, limits_.loops);
    if (limits_.sectors) return share(done_, limits_.sectors);
    return 0;
}

}  // namespace zel
