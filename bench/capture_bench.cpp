// What it costs to take one packet from the wire into the file.
//
// The unit is one packet of the given size. BM_Copy, a plain copy of the bytes, is the yardstick:
// quote the others as multiples of it.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "capture/isf/store.h"
#include "diag/hdlc.h"
#include "diag/shared_buffer.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

// A log packet with no signalling log code and few bytes that need stuffing.
[[nodiscard]] std::vector<std::uint8_t> MakePacket(std::size_t size) {
  std::vector<std::uint8_t> packet(size);
  for (std::size_t i = 0; i < size; ++i) {
    packet[i] = static_cast<std::uint8_t>(i * 7);
  }
  packet[0] = 0x10;
  packet[6] = 0x25;
  packet[7] = 0x41;
  return packet;
}

[[nodiscard]] cBufferReference MakeBuffer(const std::vector<std::uint8_t>& bytes) {
  return cBufferReference(std::make_unique<sSharedBuffer>(
      bytes.data(), static_cast<std::int32_t>(bytes.size()), kOriginDevice));
}

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

void BM_Copy(benchmark::State& state) {
  const auto packet = MakePacket(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(MakeBuffer(packet));
  }
  SetBytes(state);
}

void BM_Frame(benchmark::State& state) {
  const auto packet = MakeBuffer(MakePacket(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) {
    benchmark::DoNotOptimize(FramePacket(packet.Get()));
  }
  SetBytes(state);
}

void BM_Unframe(benchmark::State& state) {
  const auto packet = MakeBuffer(MakePacket(static_cast<std::size_t>(state.range(0))));
  const OwnedBuffer frame = FramePacket(packet.Get());
  for (auto _ : state) {
    std::uint32_t consumed = 0;
    benchmark::DoNotOptimize(UnframePacket(frame.get(), &consumed));
  }
  SetBytes(state);
}

void BM_Store(benchmark::State& state) {
  const std::string path = std::tmpnam(nullptr);
  {
    cISFStore store;
    store.Attach(std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc));
    const auto packet = MakeBuffer(MakePacket(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
      const std::lock_guard guard(store.storeLock);
      if (store.AddItem(packet.Get(), kAutomaticType) != kErrorSuccess) {
        state.SkipWithError("the item was not stored");
        break;
      }
    }
  }
  std::remove(path.c_str());
  SetBytes(state);
}

BENCHMARK(BM_Copy)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(BM_Frame)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(BM_Unframe)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(BM_Store)->Arg(64)->Arg(512)->Arg(4096);

}  // namespace
}  // namespace corvane

BENCHMARK_MAIN();
