#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "power/PowerJob.h"

namespace zel {

// The switch classes the tool can drive.
enum class BoardClass { None, SataHX410V1, SataHX410V2, PcieHX410V1, PcieHX410V2, JMicronGpio };

const char* boardClassName(BoardClass board);

// What the choice needs to know of each disk of the list.
struct BoardCandidate {
    int number = -1;
    int kind = 0;
    std::string model;
    std::string firmware;
};

struct BoardChoice {
    BoardClass board = BoardClass::None;
    int number = -1;  // the switch's disk
};

// The board generation from its product revision: the first digit in it,
// 0 or 1 giving the first generation and 2 or more the second; a revision
// without a digit is taken as a second-generation board.
int boardGeneration(const std::string& revision);

// Which disk switches the power and how (docs/power.md): --pwrtype
// sata_gpio (switchType 18) takes a JMicron bridge; otherwise the SATA and
// PCIe boards. --pwrid names the disk; --pwrmodel either names a switch
// class, which then overrides the generation, or a text that the board's
// model contains. BoardClass::None when nothing fits.
BoardChoice chooseBoard(const PowerJob& job, uint32_t switchType, const std::vector<BoardCandidate>& disks);

}  // namespace zel
