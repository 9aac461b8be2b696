#include "reader/capture_builder.h"

#include <algorithm>
#include <stdexcept>

namespace corvane {

cCaptureBuilder::cCaptureBuilder() { Append(file, 0xAB603108, 4); }

cCaptureBuilder& cCaptureBuilder::Add(const sBuiltItem& item) {
  if (items % 8192 == 0) {
    AddBlock(item.time);
  }
  const std::uint64_t baseTime = blocks.back().second;
  unsigned flags = item.type;
  ByteVector record;
  if (item.time < baseTime || item.time - baseTime >= 0xFFFFFFFF) {
    flags += 3 * 32;
    Append(record, item.time, 8);
  } else if (item.time - baseTime < 255) {
    Append(record, item.time - baseTime, 1);
  } else if (item.time - baseTime < 65535) {
    flags += 1 * 32;
    Append(record, item.time - baseTime, 2);
  } else {
    flags += 2 * 32;
    Append(record, item.time - baseTime, 4);
  }
  if (item.extra) {
    flags += 128;
    Append(record, *item.extra, 4);
  }
  record.insert(record.end(), item.packet.begin(), item.packet.end());
  return AddRaw(flags, static_cast<unsigned>(item.packet.size()), record);
}

cCaptureBuilder& cCaptureBuilder::AddRaw(unsigned flags, unsigned length,
                                         const ByteVector& record) {
  if (items % 8192 == 0 && blocks.size() == items / 8192) {
    AddBlock(0);
  }
  const std::size_t block = static_cast<std::size_t>(blocks.back().first);
  const std::size_t entry = block + 7 * (items % 8192);
  Put(file, entry, flags, 1);
  Put(file, entry + 1, file.size() - (block + 57360), 4);
  Put(file, entry + 5, length, 2);
  file.insert(file.end(), record.begin(), record.end());
  ++items;
  return *this;
}

cCaptureBuilder& cCaptureBuilder::AddGap(std::size_t bytes) {
  file.insert(file.end(), bytes, 0xEE);
  return *this;
}

cCaptureBuilder& cCaptureBuilder::AddBlock(std::uint64_t baseTime) {
  const std::size_t position = file.size();
  file.insert(file.end(), 57352, 0);
  Append(file, baseTime, 8);
  if (!blocks.empty()) {
    Put(file, static_cast<std::size_t>(blocks.back().first) + 57344, position, 8);
  }
  blocks.emplace_back(position, baseTime);
  return *this;
}

ByteVector cCaptureBuilder::Closed() const {
  ByteVector closed = file;
  for (const auto& [position, baseTime] : blocks) {
    Append(closed, position, 8);
    Append(closed, baseTime, 8);
  }
  Append(closed, 0, 8);
  Append(closed, items, 4);
  Append(closed, 0xAB603107, 4);
  return closed;
}

void Put(ByteVector& file, std::size_t offset, std::uint64_t value, std::size_t size) {
  for (std::size_t place = 0; place < size; ++place) {
    file.at(offset + place) = static_cast<std::uint8_t>(value >> (8 * place) & 0xFF);
  }
}

void Append(ByteVector& file, std::uint64_t value, std::size_t size) {
  file.resize(file.size() + size);
  Put(file, file.size() - size, value, size);
}

ByteVector Hex(std::string_view text) {
  ByteVector bytes;
  unsigned value = 0;
  unsigned digits = 0;
  for (const char character : text) {
    if (character == ' ' || character == '\n') {
      continue;
    }
    const std::size_t digit = std::string_view("0123456789ABCDEF").find(character);
    if (digit == std::string_view::npos) {
      throw std::invalid_argument("no hexadecimal digit");
    }
    value = value % 16 * 16 + static_cast<unsigned>(digit);
    if (++digits % 2 == 0) {
      bytes.push_back(static_cast<std::uint8_t>(value));
    }
  }
  if (digits % 2 != 0) {
    throw std::invalid_argument("half a byte");
  }
  return bytes;
}

ByteVector TextItem(std::string_view text) {
  ByteVector bytes = Hex("C0 FF FF FF");
  for (const char character : text) {
    Append(bytes, static_cast<std::uint8_t>(character), 2);
  }
  Append(bytes, 0, 2);
  return bytes;
}

ByteVector NumberedPacket(std::uint32_t number) {
  ByteVector packet(1 + number % 300);
  for (std::size_t place = 0; place < packet.size(); ++place) {
    packet[place] = static_cast<std::uint8_t>(number * 31 + place * 7 + number / 256);
  }
  return packet;
}

ByteVector With(ByteVector file, std::size_t offset, std::uint64_t value, std::size_t size) {
  Put(file, offset, value, size);
  return file;
}

cCaptureBuilder SmallCapture() {
  cCaptureBuilder builder;
  builder.Add({7, kNoon, Hex("C0 FF FF FF 41 00 00 00"), {}});
  builder.Add({10, kNoon + 1, Hex("4B 0F 00 00 01"), {}});
  builder.Add({8, kNoon + 2, Hex("10 00"), 0x01020304});
  return builder;
}

cCaptureBuilder TwoBlocks() {
  cCaptureBuilder builder;
  for (int number = 0; number < 8193; ++number) {
    builder.Add({1, kNoon, {0x42}, {}});
  }
  return builder;
}

sBuiltItem NumberedItem(std::uint32_t number) {
  constexpr unsigned kTypes[] = {7, 8, 0, 1, 2, 4, 5, 6, 9, 10};
  sBuiltItem item{kTypes[number % 10], kNoon + number * 17, NumberedPacket(number), {}};
  if (number % 20 == 1) {
    item.extra = number * 3;
  }
  return item;
}

cCaptureBuilder BuildNumbered(std::uint32_t count) {
  cCaptureBuilder builder;
  for (std::uint32_t number = 0; number < count; ++number) {
    builder.Add(NumberedItem(number));
  }
  return builder;
}

std::size_t cMemorySource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> wanted) {
  if (offset >= bytes->size()) {
    return 0;
  }
  const auto start = static_cast<std::size_t>(offset);
  const std::size_t count = std::min(wanted.size(), bytes->size() - start);
  std::copy_n(bytes->begin() + static_cast<std::ptrdiff_t>(start), count, wanted.begin());
  return count;
}

sOpened OpenBytes(std::shared_ptr<const ByteVector> bytes) {
  sOpened opened;
  opened.file = cCaptureFile::Open(std::make_unique<cMemorySource>(std::move(bytes)), opened.error);
  return opened;
}

sOpened OpenBytes(ByteVector bytes) {
  return OpenBytes(std::make_shared<const ByteVector>(std::move(bytes)));
}

std::string ErrorOf(ByteVector bytes) {
  const sOpened opened = OpenBytes(std::move(bytes));
  if (opened.file == nullptr) {
    return opened.error.Text();
  }
  return opened.file->Damage() ? opened.file->Damage()->Text() : "";
}

std::vector<std::string> TextsOf(const cDamage& damage) {
  std::vector<std::string> texts;
  for (const sCaptureError& error : damage.Kept()) {
    texts.push_back(error.Text());
  }
  return texts;
}

}  // namespace corvane
