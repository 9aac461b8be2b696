#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The simulator shares no code with the recorder in src/, down to these few functions: a mistake
// that both sides made in the same place would cancel out in an end-to-end test and never be seen.
namespace corvane::modem_sim {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

// Append a value, least significant byte first, as every DIAG field is sent.
void AppendU16(Bytes& bytes, std::uint32_t value);
void AppendU32(Bytes& bytes, std::uint32_t value);
void AppendU64(Bytes& bytes, std::uint64_t value);
void AppendText(Bytes& bytes, std::string_view text);
void AppendBytes(Bytes& bytes, ByteView more);

// Read a little-endian value. The caller has made sure that the bytes are there.
[[nodiscard]] std::uint16_t ReadU16(ByteView bytes, std::size_t at);
[[nodiscard]] std::uint32_t ReadU32(ByteView bytes, std::size_t at);

// Two lower-case digits for each byte, nothing between them.
[[nodiscard]] std::string ToHex(ByteView bytes);

// The reverse, in either case; spaces between bytes are allowed. Nothing for anything else.
[[nodiscard]] std::optional<Bytes> FromHex(std::string_view text);

}  // namespace corvane::modem_sim
