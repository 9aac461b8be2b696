// The work whose instructions scripts/instruction_counts.py counts: counted_work NAME FILE
//
// What is counted is the function of that name and what it calls. Its input is the same in every
// run; the store writes to the file.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <string_view>
#include <tuple>
#include <vector>

#include "bench/loads.h"
#include "bench/two_segments.h"
#include "capture/isf/store.h"
#include "diag/hdlc.h"
#include "diag/shared_buffer.h"
#include "platform/error_codes.h"

namespace corvane::bench {

// What the counted functions work on.
struct sInput {
  std::vector<OwnedBuffer> frames;
  std::vector<cBufferReference> logs;
  sTwoSegments segments;
  SibAssemblyMap blocks;
  // Of a clock that stands still, so that every time field has the same width.
  cISFStore store{{.now = [] { return std::uint64_t{1} << 56; }}};

  explicit sInput(const char* path);
};

sInput::sInput(const char* path) {
  for (const Bytes& packet : StreamLoad().packets) {
    const OwnedBuffer buffer = MakeBuffer(packet, kOriginDevice);
    frames.push_back(FramePacket(buffer.get()));
  }
  for (const Bytes& packet : PlainLoad("200 bytes", 200, 1000).packets) {
    logs.emplace_back(MakeBuffer(packet, kOriginDevice));
  }
  store.Attach(std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc));
  // Behind the first block of a capture, of which room is kept.
  std::ignore = segments.Complete(blocks);
}

// The counted functions are found by their names. Each returns whether the work was done.

bool CountedUnframe(sInput& input) {
  bool isDone = true;
  for (const OwnedBuffer& frame : input.frames) {
    std::uint32_t consumed = 0;
    isDone = UnframePacket(frame.get(), &consumed) != nullptr && isDone;
  }
  return isDone;
}

bool CountedAddItem(sInput& input) {
  const std::lock_guard guard(input.store.storeLock);
  bool isDone = true;
  for (const cBufferReference& packet : input.logs) {
    isDone = input.store.AddItem(packet.Get(), kAutomaticType) == kErrorSuccess && isDone;
  }
  return isDone;
}

bool CountedOtaBlock(sInput& input) { return input.segments.Complete(input.blocks); }

}  // namespace corvane::bench

int main(int argc, char** argv) {
  using namespace corvane::bench;
  struct sWork {
    std::string_view name;
    bool (*run)(sInput& input);
  };
  constexpr sWork kWorks[] = {{"CountedUnframe", CountedUnframe},
                              {"CountedAddItem", CountedAddItem},
                              {"CountedOtaBlock", CountedOtaBlock}};
  for (const sWork& work : kWorks) {
    if (argc == 3 && work.name == argv[1]) {
      const auto input = std::make_unique<sInput>(argv[2]);
      return work.run(*input) ? 0 : 1;
    }
  }
  std::fprintf(stderr, "counted_work CountedUnframe|CountedAddItem|CountedOtaBlock FILE\n");
  return 2;
}
