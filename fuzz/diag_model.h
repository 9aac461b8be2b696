#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// What the recorder has to make of DIAG, worked out a second time: one step after the other, field
// by field, and nothing of the code under test. Packets have a byte or more.
namespace corvane {

using ModelBytes = std::vector<std::uint8_t>;
using ModelView = std::span<const std::uint8_t>;

// The number of `size` bytes at `at`, least significant byte first.
[[nodiscard]] std::uint32_t ModelNumber(ModelView bytes, std::size_t at, std::size_t size);

// CRC-16/X.25, bit by bit.
[[nodiscard]] unsigned ModelCrc(ModelView bytes);
// The packet in a frame.
[[nodiscard]] ModelBytes ModelFrame(ModelView packet);
// The packet of what a frame comes to without its flag and its stuffing; none where the CRC is not
// its.
[[nodiscard]] std::optional<ModelBytes> ModelChecked(ModelView unstuffed);

[[nodiscard]] bool ModelIsSubsystem(ModelView packet, std::uint32_t origin);
[[nodiscard]] bool ModelIsGetItem(ModelView packet, std::uint32_t origin);
// The packet inside a get-item response; empty where there is none.
[[nodiscard]] ModelView ModelPacketInside(ModelView packet, std::uint32_t origin);
// The packet inside a wrapper, and what it says of the subscription.
[[nodiscard]] ModelView ModelUnwrap(ModelView packet, std::optional<std::uint32_t>& subscription);

[[nodiscard]] bool ModelIsShortAnswer(ModelView packet);
[[nodiscard]] bool ModelIsReport(ModelView packet);
struct sModelEvents {
  bool isWhole = false;
  std::vector<ModelBytes> events;  // those in front of what is wrong
};
[[nodiscard]] sModelEvents ModelSplitReport(ModelView report);

inline constexpr std::uint32_t kModelUnknown = 0xFFFFFFFF;

// What the recorder's own requests teach.
struct sModelLearned {
  std::uint32_t technology = kModelUnknown;
  std::uint32_t cell = kModelUnknown;

  void Learn(ModelView request);
};

struct sModelKind {
  std::uint32_t type = 0;
  std::uint32_t extra = kModelUnknown;
};

// How a packet is recorded that is no event report.
[[nodiscard]] sModelKind ModelKind(ModelView packet, std::uint32_t origin,
                                   const sModelLearned& learned);

}  // namespace corvane
