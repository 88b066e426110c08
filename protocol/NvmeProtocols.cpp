#include "protocol/NvmeProtocols.h"

#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "core/DeviceApi.h"
#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "protocol/Opcodes.h"
#include "protocol/PassThroughBuilders.h"
#include "protocol/PortPath.h"

namespace zel {
namespace {

constexpr uint32_t kDefaultTimeoutSeconds = 30;

void prepare(NvmeCommand& command, const char* sendFormat, uint32_t dataSize) {
    if (command.timeout == 0) command.timeout = kDefaultTimeoutSeconds;
    logSendLine(sendFormat, command.opcode(), command.nsid(), command.dword(10), command.dword(11),
                command.dword(12), static_cast<int>(dataSize));
}

// Zeroed heap block; null when the allocation fails.
std::unique_ptr<uint8_t[]> allocateZeroed(size_t size) {
    std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[size]);
    if (block) std::memset(block.get(), 0, size);
    return block;
}

void failWith(ErrorCode code, const char* line) {
    logWarning("%s", line);
    setLastError(code);
}

// Logs an IOCTL failure with the line's format and passes the Windows error on.
bool failIoctl(const char* format, DWORD returned) {
    const DWORD error = ::GetLastError();
    logWarning(format, static_cast<int>(returned), static_cast<unsigned>(error));
    setLastError(error);
    return false;
}

bool movesData(const NvmeCommand& command) {
    return command.direction == nvmedir::kToDevice || command.direction == nvmedir::kFromDevice;
}

// The largest dataSize whose block length (data plus a head) still fits in a
// DWORD; anything above would wrap and the copies would overrun the block.
constexpr uint32_t largestBehind(size_t head) {
    return std::numeric_limits<uint32_t>::max() - static_cast<uint32_t>(head);
}

// A size the route's block cannot carry is refused before anything is opened
// or sent.
bool dataSizeFits(const char* route, uint32_t dataSize, uint32_t limit) {
    if (dataSize <= limit) return true;
    logWarning("[%s] datasize=%u is more than %u bytes, not sent.", route, static_cast<unsigned>(dataSize),
               static_cast<unsigned>(limit));
    setLastError(err::kNvmeNotSupported);
    return false;
}

HANDLE openPort(uint32_t diskNumber, uint8_t* pathId) {
    const std::string path = findPortPath(diskNumber, nullptr, pathId);
    return deviceApi().createFile(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
}

}  // namespace

bool NvmeProtocolByStornvme::sendCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize, void* record) {
    NvmeCommand& command = *static_cast<NvmeCommand*>(record);
    prepare(command,
            "[NvmeProtocolByStornvme] Send command: OPC=%X, NS=%lX, CDW10=%X, CDW11=%X, CDW12=%X, datasize=%d",
            dataSize);
    const uint8_t opcode = command.opcode();
    if (opcode == nvmeadmin::kGetLogPage || opcode == nvmeadmin::kIdentify || opcode == nvmeadmin::kGetFeatures)
        return sendQuery(handle, buffer, dataSize, command);
    if (opcode >= nvmeadmin::kFirstVendor) return sendProtocolCommand(handle, buffer, dataSize, command);
    setLastError(err::kNvmeNotSupported);
    return false;
}

bool NvmeProtocolByStornvme::sendQuery(HANDLE handle, uint8_t* buffer, uint32_t dataSize, NvmeCommand& command) {
    constexpr size_t kDataOffset = sizeof(StorageProtocolQuery);
    if (movesData(command) &&
        !dataSizeFits("NvmeProtocolByStornvme", dataSize, kNvmeQueryBufferSize - kDataOffset))
        return false;
    auto block = allocateZeroed(kNvmeQueryBufferSize);
    if (!block) {
        logDebug("[NvmeProtocolByStornvme] allocate buffer failed, exit.");
        return false;
    }
    if (command.direction == nvmedir::kToDevice) std::memcpy(block.get() + kDataOffset, buffer, dataSize);
    StorageProtocolQuery query;
    buildNvmeQuery(command, dataSize, &query);
    std::memcpy(block.get(), &query, sizeof query);

    DWORD returned = 0;
    const BOOL ok = deviceApi().deviceIoControl(handle, ioctl::kStorageQueryProperty, block.get(),
                                                kNvmeQueryBufferSize, block.get(), kNvmeQueryBufferSize, &returned,
                                                nullptr);
    if (!ok || returned == 0)
        return failIoctl("[NvmeProtocolByStornvme] command failed. returnedLength=%d, LE=0x%X.", returned);
    StorageProtocolDataDescriptor descriptor;
    std::memcpy(&descriptor, block.get(), sizeof descriptor);
    storeQueryCompletion(command, descriptor);
    if (descriptor.Version != sizeof descriptor || descriptor.Size != sizeof descriptor) {
        failWith(err::kNvmeFailed, "[NvmeProtocolByStornvme] data descriptor header not valid.");
        return false;
    }
    if (command.direction == nvmedir::kFromDevice) {
        if (descriptor.ProtocolSpecificData.ProtocolDataOffset < kProtocolSpecificDataSize ||
            descriptor.ProtocolSpecificData.ProtocolDataLength < query.ProtocolSpecificData.ProtocolDataLength) {
            failWith(err::kNvmeFailed, "[NvmeProtocolByStornvme] ProtocolData Offset/Length not valid.");
            return false;
        }
        std::memcpy(buffer, block.get() + kDataOffset, dataSize);
    }
    return true;
}

