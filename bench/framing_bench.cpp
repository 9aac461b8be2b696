// Framing, unframing and splitting, each beside the loop that its bytes have to pass in any case:
// the CRC's, with its table of one byte. One iteration takes a whole load, so that the time of a
// measurement and that of its limit divide as they are.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "bench/load_benchmarks.h"
#include "bench/loads.h"
#include "capture/reader_loop.h"
#include "capture/receive_path.h"
#include "diag/hdlc.h"
#include "diag/shared_buffer.h"

namespace corvane::bench {
namespace {

[[nodiscard]] std::vector<OwnedBuffer> BuffersOf(const sLoad& load) {
  std::vector<OwnedBuffer> buffers;
  for (const Bytes& packet : load.packets) {
    buffers.push_back(MakeBuffer(packet, kOriginDevice));
  }
  return buffers;
}

void SetBytes(benchmark::State& state, const sLoad& load) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(load.ByteCount()));
}

void CrcLoop(benchmark::State& state, const sLoad& load) {
  for (auto _ : state) {
    for (const Bytes& packet : load.packets) {
      benchmark::DoNotOptimize(PlainCrc(packet));
    }
  }
  SetBytes(state, load);
}

void LibraryCrc(benchmark::State& state, const sLoad& load) {
  for (auto _ : state) {
    for (const Bytes& packet : load.packets) {
      benchmark::DoNotOptimize(Crc16X25(packet.data(), packet.size()));
    }
  }
  SetBytes(state, load);
}

// The same over the packets together with their CRCs, which is what unframing checks.
void CheckLoop(benchmark::State& state, const sLoad& load) {
  sLoad checked = load;
  for (Bytes& packet : checked.packets) {
    const std::uint16_t crc = Crc16X25(packet.data(), packet.size());
    packet.push_back(static_cast<std::uint8_t>(crc));
    packet.push_back(static_cast<std::uint8_t>(crc >> 8));
  }
  CrcLoop(state, checked);
}

void Frame(benchmark::State& state, const sLoad& load) {
  const std::vector<OwnedBuffer> packets = BuffersOf(load);
  for (auto _ : state) {
    for (const OwnedBuffer& packet : packets) {
      benchmark::DoNotOptimize(FramePacket(packet.get()));
    }
  }
  SetBytes(state, load);
}

void Unframe(benchmark::State& state, const sLoad& load) {
  std::vector<OwnedBuffer> frames;
  for (const OwnedBuffer& packet : BuffersOf(load)) {
    frames.push_back(FramePacket(packet.get()));
  }
  for (auto _ : state) {
    for (const OwnedBuffer& frame : frames) {
      std::uint32_t consumed = 0;
      const OwnedBuffer packet = UnframePacket(frame.get(), &consumed);
      if (packet == nullptr) {
        state.SkipWithError("a frame was refused");
        return;
      }
      benchmark::DoNotOptimize(packet->data);
    }
  }
  SetBytes(state, load);
}

// As the reader of a port does it: what is left of one read stays in front of the next.
[[nodiscard]] std::size_t Split(std::span<const std::uint8_t> stream,
                                std::span<std::uint8_t> buffer) {
  std::size_t packets = 0;
  std::size_t kept = 0;
  while (!stream.empty()) {
    const std::size_t count = std::min(buffer.size() - kept, stream.size());
    std::memcpy(&buffer[kept], stream.data(), count);
    stream = stream.subspan(count);
    const auto received = buffer.first(kept + count);
    cFrameSplitter splitter(received);
    while (const cBufferReference packet = splitter.Next()) {
      benchmark::DoNotOptimize(packet->data);
      ++packets;
    }
    const auto rest = received.subspan(splitter.Offset());
    std::memmove(buffer.data(), rest.data(), rest.size());
    kept = rest.size();
  }
  return packets;
}

void Receive(benchmark::State& state, const sLoad& load) {
  const Bytes frames = FramesOf(load);
  std::array<std::uint8_t, cReaderLoop::kBufferSize> buffer{};
  for (auto _ : state) {
    if (Split(frames, buffer) != load.packets.size()) {
      state.SkipWithError("packets are missing");
      return;
    }
  }
  SetBytes(state, load);
}

void RegisterAll() {
  for (const sLoad& made :
       {StreamLoad(), PlainLoad("1 byte", 1, 1000), PlainLoad("8 bytes", 8, 1000), EscapedLoad()}) {
    const auto load = std::make_shared<sLoad>(made);
    Register("CrcLoop", CrcLoop, load);
    Register("LibraryCrc", LibraryCrc, load);
    Register("CheckLoop", CheckLoop, load);
    Register("Frame", Frame, load);
    Register("Unframe", Unframe, load);
    Register("Receive", Receive, load);
  }
  // A frame of a packet of the greatest size finds no place in a buffer: it is made and let go. The
  // longest one that can be received is as long as a buffer, flag and CRC included.
  const auto longest = std::make_shared<sLoad>(PlainLoad("16640 bytes", kMaxBufferSize, 20));
  Register("CrcLoop", CrcLoop, longest);
  Register("Frame", Frame, longest);
  const auto received = std::make_shared<sLoad>(PlainLoad("16640 bytes", kMaxBufferSize - 8, 20));
  Register("CheckLoop", CheckLoop, received);
  Register("Unframe", Unframe, received);
}

}  // namespace
}  // namespace corvane::bench

int main(int argc, char** argv) {
  return corvane::bench::RunBenchmarks(argc, argv, corvane::bench::RegisterAll);
}
