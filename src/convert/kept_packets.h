#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "reader/capture_file.h"

namespace corvane {

// Tells packets that the modem sent from those that the recorder took out of a reply: behind a
// get-item response of the debug subsystem it writes the packet that the response holds, as if it
// had come by itself.
class cKeptPackets {
 public:
  // Takes the next item of a capture; some may be left out. True when it is what the response right
  // in front of it holds, byte for byte: the packet, or one of the events that a report was split
  // into.
  [[nodiscard]] bool IsOutOfReply(const sCaptureItem& item);

 private:
  // What is to follow the last response, in order, when the recorder wrote it.
  std::deque<std::vector<std::uint8_t>> expected;
  std::uint64_t expectedNumber = 0;  // of the item that follows the last
};

}  // namespace corvane
