#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "convert/byte_sink.h"
#include "convert/frames.h"

namespace corvane {

// Frames as a pcap file with times in nanoseconds: GSMTAP version 2 in IPv4 and UDP port 4729 (link
// type 228). Only messages can be carried, and of those none of NR, IP or SIP, and none that does
// not fit into a datagram. Times end in the year 2106, where those of pcap do.
class cGsmtapFrames final : public cFrameWriter {
 public:
  // Writes the file header. `sink` is not owned and must outlive this.
  explicit cGsmtapFrames(cByteSink& sink);

  [[nodiscard]] bool Add(const sFrame& frame) override;

 private:
  cByteSink& output;
  std::vector<std::uint8_t> payload;  // these two are made anew for each frame; their memory is
  std::vector<std::uint8_t> record;   // reused
};

}  // namespace corvane
