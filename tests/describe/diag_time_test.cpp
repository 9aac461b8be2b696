#include "describe/diag_time.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

// `units` of 1.25 ms since the GPS epoch and `steps` of 1/49152 of one.
constexpr std::uint64_t Stamp(std::uint64_t units, std::uint64_t steps) {
  return (units << 16) | steps;
}

// 1980-01-06 00:00:00 UTC, in nanoseconds since 1970.
constexpr std::int64_t kGpsEpoch = 315'964'800'000'000'000;

TEST(DiagTimeTest, CountsFromTheGpsEpoch) {
  EXPECT_EQ(UnixNanosecondsFromDiag(0), kGpsEpoch);
  EXPECT_EQ(UnixNanosecondsFromDiag(Stamp(1, 0)), kGpsEpoch + 1'250'000);
}

TEST(DiagTimeTest, AKnownDayComesOut) {
  // 2020-09-13 12:26:40 UTC is 1,600,000,000 s of Unix time: 1,284,035,200 s behind the GPS epoch.
  EXPECT_EQ(UnixNanosecondsFromDiag(Stamp(1'284'035'200ull * 800, 0)), 1'600'000'000'000'000'000);
}

TEST(DiagTimeTest, TheLowPartCountsA49152ndOfAUnit) {
  EXPECT_EQ(UnixNanosecondsFromDiag(Stamp(0, 24'576)), kGpsEpoch + 625'000);
  // 49,151 / 49,152 of 1,250,000 ns is 1,249,974.56.
  EXPECT_EQ(UnixNanosecondsFromDiag(Stamp(0, 49'151)), kGpsEpoch + 1'249'974);
  EXPECT_EQ(UnixNanosecondsFromDiag(Stamp(0, 0xFFFF)), kGpsEpoch + 1'666'641);
}

TEST(DiagTimeTest, ATimeThatDoesNotFitIsNone) {
  // 63 bits of nanoseconds end in 2262.
  EXPECT_EQ(UnixNanosecondsFromDiag(UINT64_MAX), std::nullopt);
  EXPECT_EQ(UnixNanosecondsFromDiag(Stamp(std::uint64_t{1} << 47, 0)), std::nullopt);
  // 2262-01-01 00:00:00 UTC is 9,214,646,400 s of Unix time.
  EXPECT_EQ(UnixNanosecondsFromDiag(Stamp((9'214'646'400ull - 315'964'800) * 800, 0)),
            9'214'646'400'000'000'000);
}

}  // namespace
}  // namespace corvane
