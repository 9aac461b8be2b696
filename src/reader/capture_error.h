#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace corvane {

// What is wrong with a capture file, and where.
struct sCaptureError {
  std::string message;  // "directory entry 17 of the block at offset 4 has length 0"
  // File position of the bytes that are wrong or missing; nothing when it is about the whole file.
  std::optional<std::uint64_t> offset;

  // Both, as one clause: "..., at offset 123".
  [[nodiscard]] std::string Text() const {
    return offset ? message + ", at offset " + std::to_string(*offset) : message;
  }

  friend bool operator==(const sCaptureError&, const sCaptureError&) = default;
};

}  // namespace corvane
