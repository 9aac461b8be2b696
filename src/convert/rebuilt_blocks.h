#pragma once

#include "convert/source_texts.h"
#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

// True when the recorder itself put the item into its capture: a WCDMA system-information block
// (log code 0x412F, channel 254 or 255) rebuilt from captured segments. It carries the clock of the
// recorder's machine, so its DIAG stamp lies within a millisecond of the item's time. Modems write
// these channels too, with a stamp of their own; in an imported capture that is the item's time,
// and nothing was rebuilt.
//
// `description` is the item's (convert/item_description.h), `source` what the texts in front of it
// tell (convert/source_texts.h).
[[nodiscard]] bool IsRebuilt(const sCaptureItem& item, const sDescription& description,
                             const sSource& source);

}  // namespace corvane
