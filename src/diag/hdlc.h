#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "diag/shared_buffer.h"

namespace corvane {

// The frame that carries a DIAG packet on the wire: the packet and its CRC-16/X.25 (low byte
// first), both with 0x7D and 0x7E stuffed (0x7D, then the byte XOR 0x20), and a closing flag 0x7E.
inline constexpr std::uint8_t kFrameFlag = 0x7E;
inline constexpr std::uint8_t kFrameEscape = 0x7D;
inline constexpr std::uint8_t kFrameStuffing = 0x20;

// CRC-16/X.25: polynomial 0x1021 processed bit-reversed, initial value 0xFFFF, result complemented.
// Of the bytes "123456789" it is 0x906E.
[[nodiscard]] std::uint16_t Crc16X25(const std::uint8_t* bytes, std::size_t length);

// What Crc16X25 gives over any data followed by its own CRC, low byte first.
inline constexpr std::uint16_t kCrc16GoodResidue = 0x0F47;

// Frames `packet`, which stays the caller's. No opening flag is made. The frame carries the origin
// of the packet.
//
// Returns null when the packet is null or unusable or memory runs out. A frame of more than
// kMaxBufferSize bytes comes back as an empty buffer, which is written as nothing.
[[nodiscard]] OwnedBuffer FramePacket(const sSharedBuffer* packet);

// Takes one packet off the front of `received`, which stays the caller's.
//
// `consumed` receives how many bytes the frame took, closing flag included, but not a flag that led
// it: the caller advances by it and lands on that closing flag, which the next call skips as its
// leading one. 0 means that no complete frame is there yet. Unusable input leaves it untouched:
// callers start from 0.
//
// Returns the packet, with the origin of `received`, or null: incomplete when `consumed` is 0, else
// a frame that failed its check (or found no memory). A frame of nothing but a good CRC comes back
// as an empty buffer.
//
// A flag among the first three bytes behind a leading flag ends a frame only where `received` ends
// with it.
[[nodiscard]] OwnedBuffer UnframePacket(const sSharedBuffer* received, std::uint32_t* consumed);

// How many of these bytes UnframePacket looks at when it finds a frame: a flag that leads it, and
// all up to its closing flag. Given just those it finds the same. 0 when no complete frame is there
// yet.
[[nodiscard]] std::size_t FrontFrameSize(std::span<const std::uint8_t> received);

}  // namespace corvane
