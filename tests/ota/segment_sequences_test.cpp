#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "ota/bits.h"
#include "ota/dispatcher.h"
#include "ota/ota_messages.h"

// Each of the ten payload choices, on both channels, in whole, incomplete, repeated and disordered
// sequences and cut short at every bit, with the map compared after each message.
namespace corvane {
namespace {

enum class eForm { None, Fixed, Short };

// The pieces of one payload choice, in their order.
struct sChoice {
  unsigned choice;
  const char* name;
  eForm subsequent = eForm::None;
  eForm last = eForm::None;
  unsigned listed = 0;  // blocks in the list
  bool single = false;  // one complete block without a list
  eForm first = eForm::None;
};

constexpr std::array<sChoice, 10> kChoices = {{
    {.choice = 1, .name = "First", .first = eForm::Fixed},
    {.choice = 2, .name = "Subsequent", .subsequent = eForm::Fixed},
    {.choice = 3, .name = "LastShort", .last = eForm::Short},
    {.choice = 4, .name = "LastAndFirst", .last = eForm::Short, .first = eForm::Short},
    {.choice = 5, .name = "LastAndComplete", .last = eForm::Short, .listed = 2},
    {.choice = 6,
     .name = "LastAndCompleteAndFirst",
     .last = eForm::Short,
     .listed = 2,
     .first = eForm::Short},
    {.choice = 7, .name = "CompleteList", .listed = 3},
    {.choice = 8, .name = "CompleteAndFirst", .listed = 3, .first = eForm::Short},
    {.choice = 9, .name = "Complete", .single = true},
    {.choice = 10, .name = "Last", .last = eForm::Fixed},
}};

constexpr std::uint64_t kTimestamp = 0x0F1E2D3C4B5A6978;
constexpr std::uint8_t kRbId = 0x42;

// The types of the block that a message continues, of the complete ones and of the one it starts.
constexpr unsigned kContinued = 2;
constexpr unsigned kComplete = 4;
constexpr unsigned kStarted = 6;

class SegmentSequences : public testing::TestWithParam<std::tuple<sChoice, std::uint8_t>> {
 protected:
  [[nodiscard]] bool Continues() const {
    return choice.subsequent != eForm::None || choice.last != eForm::None;
  }
  [[nodiscard]] bool Starts() const { return choice.first != eForm::None; }

  // The bits of the segment that continues a block: that of this index, counted from the first's 0.
  [[nodiscard]] Bits Continuation(unsigned index) const {
    if (!Continues()) {
      return "";
    }
    return choice.last == eForm::Short ? SegmentShort(kContinued, index, continuedData)
                                       : SegmentFixed(kContinued, index, continuedData);
  }

  [[nodiscard]] std::vector<sListedSib> CompleteSibs() const {
    if (choice.single) {
      return {{kComplete, Pattern(226, 20)}};
    }
    std::vector<sListedSib> sibs;
    for (unsigned k = 0; k < choice.listed; ++k) {
      sibs.push_back({kComplete + k, Pattern(5 + 13 * k, 20 + k)});
    }
    return sibs;
  }

  [[nodiscard]] Bits CompletePart() const {
    if (choice.single) {
      return Number(kComplete, 5) + CompleteSibs()[0].data;
    }
    return choice.listed == 0 ? "" : SibList(CompleteSibs());
  }

  [[nodiscard]] Bits FirstPart() const {
    if (!Starts()) {
      return "";
    }
    return choice.first == eForm::Short ? FirstShort(kStarted, 2, startedData)
                                        : FirstFixed(kStarted, 2, startedData);
  }

  // The message of the choice under test.
  [[nodiscard]] Bits Content(unsigned index) const {
    return Continuation(index) + CompletePart() + FirstPart();
  }

  Packets Send(unsigned payloadChoice, const Bits& content) {
    const ByteVector packet =
        LogPacket(channel, kRbId, BytesOf(Message(channel, payloadChoice, content)));
    return BytesOf(DecodeOtaPacket(map, *Item(packet), kTimestamp));
  }

  // The first segment of a block for the choice under test to continue. It changes nothing else.
  void SendFirstOfContinued(unsigned count) {
    if (!Continues()) {
      return;
    }
    BlockMap expected = BlocksOf(map);
    expected[Key(kContinued)] = UnfinishedBlock(count, 1, head);
    EXPECT_EQ(Send(1, FirstFixed(kContinued, count, head)), Packets());
    EXPECT_EQ(BlocksOf(map), expected);
  }
  Packets SendLastOfStarted() { return Send(10, SegmentFixed(kStarted, 1, tail)); }

