#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

// What a fuzzer's input says: how a capture file comes into being, step by step. A block of a
// capture file has 57,360 bytes, most of them zero, which is far more than a fuzzer can work on; a
// script of a few dozen bytes makes files of several blocks. Each step is one byte and what it
// needs:
//
//   00 to 7F   that many bytes and one more follow, which are appended to the file
//   80 n n     appends n (16-bit) zero bytes
//   81         appends a full directory: 8,192 entries of type 1, for records of two bytes
//   82         the file is read as it is now
//   83 a*4 b*8 writes the 8 bytes b over the file at offset a, taken modulo the file's size
//   others     do nothing
//
// A script that is cut off ends at its last whole step.
class cFileScript {
 public:
  // `script` must outlive the object.
  explicit cFileScript(std::span<const std::uint8_t> script) : rest(script) {}

  // Carries out the steps up to the next one at which the file is to be read, or to the end.
  // Returns false when there were none left.
  [[nodiscard]] bool Advance();

  [[nodiscard]] const std::vector<std::uint8_t>& File() const { return file; }

 private:
  // Larger files bring nothing new.
  static constexpr std::size_t kLargestFile = 1024 * 1024;

  [[nodiscard]] bool CarryOut(std::uint8_t step);
  [[nodiscard]] bool Has(std::size_t bytes) const { return rest.size() >= bytes; }
  void AppendFullDirectory();
  void Overwrite(std::uint32_t offset, std::span<const std::uint8_t> bytes);

  std::span<const std::uint8_t> rest;
  std::vector<std::uint8_t> file;
};

// The shortest script of appended bytes and zeros that makes `bytes`.
[[nodiscard]] std::vector<std::uint8_t> ScriptOf(std::span<const std::uint8_t> bytes);

}  // namespace corvane