bool NvmeProtocolByStornvme::sendProtocolCommand(HANDLE handle, uint8_t* buffer, uint32_t dataSize,
                                                 NvmeCommand& command) {
    if (!dataSizeFits("NvmeProtocolByStornvme", dataSize, largestBehind(kProtocolCommandDataOffset))) return false;
    const uint32_t total = dataSize + kProtocolCommandDataOffset;
    auto block = allocateZeroed(total);
    if (!block) {
        logDebug("[NvmeProtocolByStornvme] allocate buffer failed, exit.");
        return false;
    }
    fillProtocolCommand(block.get(), command, dataSize);
    // The to-device offset stays 0, so outgoing data lands over the head.
    if (command.direction == nvmedir::kToDevice) std::memcpy(block.get(), buffer, dataSize);

    DWORD returned = 0;
    const BOOL ok = deviceApi().deviceIoControl(handle, ioctl::kStorageProtocolCommand, block.get(), total,
                                                block.get(), total, &returned, nullptr);
    if (!ok || returned == 0)
        return failIoctl("[NvmeProtocolByStornvme] command failed. returnedLength=%d, LE=0x%X.", returned);
    StorageProtocolCommand head;
    std::memcpy(&head, block.get(), sizeof head);
    storeProtocolCommandCompletion(command, head.FixedProtocolReturnData, head.ErrorCode);
    if (head.ReturnStatus != 1) {
        logWarning("[NvmeProtocolByStornvme] command failed. ReturnStatus=%d, LE=0x%X.",
                   static_cast<int>(head.ReturnStatus), static_cast<unsigned>(::GetLastError()));
        setLastError(err::kNvmeFailed);
        return false;
    }
    if (command.direction == nvmedir::kFromDevice)
        std::memcpy(buffer, block.get() + kProtocolCommandDataOffset, dataSize);
    return true;
}

bool NvmePortProtocol::sendCommand(HANDLE, uint8_t* buffer, uint32_t dataSize, void* record) {
    return sendCommand(static_cast<NvmeCommand*>(record)->diskNumber, buffer, dataSize, record);
}

bool NvmeProtocolByScsiMiniport::sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize,
                                             void* record) {
    NvmeCommand& command = *static_cast<NvmeCommand*>(record);
    prepare(command,
            "[NvmeProtocolByScsiMiniport] Send command: OPC=%X, NS=%X, CDW10=%X, CDW11=%X, CDW12=%X, datasize=%d",
            dataSize);
    if (!dataSizeFits("NvmeProtocolByScsiMiniport", dataSize, largestBehind(sizeof(NvmeMiniportBlock))))
        return false;
    HANDLE port = openPort(diskNumber, nullptr);
    if (port == INVALID_HANDLE_VALUE) {
        takeSystemLastError();
        return false;
    }
    const uint32_t total = dataSize + sizeof(NvmeMiniportBlock);
    auto block = allocateZeroed(total);
    if (!block) {
        logDebug("[NvmeProtocolByScsiMiniport] allocate buffer failed, exit.");
        return false;
    }
    fillMiniportBlock(block.get(), total, command, dataSize);
    uint8_t* data = block.get() + sizeof(NvmeMiniportBlock);
    if (command.direction == nvmedir::kToDevice) std::memcpy(data, buffer, dataSize);

    DWORD returned = 0;
    const BOOL ok =
        deviceApi().deviceIoControl(port, ioctl::kScsiMiniport, block.get(), total, block.get(), total, &returned,
                                    nullptr);
    if (ok && returned != 0) {
        std::memcpy(command.completion, block.get() + offsetof(NvmeMiniportBlock, completion), 16);
        if (command.direction == nvmedir::kFromDevice) std::memcpy(buffer, data, dataSize);
        return true;
    }
    return failIoctl("[NvmeProtocolByScsiMiniport] command failed. returnedLength=%d, LE=0x%X.", returned);
}

bool NvmeProtocolByIrst::sendCommand(uint32_t diskNumber, uint8_t* buffer, uint32_t dataSize, void* record) {
    NvmeCommand& command = *static_cast<NvmeCommand*>(record);
    prepare(command, "[NvmeProtocolByIrst] Send command: OPC=%X, NS=%lX, CDW10=%X, CDW11=%X, CDW12=%X, datasize=%d",
            dataSize);
    if (movesData(command) && !dataSizeFits("NvmeProtocolByIrst", dataSize, sizeof(IrstNvmeBlock::data)))
        return false;
    uint8_t pathId = 0;
    HANDLE port = openPort(diskNumber, &pathId);
    if (port == INVALID_HANDLE_VALUE) {
        takeSystemLastError();
        return false;
    }
    IrstNvmeBlock block;
    fillIrstBlock(block, command, pathId);
    if (command.direction == nvmedir::kToDevice) std::memcpy(block.data, buffer, dataSize);

    DWORD returned = 0;
    const BOOL ok = deviceApi().deviceIoControl(port, ioctl::kScsiMiniport, &block, sizeof block, &block,
                                                sizeof block, &returned, nullptr);
    std::memcpy(command.completion, block.completion, 16);
    if (command.direction == nvmedir::kFromDevice) std::memcpy(buffer, block.data, dataSize);
    if (!ok) takeSystemLastError();
    return ok;
}

}  // namespace zel
