#pragma once

#include <cstdint>
#include <functional>

namespace zel {

struct Transfer {
    uint64_t lba = 0;
    uint32_t sectors = 0;
};

// The length of each transfer: the block, or with block 0 a random length
// of whole alignment units from one unit up to maxSectors (one unit when
// that is less).
class TransferSizer {
public:
    explicit TransferSizer(uint32_t blockSectors, uint32_t unitSectors = 1, uint32_t maxSectors = 1,
                           std::function<uint64_t()> random = nullptr);
    uint32_t next();
    // The longest transfer it hands out: the buffer size a run needs.
    uint32_t largest() const;

private:
    uint32_t block_, unit_, units_;
    std::function<uint64_t()> random_;
};

// The order in which a mode visits the disk: one transfer after another
// until done. Plans are pure arithmetic; the runner does the I/O.
class TransferPlan {
public:
    virtual ~TransferPlan() = default;
    virtual bool next(Transfer* transfer) = 0;
    // How far the plan has come, 0 to 100.
    virtual int percent() const = 0;
};

// [start, end) in transfers of the sizer's lengths; the last transfer stops
// at the end.
class SequentialPlan : public TransferPlan {
public:
    SequentialPlan(uint64_t start, uint64_t end, TransferSizer sizer);
    SequentialPlan(uint64_t start, uint64_t end, uint32_t blockSectors)
        : SequentialPlan(start, end, TransferSizer(blockSectors ? blockSectors : 1)) {}
    bool next(Transfer* transfer) override;
    int percent() const override;

private:
    uint64_t start_, end_, at_;
    TransferSizer sizer_;
};

// Sections of sectionSectors, in blocks, each followed by gapSectors left alone.
class GapPlan : public TransferPlan {
public:
    GapPlan(uint64_t start, uint64_t end, TransferSizer sizer, uint64_t sectionSectors, uint64_t gapSectors);
    GapPlan(uint64_t start, uint64_t end, uint32_t blockSectors, uint64_t sectionSectors, uint64_t gapSectors)
        : GapPlan(start, end, TransferSizer(blockSectors ? blockSectors : 1), sectionSectors, gapSectors) {}
    bool next(Transfer* transfer) override;
    int percent() const override;

private:
    uint64_t start_, end_, at_, sectionEnd_;
    TransferSizer sizer_;
    uint64_t section_, gap_;
};

// Limits of a random run; zero means not set. With none set, the run makes
// as many transfers as one pass over the range in whole blocks would.
struct RandomLimits {
    uint32_t loops = 0;
    uint64_t sectors = 0;
    bool timed = false;  // a time limit, which the runner watches
};

// Random transfers inside [start, end): blockSectors long (0: a random
// length from one sector to maxRandomSectors), at multiples of alignSectors
// from the start when aligned.
class RandomPlan : public TransferPlan {
public:
    RandomPlan(uint64_t start, uint64_t end, uint32_t blockSectors, uint32_t alignSectors, uint32_t maxRandomSectors,
               RandomLimits limits, std::function<uint64_t()> random);
    bool next(Transfer* transfer) override;
    int percent() const override;
    uint32_t loops() const { return loops_; }
    uint64_t sectorsDone() const { return done_; }

private:
    uint64_t start_, end_;
    uint32_t block_, align_, maxRandom_;
    RandomLimits limits_;
    std::function<uint64_t()> random_;
    uint32_t loops_ = 0;
    uint64_t done_ = 0;
};

}  // namespace zel
