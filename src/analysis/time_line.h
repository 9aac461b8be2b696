#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/capture_file.h"

// The items of a capture over time, in constant memory.
namespace corvane {

// What came in an interval.
struct sTimeBucket {
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;                              // of their packets
  std::array<std::uint32_t, isf::kItemTypes> byType{};  // items, up to 2^32 - 1

  void Add(const sCaptureItem& item);
  void Add(const sTimeBucket& other);
};

// A table with intervals of a fixed length. The first one begins at the first item's time. Items
// that are earlier, because the clock was set back, make intervals in front of it.
class cIntervals {
 public:
  // `width` in milliseconds, not 0.
  explicit cIntervals(std::uint64_t width) : widthInMilliseconds(width) {}
  cIntervals(const cIntervals&) = delete;
  cIntervals& operator=(const cIntervals&) = delete;

  // Items come in file order.
  void Add(const sCaptureItem& item);

  // The intervals that have items, by their numbers: the first item's is 0. At most kMostIntervals;
  // what came in others, together.
  [[nodiscard]] const std::map<std::int64_t, sTimeBucket>& Kept() const { return kept; }
  [[nodiscard]] const sTimeBucket& Elsewhere() const { return elsewhere; }
  // When an interval begins, in milliseconds since 1601-01-01 UTC; 0 where that would be earlier.
  [[nodiscard]] std::uint64_t StartOf(std::int64_t number) const;
  [[nodiscard]] std::uint64_t Width() const { return widthInMilliseconds; }

  static constexpr std::size_t kMostIntervals = 50'000;

 private:
  std::uint64_t widthInMilliseconds;
  std::uint64_t start = 0;
  bool hasStarted = false;
  std::map<std::int64_t, sTimeBucket> kept;
  std::map<std::int64_t, sTimeBucket>::iterator latest;  // valid once `kept` has any
  sTimeBucket elsewhere;
};

// A line of at most so many intervals of one length, which doubles as the capture grows.
struct sTimeLine {
  std::uint64_t start = 0;  // of the first interval, milliseconds since 1601-01-01 UTC
  std::uint64_t width = 0;  // milliseconds: the first width, or that times a power of two
  std::uint64_t first = 0;  // times of the earliest and the latest item
  std::uint64_t last = 0;
  std::vector<sTimeBucket> buckets;  // up to the last that has items

  [[nodiscard]] std::uint64_t Items() const;
};

// The time line of a capture. Where the clock leaps by a day or more (a modem that starts does not
// know the time, and its clock begins in 1980), another line begins, so that each is worth looking
// at.
class cTimeLines {
 public:
  // `most` is how many intervals a line has at most, 2 or more; `width` is how long they are at
  // first, in milliseconds, not 0.
  cTimeLines(std::size_t most, std::uint64_t width) : mostBuckets(most), firstWidth(width) {}

  // Items come in any order.
  void Add(const sCaptureItem& item);

  // In the order in which they began; at most kMostLines, and how many items are in none.
  [[nodiscard]] const std::vector<sTimeLine>& Lines() const { return lines; }
  [[nodiscard]] std::uint64_t ItemsElsewhere() const { return itemsElsewhere; }

  static constexpr std::size_t kMostLines = 8;
  static constexpr std::uint64_t kLeap = 24 * 60 * 60 * 1000;

 private:
  [[nodiscard]] sTimeLine* FindLine(std::uint64_t time);
  // Makes room in a line for a time.
  void Reach(sTimeLine& line, std::uint64_t time) const;

  std::size_t mostBuckets;
  std::uint64_t firstWidth;
  std::vector<sTimeLine> lines;
  std::size_t latest = 0;
  std::uint64_t itemsElsewhere = 0;
};

}  // namespace corvane
