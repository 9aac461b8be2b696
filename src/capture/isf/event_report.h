#pragma once

#include <vector>

#include "diag/protocol_buffer.h"
#include "diag/shared_buffer.h"

namespace corvane {

// Splits an event report (command 0x60 or 0x74) into packets of one event each, in order, appended
// to `events`, which starts empty. An event packet has the report's command code, the length of
// what follows it, the event word (ID and payload-length code), the full 64-bit time and the
// payload, and comes from the device as the report did. Each is held by the reference in the list.
//
// Returns true only when the whole report was split, to its last byte. After false, `events` holds
// what was split before the fault. Throws std::bad_alloc; an event whose bytes found no memory is
// an empty buffer.
[[nodiscard]] bool SplitEventReport(const sProtocolBuffer& report,
                                    std::vector<cBufferReference>& events);

}  // namespace corvane
