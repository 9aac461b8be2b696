#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <vector>

// Numbers at the end of bytes that grow.
namespace corvane {

template <std::unsigned_integral Number>
void AppendLittleEndian(std::vector<std::uint8_t>& bytes, Number number) {
  for (unsigned shift = 0; shift < 8 * sizeof(Number); shift += 8) {
    bytes.push_back(static_cast<std::uint8_t>(number >> shift));
  }
}

template <std::unsigned_integral Number>
void AppendBigEndian(std::vector<std::uint8_t>& bytes, Number number) {
  for (unsigned shift = 8 * sizeof(Number); shift != 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(number >> (shift - 8)));
  }
}

// Zeros up to a multiple of four bytes.
inline void PadToWord(std::vector<std::uint8_t>& bytes) {
  constexpr std::size_t kWord = 4;
  bytes.resize((bytes.size() + kWord - 1) / kWord * kWord);
}

}  // namespace corvane
