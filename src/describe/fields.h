#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "diag/little_endian.h"

namespace corvane {

// Little-endian numbers, and runs of bytes, at fixed places of a packet that may be too short for
// them. One that is not whole there is missing, and the packet is cut off.
class cFields {
 public:
  // `cutOff` is not owned; it becomes true as soon as one is missing.
  cFields(std::span<const std::uint8_t> packet, bool& cutOff) : bytes(packet), isCutOff(cutOff) {}

  // True when `offset` + `size` bytes are there.
  [[nodiscard]] bool Has(std::size_t offset, std::size_t size) const {
    const bool isThere = offset <= bytes.size() && size <= bytes.size() - offset;
    isCutOff = isCutOff || !isThere;
    return isThere;
  }

  [[nodiscard]] std::optional<std::uint8_t> Byte(std::size_t offset) const {
    return Has(offset, 1) ? std::optional(bytes[offset]) : std::nullopt;
  }
  [[nodiscard]] std::optional<std::uint16_t> Word(std::size_t offset) const {
    return Has(offset, 2) ? std::optional(Load16(&bytes[offset])) : std::nullopt;
  }
  [[nodiscard]] std::optional<std::uint32_t> Long(std::size_t offset) const {
    return Has(offset, 4) ? std::optional(Load32(&bytes[offset])) : std::nullopt;
  }
  [[nodiscard]] std::optional<std::uint64_t> Quad(std::size_t offset) const {
    return Has(offset, 8) ? std::optional(Load64(&bytes[offset])) : std::nullopt;
  }
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> Bytes(std::size_t offset,
                                                                   std::size_t size) const {
    return Has(offset, size) ? std::optional(bytes.subspan(offset, size)) : std::nullopt;
  }

  // How many bytes there are from `offset` on.
  [[nodiscard]] std::size_t Behind(std::size_t offset) const {
    return offset < bytes.size() ? bytes.size() - offset : 0;
  }

 private:
  std::span<const std::uint8_t> bytes;
  bool& isCutOff;
};

}  // namespace corvane
