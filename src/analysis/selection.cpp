#include "analysis/selection.h"

namespace corvane {

bool sSelection::DemandsContent() const {
  return !types.empty() || !logCodes.empty() || !events.empty() || !ssids.empty() || levels != 0 ||
         direction || !contains.empty() || invert;
}

bool sSelection::IsEverything() const { return !DemandsContent() && from.IsOpen() && to.IsOpen(); }

}  // namespace corvane
