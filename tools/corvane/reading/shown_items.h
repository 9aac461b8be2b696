#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "analysis/selected_items.h"
#include "convert/export.h"
#include "corvane/command/progress.h"
#include "reader/capture_file.h"

namespace corvane::tools {

// What of a capture is shown.
struct sShowing {
  std::string path;  // of the capture, beside which its markers are
  sSelection selection;
  std::optional<std::uint64_t> most = {};  // no more items than these, the first
  // What is shown goes to the terminal where the bar is drawn: it stands there only while nothing
  // is found.
  bool sharesTerminal = false;
};

// What came of it.
struct sShown {
  sSelectionOutcome outcome;
  std::optional<sCaptureError> unreadable;  // the first item that could not be read
};

// Hands the selected items of `file` and the markers between them to `exported`, as long as `sink`
// takes what comes of them. `progress` counts item numbers.
[[nodiscard]] sShown ShowItems(cCaptureFile& file, const sShowing& showing, cByteSink& sink,
                               cItemExport& exported, cProgress& progress);

}  // namespace corvane::tools
