#include "corvane/reading/shown_items.h"

#include "analysis/selected_markers.h"
#include "corvane/reading/open_capture.h"

namespace corvane::tools {

sShown ShowItems(cCaptureFile& file, const sShowing& showing, const cByteSink& sink,
                 cItemExport& exported, cProgress& progress) {
  cSelectedItems items(file, showing.selection);
  items.TellPassed([&exported](const sCaptureItem& item) { exported.Pass(item); });
  cSelectedMarkers markers(MarkedCapture(showing.path));
  markers.PassBefore(file, items.Matcher());
  const std::uint64_t most = showing.most.value_or(UINT64_MAX);
  bool isMore = true;
  for (std::uint64_t count = 0; sink.IsGood() && count < most && (isMore = items.Next()); ++count) {
    const sCaptureItem& item = items.Current().Item();
    while (const auto marker = markers.NextUntil(item.time, items.Matcher())) {
      exported.Mark(*marker);
    }
    exported.Add(item);
    progress.Show(items.Position());
  }
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