  [[nodiscard]] Packets Rebuilt(unsigned sibType, const Bits& data) const {
    return {RebuiltPacket(channel, kRbId, sibType, data, kTimestamp)};
  }

  // The packets of the message's complete blocks, behind those given.
  [[nodiscard]] Packets WithComplete(Packets packets = {}) const {
    for (const sListedSib& sib : CompleteSibs()) {
      packets.push_back(RebuiltPacket(channel, kRbId, sib.sibType, sib.data, kTimestamp));
    }
    return packets;
  }

  [[nodiscard]] BlockKey Key(unsigned sibType) const {
    return {MarkerOf(channel), kRbId, static_cast<int>(sibType)};
  }

  // The map with the started block, if the choice starts one, beside the continued one.
  [[nodiscard]] BlockMap MapWith(const std::optional<sBlock>& continued) const {
    BlockMap blocks;
    if (continued && Continues()) {
      blocks.emplace(Key(kContinued), *continued);
    }
    if (Starts()) {
      blocks.emplace(Key(kStarted), UnfinishedBlock(2, 1, startedData));
    }
    return blocks;
  }

  // A subsequent segment leaves its block in the map, a last one never does.
  [[nodiscard]] std::optional<sBlock> IfSubsequent(const sBlock& block) const {
    return choice.subsequent != eForm::None ? std::optional(block) : std::nullopt;
  }

