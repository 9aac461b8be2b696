#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "convert/frames.h"
#include "convert/pcapng_writer.h"

namespace corvane {

// Frames as a pcapng file. Each source has an interface of exported PDUs, and one of DIAG packets
// (link type 147), described when their first frame comes.
class cPcapngFrames final : public cFrameWriter {
 public:
  // A source beyond so many is shown on an interface that they share: a capture can name sources
  // without end.
  static constexpr std::size_t kMostInterfaces = 256;

  // `sink` is not owned and must outlive this. `unnamed` is what packets come from that stand
  // before the first connection.
  cPcapngFrames(cByteSink& sink, std::string_view application, std::string unnamed);

  [[nodiscard]] bool Add(const sFrame& frame) override;

 private:
  using Key = std::pair<sSource, std::uint16_t>;  // with the link type

  [[nodiscard]] std::uint32_t InterfaceOf(const sSource& source, std::uint16_t linkType);

  cPcapngWriter file;
  std::string unnamedSource;
  std::map<Key, std::uint32_t> interfaces;
  std::vector<std::uint8_t> pdu;  // the one being made; its memory is reused
};

}  // namespace corvane
