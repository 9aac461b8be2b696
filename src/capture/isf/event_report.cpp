#include "capture/isf/event_report.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <utility>

#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

// The bytes of a report that are not yet taken.
class cEventBytes {
 public:
  explicit cEventBytes(std::span<const std::uint8_t> bytes) : rest(bytes) {}

  [[nodiscard]] bool IsAtEnd() const { return rest.empty(); }

  // The next `count` bytes, or nothing when fewer are left.
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> Take(std::size_t count) {
    if (count > rest.size()) {
      return std::nullopt;
    }
    const auto taken = rest.first(count);
    rest = rest.subspan(count);
    return taken;
  }

  // The payload of an event with this length code.
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> TakePayload(unsigned lengthCode) {
    if (lengthCode != event_report::kCountedPayload) {
      return Take(lengthCode);
    }
    // The count byte is part of the payload that is kept.
    if (rest.empty()) {
      return std::nullopt;
    }
    return Take(std::size_t{rest[0]} + 1);
  }

 private:
  std::span<const std::uint8_t> rest;
};

// The time of the next event, or nothing when it runs past the end. `lastTime` is the one before.
[[nodiscard]] std::optional<std::uint64_t> TakeTime(cEventBytes& bytes, bool isShort,
                                                    std::uint64_t lastTime) {
  const auto field = bytes.Take(isShort ? 2 : 8);
  if (!field) {
    return std::nullopt;
  }
  if (!isShort) {
    return Load64(field->data());
  }
  return (lastTime & ~event_report::kShortTimeMask) |
         (std::uint64_t{Load16(field->data())} << event_report::kShortTimeShift);
}

[[nodiscard]] cBufferReference MakeEvent(std::uint8_t code, std::uint16_t word, std::uint64_t time,
                                         std::span<const std::uint8_t> payload) {
  std::array<std::uint8_t, event_report::kEventPayload + event_report::kMaxEventPayload> packet{};
  const std::size_t size = event_report::kEventPayload + payload.size();
  packet[0] = code;
  Store16(&packet[event_report::kLength],
          static_cast<std::uint16_t>(size - event_report::kEventWord));
  Store16(&packet[event_report::kEventWord],
          word & (event_report::kIdMask | event_report::kLengthCodeMask));
  Store64(&packet[event_report::kEventTime], time);
  std::copy(payload.begin(), payload.end(), packet.begin() + event_report::kEventPayload);
  OwnedBuffer event = MakeBuffer(std::span(packet).first(size), kOriginDevice);
  if (event == nullptr) {
    throw std::bad_alloc();
  }
  return cBufferReference(std::move(event));
}

[[nodiscard]] bool IsWholeReport(const sProtocolBuffer& report) {
  if (!report.IsValid()) {
    return false;
  }
  const sSharedBuffer& buffer = *report.buffer;
  return command::IsEventReport(buffer.data[0]) && buffer.size > event_report::kEvents &&
         Load16(buffer.data + event_report::kLength) == buffer.size - event_report::kEvents;
}

}  // namespace

bool SplitEventReport(const sProtocolBuffer& report, std::vector<cBufferReference>& events) {
  if (!IsWholeReport(report)) {
    return false;
  }
  cEventBytes bytes(report.buffer->Bytes().subspan(event_report::kEvents));
  std::uint64_t lastTime = 0;
  while (!bytes.IsAtEnd()) {
    const auto wordBytes = bytes.Take(2);
    if (!wordBytes) {
      return false;
    }
    const std::uint16_t word = Load16(wordBytes->data());

    const auto time = TakeTime(bytes, (word & event_report::kShortTime) != 0, lastTime);
    if (!time) {
      return false;
    }
    lastTime = *time;

    const auto payload =
        bytes.TakePayload((word & event_report::kLengthCodeMask) >> event_report::kLengthCodeShift);
    if (!payload) {
      return false;
    }
    events.push_back(MakeEvent(report.buffer->data[0], word, lastTime, *payload));
  }
  return true;
}

}  // namespace corvane
