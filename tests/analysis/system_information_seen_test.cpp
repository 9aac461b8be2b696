#include "analysis/system_information_seen.h"

#include <gtest/gtest.h>

#include "analysis/item_faults.h"

namespace corvane {
namespace {

struct SystemInformationSeenTest : ::testing::Test {
  cSystemInformationSeen seen;
  cWholeMessages whole;
  sSource source{"COM7"};
  sCaptureItem item;

  void Add(const sDescription& description, bool isRebuilt = false) {
    ++item.number;
    item.time += 10;
    seen.Add(item, description, whole.Add(item.number, description, source), source, isRebuilt);
  }

  // "cell 0 BCCH-DL-SCH SIB2 x3", a line each; "no cell" where none is known.
  [[nodiscard]] std::string Lines() const {
    std::string lines;
    for (const sSeenBlock& block : seen.Blocks()) {
      lines += block.cell ? "cell " + std::to_string(*block.cell) : std::string("no cell");
      lines += " " + std::string(block.bearer) + " " + block.name + " x" +
               std::to_string(block.times) + (block.isRebuilt ? " rebuilt\n" : "\n");
    }
    return lines;
  }
};

[[nodiscard]] sDescription Broadcast(eTechnology technology, eSyntax syntax,
                                     std::string_view channel, std::string_view name,
                                     std::vector<std::uint8_t> message = {0}) {
  sDescription description;
  description.sort = eItemSort::Log;
  description.technology = technology;
  sSignalling& signalling = description.signalling.emplace();
  signalling.syntax = syntax;
  signalling.channel = channel;
  signalling.messageName = name;
  signalling.message = std::move(message);
  return description;
}

[[nodiscard]] sDescription InCell(sDescription description, std::uint16_t physicalCell) {
  sCell& cell = description.cell.emplace();
  cell.frequency = 1825;
  cell.physicalCell = physicalCell;
  return description;
}

// 3GPP TS 36.331: class, type and extension 0, no later fields; one block less, its choice.
constexpr std::uint8_t kTwoBlocksFromSib3[] = {0b0000'0000, 0b1000'0100};

TEST_F(SystemInformationSeenTest, BlocksCountForTheCellThatBroadcastsThem) {
  const auto sib1 = Broadcast(eTechnology::Lte, eSyntax::LteBcchDlSch, "BCCH-DL-SCH",
                              "System information block type 1", {0x40});
  const auto later =
      Broadcast(eTechnology::Lte, eSyntax::LteBcchDlSch, "BCCH-DL-SCH", "System information",
                {std::begin(kTwoBlocksFromSib3), std::end(kTwoBlocksFromSib3)});
  Add(InCell(sib1, 324));
  Add(InCell(sib1, 11));
  Add(InCell(sib1, 324));
  Add(InCell(later, 11));
  EXPECT_EQ(Lines(),
            "cell 0 BCCH-DL-SCH SIB1 x2\n"
            "cell 1 BCCH-DL-SCH SIB1 x1\n"
            "cell 1 BCCH-DL-SCH SIB3 and 1 more x1\n");
  EXPECT_EQ(seen.Blocks()[0].first, 10u);
  EXPECT_EQ(seen.Blocks()[0].last, 30u);
  EXPECT_EQ(seen.Cells().Cells().size(), 2u);
}

TEST_F(SystemInformationSeenTest, OtherMessagesAreNone) {
  Add(InCell(Broadcast(eTechnology::Lte, eSyntax::LtePcch, "PCCH", "Paging"), 324));
  Add(Broadcast(eTechnology::Gsm, eSyntax::GsmPseudoLength, "CCCH", "Immediate assignment"));
  EXPECT_EQ(Lines(), "");
}

TEST_F(SystemInformationSeenTest, GsmCountsForTheCellThatWasToldLast) {
  const auto third =
      Broadcast(eTechnology::Gsm, eSyntax::GsmPseudoLength, "BCCH", "System information type 3");
  Add(third);
  sDescription told;
  told.technology = eTechnology::Gsm;
  told.cell.emplace().frequency = 871;
  told.cell->bsic = 43;
  Add(told);
  Add(third);
  source.port = "COM8";  // another modem
  Add(third);
  EXPECT_EQ(Lines(), "no cell BCCH SI 3 x2\ncell 0 BCCH SI 3 x1\n");
}

TEST_F(SystemInformationSeenTest, WcdmaCountsForTheCellThatTheRecorderLearned) {
  auto block = Broadcast(eTechnology::Wcdma, eSyntax::WcdmaSystemInformationBlock, "SIB from BCH",
                         "SysInfo type 5");
  block.logCode = 0x412F;
  item.extra = 0xABCDEF;
  Add(block, true);
  EXPECT_EQ(Lines(), "cell 0 SIB from BCH SIB5 x1 rebuilt\n");
  EXPECT_EQ(seen.Cells().Cells().at(0).cell.cellIdentity, 0xABCDEFu);
}

TEST_F(SystemInformationSeenTest, BeyondItsRoomBlocksAreOnlyCounted) {
  for (std::uint32_t number = 0; number < cCellsSeen::kMostCells; ++number) {
    for (const char* name : {"SIB1", "MIB", "A", "B", "C", "D"}) {
      Add(InCell(Broadcast(eTechnology::Nr, eSyntax::NrBcchDlSch, "BCCH-DL-SCH", name, {0x40}),
                 static_cast<std::uint16_t>(number)));
    }
  }
  EXPECT_EQ(seen.Blocks().size(), cSystemInformationSeen::kMostBlocks);
  EXPECT_EQ(seen.Others(), 6 * cCellsSeen::kMostCells - cSystemInformationSeen::kMostBlocks);
}

TEST(ItemFaultsTest, EachKindIsCountedWithItsFirstPlace) {
  cItemFaults faults;
  sCaptureItem item;
  const auto add = [&faults, &item](const sDescription& description, bool isRebuilt = false) {
    ++item.number;
    item.time += 10;
    faults.Add(item, description, isRebuilt);
  };
  sDescription good;
  good.sort = eItemSort::Reply;
  add(good);
  sDescription cutOff = good;
  cutOff.cutOff = true;
  add(cutOff);
  add(cutOff);
  add(sDescription{});
  sDescription message = good;
  message.message.emplace().dropped = 3;
  add(message);
  add(message);
  EXPECT_EQ(faults.CutOff().items, 2u);
  EXPECT_EQ(faults.CutOff().firstItem, 2u);
  EXPECT_EQ(faults.CutOff().firstTime, 20u);
  EXPECT_EQ(faults.CutOff().lastTime, 30u);
  EXPECT_EQ(faults.Unknown().items, 1u);
  EXPECT_EQ(faults.Dropping().items, 2u);
  EXPECT_EQ(faults.Dropped(), 6u);
}

TEST(ItemFaultsTest, SignallingThatIsNotUnderstoodIsTold) {
  cItemFaults faults;
  sDescription log;
  log.sort = eItemSort::Log;
  log.logCode = 0xB0C0;
  log.version = 99;
  faults.Add({}, log, false);
  sDescription filler = log;
  filler.leftOut = true;
  faults.Add({}, filler, false);
  faults.Add({}, log, true);
  sDescription other = log;
  other.logCode = 0xB061;  // carries no signalling
  faults.Add({}, other, false);
  ASSERT_EQ(faults.NotUnderstood().size(), 1u);
  EXPECT_NE(faults.NotUnderstood()[0].find("1 packet is not shown: 0xB0C0"), std::string::npos);
}

}  // namespace
}  // namespace corvane
