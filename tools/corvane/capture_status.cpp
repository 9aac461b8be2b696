#include "corvane/capture_status.h"

#include <fmt/format.h>

namespace corvane::tools {

std::string FormatStatus(const sProgress& now, const sProgress& previous) {
  const std::uint64_t newItems = now.items < previous.items ? 0 : now.items - previous.items;
  const auto milliseconds = (now.elapsed - previous.elapsed).count();
  const double rate = milliseconds <= 0 ? 0.0
                                        : static_cast<double>(newItems) * 1000.0 /
                                              static_cast<double>(milliseconds);
  return fmt::format("{}  {} items  {}  {:.0f} items/s", FormatElapsed(now.elapsed),
                     FormatCount(now.items), FormatBytes(now.bytes), rate);
}

std::string FormatElapsed(milliseconds elapsed) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
  return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::string FormatBytes(std::uint64_t bytes) {
  if (bytes < 1000) {
    return fmt::format("{} B", bytes);
  }
  double value = static_cast<double>(bytes);
  const char* unit = "";
  for (const char* larger : {"kB", "MB", "GB", "TB", "PB", "EB"}) {
    value /= 1000.0;
    unit = larger;
    // 999.95 would be shown as 1000.0.
    if (value < 999.95) {
      break;
    }
  }
  return fmt::format("{:.1f} {}", value, unit);
}

std::string FormatCount(std::uint64_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t place = digits.size(); place > 3;) {
    place -= 3;
    digits.insert(place, 1, ',');
  }
  return digits;
}

}  // namespace corvane::tools
