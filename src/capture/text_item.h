#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "diag/shared_buffer.h"

namespace corvane {

// Text that the library itself puts into the capture file, as items of type kInformationItem: the
// 32-bit header kTextItemHeader, the text as 16-bit little-endian characters, and a 16-bit zero.

// The text of the first item of every capture.
inline constexpr std::string_view kInformationText = "Corvane version 1.0";

// The item for `text`, of kOriginLibrary; the header alone when there is no text. Each byte becomes
// one character by sign extension: bytes of 0x80 and above turn into 0xFF80 and above, which is why
// device names are expected to be ASCII. Null when memory runs out.
[[nodiscard]] OwnedBuffer MakeTextItem(std::optional<std::string_view> text);

// What is printed and recorded when the port comes or goes: "Port <device name> <what happened>".
class cPortMessage {
 public:
  // The longest message; a longer one is dropped as a whole, never cut.
  static constexpr std::size_t kMaxLength = 62;

  cPortMessage(const char* deviceName, const char* whatHappened);

  // The message, NUL-terminated; empty when it was too long.
  [[nodiscard]] const char* CString() const { return buffer.data(); }

  // The message, or none when it was too long.
  [[nodiscard]] std::optional<std::string_view> Text() const;

 private:
  std::array<char, kMaxLength + 1> buffer{};
  bool fits = false;
};

}  // namespace corvane
