#include "disk/DiskClassifier.h"

#include "core/ProcessSwitches.h"
#include "disk/DiskTypes.h"

namespace zel {
namespace {

ProtocolCode nvmeProtocol(const std::string& provider, uint32_t forced) {
    if (forced == switchvalue::kForcedNvmeMiniport) return ProtocolCode::kNvmeByScsiMiniport;
    if (provider.find("Microsoft") != std::string::npos) return ProtocolCode::kNvmeByStornvme;
    if (provider.find("Intel") != std::string::npos) return ProtocolCode::kNvmeByIrst;
    return ProtocolCode::kNvmeByScsiMiniport;
}

int usbKind(const std::string& vendor, const std::string& product) {
    if (product == "HXPWR410 Virtual") return disk_kind::kPciePowerSwitch;
    if (product == "HX410   Reader" || product == "HX410     Reader" || (vendor == "Rovan" && product == "USB DISK"))
        return disk_kind::kSataPowerSwitch;
    if (product == "Generic USB" && vendor == "JMicron") return disk_kind::kJMicronNvme;
    return disk_kind::kUsb;
}

}  // namespace

DiskClass classifyDisk(uint32_t busType, const std::string& vendor, const std::string& product,
                       const std::string& providerName, uint32_t forcedNvmeProtocol) {
    switch (busType) {
        case bus_type::kAta:
        case bus_type::kSata:
            return {disk_kind::kSata, ProtocolCode::kAtaOverAta};
        case bus_type::kNvme:
        case bus_type::kRaid:
            return {disk_kind::kNvme, nvmeProtocol(providerName, forcedNvmeProtocol)};
        case bus_type::kUsb:
            return {usbKind(vendor, product), ProtocolCode::kScsi};
        default:
            return {disk_kind::kPlain, ProtocolCode::kNone};
    }
}

std::string cutAtControl(const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c == 0x7F) return text.substr(0, i);
    }
    return text;
}

}  // namespace zel
