// Frames packets, and cuts received bytes into packets, chunk by chunk. docs/fuzzing.md describes
// the input.
//
//   scripts/fuzz.sh framing 1
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "capture/receive_path.h"
#include "diag/hdlc.h"
#include "fuzz/checks.h"
#include "fuzz/diag_model.h"

namespace corvane {
namespace {

using Bytes = ModelBytes;
using View = ModelView;

// --- The model of what cuts bytes into packets

constexpr std::size_t kMostBytes = 16640;  // that one buffer holds

struct sTaken {
  std::size_t consumed = 0;
  std::optional<Bytes> packet;  // none for no frame and for a bad one
};

// Where the frame at the front ends, its flag included; 0 for no whole frame.
[[nodiscard]] std::size_t ModelFrameEnd(View bytes) {
  for (std::size_t flag = 3; flag < bytes.size(); ++flag) {
    if (bytes[flag] == 0x7E && bytes[flag - 1] != 0x7D) {
      return flag + 1;
    }
  }
  return !bytes.empty() && bytes.back() == 0x7E ? bytes.size() : 0;
}

[[nodiscard]] sTaken ModelTake(View bytes) {
  if (bytes.empty() || bytes.size() > kMostBytes) {
    return {};
  }
  const View led = bytes[0] == 0x7E ? bytes.subspan(1) : bytes;
  sTaken taken{.consumed = ModelFrameEnd(led), .packet = {}};
  if (taken.consumed == 0) {
    return taken;
  }
  Bytes plain;
  const std::size_t end = taken.consumed - 1;
  for (std::size_t at = 0; at < end; ++at) {
    const bool isEscape = led[at] == 0x7D && at + 1 != end;
    at += isEscape ? 1 : 0;
    plain.push_back(isEscape ? led[at] ^ 0x20 : led[at]);
  }
  taken.packet = ModelChecked(plain);
  return taken;
}

struct sSplit {
  std::vector<Bytes> packets;
  std::size_t bad = 0;
  std::size_t offset = 0;
};

[[nodiscard]] sSplit ModelSplit(View bytes) {
  sSplit split;
  for (;;) {
    sTaken taken = ModelTake(bytes.subspan(split.offset));
    if (taken.consumed == 0) {
      return split;
    }
    split.offset += taken.consumed;
    if (taken.packet) {
      split.packets.push_back(std::move(*taken.packet));
    } else {
      ++split.bad;
    }
  }
}

// --- What the library prints

// Takes the place of standard output, and counts the characters.
class cPrinted {
 public:
  cPrinted() {
    std::FILE* const stream = open_memstream(&text, &size);
    Require(stream != nullptr, "there is memory for what is printed");
    stdout = stream;
  }

  // Characters printed since the last call.
  [[nodiscard]] std::size_t Take() {
    std::fflush(stdout);
    const std::size_t printed = size;
    std::rewind(stdout);
    return printed;
  }

