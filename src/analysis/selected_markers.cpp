#include "analysis/selected_markers.h"

#include <algorithm>

#include "capture/isf/layout.h"

namespace corvane {
namespace {

// The time of the last item below `end`. Where a whole block's worth of items is missing there,
// none is looked for any further.
[[nodiscard]] std::optional<std::uint64_t> TimeBefore(cCaptureFile& file, std::uint64_t end) {
  std::uint64_t number = std::min(end, file.NumbersEnd());
  const std::uint64_t farthest = number - std::min<std::uint64_t>(number, isf::kItemsPerBlock);
  std::uint64_t time = 0;
  while (number > farthest) {
    --number;
    if (file.TypeOf(number) && !file.ReadTime(number, time)) {
      return time;
    }
  }
  return std::nullopt;
}

}  // namespace

void cSelectedMarkers::PassBefore(cCaptureFile& file, const cSelectionMatcher& matcher) {
  const auto time = TimeBefore(file, matcher.FirstNumber());
  while (time && markers.NextUntil(*time)) {
  }
}

std::optional<sMarker> cSelectedMarkers::NextUntil(std::uint64_t time,
                                                   const cSelectionMatcher& matcher) {
  while (auto marker = markers.NextUntil(time)) {
    if (matcher.Matches(*marker)) {
      return marker;
    }
  }
  return std::nullopt;
}

std::optional<sMarker> cSelectedMarkers::NextBehind(cCaptureFile& file,
                                                    const cSelectionMatcher& matcher) {
  const std::uint64_t first = matcher.FirstNumber();
  if (first != 0 && first >= file.NumbersEnd()) {
    return std::nullopt;  // the selection begins behind all that there is
  }
  const std::uint64_t last = matcher.LastNumber();
  if (last == UINT64_MAX || !file.NextItem(last + 1)) {
    return NextUntil(UINT64_MAX, matcher);
  }
  // What was set later stands in front of an item behind the upper bound.
  const auto time = TimeBefore(file, last + 1);
  return time ? NextUntil(*time, matcher) : std::nullopt;
}

}  // namespace corvane
