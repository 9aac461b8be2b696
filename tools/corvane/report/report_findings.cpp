#include "corvane/report/report_findings.h"

#include <utility>

namespace corvane::tools {

void sRemarks::Add(sRemark remark) {
  if (kept.size() < kMostKept) {
    kept.push_back(std::move(remark));
  } else {
    ++others;
  }
}

void sReportFindings::Add(const cDescribedItem& described) {
  const sCaptureItem& item = described.Item();
  const sDescription& description = described.Description();
  if (!firstItem) {
    firstItem = item.number;
    firstTime = item.time;
  }
  lastItem = item.number;
  lastTime = item.time;

  ReadPacketHead(item, head);
  statistics.Add(item, head);
  timeLines.Add(item);
  connections.Add(item);
  gaps.Add(item);
  if (tellsRequests) {
    requests.Add(item, description);
  }
  if (description.sort == eItemSort::Text &&
      description.text != SubscriptionText(described.Source().subscription)) {
    texts.Add({item.number, item.time, description.text});
  }
  AddMessages(described);
}

void sReportFindings::Pass(const sCaptureItem& text) {
  connections.Pass(text);
  gaps.Pass(text);
  if (tellsRequests) {
    requests.Add(text, DescribeItem(text));
  }
}

void sReportFindings::AddMessages(const cDescribedItem& described) {
  const sDescription& description = described.Description();
  sSource source = described.Source();
  if (description.subscription) {
    source.subscription = description.subscription;
  }
  const bool isRebuilt = description.sort == eItemSort::Log && described.IsRebuilt();
  faults.Add(described.Item(), description, isRebuilt);
  const auto whole = messages.Add(described.Item().number, description, source);
  systemInformation.Add(described.Item(), description, whole, source, isRebuilt);
  if (isRebuilt) {
    return;
  }
  for (const sWholeMessage& message : whole) {
    ladder.Add(described.Item(), description, message, source.subscription);
  }
}

void sReportFindings::AddMarker(const sMarker& marker, std::uint64_t nextItem) {
  markers.Add({nextItem, marker.time, marker.text});
}

}  // namespace corvane::tools