 private:
  char* text = nullptr;
  std::size_t size = 0;
};

[[nodiscard]] std::size_t TakePrinted() {
  static cPrinted printed;
  return printed.Take();
}

// --- The checks

[[nodiscard]] bool IsSame(const sSharedBuffer& buffer, View bytes) {
  return std::ranges::equal(buffer.Bytes(), bytes);
}

void CheckFraming(View packet) {
  const sSharedBuffer given(packet.data(), static_cast<std::int32_t>(packet.size()),
                            kOriginLibrary);
  const OwnedBuffer framed = FramePacket(&given);
  if (packet.empty() || packet.size() > kMostBytes) {
    Require(framed == nullptr, "what is no packet has no frame");
    return;
  }
  Require(framed != nullptr && framed->origin == kOriginLibrary, "a packet has a frame of its own");
  const Bytes expected = ModelFrame(packet);
  if (expected.size() > kMostBytes) {
    Require(framed->data == nullptr && framed->size == 0, "a frame that is too long is empty");
    return;
  }
  Require(IsSame(*framed, expected), "a frame is the expected one");
  std::uint32_t consumed = 0;
  const OwnedBuffer back = UnframePacket(framed.get(), &consumed);
  Require(back != nullptr && IsSame(*back, packet) && back->origin == kOriginLibrary &&
              consumed == framed->size,
          "a framed packet comes back");
}

void CheckUnframing(View bytes) {
  const sSharedBuffer received(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                               kOriginDevice);
  std::uint32_t consumed = 0;
  const OwnedBuffer packet = UnframePacket(&received, &consumed);
  const sTaken expected = ModelTake(bytes);
  Require(consumed == expected.consumed, "a frame takes the expected bytes");
  Require((packet != nullptr) == expected.packet.has_value(), "a frame is good or bad as expected");
  if (packet != nullptr) {
    Require(IsSame(*packet, *expected.packet) && packet->origin == kOriginDevice &&
                packet->refCount == 0,
            "a packet is the expected one");
  }
  Require(received.size == 0 || IsSame(received, bytes), "received bytes stay as they are");
}

// Returns where the rest begins.
std::size_t CheckSplitting(View bytes, std::vector<Bytes>& all) {
  const sSplit expected = ModelSplit(bytes);
  cFrameSplitter splitter(bytes);
  std::size_t number = 0;
  while (const cBufferReference packet = splitter.Next()) {
    Require(number < expected.packets.size(), "there are no more packets than expected");
    Require(IsSame(*packet, expected.packets[number]) && packet->origin == kOriginDevice &&
                packet->refCount == 1,
            "a packet of several is the expected one");
    all.push_back(expected.packets[number]);
    ++number;
  }
  Require(number == expected.packets.size(), "there are as many packets as expected");
  Require(splitter.Offset() == expected.offset && !splitter.RanOutOfMemory(),
          "what is left over is as expected");
  Require(TakePrinted() == expected.bad * (sizeof("bad CRC\n") - 1), "bad frames are told");
  return splitter.Offset();
}

// --- The input

struct sReceived {
  std::vector<Bytes> chunks = {{}};
  std::vector<Bytes> packets;  // that were framed
  bool isGood = true;          // there is nothing but the frames of these
};

// Takes `count` bytes off the front of `input`, or all when there are fewer.
[[nodiscard]] View Take(View& input, std::size_t count) {
  const View taken = input.first(std::min(count, input.size()));
  input = input.subspan(taken.size());
  return taken;
}

void Append(sReceived& received, View bytes) {
  received.chunks.back().insert(received.chunks.back().end(), bytes.begin(), bytes.end());
}

// Puts each chunk's end where the input says, also into the middle of a frame.
[[nodiscard]] sReceived ReceivedOf(View input) {
  sReceived received;
  while (!input.empty()) {
    const std::uint8_t step = Take(input, 1)[0];
    if (step < 0x80) {
      const View bytes = Take(input, step + 1u);
      received.isGood = received.isGood && bytes.empty();
      Append(received, bytes);
    } else if (step < 0xF0) {
      const View packet = Take(input, (step & 0x3F) + 1u);
      if (packet.empty()) {
        break;
      }
      const Bytes frame = ModelFrame(packet);
      // 80 to BF: the frame comes whole. C0 to EF: a chunk ends in it.
      const std::size_t cut = step < 0xC0 ? frame.size() : step % frame.size();
      Append(received, View(frame).first(cut));
      if (cut != frame.size()) {
        received.chunks.emplace_back();
        Append(received, View(frame).subspan(cut));
      }
      received.packets.emplace_back(packet.begin(), packet.end());
    } else if (step == 0xFF) {
      const View run = Take(input, 2);
      if (run.size() == 2) {
        received.isGood = false;
        Append(received, Bytes(run[0], run[1]));
      }
    } else {
      received.chunks.emplace_back();
    }
  }
  return received;
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  std::ignore = TakePrinted();
  const sReceived received = ReceivedOf({data, size});
  CheckFraming({data, size});
  std::vector<std::vector<std::uint8_t>> packets;
  std::vector<std::uint8_t> kept;
  for (const auto& chunk : received.chunks) {
    kept.insert(kept.end(), chunk.begin(), chunk.end());
    CheckUnframing(kept);
    const std::size_t rest = CheckSplitting(kept, packets);
    kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(rest));
  }
  // Frames of packets come through whatever the chunks are.
  Require(!received.isGood || packets == received.packets, "every good frame comes through");
  return 0;
}
