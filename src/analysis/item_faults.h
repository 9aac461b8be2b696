#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/signalling_export.h"
#include "convert/unshown_messages.h"
#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

// Items of which something is wrong. Times are in milliseconds since 1601-01-01 UTC.
struct sFault {
  std::uint64_t items = 0;
  std::uint64_t firstItem = 0;  // its number
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = 0;

  void Add(const sCaptureItem& item);
};

// What is wrong with the packets of a capture, gathered item by item, in constant memory.
class cItemFaults {
 public:
  // `isRebuilt`: the recorder itself made it, and nothing of the modem's can be lacking.
  void Add(const sCaptureItem& item, const sDescription& description, bool isRebuilt);

  // Packets that are shorter than their layout.
  [[nodiscard]] const sFault& CutOff() const { return cutOff; }
  // Packets of a command that nobody knows.
  [[nodiscard]] const sFault& Unknown() const { return unknown; }
  // Messages before which the modem says that it lost some; and how many those are.
  [[nodiscard]] const sFault& Dropping() const { return dropping; }
  [[nodiscard]] std::uint64_t Dropped() const { return dropped; }
  // A sentence for each kind of signalling log whose messages are not understood, by version and
  // channel.
  [[nodiscard]] std::vector<std::string> NotUnderstood() const { return unshown.Notes(); }

 private:
  sFault cutOff;
  sFault unknown;
  sFault dropping;
  std::uint64_t dropped = 0;
  cSignallingLogs signallingLogs;
  cUnshownMessages unshown;
};

}  // namespace corvane
