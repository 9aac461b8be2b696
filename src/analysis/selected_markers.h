#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "analysis/selection_matcher.h"
#include "reader/capture_file.h"
#include "reader/markers.h"

namespace corvane {

// The markers of a capture that are shown between its selected items. A selection narrows them by
// its bounds and by what is to stand in their text, and by nothing else: whatever items somebody
// looks at, the markers tell where in the capture they are.
class cSelectedMarkers {
 public:
  explicit cSelectedMarkers(const std::string& capturePath) : markers(capturePath) {}

  // Passes over the markers that stand in front of the items below the lower bound of numbers.
  void PassBefore(cCaptureFile& file, const cSelectionMatcher& matcher);

  // The next marker to show in front of an item of this time; nothing when there is none.
  [[nodiscard]] std::optional<sMarker> NextUntil(std::uint64_t time,
                                                 const cSelectionMatcher& matcher);
  // The next one to show behind the last item that may be selected; nothing when the lower bound of
  // numbers lies behind all items.
  [[nodiscard]] std::optional<sMarker> NextBehind(cCaptureFile& file,
                                                  const cSelectionMatcher& matcher);

  // Takes up what was added.
  void LookAgain() { markers.LookAgain(); }

 private:
  cMarkerReader markers;
};

}  // namespace corvane
