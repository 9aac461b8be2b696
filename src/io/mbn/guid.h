#pragma once

#include <guiddef.h>

#include <cstddef>
#include <cstdint>

namespace corvane {

// The identifier that `text` spells in its published form, "DCBBBAB6-201B-4BBB-AAEE-338E368AF6FA".
// A text of any other form does not compile.
consteval GUID GuidFromText(const char (&text)[37]) {
  constexpr std::size_t kHyphens[] = {8, 13, 18, 23};
  std::uint8_t bytes[16]{};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < 36; ++i) {
    bool isHyphen = false;
    for (const std::size_t hyphen : kHyphens) {
      isHyphen = isHyphen || i == hyphen;
    }
    const char c = text[i];
    if (isHyphen) {
      if (c != '-') {
        throw "a hyphen is missing";
      }
      continue;
    }
    int value = 0;
    if (c >= '0' && c <= '9') {
      value = c - '0';
    } else if (c >= 'A' && c <= 'F') {
      value = c - 'A' + 10;
    } else {
      throw "not an upper-case hexadecimal digit";
    }
    bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] << 4 | value);
    ++digits;
  }
  GUID guid{};
  guid.Data1 = static_cast<std::uint32_t>(bytes[0]) << 24 |
               static_cast<std::uint32_t>(bytes[1]) << 16 |
               static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
  guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  for (std::size_t i = 0; i < 8; ++i) {
    guid.Data4[i] = bytes[8 + i];
  }
  return guid;
}

}  // namespace corvane
