#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "reader/capture_file.h"

namespace corvane::tools {

// What `corvane info` tells about the items of a capture, gathered item by item.
class cCaptureSummary {
 public:
  // Items come in file order.
  void Add(const sCaptureItem& item);

  // The summary as lines of text; nothing for a capture without items.
  [[nodiscard]] std::string Format() const;

 private:
  // As many texts are kept as a user may want to read; the rest is only counted.
  static constexpr std::size_t kMostTexts = 1000;

  struct sText {
    std::uint64_t number;
    std::uint64_t time;
    std::string text;
  };
  // Subsystem ID and subsystem command.
  using SubsystemCommand = std::pair<std::uint8_t, std::uint16_t>;

  void AddPacket(const sCaptureItem& item);
  void AppendTimes(std::string& text) const;
  void AppendPackets(std::string& text) const;
  void AppendTexts(std::string& text) const;

  std::uint64_t items = 0;
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = 0;
  std::uint64_t clockSteps = 0;  // items that are earlier than the one before them
  std::array<std::uint64_t, 32> byType{};
  std::map<std::uint16_t, std::uint64_t> logCodes;
  std::map<std::uint8_t, std::uint64_t> commands;  // of requests and of the device's other packets
  std::map<SubsystemCommand, std::uint64_t> subsystemCommands;
  std::map<std::uint8_t, std::uint64_t> sibTypes;  // complete blocks
  std::vector<sText> texts;
  std::uint64_t textCount = 0;
};

}  // namespace corvane::tools
