#include "analysis/item_faults.h"

#include <algorithm>

namespace corvane {

void sFault::Add(const sCaptureItem& item) {
  if (items == 0) {
    firstItem = item.number;
    firstTime = item.time;
  }
  lastTime = std::max(lastTime, item.time);
  ++items;
}

void cItemFaults::Add(const sCaptureItem& item, const sDescription& description, bool isRebuilt) {
  if (description.cutOff) {
    cutOff.Add(item);
  }
  if (description.sort == eItemSort::Unknown) {
    unknown.Add(item);
  }
  if (description.message && description.message->dropped != 0) {
    dropping.Add(item);
    dropped += description.message->dropped;
  }
  const bool mayLack = description.logCode && !description.signalling && !description.leftOut &&
                       !description.cutOff && !isRebuilt;
  if (mayLack && signallingLogs.Has(*description.logCode)) {
    unshown.Add(description, description.details);
  }
}

}  // namespace corvane
