#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "convert/export.h"
#include "convert/frames.h"
#include "convert/modem_clock.h"
#include "convert/source_texts.h"

namespace corvane {

// An export for Wireshark: the signalling messages of a capture, and what the options add.
class cSignallingExport final : public cItemExport {
 public:
  cSignallingExport(const sExportOptions& wanted, std::unique_ptr<cFrameWriter> frames);

  void Add(const sCaptureItem& item) override;
  [[nodiscard]] std::vector<std::string> Notes() const override;

 private:
  void AddDescribed(const sCaptureItem& item, const sDescription& description);
  void AddSignalling(const sCaptureItem& item, const sDescription& description);

  sExportOptions options;
  std::unique_ptr<cFrameWriter> writer;
  cModemClock clock;
  sSource source;  // as the texts tell

  std::uint64_t rebuiltLeftOut = 0;
  std::uint64_t withoutSignalling = 0;
};

}  // namespace corvane
