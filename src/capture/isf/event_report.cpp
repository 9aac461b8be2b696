#include "capture/isf/event_report.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <utility>

#include "diag/command_codes.h"
#include "diag/little_endian.h"

namespace corvane {
namespace {

// The command code and the 16-bit length of the events behind it.
constexpr std::size_t kReportHeaderSize = 3;

// The event word: ID in bits 0 to 11, payload-length code in 13 and 14, short-time flag in 15.
constexpr std::uint16_t kEventIdMask = 0x0FFF;
constexpr std::uint16_t kLengthCodeMask = 0x6000;
constexpr unsigned kLengthCodeShift = 13;
constexpr std::uint16_t kShortTimeFlag = 0x8000;
constexpr unsigned kCountedPayload = 3;  // length code: a count byte and as many bytes

// A short time stands for bits 8 to 23 of the time of the event before it.
constexpr unsigned kShortTimeShift = 8;
constexpr std::uint64_t kShortTimeMask = 0xFFFF00;

// An event packet: command code, length of the rest, event word, time; the payload follows.
constexpr std::size_t kEventLength = 1;
constexpr std::size_t kEventWord = 3;
constexpr std::size_t kEventTime = 5;
constexpr std::size_t kEventPayload = 13;
constexpr std::size_t kMaxPayload = 256;

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
    if (lengthCode != kCountedPayload) {
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
  return (lastTime & ~kShortTimeMask) | (std::uint64_t{Load16(field->data())} << kShortTimeShift);
}

[[nodiscard]] cBufferReference MakeEvent(std::uint8_t code, std::uint16_t word, std::uint64_t time,
                                         std::span<const std::uint8_t> payload) {
  std::array<std::uint8_t, kEventPayload + kMaxPayload> packet{};
  const std::size_t size = kEventPayload + payload.size();
  packet[0] = code;
  Store16(&packet[kEventLength], static_cast<std::uint16_t>(size - kEventWord));
  Store16(&packet[kEventWord], word & (kEventIdMask | kLengthCodeMask));
  Store64(&packet[kEventTime], time);
  std::copy(payload.begin(), payload.end(), packet.begin() + kEventPayload);
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
  return command::IsEventReport(buffer.data[0]) && buffer.size > kReportHeaderSize &&
         Load16(buffer.data + 1) == buffer.size - kReportHeaderSize;
}

}  // namespace

bool SplitEventReport(const sProtocolBuffer& report, std::vector<cBufferReference>& events) {
  if (!IsWholeReport(report)) {
    return false;
  }
  cEventBytes bytes(report.buffer->Bytes().subspan(kReportHeaderSize));
  std::uint64_t lastTime = 0;
  while (!bytes.IsAtEnd()) {
    const auto wordBytes = bytes.Take(2);
    if (!wordBytes) {
      return false;
    }
    const std::uint16_t word = Load16(wordBytes->data());

    const auto time = TakeTime(bytes, (word & kShortTimeFlag) != 0, lastTime);
    if (!time) {
      return false;
    }
    lastTime = *time;

    const auto payload = bytes.TakePayload((word & kLengthCodeMask) >> kLengthCodeShift);
    if (!payload) {
      return false;
    }
    events.push_back(MakeEvent(report.buffer->data[0], word, lastTime, *payload));
  }
  return true;
}

}  // namespace corvane
