#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace corvane::tools {

// Reads a duration as a user writes it: a whole number and a unit, "500ms", "10s", "5m" or "2h"; a
// number alone is seconds. Nothing for any other text, and for more than 1,000 hours.
[[nodiscard]] std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text);

// Hours, minutes and seconds, "0:00:07"; parts of a second are cut off.
[[nodiscard]] std::string FormatElapsed(std::chrono::milliseconds elapsed);

}  // namespace corvane::tools
