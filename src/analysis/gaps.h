#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "analysis/connection_texts.h"
#include "reader/capture_file.h"

namespace corvane {

// A stretch of time without a packet. Times are in milliseconds since 1601-01-01 UTC.
struct sGap {
  std::uint64_t before = 0;  // numbers of the items around it
  std::uint64_t after = 0;
  std::uint64_t start = 0;  // their times
  std::uint64_t end = 0;
  // The port was connected or disconnected in it.
  bool hasConnectionChange = false;

  [[nodiscard]] std::uint64_t Length() const { return end - start; }
};

// Two neighbours of which the second one has the earlier time: somebody set the clock back.
struct sClockStep {
  std::uint64_t before = 0;  // the items' numbers
  std::uint64_t after = 0;
  std::uint64_t from = 0;  // their times
  std::uint64_t to = 0;
};

// The gaps of a capture that are longer than a limit, gathered item by item, in constant memory.
//
// A gap lies between two packets. The recorder's own texts do not end one: while the modem is away
// they are all that there is. The first and the last item of the capture count like packets,
// whatever they are.
//
// A clock that is set back makes no gap: the time behind the step begins anew. Imported captures
// have the modem's own times, whose order is not quite that of the items: a packet there that is up
// to a minute earlier than the one before it is no step of the clock, and time goes on from the
// latest one.
class cGaps {
 public:
  // `limit` in milliseconds: a gap is longer than that.
  explicit cGaps(std::uint64_t limit) : limitInMilliseconds(limit) {}

  // Items come in file order.
  void Add(const sCaptureItem& item);
  // A text of the recorder that is none of the items: it may tell that the port came or went.
  void Pass(const sCaptureItem& text) { NoteText(text); }

  // The first kMostKept of them, in file order; how many there are; how long they are together and
  // how long the longest one is, in milliseconds. What lies between the last packet and the text
  // that ends the capture is among them.
  [[nodiscard]] std::vector<sGap> Kept() const;
  [[nodiscard]] std::uint64_t Count() const;
  [[nodiscard]] std::uint64_t Total() const;
  [[nodiscard]] std::uint64_t Longest() const;

  // The first kMostKept steps of the clock, and how many there are.
  [[nodiscard]] const std::vector<sClockStep>& ClockSteps() const { return steps; }
  [[nodiscard]] std::uint64_t ClockStepCount() const { return stepCount; }

  static constexpr std::size_t kMostKept = 1000;
  // Of imported captures, in milliseconds.
  static constexpr std::uint64_t kDisorder = 60'000;

 private:
  struct sPoint {
    std::uint64_t number = 0;
    std::uint64_t time = 0;
  };

  // The gap between the latest packet and `item`, if it is one.
  [[nodiscard]] std::optional<sGap> GapUntil(const sPoint& item) const;
  // The same at the end of the items so far.
  [[nodiscard]] std::optional<sGap> OpenGap() const;
  // Whether the clock was set back in front of the item.
  [[nodiscard]] bool AddTime(const sPoint& item);
  void AddPoint(const sPoint& point, bool isStep);
  void NoteText(const sCaptureItem& item);

  std::uint64_t limitInMilliseconds;
  cConnectionTexts texts;
  std::optional<sPoint> latest;      // the packet whose time is the latest behind the last step
  std::optional<sPoint> last;        // the last item
  bool hasConnectionChange = false;  // since `latest`

  std::vector<sGap> gaps;
  std::uint64_t count = 0;
  std::uint64_t total = 0;
  std::uint64_t longest = 0;
  std::vector<sClockStep> steps;
  std::uint64_t stepCount = 0;
};

}  // namespace corvane
