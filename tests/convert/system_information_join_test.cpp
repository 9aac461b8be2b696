#include "convert/system_information_join.h"

#include <gtest/gtest.h>

#include "ota/bits.h"

namespace corvane {
namespace {

constexpr std::uint64_t kSecond = std::uint64_t{800} << 16;  // in steps of a DIAG timestamp

// --- Messages, written by the tables of 3GPP TS 25.331

// `frame` counts two frames of 10 ms.
Bits BchAt(unsigned frame, unsigned payload, const Bits& rest) {
  return Number(frame, 11) + Number(payload, 4) + rest;
}
Bits Bch(unsigned payload, const Bits& rest) { return BchAt(0, payload, rest); }
Bits Fach(unsigned payload, const Bits& rest) { return Number(0, 2) + Number(payload, 4) + rest; }

Bits Type(unsigned sibType) { return Number(sibType, 5); }
Bits FirstOf(unsigned sibType, unsigned count, const Bits& data) {
  return Type(sibType) + Number(count - 1, 4) + data;
}
Bits Later(unsigned sibType, unsigned index, const Bits& data) {
  return Type(sibType) + Number(index - 1, 4) + data;
}
Bits Short(const Bits& data) { return Number(data.size() - 1, 8) + data; }
Bits CompleteList(std::initializer_list<Bits> blocks) {
  Bits list = Number(blocks.size() - 1, 4);
  for (const Bits& block : blocks) {
    list += block;
  }
  return list;
}

// The payload choices.
constexpr unsigned kFirst = 1;
constexpr unsigned kSubsequent = 2;
constexpr unsigned kLastShort = 3;
constexpr unsigned kLastAndFirst = 4;
constexpr unsigned kLastAndComplete = 5;
constexpr unsigned kLastAndCompleteAndFirst = 6;
constexpr unsigned kCompleteList = 7;
constexpr unsigned kCompleteAndFirst = 8;
constexpr unsigned kComplete = 9;
constexpr unsigned kLast = 10;

const Bits kA = Pattern(222, 1);
const Bits kB = Pattern(222, 2);
const Bits kC = Pattern(222, 3);

// --- A capture

struct sJoiner {
  cSystemInformationJoin join;
  sSource source{"COM7", std::nullopt};
  sCell cell;
  eSyntax syntax = eSyntax::WcdmaBcchBch;
  std::optional<std::uint64_t> time = 0;
  std::uint64_t item = 0;

  std::optional<sJoinedMessage> Add(const Bits& message) { return AddBytes(BytesOf(message)); }

  std::optional<sJoinedMessage> AddBytes(const ByteVector& message) {
    sDescription description;
    description.sort = eItemSort::Log;
    description.modemTime = time;
    description.cell = cell;
    description.signalling.emplace();
    description.signalling->syntax = syntax;
    description.signalling->channel = "BCCH-BCH";
    description.signalling->link = eLink::Downlink;
    description.signalling->message = message;
    return join.Add(source, item++, description);
  }

  // Adds all of them and says what came of the last one. Nothing may come of the others.
  std::optional<sJoinedMessage> AddAll(std::initializer_list<Bits> messages) {
    std::optional<sJoinedMessage> joined;
    for (const Bits& message : messages) {
      EXPECT_FALSE(joined);
      joined = Add(message);
    }
    return joined;
  }
};

const Bits kFirstOfThree = Bch(kFirst, FirstOf(5, 3, kA));
const Bits kSecondOfThree = Bch(kSubsequent, Later(5, 1, kB));
const Bits kThirdOfThree = Bch(kLast, Later(5, 2, kC));

TEST(SystemInformationJoinTest, FixedSegmentsBecomeABlock) {
  sJoiner joiner;
  joiner.time = 7 * kSecond;
  const auto joined = joiner.AddAll({kFirstOfThree, kSecondOfThree, kThirdOfThree});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.syntax, eSyntax::WcdmaSystemInformationBlock);
  EXPECT_EQ(joined->signalling.sibType, 5);
  EXPECT_EQ(joined->signalling.messageName, "SysInfo type 5");
  EXPECT_EQ(joined->signalling.link, eLink::Downlink);
  EXPECT_EQ(joined->signalling.channel, "BCCH-BCH");
  EXPECT_EQ(joined->signalling.message, BytesOf(kA + kB + kC));
  EXPECT_EQ(joined->signalling.message.size(), 84u);  // 666 bits
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{0, 1, 2}));
  EXPECT_EQ(joined->modemTime, 7 * kSecond);
}

