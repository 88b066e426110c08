#pragma once

#include <cstdint>

#include "protocol/CommandRecords.h"
#include "protocol/PassThroughLayouts.h"

namespace zel {

// Pure byte builders of the pass-through routes: no Windows call, so they are
// also tested natively.

AtaPassThroughDirect64 buildAtaPassThrough(const AtaCommand& command, uint32_t dataSize, uint64_t buffer);

// SAT ATA PASS-THROUGH(12) for 28-bit commands, (16) for 48-bit ones.
ScsiCommand buildSatCommand(const AtaCommand& command);

ScsiPassThroughWithSense buildScsiPassThrough(const ScsiCommand& command, uint32_t dataSize, uint64_t buffer);

// The storage query of the inbox NVMe driver for opcodes 0x02, 0x06, 0x0A;
// false for any other opcode. Rewrites CDW10 of a telemetry log request.
bool buildNvmeQuery(NvmeCommand& command, uint32_t dataSize, StorageProtocolQuery* query);

// Completion from a returned protocol data descriptor, dwords in the
// driver's crossed order: 32, 44, 36, 40.
void storeQueryCompletion(NvmeCommand& command, const StorageProtocolDataDescriptor& descriptor);

// STORAGE_PROTOCOL_COMMAND head at the start of a dataSize + 208 byte block.
void fillProtocolCommand(uint8_t* block, const NvmeCommand& command, uint32_t dataSize);
void storeProtocolCommandCompletion(NvmeCommand& command, uint32_t fixedReturnData, uint32_t errorCode);

// "NvmeMini" head at the start of a dataSize + 152 byte block.
void fillMiniportBlock(uint8_t* block, uint32_t total, const NvmeCommand& command, uint32_t dataSize);

void fillIrstBlock(IrstNvmeBlock& block, const NvmeCommand& command, uint8_t pathId);

}  // namespace zel
