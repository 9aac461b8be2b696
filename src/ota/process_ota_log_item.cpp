#include <tuple>
#include <utility>

#include "capture/isf/store.h"
#include "ota/diag_timestamp.h"
#include "ota/dispatcher.h"

namespace corvane {

void ProcessOtaLogItem(cISFStore& store, sSharedBuffer& item, std::uint64_t arrivalTime) {
  const auto diagTimestamp = DiagTimestampFromFileTime(arrivalTime);
  if (!diagTimestamp) {
    return;
  }
  for (OwnedBuffer& packet : DecodeOtaPacket(store.SibAssemblies(), item, *diagTimestamp)) {
    const cBufferReference held(std::move(packet));
    // A block that could not be written is missing from the file; the ones after it are tried.
    std::ignore = store.AddItem(held.Get(), kAutomaticType);
  }
}

}  // namespace corvane
