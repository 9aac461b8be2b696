#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "convert/export.h"
#include "convert/frames.h"
#include "convert/modem_clock.h"
#include "convert/segment_join.h"
#include "convert/source_texts.h"
#include "convert/system_information_join.h"
#include "convert/unshown_messages.h"

namespace corvane {

// Which logs carry signalling messages.
class cSignallingLogs {
 public:
  [[nodiscard]] bool Has(std::uint16_t logCode);

 private:
  enum class eAnswer : std::uint8_t { NotAsked, No, Yes };

  std::vector<eAnswer> answers = std::vector<eAnswer>(std::size_t{UINT16_MAX} + 1);
};

// An export for Wireshark: the signalling messages of a capture, whole, and what the options add.
// Each frame has a comment that tells its item, "item 12, 0x412F, COM7", or the items that it was
// joined from.
class cSignallingExport final : public cItemExport {
 public:
  cSignallingExport(const sExportOptions& wanted, std::unique_ptr<cFrameWriter> frames);

  void Add(const sCaptureItem& item) override;
  void Pass(const sCaptureItem& item) override;
  void Mark(const sMarker& marker) override;
  [[nodiscard]] std::vector<std::string> Notes() const override;

 private:
  // An item on its way, and what all of its frames have alike.
  struct sShown {
    const sCaptureItem& item;
    const sDescription& description;
    sSource source;
    std::int64_t time = 0;
  };

  // False for an item that is not shown, whatever it holds. A log without signalling is counted
  // then.
  [[nodiscard]] bool MayBeShown(const sCaptureItem& item);
  [[nodiscard]] bool IsExtra(eItemSort sort) const;
  void ShowLog(const sShown& shown);
  void ShowJoined(const sShown& shown);
  void ShowMessage(const sShown& shown, const sSignalling& signalling, const std::string& comment);
  void ShowEvents(sShown shown);
  void ShowExtra(const sShown& shown);
  void ShowText(const sShown& shown, const sDissector& dissector,
                std::span<const std::uint8_t> bytes, std::optional<eLink> link);
  void ShowLine(const sShown& shown, std::string_view line);
  void ShowPacket(const sShown& shown);
  void AddExtra(const sFrame& frame);
  // "item 12, 0x412F, COM7"
  [[nodiscard]] std::string CommentOn(const sShown& shown) const;

  sExportOptions options;
  std::unique_ptr<cFrameWriter> writer;
  cModemClock clock;
  cSignallingLogs signallingLogs;
  sSource source;  // as the texts tell
  cSystemInformationJoin blocks;
  cSegmentJoin segments;

  std::uint64_t items = 0;
  std::uint64_t messages = 0;
  std::uint64_t otherFrames = 0;
  std::uint64_t rebuiltLeftOut = 0;
  std::uint64_t markersLeftOut = 0;
  std::uint64_t timesNotBelieved = 0;  // of what was shown
  std::uint64_t logsWithoutSignalling = 0;
  cUnshownMessages unshown;
};

}  // namespace corvane
