#include "rewrite/base_time_choice.h"

#include <gtest/gtest.h>

#include <string>

#include "rewrite/real_capture.h"
#include "rewrite/recovery.h"

namespace corvane {
namespace {

constexpr std::uint64_t kHour = 3'600'000;
constexpr std::uint64_t kYear = 365 * 24 * kHour;

// Logs of a modem whose clock shows `modemTime` at the beginning, recorded from kNoon on.
[[nodiscard]] std::vector<sBuiltItem> LogsOf(std::uint64_t modemTime) {
  std::vector<sBuiltItem> items = {{7, kNoon, TextItem("Corvane version 1.0"), {}}};
  for (std::uint64_t at = 10; at < 300; at += 10) {
    items.push_back({5, kNoon + at, LogPacket(0xB0C1, modemTime + at, ByteVector(12, 0x31)), {}});
  }
  return items;
}

struct sOutcome {
  std::uint64_t wrongTimes = 0;
  sRecoveryReport report;
};

[[nodiscard]] sOutcome Recover(ByteVector bytes, const std::vector<sBuiltItem>& items) {
  sOutcome outcome;
  std::size_t number = 0;
  cMemorySource source(std::make_shared<const ByteVector>(std::move(bytes)));
  outcome.report = RecoverCapture(source, [&](const sRecoveredItem& item) {
    outcome.wrongTimes += item.head.time == items.at(number++).time ? 0U : 1U;
    return true;
  });
  EXPECT_EQ(number, items.size());
  return outcome;
}

// Milliseconds by which the modem's clock is ahead.
class BaseTimeSweepTest : public ::testing::TestWithParam<std::int64_t> {};

TEST_P(BaseTimeSweepTest, AByteOfOneBaseTimeCostsNoTimeUntold) {
  const auto items = LogsOf(kNoon + static_cast<std::uint64_t>(GetParam()));
  const ByteVector file = BuildItems(items).Closed();
  const std::size_t inIndex = file.size() - 16 - 8;
  const std::size_t inBlock = 4 + 57'352;
  for (const std::size_t place : {inIndex, inBlock}) {
    for (std::size_t byte = place; byte < place + 8; ++byte) {
      for (const unsigned value :
           {0x00U, 0x01U, 0x05U, 0x10U, 0x80U, 0xFFU, file[byte] ^ 1U, file[byte] ^ 0x20U}) {
        SCOPED_TRACE((place == inIndex ? "index, byte " : "block, byte ") +
                     std::to_string(byte - place) + " becomes " + std::to_string(value));
        if (value == file[byte]) {
          continue;
        }
        const sOutcome outcome = Recover(With(file, byte, value, 1), items);
        // The block's own is taken where nothing decides, and that is told.
        if (place == inIndex) {
          EXPECT_EQ(outcome.wrongTimes, 0U);
        }
        EXPECT_TRUE(outcome.wrongTimes == 0 || outcome.report.losses.Count() != 0);
        EXPECT_NE(outcome.report.mended.Count() + outcome.report.losses.Count(), 0U);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(ModemClocks, BaseTimeSweepTest,
                         ::testing::Values(0, -std::int64_t{kHour}, std::int64_t{kHour},
                                           -std::int64_t{44 * kYear}));

[[nodiscard]] sBaseTimeEvidence Differing(std::uint64_t own, std::uint64_t indexed,
                                          std::optional<std::uint64_t> byModem) {
  sBaseTimeEvidence evidence;
  evidence.own = own;
  evidence.indexed = indexed;
  evidence.hasItems = true;
  evidence.byModem = [byModem] { return byModem; };
  return evidence;
}

TEST(BaseTimeChoiceTest, TheModemDecidesWhenItIsNearToOneAlone) {
  const std::uint64_t far = kNoon + kYear;
  EXPECT_EQ(ChooseBaseTime(Differing(far, kNoon, kNoon + kHour)).time, kNoon);
  EXPECT_EQ(ChooseBaseTime(Differing(kNoon, far, kNoon + kHour)).time, kNoon);
  const sChosenBaseTime undecided =
      ChooseBaseTime(Differing(kNoon + kHour, kNoon, kNoon - 2 * kHour));
  EXPECT_EQ(undecided.time, kNoon + kHour);
  EXPECT_TRUE(undecided.isLoss);
}

TEST(BaseTimeChoiceTest, TheBlocksAroundDecideNext) {
  for (const bool isOwnRight : {true, false}) {
    for (const std::uint64_t wrong : {kNoon - kHour, kNoon + kHour}) {
      sBaseTimeEvidence evidence = Differing(wrong, kNoon, {});
      if (isOwnRight) {
        evidence = Differing(kNoon, wrong, {});
      }
      evidence.before = kNoon - 1000;
      evidence.after = kNoon + 1000;
      EXPECT_EQ(ChooseBaseTime(evidence).time, kNoon);
      EXPECT_FALSE(ChooseBaseTime(evidence).isLoss);
    }
    // Of the last block, only how far the one before is away.
    sBaseTimeEvidence last =
        Differing(isOwnRight ? kNoon : kNoon + kYear, isOwnRight ? kNoon + kYear : kNoon, {});
    last.before = kNoon - kHour;
    EXPECT_EQ(ChooseBaseTime(last).time, kNoon);
  }
}

TEST(BaseTimeChoiceTest, TheModemsOwnTimeIsALoss) {
  sBaseTimeEvidence evidence = Differing(0, 0, kNoon);
  evidence.indexed.reset();
  EXPECT_EQ(ChooseBaseTime(evidence).time, kNoon);
  EXPECT_TRUE(ChooseBaseTime(evidence).isLoss);
}

TEST(BaseTimeChoiceTest, ATimeYearsFromAllOthersIsNotTaken) {
  // Also without its two highest bytes.
  for (const std::uint64_t wrong :
       {kNoon + 5 * kYear, kNoon + 5 * kYear + (std::uint64_t{7} << 56)}) {
    sBaseTimeEvidence evidence = Differing(wrong, 0, kNoon);
    evidence.indexed.reset();
    evidence.before = kNoon - kHour;
    EXPECT_EQ(ChooseBaseTime(evidence).time, kNoon);
    EXPECT_TRUE(ChooseBaseTime(evidence).isLoss);
  }
}

}  // namespace
}  // namespace corvane
