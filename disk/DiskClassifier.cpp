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
    if (product == "HXPWR410 Virtual") return diskkind::kPciePowerSwitch;
    if (product == "HX410   Reader" || product == "HX410     Reader" || (vendor == "Rovan" && product == "USB DISK"))
        return diskkind::kSataPowerSwitch;
    if (product == "Generic USB" && vendor == "JMicron") return diskkind::kJMicronNvme;
    return diskkind::kUsb;
}

}  // namespace

DiskClass classifyDisk(uint32_t busType, const std::string& vendor, const std::string& product,
                       const std::string& providerName, uint32_t forcedNvmeProtocol) {
    switch (busType) {
        case bustype::kAta:
        case bustype::kSata:
            return {diskkind::kSata, ProtocolCode::kAtaOverAta};
        case bustype::kNvme:
        case bustype::kRaid:
            return {diskkind::kNvme, nvmeProtocol(providerName, forcedNvmeProtocol)};
        case bustype::kUsb:
            return {usbKind(vendor, product), ProtocolCode::kScsi};
        default:
            return {diskkind::kPlain, ProtocolCode::kNone};
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
