#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "describe/names.h"
#include "describe/packet_kinds.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

constexpr std::uint16_t kLteRrcState = 1606;

[[nodiscard]] std::string_view LteRrcState(std::uint8_t state) {
  switch (state) {
    case 1:
      return "idle, not camped";
    case 2:
      return "idle, camped";
    case 3:
      return "connecting";
    case 4:
      return "connected";
    case 7:
      return "closing";
    default:
      return {};
  }
}

[[nodiscard]] sEvent MakeEvent(std::uint16_t word, std::optional<std::uint64_t> time,
                               Packet payload) {
  sEvent event;
  event.id = word & event_report::kIdMask;
  event.name = EventName(event.id);
  event.time = time;
  event.payload.assign(payload.begin(), payload.end());
  if (event.id == kLteRrcState && payload.size() == 1) {
    event.value = LteRrcState(payload[0]);
  }
  return event;
}

// Takes the payload that `word` promises off the front of `rest`, without its count byte; what is
// there of it when the packet ends before.
[[nodiscard]] Packet TakePayload(std::uint16_t word, Packet& rest, bool& cutOff) {
  std::size_t size = (word & event_report::kLengthCodeMask) >> event_report::kLengthCodeShift;
  if (size == event_report::kCountedPayload) {
    if (rest.empty()) {
      cutOff = true;
      return {};
    }
    size = rest[0];
    rest = rest.subspan(1);
  }
  cutOff = cutOff || size > rest.size();
  const Packet payload = rest.first(std::min(size, rest.size()));
  rest = rest.subspan(payload.size());
  return payload;
}

// The events of a report, taken one by one.
class cEventWalk {
 public:
  cEventWalk(Packet events, bool& isCutOff) : rest(events), cutOff(isCutOff) {}

  // Nothing at the end, and where the next event has no whole word and time.
  [[nodiscard]] std::optional<sEvent> Next() {
    if (rest.empty()) {
      return std::nullopt;
    }
    const bool hasWord = rest.size() >= 2;
    const std::uint16_t word = hasWord ? Load16(rest.data()) : std::uint16_t{0};
    const bool isShort = (word & event_report::kShortTime) != 0;
    const std::size_t head = isShort ? 2 + 2 : 2 + 8;
    if (!hasWord || rest.size() < head) {
      cutOff = true;
      return std::nullopt;
    }
    if (!isShort) {
      time = Load64(&rest[2]);
    } else if (time) {
      time = (*time & ~event_report::kShortTimeMask) |
             (std::uint64_t{Load16(&rest[2])} << event_report::kShortTimeShift);
    }
    rest = rest.subspan(head);
    return MakeEvent(word, time, TakePayload(word, rest, cutOff));
  }

 private:
  Packet rest;
  bool& cutOff;
  std::optional<std::uint64_t> time;
};

// The events' bytes, as long as the packet says.
[[nodiscard]] Packet EventsOf(Packet packet, bool& cutOff) {
  if (packet.size() < event_report::kEvents) {
    cutOff = true;
    return {};
  }
  const std::size_t told = Load16(&packet[event_report::kLength]);
  const Packet events = packet.subspan(event_report::kEvents);
  cutOff = cutOff || told > events.size();
  return events.first(std::min(told, events.size()));
}

}  // namespace

void DescribeEventReport(Packet packet, sDescription& description) {
  description.sort = eItemSort::Event;
  cEventWalk walk(EventsOf(packet, description.cutOff), description.cutOff);
  while (std::optional<sEvent> event = walk.Next()) {
    description.events.push_back(std::move(*event));
  }
  if (!description.events.empty()) {
    description.modemTime = description.events.front().time;
    if (description.events.size() == 1 && description.events.front().id == kLteRrcState) {
      description.technology = eTechnology::Lte;
    }
  }
}

}  // namespace corvane
