#include "corvane/capture_status.h"

#include <fmt/format.h>

#include "corvane/readable_text.h"

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

}  // namespace corvane::tools
