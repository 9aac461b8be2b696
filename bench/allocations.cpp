// Counts what the receive path with its store takes from the heap: prints the allocations per
// packet of a stream, once everything that stays is there.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <span>

#include "bench/counted_new.h"
#include "bench/loads.h"
#include "capture/reader_loop.h"
#include "capture/session.h"
#include "diag/shared_buffer.h"

namespace corvane::bench {
namespace {

class cNoTraffic final : public cTraffic {
 public:
  std::unique_ptr<cReaderThread> StartReader(cCaptureSession&) override { return nullptr; }
  void StartDataDelivery(cCaptureSession&) override {}
};

void Receive(cReaderLoop& loop, std::span<const std::uint8_t> stream) {
  while (!stream.empty()) {
    const std::span<std::uint8_t> room = loop.Room();
    const std::size_t count = std::min(room.size(), stream.size());
    std::copy_n(stream.begin(), count, room.begin());
    stream = stream.subspan(count);
    loop.Received(count);
  }
}

// The first pass starts the block that the second one's packets go into too.
[[nodiscard]] double AllocationsPerPacket(const char* path) {
  const sLoad load = StreamLoad();
  const Bytes frames = FramesOf(load);
  cNoTraffic traffic;
  cCaptureSession session(traffic);
  session.Attach(std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc));
  const auto loop = std::make_unique<cReaderLoop>(session);
  Receive(*loop, frames);
  const std::uint64_t before = Allocations();
  Receive(*loop, frames);
  return static_cast<double>(Allocations() - before) / static_cast<double>(load.packets.size());
}

}  // namespace
}  // namespace corvane::bench

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "allocations FILE\n");
    return 2;
  }
  corvane::BlockHeap().allocate = corvane::bench::CountedAllocate;
  std::printf("%.2f\n", corvane::bench::AllocationsPerPacket(argv[1]));
  return 0;
}