TEST(SystemInformationJoinTest, BitsAreReadFromTheMostSignificantOne) {
  sJoiner joiner;
  // SFN 00000000000, choice 0001, type 00011, count 0001, 222 bits.
  ByteVector first(31, 0xFF);
  first[0] = 0b00000000;
  first[1] = 0b00000010;
  first[2] = 0b00110001;
  // SFN 00000000000, choice 0011, type 00011, index 0000, length 00000011, 1010.
  const ByteVector last{0b00000000, 0b00000110, 0b00110000, 0b00000011, 0b10100000};
  EXPECT_FALSE(joiner.AddBytes(first));
  const auto joined = joiner.AddBytes(last);
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.sibType, 3);
  ByteVector whole(29, 0xFF);  // 222 ones, 1010
  whole[27] = 0b11111110;
  whole[28] = 0b10000000;
  EXPECT_EQ(joined->signalling.message, whole);
}

TEST(SystemInformationJoinTest, AShortLastSegmentEndsABlock) {
  sJoiner joiner;
  const auto joined =
      joiner.AddAll({Bch(kFirst, FirstOf(11, 2, kA)), Bch(kLastShort, Later(11, 1, Short("101")))});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(kA + "101"));
}

TEST(SystemInformationJoinTest, ALastAndAFirstSegmentShareAMessage) {
  sJoiner joiner;
  EXPECT_TRUE(
      joiner.AddAll({Bch(kFirst, FirstOf(5, 2, kA)),
                     Bch(kLastAndFirst, Later(5, 1, Short("11")) + FirstOf(6, 2, Short("0011")))}));
  const auto next = joiner.Add(Bch(kLast, Later(6, 1, kB)));
  ASSERT_TRUE(next);
  EXPECT_EQ(next->signalling.sibType, 6);
  EXPECT_EQ(next->signalling.message, BytesOf("0011" + kB));
  EXPECT_EQ(next->items, (std::vector<std::uint64_t>{1, 2}));
}

// The same block can end and begin in one message.
TEST(SystemInformationJoinTest, ABlockBeginsAnewBehindItsOwnEnd) {
  sJoiner joiner;
  const auto joined =
      joiner.AddAll({Bch(kFirst, FirstOf(5, 2, kA)),
                     Bch(kLastAndFirst, Later(5, 1, Short("1")) + FirstOf(5, 2, Short("01")))});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(kA + "1"));
  EXPECT_TRUE(joiner.Add(Bch(kLast, Later(5, 1, kB))));
}

TEST(SystemInformationJoinTest, ALastSegmentStandsBeforeCompleteBlocks) {
  sJoiner joiner;
  const auto joined = joiner.AddAll(
      {Bch(kFirst, FirstOf(5, 2, kA)),
       Bch(kLastAndComplete,
           Later(5, 1, Short("11")) + CompleteList({Type(1) + Short("1"), Type(2) + Short("0")}))});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(kA + "11"));
}

TEST(SystemInformationJoinTest, SegmentsStandAroundCompleteBlocks) {
  sJoiner joiner;
  const Bits list = CompleteList({Type(1) + Short("1101"), Type(2) + Short("0")});
  EXPECT_TRUE(joiner.AddAll({Bch(kFirst, FirstOf(5, 2, kA)),
                             Bch(kLastAndCompleteAndFirst,
                                 Later(5, 1, Short("1")) + list + FirstOf(7, 2, Short("01")))}));
  const auto joined = joiner.Add(Bch(kLastShort, Later(7, 1, Short("11"))));
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf("0111"));
}

