#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

// What tables count an item by, read from its packet's first bytes. It says what DescribeItem
// (convert/item_description.h) says, but takes a small part of its time: nothing is looked up,
// formatted or copied.
struct sPacketHead {
  eItemSort sort = eItemSort::Unknown;
  std::optional<std::uint32_t> subscription;
  std::optional<std::uint16_t> logCode;  // of a log
  std::vector<std::uint16_t> events;     // IDs: one, but for a report that was not split
  std::optional<std::uint16_t> ssid;     // of a debug message
  std::optional<std::uint32_t> levels;   // likewise
  // Of a request, a reply, or a packet of no known sort.
  std::optional<std::uint8_t> command;
  std::optional<std::uint8_t> subsystem;
  std::optional<std::uint16_t> subsystemCommand;
};

// Reads the head of an item into `head`, whose memory is reused.
void ReadPacketHead(const sCaptureItem& item, sPacketHead& head);

}  // namespace corvane
