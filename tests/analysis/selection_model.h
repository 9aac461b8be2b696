#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "analysis/selection.h"
#include "reader/capture_builder.h"

// Captures and selections at random, and a plain model of what a selection selects.
namespace corvane {

// An item, and what a selection can ask of it, known because it was made so.
struct sFacts {
  sBuiltItem built;
  std::optional<std::uint32_t> logCode;
  std::vector<std::uint32_t> events;
  std::optional<std::uint32_t> ssid;
  std::uint32_t levels = 0;
  std::optional<std::string> text;
  std::optional<eDirection> direction;
};

using Random = std::mt19937;

// A text of the recorder, and an item of these bytes in hexadecimal digits; their times are 0.
[[nodiscard]] sFacts Text(const std::string& text);
[[nodiscard]] sFacts Plain(unsigned type, const char* bytes, eDirection direction);

// Items of every sort. The first is at kNoon; from there on the times go as a recorder's clock
// does: on, and now and then back.
[[nodiscard]] std::vector<sFacts> RandomCapture(Random& random, std::size_t count);

// The items as a file that was closed.
[[nodiscard]] ByteVector BytesOf(const std::vector<sFacts>& capture);

// A selection for a capture of so many items, some of whose options are set.
[[nodiscard]] sSelection RandomSelection(Random& random, std::uint32_t items);

// The numbers of the items that are selected, found by going through the facts one by one. The
// capture begins at kNoon.
[[nodiscard]] std::vector<std::uint64_t> Expected(const std::vector<sFacts>& capture,
                                                  const sSelection& selection);

}  // namespace corvane