TEST(SystemInformationJoinTest, AFirstSegmentStandsBehindCompleteBlocks) {
  sJoiner joiner;
  const auto joined =
      joiner.AddAll({Bch(kCompleteAndFirst,
                         CompleteList({Type(1) + Short(Pattern(60))}) + FirstOf(7, 2, Short("01"))),
                     Bch(kLastShort, Later(7, 1, Short("11")))});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf("0111"));
}

TEST(SystemInformationJoinTest, ABlockThatFillsItsMessageIsGivenOut) {
  sJoiner joiner;
  const auto joined = joiner.Add(Bch(kComplete, Type(0) + Pattern(226)));
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.sibType, 0);
  EXPECT_EQ(joined->signalling.messageName, "Master information block");
  EXPECT_EQ(joined->signalling.message, BytesOf(Pattern(226)));
  EXPECT_EQ(joined->signalling.message.size(), 29u);
  EXPECT_EQ(joined->items, std::vector<std::uint64_t>{0});
  EXPECT_FALSE(joiner.Add(Bch(kComplete, Type(0) + Pattern(210))));
  EXPECT_FALSE(joiner.Add(Bch(kComplete, Number(0, 4))));
  EXPECT_FALSE(joiner.Add(Bch(kComplete, Type(31) + Pattern(226))));
}

[[nodiscard]] std::vector<std::uint8_t> Listed(eSyntax syntax, const Bits& message) {
  sSignalling signalling;
  signalling.syntax = syntax;
  signalling.message = BytesOf(message);
  return ListedBlocks(signalling);
}

TEST(SystemInformationListTest, TellsTheBlocksThatAMessageHasWhole) {
  const Bits list =
      CompleteList({Type(1) + Short("1101"), Type(31) + Short("0"), Type(7) + Short("0")});
  const std::vector<std::uint8_t> wanted{1, 7};  // without the extension
  EXPECT_EQ(Listed(eSyntax::WcdmaBcchBch, Bch(kCompleteList, list)), wanted);
  EXPECT_EQ(Listed(eSyntax::WcdmaBcchFach, Fach(kCompleteList, list)), wanted);
  EXPECT_EQ(Listed(eSyntax::WcdmaBcchBch, Bch(kLastAndComplete, Later(5, 1, Short("1")) + list)),
            wanted);
  EXPECT_EQ(
      Listed(eSyntax::WcdmaBcchBch, Bch(kCompleteAndFirst, list + FirstOf(7, 2, Short("01")))),
      wanted);
}

TEST(SystemInformationListTest, AListThatBreaksOffTellsTheBlocksInFront) {
  const Bits list = Number(2, 4) + Type(1) + Short("11010001") + Type(2) + Number(200, 8) + "1";
  EXPECT_EQ(Listed(eSyntax::WcdmaBcchBch, Bch(kCompleteList, list)),
            (std::vector<std::uint8_t>{1}));
}

TEST(SystemInformationListTest, AMessageThatEndsInFrontOfItsListTellsNone) {
  // Frame number and choice leave one bit for the count, which has four.
  EXPECT_TRUE(
      Listed(eSyntax::WcdmaBcchBch, Number(0, 11) + Number(kCompleteList, 4) + "1").empty());
}

TEST(SystemInformationListTest, OtherMessagesHaveNone) {
  EXPECT_TRUE(Listed(eSyntax::WcdmaBcchBch, Bch(kFirst, FirstOf(5, 3, kA))).empty());
  EXPECT_TRUE(Listed(eSyntax::WcdmaBcchBch, "0").empty());
  EXPECT_TRUE(Listed(eSyntax::WcdmaDlDcch, Bch(kCompleteList, CompleteList({Type(1) + Short("1")})))
                  .empty());
}

TEST(SystemInformationJoinTest, BlocksOfListsAreLeftToTheirMessages) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.Add(Bch(0, "")));
  EXPECT_FALSE(joiner.Add(Bch(kCompleteList, CompleteList({Type(1) + Short("1")}))));
  for (unsigned spare = 11; spare <= 15; ++spare) {
    EXPECT_FALSE(joiner.Add(Bch(spare, Pattern(231))));
  }
}

