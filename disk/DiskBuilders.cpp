#include "disk/DiskBuilders.h"

#include "disk/DiskKinds.h"

namespace zel {
namespace {

template <class Disk>
class KindBuilder : public IDiskBuilder {
public:
    std::unique_ptr<DiskBase> build(const DiskIdentity& identity) const override {
        return std::make_unique<Disk>(identity);
    }
};

}  // namespace

std::unique_ptr<DiskBase> DiskBaseBuilder::build(const DiskIdentity& identity) const {
    return std::make_unique<DiskBase>(identity);
}

std::unique_ptr<DiskBase> NvmeSsdBuilder::build(const DiskIdentity& identity) const {
    return std::make_unique<NvmeSsd>(identity);
}

const IDiskBuilder& builderForKind(int kind) {
    static const DiskBaseBuilder plain;
    static const NvmeSsdBuilder nvme;
    static const KindBuilder<SataSsd> sata;
    static const KindBuilder<Ufd> usb;
    static const KindBuilder<SataPowerSwitchBoard> sataSwitch;
    static const KindBuilder<PciePowerSwitchBoard> pcieSwitch;
    static const KindBuilder<JMicronS583> jmicron;
    switch (kind) {
        case diskkind::kSata: return sata;
        case diskkind::kNvme: return nvme;
        case diskkind::kUsb: return usb;
        case diskkind::kSataPowerSwitch: return sataSwitch;
        case diskkind::kPciePowerSwitch: return pcieSwitch;
        case diskkind::kJMicronNvme: return jmicron;
        default: return plain;
    }
}

}  // namespace zel
