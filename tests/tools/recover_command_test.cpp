#include <tuple>

#include "corvane/command/command_line.h"
#include "tools/rewriting_fixture.h"

namespace corvane::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using RecoverCommandTest = RewritingCommandsTest;

TEST_F(RecoverCommandTest, RecoveringAnUnclosedCaptureClosesIt) {
  const std::vector<sBuiltItem> items = {Text(kNoon, "Corvane version 1.0"), Reply(kNoon + 1, 1)};
  const std::string input = Make("in.isf", items, false);
  std::ignore = AddMarker(input, {kNoon + 1, "here"});
  EXPECT_EQ(Recover(input), kExitGood) << errors.str();
  EXPECT_EQ(BytesOf(output), BytesOf(Make("closed.isf", items)));
  EXPECT_THAT(MarkersOf(output), ElementsAre("here"));
  EXPECT_THAT(out.str(), HasSubstr("Kept:   2 items"));
  EXPECT_THAT(out.str(), HasSubstr("Lost:   nothing; the file was not closed"));
}

TEST_F(RecoverCommandTest, RecoveringACompleteCaptureCopiesIt) {
  const std::string input = Make("in.isf", {Reply(kNoon, 1), Reply(kNoon + 400, 2)});
  EXPECT_EQ(Recover(input), kExitGood);
  EXPECT_EQ(BytesOf(output), BytesOf(input));
  EXPECT_THAT(out.str(), HasSubstr("complete already"));
  EXPECT_EQ(errors.str(), "");
}

