#include "corvane/reading/shown_items.h"

#include "analysis/selected_markers.h"
#include "corvane/reading/open_capture.h"

namespace corvane::tools {

sShown ShowItems(cCaptureFile& file, const sShowing& showing, cByteSink& sink,
                 cItemExport& exported, cProgress& progress) {
  cSelectedItems items(file, showing.selection);
  items.TellPassed([&exported](const sCaptureItem& item) { exported.Pass(item); });
  items.TellSearch([&](std::uint64_t number) {
    if (showing.sharesTerminal) {
      sink.Flush();
    }
    progress.ShowNow(number);
  });
  cSelectedMarkers markers(MarkedCapture(showing.path));
  markers.PassBefore(file, items.Matcher());
  const std::uint64_t most = showing.most.value_or(UINT64_MAX);
  bool isMore = true;
  for (std::uint64_t count = 0; sink.IsGood() && count < most && (isMore = items.Next()); ++count) {
    const sCaptureItem& item = items.Current().Item();
    if (showing.sharesTerminal) {
      progress.Wipe();
    }
    while (const auto marker = markers.NextUntil(item.time, items.Matcher())) {
      exported.Mark(*marker);
    }
    exported.Add(item);
    if (!showing.sharesTerminal) {
      progress.Show(items.Position());
    }
  }
  progress.Wipe();
  while (!isMore && sink.IsGood()) {
    const auto marker = markers.NextBehind(file, items.Matcher());
    if (!marker) {
      break;
    }
    exported.Mark(*marker);
  }
  return {items.Outcome(), items.Unreadable()};
}

}  // namespace corvane::tools
