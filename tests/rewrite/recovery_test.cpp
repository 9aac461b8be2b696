#include "rewrite/recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "rewrite/real_capture.h"
#include "rewrite/recovered_items.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Whether these are exactly the items `from` to `to` of `all`.
[[nodiscard]] bool AreItems(const std::vector<sBuiltItem>& some, const std::vector<sBuiltItem>& all,
                            std::size_t from, std::size_t to) {
  return std::equal(some.begin(), some.end(), all.begin() + static_cast<std::ptrdiff_t>(from),
                    all.begin() + static_cast<std::ptrdiff_t>(to), AreSame);
}

// Where the block of number `number` stands.
[[nodiscard]] std::size_t BlockAt(const ByteVector& file, std::size_t number) {
  const sOpened opened = OpenBytes(file);
  return static_cast<std::size_t>(opened.file->Blocks()[number].offset);
}

class RecoveryTest : public ::testing::Test {
 protected:
  const std::vector<sBuiltItem> items = ManyRealItems(2 * 8192 + 300);
  const ByteVector closed = BuildItems(items).Closed();
  const ByteVector unclosed = BuildItems(items).Unclosed();
};

TEST_F(RecoveryTest, ACompleteCaptureIsKeptAsItIs) {
  const sOutcome outcome = Recover(closed);
  EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size()));
  EXPECT_EQ(outcome.report.losses.Count(), 0U);
  EXPECT_EQ(outcome.report.mended.Count(), 0U);
  EXPECT_EQ(outcome.report.proven, 0U);
  EXPECT_EQ(outcome.report.state, eCaptureState::Complete);
  EXPECT_EQ(outcome.report.firstTime, items.front().time);
  EXPECT_EQ(outcome.report.finalTime, items.back().time);
}

TEST_F(RecoveryTest, ACompleteCaptureKeepsTypesThatDoNotFit) {
  const std::vector<sBuiltItem> odd = {
      {0, kNoon, items[6].packet, {}}, {7, kNoon, {0x1D}, {}}, {4, kNoon, {0x10, 0x00}, {}}};
  EXPECT_TRUE(AreItems(Recover(BuildItems(odd).Closed()).items, odd, 0, 3));
  // In any other file a packet that tells its length tells its type too.
  EXPECT_EQ(Recover(BuildItems(odd).Unclosed()).items.front().type, 5U);
}

TEST_F(RecoveryTest, AnUnclosedCaptureLosesNothing) {
  const sOutcome outcome = Recover(unclosed);
  EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size()));
  EXPECT_EQ(outcome.report.losses.Count(), 0U);
  EXPECT_EQ(outcome.report.state, eCaptureState::Unclosed);
}

TEST_F(RecoveryTest, ARecordBegunWhenTheRecorderDiedIsNoLoss) {
  ByteVector file = unclosed;
  Append(file, 0x0010'1010'0000'0010, 8);
  const sOutcome outcome = Recover(file);
  EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size()));
  EXPECT_EQ(outcome.report.losses.Count(), 0U);
  EXPECT_EQ(outcome.report.unfinishedBytes, 8U);
}