TEST_F(RecoverCommandTest, RecoveringTellsOfOverwrittenPackets) {
  const std::string input = Make("in.isf", {Reply(kNoon, 1), Text(kNoon + 1, "a text")}, false);
  Overwrite(input, {57'364 + 3 + 1});  // where the text begins, behind its time
  EXPECT_EQ(Recover(input), kExitFailed);
  EXPECT_THAT(out.str(), HasSubstr("Lost:   no item; 1 item may have been overwritten (item 1 at "
                                   "offset 57367)\n"));
  EXPECT_THAT(errors.str(), HasSubstr("in.isf: 1 item (item 1 at offset 57367) kept as it is: the "
                                      "bytes are none of the item's type"));
}

TEST_F(RecoverCommandTest, OverwrittenPacketsOfACompleteCaptureAreTold) {
  const std::string input = Make("in.isf", {Reply(kNoon, 1), Text(kNoon + 1, "a text")});
  Overwrite(input, {57'364 + 3 + 1});
  EXPECT_EQ(Recover(input), kExitFailed);
  EXPECT_EQ(BytesOf(output), BytesOf(input));
  EXPECT_THAT(out.str(), HasSubstr("Lost:   no item; 1 item may have been overwritten (item 1 at "
                                   "offset 57367)\n"));
  EXPECT_THAT(errors.str(), HasSubstr("in.isf: 1 item (item 1 at offset 57367) kept as it is: "));
}

TEST_F(RecoverCommandTest, AnExtraFieldThatWasOverwrittenIsTold) {
  sBuiltItem log{8, kNoon, ByteVector(40), 5};  // of a log code that has the technology beside it
  Put(log.packet, 0, 0x10, 1);
  log.packet[2] = log.packet[4] = 36;
  Put(log.packet, 6, 0x1004, 2);
  EXPECT_EQ(Recover(Make("good.isf", {log})), kExitGood) << errors.str();
  log.extra = 0x40000005;
  EXPECT_EQ(Recover(Make("bad.isf", {log}), true), kExitFailed);
  EXPECT_THAT(out.str(), HasSubstr("1 item may have been overwritten (item 0 at offset 57364)\n"));
}

TEST_F(RecoverCommandTest, OverwrittenPacketsAreToldFromFirstToLast) {
  constexpr std::size_t kRecord = 1 + 4 + 6;  // a text of two characters with its time
  const std::string input =
      Make("in.isf",
           {Text(kNoon, "ab"), Text(kNoon + 1, "ab"), Text(kNoon + 2, "ab"), Text(kNoon + 3, "ab")},
           false);
  Overwrite(input, {57'364 + kRecord + 1, 57'364 + 2 * kRecord + 1});
  EXPECT_EQ(Recover(input), kExitFailed);
  EXPECT_THAT(out.str(), HasSubstr("(from item 1 at offset 57375 to item 2 at offset 57386)\n"));
  EXPECT_THAT(errors.str(), HasSubstr("2 items (from item 1 at offset 57375 to item 2 at offset "
                                      "57386) kept as they are"));
}

TEST_F(RecoverCommandTest, ATrailerThatIsNotWholeIsToldAsSuch) {
  const ByteVector whole = cCaptureBuilder().Add(Reply(kNoon, 1)).Closed();
  const std::string trailer = std::to_string(whole.size() - 16);
  ByteVector flipped = whole;
  flipped.back() ^= 1;
  EXPECT_EQ(Recover(folder.Write("in.isf", flipped)), kExitGood);
  EXPECT_THAT(errors.str(), HasSubstr("in.isf: the trailer is damaged, at offset " + trailer));
  EXPECT_THAT(out.str(), HasSubstr("Lost:   nothing; the file was damaged\n"));
  EXPECT_EQ(BytesOf(output), std::string(whole.begin(), whole.end()));

  const ByteVector cut(whole.begin(), whole.end() - 4);
  EXPECT_EQ(Recover(folder.Write("in.isf", cut), true), kExitGood);
  EXPECT_THAT(errors.str(), HasSubstr("in.isf: the trailer is cut off, at offset " + trailer));

  // The index of a second block is not whole, either.
  const ByteVector two = TwoBlocks().Closed();
  const ByteVector cutIndex(two.begin(), two.end() - 20);
  EXPECT_EQ(Recover(folder.Write("in.isf", cutIndex), true), kExitGood);
  EXPECT_THAT(errors.str(),
              HasSubstr("in.isf: the block index is cut off, and there is no trailer, at offset " +
                        std::to_string(two.size() - 32)));
  EXPECT_EQ(BytesOf(output), std::string(two.begin(), two.end()));
}

TEST_F(RecoverCommandTest, TheLastOfManyLossesIsNamed) {
  // So many captures behind each other, in each of which the second item is cut short.
  ByteVector file;
  constexpr std::size_t kCaptures = cDamage::kMostKept + 2;
  std::size_t last = 0;
  for (std::size_t number = 0; number < kCaptures; ++number) {
    ByteVector one = cCaptureBuilder().Add(Reply(kNoon, 1)).Add(Reply(kNoon + 1, 2)).Unclosed();
    one.resize(57'364 + 3 + 1);
    last = file.size() + 57'364 + 3;
    file.insert(file.end(), one.begin(), one.end());
  }
  EXPECT_EQ(Recover(folder.Write("in.isf", file)), kExitFailed);
  EXPECT_THAT(
      errors.str(),
      HasSubstr("2 more places lost something; the last: item 1 is lost (1 byte), at offset " +
                std::to_string(last) + "\n"));
  EXPECT_THAT(out.str(), HasSubstr("(from offset 57367 to " + std::to_string(last) + ")\n"));
}

TEST_F(RecoverCommandTest, WhatRecoveringLosesIsToldWithItsPlace) {
  const std::string input =
      Make("in.isf", {Reply(kNoon, 1), Reply(kNoon + 1, 2), Reply(kNoon + 2, 3)}, false);
  std::filesystem::resize_file(input, 57'364 + 3 + 3 + 1);
  EXPECT_EQ(Recover(input), kExitFailed);
  EXPECT_THAT(ItemsOf(output), ElementsAre("+0 1", "+1 2"));
  EXPECT_THAT(errors.str(), HasSubstr("item 2 is lost (1 byte), at offset 57370"));
  EXPECT_THAT(out.str(), HasSubstr("Lost:   1 item, 1 B (at offset 57370)\n"));
}

TEST_F(RecoverCommandTest, ALinkFarBehindAllRecordsIsNoPlace) {
  // A directory of nothing but 0xFF leads nowhere, and no link does.
  ByteVector file = Hex("08 31 60 AB");
  file.resize(60'004, 0xFF);
  EXPECT_EQ(Recover(folder.Write("in.isf", file)), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("the block at offset 60004 is cut off"));
  file = With(TwoBlocks().Unclosed(), 4 + 57'344, UINT64_MAX, 8);
  const std::size_t records = 57'364 + 2 * 8192;
  file.resize(records);
  EXPECT_EQ(Recover(folder.Write("in.isf", file)), kExitFailed);
  EXPECT_THAT(errors.str(),
              HasSubstr("the block at offset " + std::to_string(records) + " is cut off"));
}

TEST_F(RecoverCommandTest, WithoutAnItemNothingIsMade) {
  const std::string old = folder.Write("out.isf", ByteVector{1, 2, 3});
  for (const ByteVector& file : {ByteVector{}, Hex("08 31 60 AB"), ByteVector(70'000, 0x41)}) {
    EXPECT_EQ(Recover(folder.Write("in.isf", file), true), kExitFailed);
    EXPECT_THAT(errors.str(), HasSubstr("there is no item in it"));
    EXPECT_EQ(BytesOf(old), "\x01\x02\x03");
    EXPECT_FALSE(HasLeftovers());
  }
}

}  // namespace
}  // namespace corvane::tools
