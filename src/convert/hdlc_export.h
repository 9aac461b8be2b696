#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/export.h"
#include "convert/kept_packets.h"
#include "convert/source_texts.h"

namespace corvane {

// The packets that were received, framed as a modem sends them (diag/hdlc.h), one behind the other:
// a raw DIAG stream, as other tools read it. Importing it gives the same received packets in the
// same order.
//
// What the recorder added is left out: texts, requests, rebuilt blocks (unless they are to be kept)
// and packets that stand in the reply in front of them. An event is a report of one event with its
// full time. A packet whose subscription a text tells goes into the wrapper of multi-SIM modems
// again.
class cHdlcExport final : public cItemExport {
 public:
  cHdlcExport(const sExportOptions& wanted, cByteSink& output);

  void Add(const sCaptureItem& item) override;
  void Pass(const sCaptureItem& item) override;
  void Mark(const sMarker& marker) override;
  [[nodiscard]] std::vector<std::string> Notes() const override;

 private:
  [[nodiscard]] bool IsLeftOut(const sCaptureItem& item);
  void WriteFrame(const std::vector<std::uint8_t>& packet);

  const bool keepRebuilt;
  cByteSink& sink;
  sSource source;
  cKeptPackets kept;

  std::uint64_t rebuiltLeftOut = 0;
  std::uint64_t outOfReplyLeftOut = 0;
  std::uint64_t unknownLeftOut = 0;
  std::uint64_t markersLeftOut = 0;

  std::vector<std::uint8_t> wrapped;
  std::vector<std::uint8_t> frame;
};

}  // namespace corvane
