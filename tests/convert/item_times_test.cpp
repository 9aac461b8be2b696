#include "convert/item_times.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "convert/modem_time.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::optional<std::uint64_t> kNone = std::nullopt;
constexpr std::uint64_t kUnknown = 11'960'438'400'000;  // 1980-01-06 00:00:00 UTC
constexpr std::uint64_t kUnitsPerMillisecond = 10'000;

// Takes what is decided, in milliseconds since 1601.
[[nodiscard]] std::vector<std::uint64_t> TakeAll(cItemTimes& times) {
  std::vector<std::uint64_t> taken;
  while (times.Decided() != 0) {
    taken.push_back(times.Take() / kUnitsPerMillisecond);
  }
  return taken;
}

// Adds items, of which some have a stamp at these milliseconds since 1601.
void AddAll(cItemTimes& times, std::initializer_list<std::optional<std::uint64_t>> stamps) {
  for (const auto& stamp : stamps) {
    times.Add(stamp ? std::optional(StampAt(*stamp)) : std::nullopt);
  }
}

struct sResult {
  std::vector<std::uint64_t> times;
  std::uint64_t nonsensical;
  std::uint64_t unstamped;
  std::uint64_t undated;
};

[[nodiscard]] sResult Of(std::initializer_list<std::optional<std::uint64_t>> stamps) {
  cItemTimes times;
  AddAll(times, stamps);
  times.DecideAll();
  return {TakeAll(times), times.Nonsensical(), times.Unstamped(), times.Undated()};
}

// Every stamp is kept.
void ExpectKept(std::initializer_list<std::optional<std::uint64_t>> stamps) {
  std::vector<std::uint64_t> expected;
  for (const auto& stamp : stamps) {
    expected.push_back(*stamp);
  }
  const sResult result = Of(stamps);
  EXPECT_EQ(result.times, expected);
  EXPECT_EQ(result.nonsensical, 0U);
}

