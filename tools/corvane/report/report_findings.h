#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "analysis/connections.h"
#include "analysis/described_item.h"
#include "analysis/gaps.h"
#include "analysis/item_faults.h"
#include "analysis/ladder.h"
#include "analysis/packet_head.h"
#include "analysis/request_replies.h"
#include "analysis/statistics.h"
#include "analysis/system_information_seen.h"
#include "analysis/time_line.h"
#include "analysis/whole_messages.h"
#include "reader/markers.h"

namespace corvane::tools {

// A marker or a text of the recorder, and where it belongs between the items.
struct sRemark {
  std::uint64_t item = 0;  // the number of the text's item, or of the one behind the marker
  std::uint64_t time = 0;  // milliseconds since 1601-01-01 UTC
  std::string text;
};

// The first of them, and how many more there were.
struct sRemarks {
  static constexpr std::size_t kMostKept = 500;

  std::vector<sRemark> kept;
  std::uint64_t others = 0;

  void Add(sRemark remark);
};

// What a report tells of a capture, gathered item by item. It grows with what a page can show, not
// with the capture.
struct sReportFindings {
  // How long a silence is a gap, and how many intervals a chart has at most.
  static constexpr std::uint64_t kGapLimit = 5000;
  static constexpr std::size_t kMostIntervals = 400;

  // Items come in file order.
  void Add(const cDescribedItem& described);
  // A text of the recorder that was not selected: it may tell that a port came or went.
  void Pass(const sCaptureItem& text);
  // A marker that stands in front of item `nextItem`.
  void AddMarker(const sMarker& marker, std::uint64_t nextItem);

  cStatistics statistics;
  cTimeLines timeLines{kMostIntervals, 100};
  cConnections connections;
  cGaps gaps{kGapLimit};
  // False where packets are left out for what they are: a request whose reply was left out would
  // seem to have none. `requests` is empty then.
  bool tellsRequests = true;
  cRequestReplies requests;
  cItemFaults faults;
  cWholeMessages messages;
  cLadder ladder;
  cSystemInformationSeen systemInformation;
  sRemarks markers;
  sRemarks texts;  // without those of subscriptions, of which there may be one an item

  // The numbers of the first and the last item; nothing without items.
  std::optional<std::uint64_t> firstItem;
  std::uint64_t lastItem = 0;
  // The times of these items, in file order.
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = 0;

 private:
  void AddMessages(const cDescribedItem& described);

  sPacketHead head;
};

}  // namespace corvane::tools
