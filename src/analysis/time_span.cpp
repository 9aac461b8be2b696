#include "analysis/time_span.h"

#include <algorithm>

namespace corvane {

void cTimeSpan::Add(std::uint64_t time) {
  if (latest >= stretches.size() || !stretches[latest].Reaches(time)) {
    const auto found = std::ranges::find_if(
        stretches, [time](const sStretch& stretch) { return stretch.Reaches(time); });
    latest = static_cast<std::size_t>(found - stretches.begin());
    if (found == stretches.end()) {
      if (stretches.size() == kMostStretches) {
        return;
      }
      stretches.push_back({time, time});
      return;
    }
  }
  sStretch& stretch = stretches[latest];
  if (time < stretch.first || time > stretch.last) {
    stretch.first = std::min(stretch.first, time);
    stretch.last = std::max(stretch.last, time);
    if (stretches.size() > 1) {
      Merge();
    }
  }
}

// Takes in what the latest stretch has come to reach.
void cTimeSpan::Merge() {
  const sStretch grown = stretches[latest];
  for (std::size_t other = 0; other < stretches.size(); ++other) {
    const sStretch& stretch = stretches[other];
    if (other == latest || !(grown.Reaches(stretch.first) || grown.Reaches(stretch.last))) {
      continue;
    }
    stretches[latest].first = std::min(grown.first, stretch.first);
    stretches[latest].last = std::max(grown.last, stretch.last);
    stretches.erase(stretches.begin() + static_cast<std::ptrdiff_t>(other));
    latest -= other < latest ? 1 : 0;
    return;
  }
}

std::uint64_t cTimeSpan::Length() const {
  std::uint64_t length = 0;
  for (const sStretch& stretch : stretches) {
    length += stretch.last - stretch.first;
  }
  return length;
}

}  // namespace corvane
