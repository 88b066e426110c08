#include <gtest/gtest.h>

#include "power/BoardSelection.h"

using namespace zel;

namespace {

// Disk 0 a SATA drive, 1 and 4 SATA boards of both generations, 2 and 3
// PCIe boards, 5 an NVMe drive behind the JMicron bridge.
const std::vector<BoardCandidate> kDisks = {
    {0, 1, "Zeltron SA510", "1.00"},       {1, 17, "HX410   Reader", "1.08"}, {2, 20, "HXPWR410 Virtual", "2.10"},
    {3, 20, "HXPWR410 Virtual", "V1.3"},  {4, 17, "USB DISK", "2.01"},       {5, 22, "Generic USB", "0509"}};

// The board and its disk that --pwrid, --pwrmodel and the --pwrtype code pick.
void expectChoice(int id, const std::string& model, uint32_t type, BoardClass board, int number) {
    PowerJob job;
    job.switchId = id;
    job.switchModel = model;
    const BoardChoice choice = chooseBoard(job, type, kDisks);
    EXPECT_EQ(std::make_pair(std::string(boardClassName(choice.board)), choice.number),
              std::make_pair(std::string(boardClassName(board)), number))
        << "pwrid " << id << ", pwrmodel \"" << model << "\", type " << type;
}

}  // namespace

TEST(BoardSelection, GenerationComesFromTheRevision) {
    const std::pair<const char*, int> cases[] = {{"1.08", 1}, {"0.90", 1}, {"V1.3", 1}, {"2.10", 2},
                                                 {"9", 2},    {"ABCD", 2}, {"", 2}};
    for (const auto& [revision, generation] : cases) EXPECT_EQ(boardGeneration(revision), generation) << revision;
}

// A drive named as the switch, an unknown model and the bridge with and
// without sata_gpio are checked end to end (PowerEndToEndTest.cpp).
TEST(BoardSelection, PwridPwrmodelAndPwrtypePickTheSwitch) {
    expectChoice(1, "", 0, BoardClass::SataHX410V1, 1);
    expectChoice(4, "", 0, BoardClass::SataHX410V2, 4);
    expectChoice(2, "", 0, BoardClass::PcieHX410V2, 2);
    expectChoice(3, "", 0, BoardClass::PcieHX410V1, 3);
    expectChoice(9, "", 0, BoardClass::None, -1);

    expectChoice(-1, "reader", 0, BoardClass::SataHX410V1, 1);
    expectChoice(-1, "USB DISK", 0, BoardClass::SataHX410V2, 4);
    expectChoice(-1, "Virtual", 0, BoardClass::PcieHX410V2, 2);

    // A class name overrides the generation, on the first board of its kind
    // or on the one pwrid names.
    expectChoice(-1, "PcieHX410V1", 0, BoardClass::PcieHX410V1, 2);
    expectChoice(1, "sataHX410v2", 0, BoardClass::SataHX410V2, 1);
    expectChoice(2, "SataHX410V2", 0, BoardClass::None, -1);  // a PCIe board is not a SATA one

    expectChoice(-1, "Generic", 18, BoardClass::JMicronGpio, 5);
    expectChoice(-1, "JMicronS583", 18, BoardClass::JMicronGpio, 5);
    expectChoice(1, "", 18, BoardClass::None, -1);  // sata_gpio takes only the bridge
    expectChoice(-1, "JMicronS583", 0, BoardClass::None, -1);
}
