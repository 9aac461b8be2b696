#include "convert/import.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "capture/isf/event_report.h"
#include "capture/isf/item_types.h"
#include "capture/isf/layout.h"
#include "convert/source_texts.h"
#include "describe/description.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "diag/protocol_buffer.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

// System information stays as it was received: it can be rebuilt from the capture at any time.
void RebuildNothing(SibAssemblyMap&, const sSharedBuffer&, std::uint64_t, cRebuiltPacketSink&) {}

[[nodiscard]] std::optional<std::uint64_t> LoadStamp(Packet packet, std::uint32_t at) {
  if (packet.size() < at + sizeof(std::uint64_t)) {
    return std::nullopt;
  }
  return Load64(&packet[at]);
}

// The DIAG timestamp of a packet that is recorded as one item.
[[nodiscard]] std::optional<std::uint64_t> StampOf(Packet packet) {
  switch (packet[0]) {
    case command::kLog:
      return LoadStamp(packet, log_packet::kTimestamp);
    case command::kExtendedMessage:
    case command::kTerseMessage:
      if (packet.size() > message::kTimeType && packet[message::kTimeType] != message::kDiagTime) {
        return std::nullopt;
      }
      return LoadStamp(packet, message::kTimestamp);
    default:
      return std::nullopt;
  }
}

}  // namespace

cImport::cImport(std::unique_ptr<std::ofstream> file, sImportOptions chosen)
    : options(std::move(chosen)),
      store({.now = [this] { return NextTime(); },
             .offerLogItem = RebuildNothing,
             .keepsBrokenEvents = false}) {
  store.Attach(std::move(file));
}

std::uint32_t cImport::Feed(std::span<const std::uint8_t> bytes) {
  if (error == kErrorSuccess) {
    stream.Feed(bytes);
  }
  return error;
}

std::uint32_t cImport::Finish() {
  stream.Finish();
  times.DecideAll();
  WriteDecided();
  if (report.items == 0) {
    WriteText(ImportText(options.name), cItemTimes::Unknown());
  }
  store.Close();
  report.nonsensicalTimes = times.Nonsensical();
  report.unstamped = times.Unstamped();
  report.undated = times.Undated();
  return error;
}

void cImport::OnBadFrame(std::uint64_t offset, eFrameFault fault) {
  ++report.badFrames;
  if (report.firstBadFrames.size() < sImportReport::kMostFrames) {
    report.firstBadFrames.push_back({offset, fault});
  }
}

void cImport::OnPacket(std::uint64_t, Packet packet) {
  ++report.packets;
  const sUnwrapped unwrapped = Unwrap(packet);
  if (packet[0] == command::kWrapper && options.wrapped == eWrapped::Drop) {
    ++report.dropped;
    return;
  }
  report.opened += unwrapped.subscription ? 1U : 0U;
  if (error != kErrorSuccess || IsRefused(unwrapped.packet)) {
    return;
  }
  cBufferReference buffer(MakeBuffer(unwrapped.packet, kOriginDevice));
  if (!IsUsable(buffer.Get())) {
    error = kErrorNotEnoughMemory;
    return;
  }
  const std::size_t items = AddStamps(buffer);
  if (items == 0) {
    return;
  }
  queuedBytes += buffer->size;
  queue.push_back({std::move(buffer), unwrapped.subscription, items});
  if (queue.size() > kMostWaiting || queuedBytes > kMostWaitingBytes) {
    times.DecideAll();
  }
  WriteDecided();
}

bool cImport::IsRefused(Packet packet) {
  if (packet[0] > command::kLast) {
    ++report.refused[packet[0]];
    return true;
  }
  if (packet.size() > kMaxBufferSize) {
    ++report.tooLong;
    return true;
  }
  return false;
}

std::size_t cImport::AddStamps(cBufferReference packet) {
  // A get-item response is recorded, and then the packet inside it, which can be one again.
  std::size_t items = 0;
  while (true) {
    if (IsEventReport(*packet)) {
      return items + AddEventStamps(*packet.Get());
    }
    times.Add(StampOf(packet->Bytes()));
    ++items;
    if (!command::IsSubsystem(packet->data[0])) {
      return items;
    }
    cBufferReference inner = UnwrapGetItemResponse(*packet);
    if (!IsUsable(inner.Get()) || IsRefused(inner->Bytes())) {
      return items;
    }
    packet = std::move(inner);
  }
}

std::size_t cImport::AddEventStamps(sSharedBuffer& eventReport) {
  const sDiagBuffer view(&eventReport);
  std::vector<cBufferReference> events;
  if (!SplitEventReport(view, events)) {
    ++report.brokenReports;
    return 0;
  }
  for (const cBufferReference& event : events) {
    times.Add(LoadStamp(event->Bytes(), event_report::kEventTime));
  }
  return events.size();
}

void cImport::WriteDecided() {
  while (error == kErrorSuccess && !queue.empty() && times.Decided() >= queue.front().items) {
    Write(queue.front());
    queuedBytes -= queue.front().packet->size;
    queue.pop_front();
  }
}

void cImport::Write(const sWaiting& waiting) {
  std::vector<std::uint64_t> itemTimes;
  while (itemTimes.size() < waiting.items) {
    itemTimes.push_back(times.Take());
  }
  if (report.items == 0) {
    WriteText(ImportText(options.name), itemTimes.front());
  }
  if (subscription != waiting.subscription) {
    subscription = waiting.subscription;
    WriteText(SubscriptionText(subscription), itemTimes.front());
  }
  Record(*waiting.packet, kAutomaticType, std::move(itemTimes));
}

void cImport::WriteText(std::string_view text, std::uint64_t time) {
  const cBufferReference item(MakeBuffer(MakeTextPacket(text), kOriginLibrary));
  if (!IsUsable(item.Get())) {
    error = kErrorNotEnoughMemory;
    return;
  }
  Record(*item, isf::kInformationItem, {time});
}

void cImport::Record(sSharedBuffer& item, std::uint32_t type,
                     std::vector<std::uint64_t> itemTimes) {
  if (error != kErrorSuccess) {
    return;
  }
  report.firstTime = report.items == 0 ? itemTimes.front() : report.firstTime;
  report.lastTime = itemTimes.back();
  report.items += itemTimes.size();
  recordTimes = std::move(itemTimes);
  recordTimesTaken = 0;
  const std::lock_guard guard(store.storeLock);
  error = store.AddItem(&item, type);
}

std::uint64_t cImport::NextTime() {
  // An event that finds no memory is not recorded, and its time not asked for.
  const std::size_t next = std::min(recordTimesTaken++, recordTimes.size() - 1);
  return recordTimes[next];
}

}  // namespace corvane
