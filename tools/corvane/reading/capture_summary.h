#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "analysis/cells_seen.h"
#include "convert/source_texts.h"
#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane::tools {

// What `corvane info --deep` tells about the packets of a capture, gathered item by item. However
// many there are, and whatever is in them, it keeps a few megabytes.
class cCaptureSummary {
 public:
  // Items come in file order.
  void Add(const sCaptureItem& item);

  // The summary as lines of text; nothing for a capture without items.
  [[nodiscard]] std::string Format() const;

  // As many texts are kept as a user may want to read, and as many lines of tables that a hostile
  // file could make longer and longer; the rest is only counted.
  static constexpr std::size_t kMostTexts = 1000;
  static constexpr std::size_t kMostLines = 1000;

 private:
  struct sText {
    std::uint64_t number;
    std::uint64_t time;
    std::string text;
  };
  // How often each of at most kMostLines things came.
  template <typename Key>
  struct sCounts {
    std::map<Key, std::uint64_t> counts;
    std::uint64_t others = 0;

    void Add(const Key& key);
  };
  // "LTE DL-DCCH"; what tells two channels of one name apart.
  using Channel = std::tuple<eTechnology, std::string_view, std::string_view>;
  // Subsystem ID and subsystem command.
  using SubsystemCommand = std::pair<std::uint8_t, std::uint16_t>;
  // Log code, version, and a channel of which nothing is known.
  using NotDescribed = std::tuple<std::uint16_t, std::uint32_t, std::string>;

  void AddText(const sCaptureItem& item, const sDescription& description);
  void AddLog(const sCaptureItem& item, const sDescription& description);
  void AddSignalling(const sDescription& description);
  void AddCommand(const sCommand& command);
  void AppendLogs(std::string& text) const;
  void AppendMessages(std::string& text) const;
  void AppendEvents(std::string& text) const;
  void AppendCommands(std::string& text) const;
  void AppendTexts(std::string& text) const;

  sSource source;  // where the next item comes from
  std::uint64_t items = 0;
  std::uint64_t lastTime = 0;
  std::uint64_t clockSteps = 0;  // items that are earlier than the one before them
  std::map<std::uint16_t, std::uint64_t> logCodes;
  std::map<Channel, std::map<std::string_view, std::uint64_t>> messages;
  std::map<std::uint8_t, std::uint64_t> rebuilt;  // blocks that the recorder rebuilt, by SIB type
  std::map<std::uint16_t, std::uint64_t> events;
  std::map<std::uint8_t, std::uint64_t> commands;  // of requests and of the device's other packets
  sCounts<SubsystemCommand> subsystemCommands;
  sCounts<NotDescribed> notDescribed;
  cCellsSeen cells;
  std::vector<sText> texts;
  std::uint64_t textCount = 0;
  std::uint64_t subscriptionTexts = 0;  // one at each change: too many to show
};

}  // namespace corvane::tools
