#include <cstdint>
#include <cstring>
#include <filesystem>
#include <vector>

#include "vhost/AtaDevice.h"
#include "vhost/NvmeController.h"
#include "vhost/ScsiTarget.h"
#include "vhost/VirtualDisk.h"

using namespace zel::vhost;

namespace {

DiskDescription describe(const char* interfaceName, int number) {
    DiskDescription d;
    d.number = number;
    d.deviceInterface = interfaceName;
    d.capacityBytes = 64 * 512;
    d.vendorAnswers.push_back(VendorAnswer{0xC2, {1, 2, 3}, 7, 0});
    d.answersWriteTrimRanges = true;
    d.writeTrimRanges.push_back(WriteTrimRange{8, 16, 2});
    return d;
}

}  // namespace

// Whatever bytes a request carries, the devices answer without touching
// memory outside the transfer buffer.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static HostState state((std::filesystem::temp_directory_path() / "zel_fuzz_devices.state").string());
    static VirtualDisk ata(describe("ata", 0), state), nvme(describe("nvme", 1), state);
    if (size < 2) return 0;
    const uint8_t selector = data[0] % 3;
    std::vector<uint8_t> buffer(data[1] * 16u + 1);
    data += 2, size -= 2;
    if (selector == 0 && size >= 16) {
        ScsiResult result = ata.scsi()->execute(data, static_cast<uint8_t>(1 + data[15] % 16), buffer.data(),
                                                        static_cast<uint32_t>(buffer.size()));
        if (result.transferred > buffer.size() && result.status == 0) __builtin_trap();
    } else if (selector == 1 && size >= 12) {
        AtaTaskFile taskFile;
        std::memcpy(&taskFile.feature, data, 2);
        std::memcpy(&taskFile.count, data + 2, 2);
        std::memcpy(&taskFile.lba, data + 4, 6);
        taskFile.device = data[10];
        taskFile.command = data[11];
        taskFile.ext = taskFile.device & 1;
        ata.ata()->execute(taskFile, buffer.data(), static_cast<uint32_t>(buffer.size()));
    } else if (selector == 2 && size >= 64) {
        NvmeCompletion completion;
        nvme.nvme()->execute(data, data[63] & 1, buffer.data(), static_cast<uint32_t>(buffer.size()),
                                     &completion);
    }
    return 0;
}
