#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

#include "ota/bits.h"
#include "ota/sib_blocks.h"

namespace corvane {

// A message of random content whose pieces often fit the blocks that wait for them.
struct sRandomMessage {
  unsigned choice = 0;  // 0 to 15
  std::uint8_t channel = 0;
  std::uint8_t rbId = 0;
  Bits bits;  // lead and content
};

// Makes random messages, packets and blocks, the same ones for the same seed everywhere.
class cRandomMessages {
 public:
  explicit cRandomMessages(std::uint64_t seed) : engine(seed) {}

  // `blocks` are those under reassembly. About one in eight messages is cut short.
  [[nodiscard]] sRandomMessage Next(const BlockMap& blocks);

  // A log packet around the message. A few have something else wrong with them.
  [[nodiscard]] ByteVector Packet(const sRandomMessage& message);

  // A key and a block to start a sequence with, close to the end of its buffer.
  [[nodiscard]] BlockKey Key();
  [[nodiscard]] sBlock LongBlock();

  // 0 to `limit` - 1.
  [[nodiscard]] unsigned Below(unsigned limit) { return static_cast<unsigned>(engine() % limit); }
  [[nodiscard]] bool OneIn(unsigned times) { return Below(times) == 0; }

 private:
  [[nodiscard]] Bits Noise(std::size_t count);
  [[nodiscard]] Bits Length(Bits& data);
  [[nodiscard]] unsigned SibType();
  [[nodiscard]] Bits Segment(const BlockMap& blocks, bool isShort);
  [[nodiscard]] Bits First(bool isShort);
  [[nodiscard]] Bits List();
  [[nodiscard]] Bits Content(const BlockMap& blocks);

  std::mt19937_64 engine;
  sRandomMessage message;  // in the making
  bool atStart = false;    // on FACH, no bit of the content is written yet
};

}  // namespace corvane
