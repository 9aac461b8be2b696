// A block of system information out of two segments, beside the copying of its bits alone.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "bench/two_segments.h"
#include "ota/dispatcher.h"

namespace corvane::bench {
namespace {

[[nodiscard]] std::uint64_t LoadBigEndian(const std::uint8_t* bytes) {
  std::uint64_t value = 0;
  for (int i = 0; i < 8; ++i) {
    value = value << 8 | bytes[i];
  }
  return value;
}

void StoreBigEndian(std::uint8_t* bytes, std::uint64_t value) {
  for (int i = 7; i >= 0; --i) {
    bytes[i] = static_cast<std::uint8_t>(value);
    value >>= 8;
  }
}

// The 64 bits at a position, which is no multiple of 8 or at the last readable bytes.
[[nodiscard]] std::uint64_t BitsAt(const std::uint8_t* bytes, std::uint32_t position) {
  const std::uint8_t* const first = bytes + position / 8;
  const std::uint32_t offset = position % 8;
  const std::uint64_t high = LoadBigEndian(first) << offset;
  return offset == 0 ? high : high | first[8] >> (8 - offset);
}

// 64 bits at a time. Both buffers have 16 bytes to spare.
void ShiftCopy(const std::uint8_t* from, std::uint32_t position, std::uint8_t* to,
               std::uint32_t toPosition, std::uint32_t count) {
  for (std::uint32_t done = 0; done < count; done += 64) {
    std::uint64_t bits = BitsAt(from, position + done);
    if (count - done < 64) {
      bits &= ~(~std::uint64_t{0} >> (count - done));
    }
    std::uint8_t* const place = to + (toPosition + done) / 8;
    const std::uint32_t offset = (toPosition + done) % 8;
    StoreBigEndian(place, LoadBigEndian(place) | bits >> offset);
    place[8] |= static_cast<std::uint8_t>(offset == 0 ? 0 : bits << (8 - offset) & 0xFF);
  }
}

void CopyTheBits(benchmark::State& state) {
  std::array<std::uint8_t, 64> message{};
  std::memset(message.data(), 0xA5, 48);
  std::array<std::uint8_t, 96> block{};
  for (auto _ : state) {
    block.fill(0);
    ShiftCopy(message.data(), kSegmentStart, block.data(), 40, kSegmentBits);
    ShiftCopy(message.data(), kSegmentStart, block.data(), 40 + kSegmentBits, kSegmentBits);
    benchmark::DoNotOptimize(block.data());
    benchmark::ClobberMemory();
  }
}

void TwoSegmentBlock(benchmark::State& state) {
  const sTwoSegments segments;
  SibAssemblyMap blocks;
  for (auto _ : state) {
    if (!segments.Complete(blocks)) {
      state.SkipWithError("no block was completed");
      return;
    }
  }
}

BENCHMARK(CopyTheBits);
BENCHMARK(TwoSegmentBlock);

}  // namespace
}  // namespace corvane::bench

BENCHMARK_MAIN();
