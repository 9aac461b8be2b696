#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "reader/capture_file.h"
#include "support/bytes.h"

namespace corvane {

// One item, as a test wants it in a file.
struct sBuiltItem {
  unsigned type = 1;
  std::uint64_t time = 0;  // milliseconds since 1601
  ByteVector packet;
  std::optional<std::uint32_t> extra;
};

// Puts capture files together byte by byte. It has numbers of its own for everything in the format,
// so that it and the code under test cannot be wrong in the same way.
class cCaptureBuilder {
 public:
  cCaptureBuilder();

  // Appends an item, and a block in front of it where one is due. The width of the time field is
  // the smallest that the format allows.
  cCaptureBuilder& Add(const sBuiltItem& item);
  // Appends an item whose record consists of `record`, whatever its flags promise.
  cCaptureBuilder& AddRaw(unsigned flags, unsigned length, const ByteVector& record);
  // Appends bytes that belong to nothing.
  cCaptureBuilder& AddGap(std::size_t bytes);
  // Appends an empty block, as the first item of a block would.
  cCaptureBuilder& AddBlock(std::uint64_t baseTime);

  // The file without block index and trailer.
  [[nodiscard]] const ByteVector& Unclosed() const { return file; }
  // The file with both.
  [[nodiscard]] ByteVector Closed() const;

 private:
  ByteVector file;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> blocks;  // position, base time
  std::uint32_t items = 0;
};

// Writes `value` into `file` at `offset`, `size` bytes, lowest first.
void Put(ByteVector& file, std::size_t offset, std::uint64_t value, std::size_t size);
// Appends the same.
void Append(ByteVector& file, std::uint64_t value, std::size_t size);

// The bytes that `text` names in hexadecimal: "4B 0F 00 00".
[[nodiscard]] ByteVector Hex(std::string_view text);

// A text item: header, UTF-16LE text (from ASCII), terminator.
[[nodiscard]] ByteVector TextItem(std::string_view text);

// A packet that differs for every `number`, of 1 to 300 bytes.
[[nodiscard]] ByteVector NumberedPacket(std::uint32_t number);

// `file` with `value` written over it.
[[nodiscard]] ByteVector With(ByteVector file, std::size_t offset, std::uint64_t value,
                              std::size_t size);

// 2024-05-17 12:00:00 UTC, in milliseconds since 1601.
inline constexpr std::uint64_t kNoon = 13'360'420'800'000;

// Three items from kNoon on, in records of 9, 6 and 7 bytes: a text, a subsystem request and a log
// packet with an extra field.
[[nodiscard]] cCaptureBuilder SmallCapture();

// 8,192 items of one byte, in records of two, then one item in a second block.
[[nodiscard]] cCaptureBuilder TwoBlocks();

// Item `number` of a long capture as the recorder could have written it, and the first `count`.
[[nodiscard]] sBuiltItem NumberedItem(std::uint32_t number);
[[nodiscard]] cCaptureBuilder BuildNumbered(std::uint32_t count);

// Bytes in memory as a file. `bytes` is shared with the test, which may change and extend them.
class cMemorySource final : public cByteSource {
 public:
  explicit cMemorySource(std::shared_ptr<const ByteVector> shared) : bytes(std::move(shared)) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return bytes->size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> wanted) override;

 private:
  std::shared_ptr<const ByteVector> bytes;
};

// A file opened from memory, or why it could not be opened.
struct sOpened {
  std::unique_ptr<cCaptureFile> file;
  sCaptureError error;
};
[[nodiscard]] sOpened OpenBytes(ByteVector bytes);
[[nodiscard]] sOpened OpenBytes(std::shared_ptr<const ByteVector> bytes);

// The text of what is wrong with the bytes: that they cannot be opened, or their damage; empty for
// none.
[[nodiscard]] std::string ErrorOf(ByteVector bytes);

// The texts of all that is kept of a damage.
[[nodiscard]] std::vector<std::string> TextsOf(const cDamage& damage);

}  // namespace corvane
