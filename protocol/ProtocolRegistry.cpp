#include "protocol/ProtocolRegistry.h"

#include <map>

#include "protocol/AtaProtocolOverAta.h"
#include "protocol/NvmeProtocols.h"
#include "protocol/ScsiProtocol.h"

namespace zel {
namespace {

template <typename Route>
ProtocolFactory factoryOf() {
    return [] { return std::unique_ptr<IProtocol>(new Route()); };
}

std::map<uint32_t, ProtocolFactory>& registry() {
    static std::map<uint32_t, ProtocolFactory> table{
        {protocolcode::kAtaOverAta, factoryOf<AtaProtocolOverAta>()},
        {protocolcode::kAtaOverUsb, factoryOf<AtaProtocolOverUsb>()},
        {protocolcode::kScsi, factoryOf<ScsiProtocol>()},
        {protocolcode::kNvmeByStornvme, factoryOf<NvmeProtocolByStornvme>()},
        {protocolcode::kNvmeByScsiMiniport, factoryOf<NvmeProtocolByScsiMiniport>()},
        {protocolcode::kNvmeByIrst, factoryOf<NvmeProtocolByIrst>()},
    };
    return table;
}

}  // namespace

std::unique_ptr<IProtocol> createProtocol(uint32_t code) { return registry()[code](); }

}  // namespace zel