  const sChoice choice = std::get<0>(GetParam());
  const std::uint8_t channel = std::get<1>(GetParam());
  const Bits head = Pattern(222, 1);
  const Bits continuedData = Pattern(choice.last == eForm::Short ? 37 : 222, 2);
  const Bits startedData = Pattern(choice.first == eForm::Short ? 29 : 222, 3);
  const Bits tail = Pattern(222, 4);
  SibAssemblyMap map;
};

TEST_P(SegmentSequences, CompleteOnesEmitEveryBlockWithItsLastSegment) {
  SendFirstOfContinued(2);
  EXPECT_EQ(Send(choice.choice, Content(1)),
            WithComplete(Continues() ? Rebuilt(kContinued, head + continuedData) : Packets()));
  EXPECT_EQ(BlocksOf(map),
            MapWith(IfSubsequent(EmittedBlock(Key(kContinued), 2, 2, head + continuedData))));

  const BlockMap before = BlocksOf(map);
  EXPECT_EQ(SendLastOfStarted(), Starts() ? Rebuilt(kStarted, startedData + tail) : Packets());
  BlockMap after = before;
  after.erase(Key(kStarted));
  EXPECT_EQ(BlocksOf(map), after);
}

TEST_P(SegmentSequences, WithTheLastSegmentMissingTheBlockIsNeverEmitted) {
  // The continued block waits for two segments and gets one.
  SendFirstOfContinued(3);
  EXPECT_EQ(Send(choice.choice, Content(1)), WithComplete());
  EXPECT_EQ(BlocksOf(map), MapWith(IfSubsequent(UnfinishedBlock(3, 2, head + continuedData))));

  // The next round of the same blocks starts over.
  SendFirstOfContinued(2);
  EXPECT_EQ(Send(choice.choice, Content(1)),
            WithComplete(Continues() ? Rebuilt(kContinued, head + continuedData) : Packets()));
  EXPECT_EQ(BlocksOf(map),
            MapWith(IfSubsequent(EmittedBlock(Key(kContinued), 2, 2, head + continuedData))));
}

TEST_P(SegmentSequences, ARepeatedMessageEmitsItsCompleteBlocksAgain) {
  SendFirstOfContinued(3);
  EXPECT_EQ(Send(choice.choice, Content(1)), WithComplete());
  EXPECT_EQ(BlocksOf(map), MapWith(IfSubsequent(UnfinishedBlock(3, 2, head + continuedData))));
  EXPECT_EQ(Send(choice.choice, Content(1)), WithComplete());
  EXPECT_EQ(BlocksOf(map), MapWith(std::nullopt));

  SendFirstOfContinued(2);
  EXPECT_EQ(Send(choice.choice, Content(1)),
            WithComplete(Continues() ? Rebuilt(kContinued, head + continuedData) : Packets()));
  EXPECT_EQ(BlocksOf(map),
            MapWith(IfSubsequent(EmittedBlock(Key(kContinued), 2, 2, head + continuedData))));
  EXPECT_EQ(Send(choice.choice, Content(1)), WithComplete());
  EXPECT_EQ(BlocksOf(map), MapWith(std::nullopt));
}

TEST_P(SegmentSequences, OutOfOrderTheContinuedBlockIsDiscarded) {
  // The message before the block that it continues, and the last segment before its first.
  EXPECT_EQ(SendLastOfStarted(), Packets());
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(Send(choice.choice, Content(1)), WithComplete());
  EXPECT_EQ(BlocksOf(map), MapWith(std::nullopt));

  // Segment 2 before segment 1.
  SendFirstOfContinued(3);
  EXPECT_EQ(Send(choice.choice, Content(2)), WithComplete());
  EXPECT_EQ(BlocksOf(map), MapWith(std::nullopt));
  EXPECT_EQ(Send(choice.choice, Content(1)), WithComplete());
  EXPECT_EQ(BlocksOf(map), MapWith(std::nullopt));
}

// Each effect of a message takes place from a certain number of its bits on.
TEST_P(SegmentSequences, CutShortAtEveryBitTheyDoWhatTheBitsThatAreThereSay) {
  const sBlock continued = UnfinishedBlock(2, 1, head);
  const sBlock alreadyStarted = UnfinishedBlock(5, 3, "0101");
  const Bits whole = Message(channel, choice.choice, Content(1));

  // A message of one piece looks its block up when it has the type, a combined one when it has the
  // type, the index and the length.
  const std::size_t lookedUp = LeadOf(channel) + (CompletePart() + FirstPart() == "" ? 5 : 17);
  const std::size_t continuedEnd = LeadOf(channel) + Continuation(1).size();
  std::vector<std::size_t> completeEnds;
  for (std::size_t end = continuedEnd + (choice.single ? 0 : 4);
       const sListedSib& sib : CompleteSibs()) {
    end += (choice.single ? 5 : 5 + 8) + sib.data.size();
    completeEnds.push_back(end);
  }

  for (std::size_t bits = 0; bits <= whole.size(); ++bits) {
    SCOPED_TRACE(std::to_string(bits) + " of " + std::to_string(whole.size()) + " bits");
    map.clear();
    InsertBlock(map, Key(kContinued), continued);
    InsertBlock(map, Key(kStarted), alreadyStarted);

    Packets packets;
    BlockMap blocks = {{Key(kContinued), continued}, {Key(kStarted), alreadyStarted}};
    if (Continues() && bits >= lookedUp) {
      blocks.erase(Key(kContinued));
    }
    if (Continues() && bits >= continuedEnd) {
      packets = Rebuilt(kContinued, head + continuedData);
      if (choice.subsequent != eForm::None) {
        blocks[Key(kContinued)] = EmittedBlock(Key(kContinued), 2, 2, head + continuedData);
      }
    }
    for (std::size_t k = 0; k < completeEnds.size() && bits >= completeEnds[k]; ++k) {
      const sListedSib sib = CompleteSibs()[k];
      packets.push_back(RebuiltPacket(channel, kRbId, sib.sibType, sib.data, kTimestamp));
    }
    if (Starts() && bits == whole.size()) {
      blocks[Key(kStarted)] = UnfinishedBlock(2, 1, startedData);
    }

    // Behind the cut, one bits fill the last byte; behind that there is no memory to read.
    Bits cut = whole.substr(0, bits);
    while (cut.size() % 8 != 0) {
      cut += '1';
    }
    const ByteVector message = BytesOf(cut);
    const sOtaPacket packet{.channel = channel,
                            .rbId = kRbId,
                            .message = message.data(),
                            .bitCount = static_cast<std::uint32_t>(bits)};
    EXPECT_EQ(BytesOf(DecodeSystemInformation(choice.choice, map, packet, kTimestamp)), packets);
    EXPECT_EQ(BlocksOf(map), blocks);
  }
}

INSTANTIATE_TEST_SUITE_P(AllChoices, SegmentSequences,
                         testing::Combine(testing::ValuesIn(kChoices),
                                          testing::Values(kBch, kFach)),
                         [](const auto& row) {
                           return std::string(std::get<0>(row.param).name) +
                                  (std::get<1>(row.param) == kBch ? "OnBch" : "OnFach");
                         });

}  // namespace
}  // namespace corvane
