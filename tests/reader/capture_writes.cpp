#include "reader/capture_writes.h"

#include <algorithm>

#include "reader/capture_builder.h"

namespace corvane {

std::vector<sWrite> WritesOf(std::uint32_t count) {
  cCaptureBuilder builder;
  std::vector<sWrite> writes = {{0, builder.Unclosed(), false}};
  std::size_t block = 0;
  const auto slice = [&builder](std::size_t offset, std::size_t length) {
    const auto from = builder.Unclosed().begin() + static_cast<std::ptrdiff_t>(offset);
    return sWrite{offset, ByteVector(from, from + static_cast<std::ptrdiff_t>(length)), false};
  };
  for (std::uint32_t number = 0; number < count; ++number) {
    if (number % 8192 == 0) {
      const std::size_t previous = block;
      block = builder.Unclosed().size();
      builder.AddBlock(kNoon + number);
      writes.push_back(slice(block, 57360));
      if (previous != 0) {
        writes.push_back(slice(previous + 57344, 8));
      }
    }
    const std::size_t record = builder.Unclosed().size();
    const ByteVector packet = NumberedPacket(number);
    ByteVector bytes;
    if (number % 8192 < 255) {
      Append(bytes, number % 8192, 1);
    } else {
      Append(bytes, number % 8192, 2);
    }
    const unsigned flags = number % 8192 < 255 ? 1 : 1 + 32;
    bytes.insert(bytes.end(), packet.begin(), packet.end());
    builder.AddRaw(flags, static_cast<unsigned>(packet.size()), bytes);
    writes.push_back(slice(record, bytes.size()));
    writes.push_back(slice(block + 7 * (number % 8192), 7));
    writes.back().isEntry = true;
  }
  const ByteVector closed = builder.Closed();
  const std::size_t end = builder.Unclosed().size();
  writes.push_back(
      {end, ByteVector(closed.begin() + static_cast<std::ptrdiff_t>(end), closed.end() - 16),
       false});
  writes.push_back({closed.size() - 16, ByteVector(closed.end() - 16, closed.end()), false});
  return writes;
}

void WriteInto(ByteVector& file, const sWrite& write, std::size_t from, std::size_t to) {
  file.resize(std::max(file.size(), write.offset + to));
  std::copy(write.bytes.begin() + static_cast<std::ptrdiff_t>(from),
            write.bytes.begin() + static_cast<std::ptrdiff_t>(to),
            file.begin() + static_cast<std::ptrdiff_t>(write.offset + from));
}

}  // namespace corvane
