#include "analysis/time_spread.h"

#include <algorithm>
#include <bit>

namespace corvane {
namespace {

// Values below 16 have a class each; above, each power of two is parted into 8 classes.
constexpr unsigned kParts = 8;
constexpr unsigned kPartBits = 3;
constexpr std::uint64_t kExact = 2 * kParts;

[[nodiscard]] std::size_t ClassOf(std::uint64_t value) {
  if (value < kExact) {
    return static_cast<std::size_t>(value);
  }
  const auto shift = static_cast<unsigned>(std::bit_width(value)) - 1 - kPartBits;
  return static_cast<std::size_t>(shift) * kParts + static_cast<std::size_t>(value >> shift);
}

[[nodiscard]] std::uint64_t GreatestOf(std::size_t number) {
  if (number < kExact) {
    return number;
  }
  const std::size_t shift = number / kParts - 1;
  const std::uint64_t part = number - shift * kParts;
  return ((part + 1) << shift) - 1;
}

}  // namespace

void cTimeSpread::Add(std::uint64_t value) {
  const std::size_t number = ClassOf(value);
  if (number >= counts.size()) {
    counts.resize(number + 1);
  }
  ++counts[number];
  ++count;
  least = std::min(least, value);
  greatest = std::max(greatest, value);
}

std::uint64_t cTimeSpread::Percentile(unsigned percent) const {
  // So many values, rounded up, in such a way that nothing overflows.
  const std::uint64_t wanted = count / 100 * percent + (count % 100 * percent + 99) / 100;
  std::uint64_t passed = 0;
  for (std::size_t number = 0; number < counts.size(); ++number) {
    passed += counts[number];
    if (passed >= wanted && passed != 0) {
      return std::min(GreatestOf(number), greatest);
    }
  }
  return 0;
}

}  // namespace corvane