TEST(SystemInformationJoinTest, SegmentsOnFachAreJoined) {
  sJoiner joiner;
  joiner.syntax = eSyntax::WcdmaBcchFach;
  const auto joined =
      joiner.AddAll({Fach(kFirst, FirstOf(5, 2, kA)), Fach(kLast, Later(5, 1, kB))});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(kA + kB));
}

TEST(SystemInformationJoinTest, AnotherFachMessageHasNoSegments) {
  sJoiner joiner;
  joiner.syntax = eSyntax::WcdmaBcchFach;
  EXPECT_FALSE(joiner.Add(Number(1, 2) + Number(kFirst, 4) + FirstOf(5, 2, kA)));
  EXPECT_FALSE(joiner.Add(Fach(kLast, Later(5, 1, kB))));
}

TEST(SystemInformationJoinTest, ALostSegmentDropsItsBlock) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.AddAll({kFirstOfThree, kThirdOfThree, kSecondOfThree, kThirdOfThree}));
  EXPECT_FALSE(joiner.AddAll({kSecondOfThree, kThirdOfThree}));
  // The next broadcast of the block is whole.
  EXPECT_TRUE(joiner.AddAll({kFirstOfThree, kSecondOfThree, kThirdOfThree}));
}

TEST(SystemInformationJoinTest, ARepeatedSegmentIsPassedOver) {
  sJoiner joiner;
  const auto joined =
      joiner.AddAll({kFirstOfThree, kFirstOfThree, kSecondOfThree, kSecondOfThree, kThirdOfThree});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{1, 2, 4}));
  EXPECT_FALSE(joiner.Add(kThirdOfThree));
}

TEST(SystemInformationJoinTest, ARepetitionWithOtherBitsDropsTheBlock) {
  sJoiner joiner;
  const Bits changed = Bch(kSubsequent, Later(5, 1, Pattern(222, 9)));
  EXPECT_FALSE(joiner.AddAll({kFirstOfThree, kSecondOfThree, changed, kThirdOfThree}));
}

TEST(SystemInformationJoinTest, AFirstSegmentBeginsItsBlockAnew) {
  sJoiner joiner;
  const Bits changed = Bch(kFirst, FirstOf(5, 3, Pattern(222, 9)));
  const auto joined =
      joiner.AddAll({kFirstOfThree, kSecondOfThree, changed, kSecondOfThree, kThirdOfThree});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(Pattern(222, 9) + kB + kC));
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{2, 3, 4}));
}

TEST(SystemInformationJoinTest, ALastSegmentInTheWrongPlaceDropsTheBlock) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.AddAll({kFirstOfThree, Bch(kLast, Later(5, 1, kB)), kThirdOfThree}));
  EXPECT_FALSE(joiner.AddAll(
      {kFirstOfThree, kSecondOfThree, Bch(kSubsequent, Later(5, 2, kC)), kThirdOfThree}));
  EXPECT_FALSE(
      joiner.AddAll({kFirstOfThree, kSecondOfThree, Bch(kLast, Later(5, 3, kC)), kThirdOfThree}));
}

TEST(SystemInformationJoinTest, AFirstSegmentOfOneIsAWholeBlock) {
  sJoiner joiner;
  const auto joined = joiner.Add(Bch(kFirst, FirstOf(5, 1, kA)));
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(kA));
}

TEST(SystemInformationJoinTest, SixteenSegmentsAreJoined) {
  sJoiner joiner;
  Bits all = kA;
  EXPECT_FALSE(joiner.Add(Bch(kFirst, FirstOf(11, 16, kA))));
  for (unsigned index = 1; index < 15; ++index) {
    EXPECT_FALSE(joiner.Add(Bch(kSubsequent, Later(11, index, Pattern(222, index)))));
    all += Pattern(222, index);
  }
  const auto joined = joiner.Add(Bch(kLast, Later(11, 15, kC)));
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(all + kC));
}

