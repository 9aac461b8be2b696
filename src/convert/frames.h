#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "convert/dissectors.h"
#include "convert/source_texts.h"
#include "describe/description.h"

// What an export for Wireshark consists of, whatever the format.
namespace corvane {

// The IPv4 addresses that tell who sent a message: 192.0.2.1 and 192.0.2.2, which are kept free for
// examples (RFC 5737).
inline constexpr std::uint32_t kDeviceAddress = 0xC0000201;
inline constexpr std::uint32_t kNetworkAddress = 0xC0000202;

enum class eFrameSort : std::uint8_t {
  Message,  // a signalling message
  Text,     // what a dissector shows that is no signalling: a line, bytes
  Packet,   // a DIAG packet as it is
};

// One frame. Everything in it is borrowed.
struct sFrame {
  eFrameSort sort = eFrameSort::Message;
  std::int64_t time = 0;  // nanoseconds since 1970-01-01 UTC
  const sSource* source = nullptr;
  std::optional<eLink> link;  // requests of the host count as uplink: they go to the device
  std::string_view comment;
  // Messages.
  const sSignalling* signalling = nullptr;
  eTechnology technology = eTechnology::None;
  const sCell* cell = nullptr;  // null where none is told
  // Texts and packets.
  sDissector dissector;
  std::span<const std::uint8_t> bytes;
};

// One of the formats.
class cFrameWriter {
 public:
  cFrameWriter() = default;
  cFrameWriter(const cFrameWriter&) = delete;
  cFrameWriter& operator=(const cFrameWriter&) = delete;
  virtual ~cFrameWriter() = default;

  // Writes a frame. False when the format cannot carry it.
  [[nodiscard]] virtual bool Add(const sFrame& frame) = 0;
};

// The name of a source: "COM7", "COM7 subscription 2", "COM7 of drive.isf". `unnamed` stands in for
// the port before the first connection.
[[nodiscard]] std::string SourceName(const sSource& source, std::string_view unnamed);

}  // namespace corvane
