#include "corvane/duration.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongest = std::chrono::hours(1000);

struct sUnit {
  std::string_view name;
  milliseconds length;
};

constexpr sUnit kUnits[] = {
    {"", std::chrono::seconds(1)},  {"ms", milliseconds(1)},      {"s", std::chrono::seconds(1)},
    {"m", std::chrono::minutes(1)}, {"h", std::chrono::hours(1)},
};

}  // namespace

std::optional<milliseconds> ParseDuration(std::string_view text) {
  std::uint32_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc()) {
    return std::nullopt;
  }
  const std::string_view name(next, static_cast<std::size_t>(end - next));
  for (const sUnit& unit : kUnits) {
    if (unit.name != name) {
      continue;
    }
    // The count has 32 bits and the longest unit 22, so the product fits.
    const milliseconds duration = unit.length * count;
    if (duration > kLongest) {
      return std::nullopt;
    }
    return duration;
  }
  return std::nullopt;
}

std::string FormatElapsed(milliseconds elapsed) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
  return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace corvane::tools