// The directory entry of what was recorded whole is believed, not the modem, whatever follows.
TEST_F(RecoveryTest, ALengthThatAPacketTellsWrongTakesNothingOfWhatFollows) {
  std::vector<sBuiltItem> recorded(items.begin(), items.begin() + 20);
  ByteVector wrong = LogPacket(0xB0C0, kNoon, {1, 2, 3, 4});
  wrong[2] += 4;
  wrong[4] += 4;
  recorded.push_back({5, items[20].time, wrong, std::nullopt});
  cCaptureBuilder builder = BuildItems(recorded);
  const ByteVector whole = builder.Unclosed();
  std::vector<std::size_t> sizes(31);
  std::iota(sizes.begin(), sizes.end(), std::size_t{0});
  sizes.push_back(12 + 16'640);  // all that a record can take
  for (const std::size_t unfinished : sizes) {
    ByteVector file = whole;
    file.insert(file.end(), unfinished, std::uint8_t{0x17});
    const sOutcome outcome = Recover(file);
    // Bytes that end where the packet says that it ends are taken for its own.
    ASSERT_GE(outcome.items.size(), 21U) << unfinished;
    if (unfinished == 4) {
      EXPECT_EQ(outcome.items[20].packet.size(), wrong.size() + 4);
    } else {
      EXPECT_TRUE(AreItems(outcome.items, recorded, 0, 21)) << unfinished;
      EXPECT_EQ(outcome.report.unfinishedBytes, unfinished);
    }
  }
}

TEST_F(RecoveryTest, AWholeRecordWithoutItsEntryIsKept) {
  ByteVector file = BuildItems({items.begin(), items.begin() + 7}).Unclosed();
  Fill(file, 4 + 6 * 7, 4 + 7 * 7, 0);  // a log packet's, the last one
  const sOutcome outcome = Recover(file);
  EXPECT_TRUE(AreItems(outcome.items, items, 0, 7));
  EXPECT_EQ(outcome.report.proven, 1U);
  EXPECT_EQ(outcome.report.losses.Count(), 0U);
}

TEST_F(RecoveryTest, ItemsBehindABlockWithoutDirectoryAreFound) {
  for (ByteVector file : {closed, unclosed}) {
    const std::size_t block = BlockAt(file, 1);
    Fill(file, block, block + 57'360, 0xAA);
    const sOutcome outcome = Recover(file);
    // Logs, events, texts and messages may prove themselves, but without a base time no item has a
    // time; in the closed file the block index has it.
    EXPECT_LE(Missing(outcome.items, items), 8192U);
    EXPECT_TRUE(AreSame(outcome.items.front(), items.front()));
    EXPECT_TRUE(AreSame(outcome.items.back(), items.back()));
    EXPECT_GT(outcome.report.losses.Count(), 0U);
  }
}

TEST_F(RecoveryTest, ALostBlockIsToldWhateverTheLinkToItSays) {
  for (const std::uint64_t link : {std::uint64_t{0}, std::uint64_t{369'413'684}, UINT64_MAX}) {
    ByteVector file = With(unclosed, 4 + 57'344, link, 8);
    const std::size_t block = BlockAt(unclosed, 1);
    Fill(file, block, BlockAt(unclosed, 2), 0xFF);
    const sOutcome outcome = Recover(file);
    EXPECT_EQ(outcome.items.size(), items.size() - 8192);
    EXPECT_GT(outcome.report.losses.Count(), 0U) << link;
    EXPECT_EQ(outcome.report.lostBytes, BlockAt(unclosed, 2) - block) << link;
  }
}

TEST_F(RecoveryTest, AWrongPositionOfTheLastEntryCostsNoOther) {
  const std::vector<sBuiltItem> few(items.begin(), items.begin() + 50);
  ByteVector file = BuildItems(few).Closed();
  file[4 + 49 * 7 + 4] = 0x33;  // the highest byte
  Fill(file, 57'364 + 1, 57'364 + 300, 0xFE);
  const sOutcome outcome = Recover(file);
  ASSERT_FALSE(outcome.items.empty());
  EXPECT_TRUE(AreSame(outcome.items.back(), few.back()));
}

TEST_F(RecoveryTest, RecordsProveThemselvesWhereEntriesAreZero) {
  for (ByteVector file : {closed, unclosed}) {
    const std::size_t block = BlockAt(file, 1);
    Fill(file, block + 7 * 100, block + 7 * 600, 0);
    const sOutcome outcome = Recover(file);
    // Requests and replies, and what stands between two of them, cannot be told from each other.
    EXPECT_LE(Missing(outcome.items, items), 300U);
    EXPECT_GT(outcome.report.proven, 200U);
    EXPECT_GT(outcome.report.lostItems, 0U);
    EXPECT_EQ(outcome.report.lostItems, Missing(outcome.items, items));
  }
}

TEST_F(RecoveryTest, AnOverwrittenHeaderCostsNothing) {
  const sOutcome outcome = Recover(With(closed, 0, 0, 4));
  EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size()));
  EXPECT_EQ(outcome.report.losses.Count(), 0U);
  EXPECT_EQ(outcome.report.mended.Count(), 1U);
}

TEST_F(RecoveryTest, AnOverwrittenBeginningCostsNoProvenItem) {
  for (ByteVector file : {closed, unclosed}) {
    Fill(file, 0, 4096, 0);  // the header and the first 584 entries
    const sOutcome outcome = Recover(file);
    EXPECT_LE(Missing(outcome.items, items), 350U);
    EXPECT_TRUE(AreSame(outcome.items.front(), items.front()));
    EXPECT_EQ(outcome.report.mended.Count(), 1U);
  }
}

TEST_F(RecoveryTest, PacketsThatWereOverwrittenAreTold) {
  ByteVector file = unclosed;
  const std::size_t records = 57'364;
  Fill(file, records + 44 + 1 + 1 + 42 + 1, records + 44 + 1 + 1 + 44 + 1, 0xFE);
  EXPECT_EQ(Recover(file).report.unfit.count, 0U);  // within a text
  Fill(file, records + 1, records + 5, 0);          // where it begins
  const sOutcome outcome = Recover(file);
  EXPECT_EQ(outcome.items.size(), items.size());
  EXPECT_EQ(outcome.report.unfit.count, 1U);
  EXPECT_EQ(outcome.report.unfit.first, (sUnfitRecord{records, 0}));
}

TEST_F(RecoveryTest, AnEntryThatWouldSwallowOthersIsWrong) {
  for (ByteVector file : {closed, unclosed}) {
    // Of a reply, of which only its entry tells how long it is; those behind it are lost.
    const std::size_t entry = 4 + 7 * (22 * 9 + 3);
    file = With(std::move(file), entry + 5, 12'000, 2);
    Fill(file, entry + 7, entry + 7 * 70, 0xA5);
    const sOutcome outcome = Recover(file);
    EXPECT_LE(Missing(outcome.items, items), 71U);
    EXPECT_GT(outcome.report.losses.Count(), 0U);
  }
}

TEST_F(RecoveryTest, ABlockWithoutLinkAndTimeHasAnothersWord) {
  for (ByteVector file : {closed, unclosed}) {
    Fill(file, 4 + 57'344, 4 + 57'360, 0);
    const sOutcome outcome = Recover(file);
    ASSERT_EQ(outcome.items.size(), items.size());
    // That of the block index; or of the packets, whose stamps are older than the items here.
    const bool isClosed = file.size() == closed.size();
    EXPECT_EQ(outcome.report.losses.Count(), isClosed ? 0U : 1U);
    EXPECT_EQ(outcome.report.mended.Count(), isClosed ? 1U : 0U);
    EXPECT_EQ(AreItems(outcome.items, items, 0, items.size()), isClosed);
    EXPECT_GE(outcome.items.front().time + 3'600'000, items.front().time);
  }
}

TEST_F(RecoveryTest, AFileWithoutItsBeginningKeepsWholeBlocks) {
  const std::size_t block = BlockAt(closed, 1);
  const ByteVector file(closed.begin() + static_cast<std::ptrdiff_t>(block) - 1000, closed.end());
  const sOutcome outcome = Recover(file);
  EXPECT_TRUE(AreItems(outcome.items, items, 8192, items.size()));
  EXPECT_THAT(TextsOf(outcome.report.losses),
              ElementsAre("the first 1000 bytes lead to no item, at offset 0"));
}

TEST_F(RecoveryTest, TheItemsOfCapturesThatWereJoinedAreKept) {
  const std::vector<sBuiltItem> few(items.begin(), items.begin() + 50);
  const ByteVector second = BuildItems(few).Closed();
  for (const ByteVector& first : {closed, unclosed}) {
    ByteVector file = first;
    file.insert(file.end(), second.begin(), second.end());
    const sOutcome outcome = Recover(file);
    ASSERT_EQ(outcome.items.size(), items.size() + 50);
    EXPECT_TRUE(std::equal(items.begin(), items.end(), outcome.items.begin(), AreSame));
    EXPECT_TRUE(std::equal(few.rbegin(), few.rend(), outcome.items.rbegin(), AreSame));
    EXPECT_THAT(outcome.report.moreCaptures, ElementsAre(first.size()));
    EXPECT_EQ(outcome.report.losses.Count(), 0U);
  }
}

TEST_F(RecoveryTest, ItemsBehindCapturesWithoutItemsAreKept) {
  const std::vector<sBuiltItem> few(items.begin(), items.begin() + 50);
  const ByteVector none = cCaptureBuilder().Closed();
  const ByteVector second = BuildItems(few).Closed();
  ByteVector file = none;
  file.insert(file.end(), none.begin(), none.end());
  file.insert(file.end(), second.begin(), second.end());
  const sOutcome outcome = Recover(file);
  EXPECT_TRUE(AreItems(outcome.items, few, 0, 50));
  EXPECT_EQ(outcome.report.losses.Count(), 0U);
  EXPECT_THAT(outcome.report.moreCaptures, ElementsAre(20U, 40U));
}

TEST_F(RecoveryTest, OfVeryManyCapturesTheFirstOnesAreTold) {
  const std::vector<sBuiltItem> few(items.begin(), items.begin() + 50);
  const ByteVector whole = BuildItems(few).Closed();
  ByteVector file;
  for (int number = 0; number < 30; ++number) {
    file.insert(file.end(), whole.begin(), whole.begin() + 4);
  }
  file.insert(file.end(), whole.begin(), whole.end());
  const sOutcome outcome = Recover(file);
  EXPECT_TRUE(AreItems(outcome.items, few, 0, 50));
  EXPECT_EQ(outcome.report.captures, 30U);
  EXPECT_EQ(outcome.report.moreCaptures.size(), 20U);
  EXPECT_EQ(outcome.report.moreCaptures.back(), 80U);
}

TEST_F(RecoveryTest, AWrongWidthInTheLastEntryCostsNoItemInFront) {
  // The packet ends where the records do, as if all behind a change stood elsewhere.
  const std::vector<sBuiltItem> real = RealItems();
  for (const ByteVector& whole : {BuildItems(real).Closed(), BuildItems(real).Unclosed()}) {
    for (const unsigned flags : {0x05U, 0x25U, 0x65U}) {
      const sOutcome outcome = Recover(With(whole, 4 + 21 * 7, flags, 1));
      EXPECT_LE(Missing(outcome.items, real), 1U) << flags;
      EXPECT_GE(outcome.items.size(), 21U);
    }
  }
}

TEST_F(RecoveryTest, ALinkToNowhereCostsNothing) {
  for (const ByteVector& file : {closed, unclosed}) {
    for (const std::uint64_t link : {std::uint64_t{0}, std::uint64_t{57'364}, UINT64_MAX}) {
      const sOutcome outcome = Recover(With(file, 4 + 57'344, link, 8));
      EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size())) << link;
      EXPECT_EQ(outcome.report.losses.Count(), 0U);
    }
  }
}

TEST_F(RecoveryTest, ABaseTimeThatCannotBeIsMended) {
  for (const ByteVector& file : {closed, unclosed}) {
    const sOutcome outcome = Recover(With(file, 4 + 57'352 + 6, 0xFFFF, 2));
    EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size()));
    EXPECT_EQ(outcome.report.losses.Count(), 0U);
    EXPECT_EQ(outcome.report.mended.Count(), 1U);
  }
}

TEST_F(RecoveryTest, GarbageBehindTheItemsIsNoItem) {
  ByteVector file = closed;
  file.insert(file.end(), 70'000, 0x5C);
  const sOutcome outcome = Recover(file);
  EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size()));
  EXPECT_GT(outcome.report.losses.Count(), 0U);
}

TEST_F(RecoveryTest, BytesBehindTheTrailerAreTold) {
  ByteVector file = closed;
  file.push_back('x');
  const sOutcome outcome = Recover(file);
  EXPECT_TRUE(AreItems(outcome.items, items, 0, items.size()));
  EXPECT_THAT(TextsOf(outcome.report.losses),
              ElementsAre("1 byte behind the trailer belongs to no item, at offset " +
                          std::to_string(closed.size())));
  EXPECT_EQ(outcome.report.unfinishedBytes, 0U);
  // Another capture without items is no loss.
  file.pop_back();
  const ByteVector none = cCaptureBuilder().Closed();
  file.insert(file.end(), none.begin(), none.end());
  EXPECT_EQ(Recover(file).report.losses.Count(), 0U);
}

TEST_F(RecoveryTest, AFileThatLacksOnlyItsHeaderLosesNothing) {
  const std::vector<sBuiltItem> few(items.begin(), items.begin() + 50);
  const ByteVector whole = BuildItems(few).Closed();
  const sOutcome outcome = Recover(ByteVector(whole.begin() + 4, whole.end()));
  EXPECT_TRUE(AreItems(outcome.items, few, 0, 50));
  EXPECT_EQ(outcome.report.losses.Count(), 0U);
  EXPECT_THAT(TextsOf(outcome.report.mended),
              ElementsAre("the file lacks its header and begins with a block, at offset 0"));
}

TEST_F(RecoveryTest, ThePacketInsideAResponseIsNoItem) {
  // The response that hands over a packet is followed by that packet. Without their directory
  // entries only the second may be taken.
  const std::vector<sBuiltItem> some(items.begin() + 14, items.begin() + 18);
  for (std::size_t entry = 0; entry < 4; ++entry) {
    ByteVector file = BuildItems(some).Closed();
    Fill(file, 4 + 7 * entry, 4 + 7 * 4, 0);
    const sOutcome outcome = Recover(file);
    EXPECT_LE(Missing(outcome.items, some), some.size()) << entry;
  }
}

TEST_F(RecoveryTest, WhatIsNoCaptureHasNoItem) {
  for (const ByteVector& file :
       {ByteVector{}, ByteVector(3, 8), ByteVector(200'000, 0), ByteVector(200'000, 0xFF),
        Hex("08 31 60 AB"), ByteVector(closed.begin(), closed.begin() + 57'363)}) {
    EXPECT_THAT(Recover(file).items, IsEmpty());
  }
}

TEST_F(RecoveryTest, ATakerThatHasEnoughEndsIt) {
  cMemorySource source(std::make_shared<const ByteVector>(closed));
  int taken = 0;
  const sRecoveryReport report =
      RecoverCapture(source, [&taken](const sRecoveredItem&) { return ++taken < 10; });
  EXPECT_EQ(taken, 10);
  EXPECT_EQ(report.items, 9U);
}

// A file whose bytes from a position on cannot be read.
class cBrokenSource final : public cByteSource {
 public:
  cBrokenSource(const ByteVector& all, std::uint64_t limit) : bytes(all), readable(limit) {}
  [[nodiscard]] std::optional<std::uint64_t> Size() override { return bytes.size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> wanted) override {
    const std::uint64_t start = std::min(offset, readable);
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(wanted.size(), readable - start));
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(start), count, wanted.begin());
    return count;
  }

 private:
  const ByteVector& bytes;
  std::uint64_t readable;
};

TEST_F(RecoveryTest, WhatCannotBeReadIsTold) {
  for (const std::uint64_t limit : {std::uint64_t{0}, std::uint64_t{4}, std::uint64_t{30'000},
                                    std::uint64_t{60'000}, std::uint64_t{closed.size() - 40}}) {
    cBrokenSource source(closed, limit);
    std::uint64_t taken = 0;
    const sRecoveryReport report = RecoverCapture(source, [&taken](const sRecoveredItem&) {
      ++taken;
      return true;
    });
    EXPECT_EQ(report.items, taken);
    EXPECT_TRUE(taken == 0 || report.losses.Count() != 0 || taken == items.size()) << limit;
  }
}

}  // namespace
}  // namespace corvane
