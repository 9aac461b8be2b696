#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane {

// How a quantity is spread: least, greatest and percentiles of any number of values, in constant
// memory. A percentile of values below 16 is exact; of others it is too great by at most an eighth,
// and never above the greatest.
class cTimeSpread {
 public:
  void Add(std::uint64_t value);

  [[nodiscard]] std::uint64_t Count() const { return count; }
  // These are 0 without values.
  [[nodiscard]] std::uint64_t Least() const { return count == 0 ? 0 : least; }
  [[nodiscard]] std::uint64_t Greatest() const { return greatest; }
  // The least value that `percent` (1 to 100) of all values do not exceed, as near as it is known.
  [[nodiscard]] std::uint64_t Percentile(unsigned percent) const;
  [[nodiscard]] std::uint64_t Median() const { return Percentile(50); }

 private:
  std::vector<std::uint64_t> counts;  // of classes of values, up to the greatest that came
  std::uint64_t count = 0;
  std::uint64_t least = UINT64_MAX;
  std::uint64_t greatest = 0;
};

}  // namespace corvane
