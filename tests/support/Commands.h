#pragma once

#include <string>

#include "protocol/CommandRecords.h"

namespace zeltest {

inline zel::AtaCommand ataCommand(uint8_t opcode, uint16_t flags, uint64_t lba = 0, uint16_t count = 1,
                                  uint8_t device = 0xA0, uint16_t feature = 0) {
    zel::AtaCommand command;
    command.command = opcode;
    command.flags = flags;
    command.lba = lba;
    command.count = count;
    command.device = device;
    command.feature = feature;
    return command;
}

inline zel::AtaCommand identifyCommand() { return ataCommand(0xEC, zel::ataflags::kDataIn); }

// ATA strings hold two characters per word, the first in the high byte.
inline std::string ataString(const uint8_t* sector, unsigned firstWord, unsigned words) {
    std::string text;
    for (unsigned i = 0; i < words; ++i) {
        text += static_cast<char>(sector[2 * (firstWord + i) + 1]);
        text += static_cast<char>(sector[2 * (firstWord + i)]);
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace zeltest
