#pragma once

#include <vector>

#include "reader/capture_builder.h"

// Captures with items as modems and the recorder make them, to be damaged by tests.
namespace corvane {

// A log packet of this code whose bytes after the header are `payload`, stamped with `time`
// (milliseconds since 1601).
[[nodiscard]] ByteVector LogPacket(std::uint16_t code, std::uint64_t time,
                                   const ByteVector& payload);

// An event of this ID with a payload of two bytes.
[[nodiscard]] ByteVector EventPacket(std::uint16_t id, std::uint64_t time);

// An extended debug message.
[[nodiscard]] ByteVector MessagePacket(std::uint64_t time, std::string_view text);

// Items of every type, with time fields of every width, with and without extra fields.
[[nodiscard]] std::vector<sBuiltItem> RealItems();

// So many items of all types, 20 ms apart.
[[nodiscard]] std::vector<sBuiltItem> ManyRealItems(std::uint32_t count);

[[nodiscard]] cCaptureBuilder BuildItems(const std::vector<sBuiltItem>& items);

// Overwrites the bytes from `from` up to `to`.
void Fill(ByteVector& file, std::size_t from, std::size_t to, std::uint8_t value);

}  // namespace corvane