TEST(SystemInformationJoinTest, ABlockOfTypeExtensionIsLeft) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.AddAll({Bch(kFirst, FirstOf(31, 2, kA)), Bch(kLast, Later(31, 1, kB))}));
}

TEST(SystemInformationJoinTest, BlocksOfSeveralTypesGrowSideBySide) {
  sJoiner joiner;
  EXPECT_TRUE(joiner.AddAll({Bch(kFirst, FirstOf(5, 2, kA)), Bch(kFirst, FirstOf(11, 2, kB)),
                             Bch(kLast, Later(5, 1, kC))}));
  const auto joined = joiner.Add(Bch(kLast, Later(11, 1, kC)));
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, BytesOf(kB + kC));
}

TEST(SystemInformationJoinTest, BlocksOfSeveralCellsGrowSideBySide) {
  sJoiner joiner;
  const Bits first = Bch(kFirst, FirstOf(5, 2, kA));
  const Bits last = Bch(kLast, Later(5, 1, kB));
  joiner.cell.frequency = 10'700;
  joiner.cell.physicalCell = 17;
  EXPECT_FALSE(joiner.Add(first));
  joiner.cell.physicalCell = 18;
  EXPECT_FALSE(joiner.Add(last));
  joiner.cell = {};
  EXPECT_FALSE(joiner.Add(last));
  joiner.cell.frequency = 10'712;
  joiner.cell.physicalCell = 17;
  EXPECT_FALSE(joiner.Add(last));
  joiner.cell.frequency = 10'700;
  EXPECT_TRUE(joiner.Add(last));
}

TEST(SystemInformationJoinTest, SourcesAndChannelsAreKeptApart) {
  sJoiner joiner;
  const Bits last = Bch(kLast, Later(5, 1, kB));
  EXPECT_FALSE(joiner.Add(Bch(kFirst, FirstOf(5, 2, kA))));
  joiner.source.subscription = 2;
  EXPECT_FALSE(joiner.Add(last));
  joiner.source = {"COM8", std::nullopt};
  EXPECT_FALSE(joiner.Add(last));
  joiner.source = {"COM7", std::nullopt};
  joiner.syntax = eSyntax::WcdmaBcchFach;
  EXPECT_FALSE(joiner.Add(Fach(kLast, Later(5, 1, kB))));
  joiner.syntax = eSyntax::WcdmaBcchBch;
  EXPECT_TRUE(joiner.Add(last));
}

TEST(SystemInformationJoinTest, ABlockLiesWithinOneRoundOfTheFrameNumber) {
  const Bits first = Bch(kFirst, FirstOf(5, 2, kA));
  const Bits last = Bch(kLast, Later(5, 1, kB));
  sJoiner joiner;
  const auto after = [&](std::uint64_t from, std::uint64_t to) {
    joiner.time = from;
    EXPECT_FALSE(joiner.Add(first));
    joiner.time = to;
    return joiner.Add(last).has_value();
  };
  EXPECT_TRUE(after(kSecond, kSecond + 40 * kSecond));
  EXPECT_FALSE(after(kSecond, kSecond + 41 * kSecond));
  // The clock was set back, by a little and by much.
  EXPECT_TRUE(after(100 * kSecond, 99 * kSecond));
  EXPECT_FALSE(after(100 * kSecond, 50 * kSecond));
}

// Two cells on one carrier, where the log does not tell them apart, count their frames differently.
TEST(SystemInformationJoinTest, ABlockGoesOnAsItsFramesCount) {
  sJoiner joiner;
  const auto joins = [&](std::uint64_t passed, unsigned from, unsigned to) {
    joiner.time = 1000 * kSecond;
    EXPECT_FALSE(joiner.Add(BchAt(from, kFirst, FirstOf(5, 2, kA))));
    joiner.time = 1000 * kSecond + passed;
    return joiner.Add(BchAt(to, kLast, Later(5, 1, kB))).has_value();
  };
  EXPECT_TRUE(joins(2 * kSecond, 7, 107));
  // A second of 50 counts is the bound, on either side.
  EXPECT_TRUE(joins(2 * kSecond, 7, 157));
  EXPECT_FALSE(joins(2 * kSecond, 7, 158));
  EXPECT_TRUE(joins(2 * kSecond, 7, 57));
  EXPECT_FALSE(joins(2 * kSecond, 7, 56));
  EXPECT_FALSE(joins(kSecond / 50, 7, 1031));
  // The count goes round.
  EXPECT_TRUE(joins(2 * kSecond, 2000, 52));
  EXPECT_TRUE(joins(0, 0, 2000));
  EXPECT_FALSE(joins(0, 0, 1990));
}

