#include "analysis/connections.h"

#include <algorithm>
#include <optional>

#include "capture/isf/layout.h"
#include "convert/source_texts.h"
#include "diag/packets.h"

namespace corvane {
namespace {

void AddSubscription(sConnection& connection, const std::optional<std::uint32_t>& subscription) {
  std::vector<std::uint32_t>& seen = connection.subscriptions;
  if (subscription && seen.size() < cConnections::kMostSubscriptions &&
      std::ranges::find(seen, *subscription) == seen.end()) {
    seen.push_back(*subscription);
  }
}

}  // namespace

void cConnections::Add(const sCaptureItem& item) {
  if (item.type == isf::kInformationItem) {
    AddText(item);
    return;
  }
  // Packets without a connection in front of them: the beginning of the capture is missing.
  if (texts.IsBeforeAll() && kept.empty()) {
    Begin(item, 0);
  }
  sConnection* const connection = Present();
  Count(item, connection);
  if (connection != nullptr) {
    AddSubscription(*connection, Unwrap(item.bytes).subscription);
  }
}

void cConnections::Pass(const sCaptureItem& text) {
  weight = 0;
  AddText(text);
  weight = 1;
}

void cConnections::AddText(const sCaptureItem& item) {
  const std::string text = isf::LoadTextItem(item.bytes).value_or(std::string());
  const bool wasBeforeAll = texts.IsBeforeAll();
  const sConnectionChange change = texts.Add(text);
  if (change.kind == eConnectionChange::Ended) {
    if (change.connection == 0 && wasBeforeAll && kept.empty()) {
      Begin(item, 0);
    }
    End(item, change.connection);
    return;
  }
  if (change.kind == eConnectionChange::Begun) {
    if (sConnection* const replaced = change.replaced ? Find(*change.replaced) : nullptr) {
      replaced->howEnded = eConnectionEnd::Replaced;
    }
    Begin(item, change.connection);
  }
  sConnection* const connection = Present();
  Count(item, connection);
  if (connection != nullptr) {
    sSource source;
    ApplySourceText(text, source);
    AddSubscription(*connection, source.subscription);
  }
}

void cConnections::End(const sCaptureItem& item, std::uint64_t number) {
  if (sConnection* const ended = Find(number)) {
    Count(item, ended);
    ended->howEnded = eConnectionEnd::Disconnected;
    ended->port = texts.Port();
  }
}

void cConnections::Begin(const sCaptureItem& item, std::uint64_t number) {
  if (kept.size() == kMostConnections) {
    ++others;
    return;
  }
  sConnection& connection = kept.emplace_back();
  connection.number = number;
  connection.hasBeginning = number != 0;
  connection.port = number != 0 ? texts.Port() : std::string();
  connection.capture = texts.Capture();
  connection.imported = number != 0 && texts.IsImported();
  connection.firstItem = item.number;
  connection.start = item.time;
}

void cConnections::Count(const sCaptureItem& item, sConnection* connection) {
  if (connection == nullptr) {
    // Of a connection that is not kept, nothing is told.
    itemsOutside += texts.Present() == 0 ? weight : 0;
    return;
  }
  connection->lastItem = item.number;
  connection->end = item.time;
  connection->items += weight;
}

sConnection* cConnections::Find(std::uint64_t number) {
  if (kept.empty()) {
    return nullptr;
  }
  // Numbers ascend without gaps.
  const std::uint64_t first = kept.front().number;
  if (number < first || number - first >= kept.size()) {
    return nullptr;
  }
  return &kept[static_cast<std::size_t>(number - first)];
}

sConnection* cConnections::Present() {
  return texts.Present() == 0 && !texts.IsBeforeAll() ? nullptr : Find(texts.Present());
}

}  // namespace corvane
