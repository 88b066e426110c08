#include "power/PowerJob.h"

#include <map>

namespace zel {

PowerControl powerControlFromText(const std::string& text) {
    static const std::map<std::string, PowerControl> names = {
        {"on", PowerControl::On},       {"off", PowerControl::Off},         {"measure", PowerControl::Measure},
        {"vol", PowerControl::Voltage}, {"gsd", PowerControl::Gsd},         {"ugsd", PowerControl::Ugsd},
        {"cpu", PowerControl::CpuReset}, {"coldboot", PowerControl::ColdBoot}, {"reboot", PowerControl::Reboot},
        {"s3", PowerControl::S3},       {"s4", PowerControl::S4},           {"d3hot", PowerControl::D3Hot},
        {"shutdown", PowerControl::Shutdown}};
    auto it = names.find(text);
    return it == names.end() ? PowerControl::Unknown : it->second;
}

}  // namespace zel
