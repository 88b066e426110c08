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

std::map<ProtocolCode, ProtocolFactory>& registry() {
    static std::map<ProtocolCode, ProtocolFactory> table{
        {ProtocolCode::kAtaOverAta, factoryOf<AtaProtocolOverAta>()},
        {ProtocolCode::kAtaOverUsb, factoryOf<AtaProtocolOverUsb>()},
        {ProtocolCode::kScsi, factoryOf<ScsiProtocol>()},
        {ProtocolCode::kNvmeByStornvme, factoryOf<NvmeProtocolByStornvme>()},
        {ProtocolCode::kNvmeByScsiMiniport, factoryOf<NvmeProtocolByScsiMiniport>()},
        {ProtocolCode::kNvmeByIrst, factoryOf<NvmeProtocolByIrst>()},
    };
    return table;
}

}  // namespace

std::unique_ptr<IProtocol> createProtocol(ProtocolCode code) { return registry()[code](); }

}  // namespace zel
