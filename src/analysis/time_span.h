#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane {

// How long a time the items of a capture cover: from the earliest to the latest, but without the
// leaps of a clock. A modem that starts does not know the time: its clock begins in 1980, and is
// set when a network tells. So a day or more without an item is not part of the span.
class cTimeSpan {
 public:
  // Times in milliseconds, in any order.
  void Add(std::uint64_t time);

  // Milliseconds.
  [[nodiscard]] std::uint64_t Length() const;

  static constexpr std::uint64_t kLeap = 24 * 60 * 60 * 1000;

 private:
  struct sStretch {
    std::uint64_t first = 0;
    std::uint64_t last = 0;

    [[nodiscard]] bool Reaches(std::uint64_t time) const {
      return time + kLeap > first && time < last + kLeap;
    }
  };
  // A clock that leaps without end is nobody's: further stretches are left out.
  static constexpr std::size_t kMostStretches = 64;

  void Merge();

  std::vector<sStretch> stretches;
  std::size_t latest = 0;  // the one that was extended last
};

}  // namespace corvane
