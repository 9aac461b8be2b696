#include "support/capture_decoder.h"

#include <stdexcept>

namespace corvane {
namespace {

[[nodiscard]] std::uint64_t Number(const ByteVector& file, std::uint64_t position, unsigned bytes) {
  std::uint64_t value = 0;
  for (unsigned i = bytes; i > 0; --i) {
    value = value << 8 | file.at(position + i - 1);
  }
  return value;
}

void Expect(const ByteVector& file, std::uint64_t position, std::uint32_t magic) {
  if (Number(file, position, 4) != magic) {
    throw std::runtime_error("wrong magic number");
  }
}

[[nodiscard]] sDecodedItem DecodeItem(const ByteVector& file, const sDecodedBlock& block,
                                      std::uint64_t entry) {
  const unsigned flags = file.at(entry);
  sDecodedItem item;
  item.type = flags % 32;
  item.widthCode = flags / 32 % 4;
  item.position = block.position + 57360 + Number(file, entry + 1, 4);

  std::uint64_t at = item.position;
  const unsigned width = 1U << item.widthCode;
  item.timeField = Number(file, at, width);
  item.time = item.widthCode == 3 ? item.timeField : block.baseTime + item.timeField;
  at += width;
  if (flags >= 128) {
    item.extra = static_cast<std::uint32_t>(Number(file, at, 4));
    at += 4;
  }
  item.end = at + Number(file, entry + 5, 2);
  if (item.end > file.size()) {
    throw std::out_of_range("a packet runs past the end");
  }
  while (at < item.end) {
    item.packet.push_back(file[at++]);
  }
  return item;
}

[[nodiscard]] sDecodedBlock DecodeBlock(const ByteVector& file, std::uint64_t position) {
  sDecodedBlock block;
  block.position = position;
  block.nextBlock = Number(file, position + 57344, 8);
  block.baseTime = Number(file, position + 57352, 8);
  bool isUsed = true;
  for (std::uint64_t i = 0; i < 8192; ++i) {
    const std::uint64_t entry = position + 7 * i;
    const bool isZero = Number(file, entry, 7) == 0;
    if (!isZero && !isUsed) {
      throw std::runtime_error("an entry behind an unused one");
    }
    isUsed = !isZero;
    if (isUsed) {
      block.items.push_back(DecodeItem(file, block, entry));
    }
  }
  return block;
}

}  // namespace

std::vector<sDecodedItem> sDecodedCapture::Items() const {
  std::vector<sDecodedItem> all;
  for (const sDecodedBlock& block : blocks) {
    all.insert(all.end(), block.items.begin(), block.items.end());
  }
  return all;
}

sDecodedCapture DecodeCapture(const ByteVector& file) {
  Expect(file, 0, 0xAB603108);
  sDecodedCapture capture;
  if (file.size() < 4 + 57360) {
    return capture;
  }
  std::uint64_t position = 4;
  while (position != 0) {
    capture.blocks.push_back(DecodeBlock(file, position));
    position = capture.blocks.back().nextBlock;
  }
  return capture;
}

bool HasTrailer(const ByteVector& file) {
  return file.size() >= 4 + 16 && Number(file, file.size() - 4, 4) == 0xAB603107;
}

sDecodedEnd DecodeEnd(const ByteVector& file, std::size_t blocks) {
  sDecodedEnd end;
  const std::uint64_t trailer = file.size() - 16;
  end.zero = Number(file, trailer, 8);
  end.itemCount = static_cast<std::uint32_t>(Number(file, trailer + 8, 4));
  Expect(file, trailer + 12, 0xAB603107);
  end.indexPosition = trailer - 16 * blocks;
  for (std::size_t i = 0; i < blocks; ++i) {
    const std::uint64_t entry = end.indexPosition + 16 * i;
    end.index.push_back({Number(file, entry, 8), Number(file, entry + 8, 8)});
  }
  return end;
}

}  // namespace corvane
