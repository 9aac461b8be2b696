#include "analysis/selection.h"

namespace corvane {
namespace {

[[nodiscard]] bool IsOpen(const sSelectionBound& bound) {
  return !bound.number && !bound.time && !bound.sinceStart;
}

}  // namespace

bool sSelection::IsEverything() const {
  return types.empty() && logCodes.empty() && events.empty() && ssids.empty() && levels == 0 &&
         !direction && contains.empty() && !invert && IsOpen(from) && IsOpen(to);
}

}  // namespace corvane