TEST(ItemTimesTest, AStampIsATimeToAHundredNanoseconds) {
  cItemTimes times;
  // 2024-05-17 12:00:00 UTC is 1,119,985,920,000 units of 1.25 ms behind the GPS epoch. A step of
  // 1/49152 is 25.4 ns.
  times.Add(std::uint64_t{1'119'985'920'000} << 16);
  EXPECT_EQ(times.Take(), kNoon * kUnitsPerMillisecond);
  times.Add((std::uint64_t{1'119'985'920'001} << 16) + 24'576);
  EXPECT_EQ(times.Take(), kNoon * kUnitsPerMillisecond + 18'750);
  times.Add((std::uint64_t{1'119'985'920'000} << 16) + 3);
  EXPECT_EQ(times.Take(), kNoon * kUnitsPerMillisecond);
  times.Add((std::uint64_t{1'119'985'920'000} << 16) + 4);
  EXPECT_EQ(times.Take(), kNoon * kUnitsPerMillisecond + 1);
  times.Add(std::uint64_t{0});
  times.DecideAll();
  EXPECT_EQ(times.Take(), cItemTimes::Unknown());
  EXPECT_EQ(cItemTimes::Unknown(), kUnknown * kUnitsPerMillisecond);
}

TEST(ItemTimesTest, StampsAreKeptAlsoBackwards) {
  ExpectKept({kNoon, kNoon + 1, kNoon + 60 * kSecond, kNoon, kNoon - 200 * kSecond, kNoon + 2});
}

TEST(ItemTimesTest, ADayFromTheStampBeforeIsNear) {
  cItemTimes times;
  AddAll(times, {kNoon, kNoon + kDay, kNoon});
  EXPECT_EQ(times.Decided(), 3U);
  AddAll(times, {kNoon + kDay + 1});
  EXPECT_EQ(times.Decided(), 3U);
}

TEST(ItemTimesTest, AStampFarFromBothNeighboursTakesTheTimeBeforeIt) {
  const sResult result = Of({kNoon, kNoon + 5, kUnknown, kNoon + 7});
  EXPECT_THAT(result.times, ElementsAre(kNoon, kNoon + 5, kNoon + 5, kNoon + 7));
  EXPECT_EQ(result.nonsensical, 1U);
  EXPECT_EQ(result.unstamped, 0U);
  EXPECT_THAT(Of({kNoon, kNoon + 1000 * kDay, kNoon + 1}).times,
              ElementsAre(kNoon, kNoon, kNoon + 1));
}

TEST(ItemTimesTest, AStampADayFromTheNextOneIsKept) {
  ExpectKept({kNoon, kNoon + 10 * kDay, kNoon + 11 * kDay});
  const sResult result = Of({kNoon, kNoon + 10 * kDay, kNoon + 11 * kDay + 1, kNoon + 11 * kDay});
  EXPECT_THAT(result.times, ElementsAre(kNoon, kNoon, kNoon + 11 * kDay + 1, kNoon + 11 * kDay));
  EXPECT_EQ(result.nonsensical, 1U);
}

TEST(ItemTimesTest, AModemThatLearnsTheTimeIsBelieved) {
  ExpectKept({kUnknown, kUnknown + 5 * kSecond, kNoon, kNoon + kSecond});
  ExpectKept({kUnknown, kNoon, kNoon + kSecond});
}

TEST(ItemTimesTest, TheFirstAndTheLastStampAreKept) {
  ExpectKept({kUnknown});
  ExpectKept({kUnknown, kNoon});
  ExpectKept({kNoon, kNoon + 1, kUnknown});
}

TEST(ItemTimesTest, NonsenseIsNoNeighbourOfTheNextStamp) {
  const sResult result =
      Of({kNoon, kUnknown, kNoon + 1, kNoon + 900 * kDay, kNoon + 2, kUnknown, kNoon + 3});
  EXPECT_THAT(result.times,
              ElementsAre(kNoon, kNoon, kNoon + 1, kNoon + 1, kNoon + 2, kNoon + 2, kNoon + 3));
  EXPECT_EQ(result.nonsensical, 3U);
}

TEST(ItemTimesTest, TwoNonsensicalStampsInARowAreBothLeft) {
  const sResult result = Of({kNoon, kUnknown, kNoon + 900 * kDay, kNoon + 3});
  EXPECT_THAT(result.times, ElementsAre(kNoon, kNoon, kNoon, kNoon + 3));
  EXPECT_EQ(result.nonsensical, 2U);
}

TEST(ItemTimesTest, AnItemWithoutAStampTakesTheTimeBeforeIt) {
  const sResult result = Of({kNoon, kNone, kNone, kNoon + 5, kNone});
  EXPECT_THAT(result.times, ElementsAre(kNoon, kNoon, kNoon, kNoon + 5, kNoon + 5));
  EXPECT_EQ(result.unstamped, 3U);
  EXPECT_EQ(result.undated, 0U);
}

TEST(ItemTimesTest, ItemsBehindAStampInDoubtWaitForItsTime) {
  cItemTimes times;
  AddAll(times, {kNoon, kNoon + 10 * kDay, kNone, kNone});
  EXPECT_EQ(times.Decided(), 1U);
  AddAll(times, {kNoon + 10 * kDay + 1});
  EXPECT_THAT(TakeAll(times), ElementsAre(kNoon, kNoon + 10 * kDay, kNoon + 10 * kDay,
                                          kNoon + 10 * kDay, kNoon + 10 * kDay + 1));
  AddAll(times, {kUnknown, kNone, kNoon + 10 * kDay + 2});
  EXPECT_THAT(TakeAll(times),
              ElementsAre(kNoon + 10 * kDay + 1, kNoon + 10 * kDay + 1, kNoon + 10 * kDay + 2));
}

TEST(ItemTimesTest, ItemsBeforeTheFirstStampTakeItsTime) {
  cItemTimes times;
  AddAll(times, {kNone, kNone});
  EXPECT_EQ(times.Decided(), 0U);
  AddAll(times, {kNoon});
  EXPECT_THAT(TakeAll(times), ElementsAre(kNoon, kNoon, kNoon));
  EXPECT_EQ(times.Undated(), 0U);
}

TEST(ItemTimesTest, WithoutAnyStampTheTimeIsUnknown) {
  const sResult result = Of({kNone, kNone});
  EXPECT_THAT(result.times, ElementsAre(kUnknown, kUnknown));
  EXPECT_EQ(result.unstamped, 2U);
  EXPECT_EQ(result.undated, 2U);
  EXPECT_THAT(Of({}).times, IsEmpty());
}

TEST(ItemTimesTest, ItemsThatCannotWaitForTheFirstStampHaveNoTime) {
  cItemTimes times;
  AddAll(times, {kNone});
  times.DecideAll();
  AddAll(times, {kNone, kNoon, kNone});
  EXPECT_THAT(TakeAll(times), ElementsAre(kUnknown, kUnknown, kNoon, kNoon));
  EXPECT_EQ(times.Undated(), 2U);
  EXPECT_EQ(times.Unstamped(), 3U);
  EXPECT_EQ(times.Nonsensical(), 0U);
}

TEST(ItemTimesTest, AStampThatCannotWaitForItsNeighbourIsKept) {
  cItemTimes times;
  AddAll(times, {kNoon, kUnknown, kNone});
  times.DecideAll();
  EXPECT_THAT(TakeAll(times), ElementsAre(kNoon, kUnknown, kUnknown));
  AddAll(times, {kUnknown + 1});
  EXPECT_THAT(TakeAll(times), ElementsAre(kUnknown + 1));
}

TEST(ItemTimesTest, AStampBeyondAllTimesIsNonsense) {
  cItemTimes times;
  for (const std::uint64_t stamp :
       {StampAt(kNoon), UINT64_MAX, UINT64_MAX - 1, StampAt(kNoon + 1), std::uint64_t{1} << 63}) {
    times.Add(stamp);
  }
  times.DecideAll();
  EXPECT_THAT(TakeAll(times), ElementsAre(kNoon, kNoon, kNoon, kNoon + 1, kNoon + 1));
  EXPECT_EQ(times.Nonsensical(), 3U);
  // It is no neighbour either.
  times.Add(StampAt(kUnknown));
  times.Add(UINT64_MAX);
  times.Add(StampAt(kUnknown + 1));
  EXPECT_THAT(TakeAll(times), ElementsAre(kUnknown, kUnknown, kUnknown + 1));
  cItemTimes alone;
  alone.Add(UINT64_MAX);
  alone.Add(StampAt(kNoon));
  EXPECT_THAT(TakeAll(alone), ElementsAre(kNoon, kNoon));
}

TEST(ItemTimesTest, EveryCombinationGivesEachItemATime) {
  // Items with four kinds of stamp, in every order of six: as many times as items, each of them a
  // stamp or the unknown time.
  const std::optional<std::uint64_t> kinds[] = {kNone, kUnknown, kNoon, kNoon + 900 * kDay};
  for (unsigned order = 0; order < 4096; ++order) {
    cItemTimes times;
    unsigned nones = 0;
    for (unsigned place = 0; place < 6; ++place) {
      const auto& kind = kinds[(order >> (2 * place)) % 4];
      nones += kind ? 0U : 1U;
      AddAll(times, {kind});
    }
    times.DecideAll();
    const auto taken = TakeAll(times);
    ASSERT_EQ(taken.size(), 6U) << order;
    ASSERT_EQ(times.Unstamped(), nones) << order;
    for (const std::uint64_t time : taken) {
      ASSERT_TRUE(time == kUnknown || time == kNoon || time == kNoon + 900 * kDay) << order;
    }
  }
}

}  // namespace
}  // namespace corvane