TEST(SystemInformationJoinTest, APieceOfAnotherCellsFramesDropsTheBlock) {
  sJoiner joiner;
  joiner.time = 1000 * kSecond;
  EXPECT_FALSE(joiner.Add(BchAt(0, kFirst, FirstOf(5, 3, kA))));
  EXPECT_FALSE(joiner.Add(BchAt(2, kSubsequent, Later(5, 1, kB))));
  EXPECT_FALSE(joiner.Add(BchAt(1000, kSubsequent, Later(5, 1, kB))));
  EXPECT_FALSE(joiner.Add(BchAt(6, kLast, Later(5, 2, kC))));
}

TEST(SystemInformationJoinTest, FramesAreNotLookedAtWithoutTimes) {
  sJoiner joiner;
  joiner.time.reset();
  EXPECT_FALSE(joiner.Add(BchAt(0, kFirst, FirstOf(5, 2, kA))));
  EXPECT_TRUE(joiner.Add(BchAt(1000, kLast, Later(5, 1, kB))));
}

TEST(SystemInformationJoinTest, ABrokenMessageIsPassedOverWhole) {
  sJoiner joiner;
  const Bits whole =
      Bch(kLastAndFirst, Later(5, 1, Short("1")) + FirstOf(6, 2, Short(Pattern(90))));
  const ByteVector bytes = BytesOf(whole);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_FALSE(joiner.Add(Bch(kFirst, FirstOf(5, 2, kA))));
    EXPECT_FALSE(joiner.AddBytes(ByteVector(bytes.begin(), bytes.begin() + std::ptrdiff_t(size))));
    EXPECT_FALSE(joiner.Add(Bch(kLast, Later(6, 1, kB))));
  }
  EXPECT_TRUE(joiner.AddBytes(bytes));
}

TEST(SystemInformationJoinTest, ALengthThatNoSegmentHasBreaksTheMessage) {
  sJoiner joiner;
  EXPECT_TRUE(joiner.AddAll({Bch(kFirst, FirstOf(5, 2, kA)),
                             Bch(kLastShort, Later(5, 1, Number(213, 8) + Pattern(214)))}));
  EXPECT_FALSE(joiner.AddAll({Bch(kFirst, FirstOf(5, 2, kA)),
                              Bch(kLastShort, Later(5, 1, Number(214, 8) + Pattern(300)))}));
}

TEST(SystemInformationJoinTest, BlocksThatNeverEndAreForgotten) {
  sJoiner joiner;
  const Bits first = Bch(kFirst, FirstOf(5, 2, kA));
  for (std::uint32_t frequency = 0; frequency <= 1024; ++frequency) {
    joiner.cell.frequency = frequency;
    EXPECT_FALSE(joiner.Add(first));
  }
  const Bits last = Bch(kLast, Later(5, 1, kB));
  joiner.cell.frequency = 0;
  EXPECT_FALSE(joiner.Add(last));
  joiner.cell.frequency = 1;
  EXPECT_TRUE(joiner.Add(last));
}

TEST(SystemInformationJoinTest, OtherItemsAreNotLookedAt) {
  cSystemInformationJoin join;
  sDescription description;
  EXPECT_FALSE(join.Add({}, 0, description));
  description.signalling.emplace();
  description.signalling->syntax = eSyntax::WcdmaPcch;
  description.signalling->message = BytesOf(Bch(kFirst, FirstOf(5, 1, kA)));
  EXPECT_FALSE(join.Add({}, 1, description));
}

}  // namespace
}  // namespace corvane
